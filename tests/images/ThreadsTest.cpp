#include "KLImage.h"
#include "KLThumbnailCache.h"
#include "PictureFiles.h"

#include <QColorSpace>
#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

using namespace frameflow;

class ThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void picturesLoadOnManyThreads();
    void thumbnailsAreMadeOnManyThreads();
    void cacheIsEmptiedWhileItIsFilled();

private:
    static constexpr int threadCount = 4;

    template <typename Work>
    static void onManyThreads(Work work)
    {
        std::vector<std::thread> threads;
        threads.reserve(threadCount);
        for (int i = 0; i < threadCount; ++i) {
            threads.emplace_back([work, i] { work(i); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    TestFolder mFolder;
};

void ThreadsTest::initTestCase()
{
    const QImage picture = quartersPicture(QSize(640, 480));
    const QByteArray stored = encoded(quartersPicture(QSize(320, 240)), "jpeg");
    for (int orientation = 1; orientation <= 8; ++orientation) {
        const QByteArray number = QByteArray::number(orientation);
        const QByteArray exif = exifBlock(orientation, orientation % 2 == 0 ? stored : QByteArray());
        mFolder.addFile(number + ".jpg", withExif(encoded(picture, "jpeg"), exif));
    }
    mFolder.addFile("bad.jpg", "no picture");
    // The types of the names are looked up once before: a thread sanitizer does not see the locks within Qt's database.
    for (const char* const name : {"bad.jpg", "adobe.png"}) {
        QVERIFY(!KLImage::isMovieURL(mFolder.urlOf(name)));
    }
    QImage adobe = picture;
    adobe.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
    mFolder.addFile("adobe.png", encoded(adobe, "png"));
}

void ThreadsTest::picturesLoadOnManyThreads()
{
    std::atomic<int> wrong = 0;
    onManyThreads([&](int) {
        for (int orientation = 1; orientation <= 8; ++orientation) {
            const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf(QByteArray::number(orientation) + ".jpg"));
            if (!image || quarters(image->getCGImage(), 30) != uprightQuarters(orientation)) {
                ++wrong;
            }
        }
        if (KLImage::imageWithURL(mFolder.urlOf("bad.jpg")) || !KLImage::imageWithURL(mFolder.urlOf("adobe.png"))) {
            ++wrong;
        }
    });
    QCOMPARE(wrong.load(), 0);
}

void ThreadsTest::thumbnailsAreMadeOnManyThreads()
{
    KLThumbnailCache::purge();
    std::atomic<int> wrong = 0;
    onManyThreads([&](int) {
        for (int orientation = 1; orientation <= 8; ++orientation) {
            const FileUrl url = mFolder.urlOf(QByteArray::number(orientation) + ".jpg");
            if (KLThumbnailCache::cacheImageWithURL(url).isNull() || KLThumbnailCache::imageWithURL(url).isNull()) {
                ++wrong;
            }
        }
    });
    QCOMPARE(wrong.load(), 0);
    for (int orientation = 1; orientation <= 8; ++orientation) {
        const QImage thumbnail
            = KLThumbnailCache::imageWithURL(mFolder.urlOf(QByteArray::number(orientation) + ".jpg"));
        QCOMPARE(quarters(thumbnail, 30), uprightQuarters(orientation));
    }
}

void ThreadsTest::cacheIsEmptiedWhileItIsFilled()
{
    std::atomic<bool> stop = false;
    std::thread filling([&] {
        while (!stop) {
            KLThumbnailCache::cacheImageWithURL(mFolder.urlOf("1.jpg"));
        }
    });
    for (int i = 0; i < 200; ++i) {
        KLThumbnailCache::purge();
        KLThumbnailCache::imageWithURL(mFolder.urlOf("1.jpg"));
    }
    stop = true;
    filling.join();
    KLThumbnailCache::purge();
    QVERIFY(KLThumbnailCache::imageWithURL(mFolder.urlOf("1.jpg")).isNull());
}

QTEST_GUILESS_MAIN(ThreadsTest)
#include "ThreadsTest.moc"
