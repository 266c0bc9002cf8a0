#include "AssertionFailure.h"
#include "KLImageCache.h"
#include "KLThumbnailCache.h"
#include "PictureFiles.h"

#include <QSemaphore>
#include <QTest>

#include <cstdio>
#include <cstdlib>

using namespace frameflow;

class CachesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void holdsTheLastFive();
    void findingMovesToTheFront();
    void sameFileMayStandTwice();
    void removesTheFirstOfAFile();
    void removingWhatIsNotThereChangesNothing();
    void loadsOnceAndKeeps();
    void cachesAheadOfNeed();
    void undecodableFilesAreNotCached();
    void addingNoImageFails();
    void thumbnailsAreNeverLoadedByLooking();
    void thumbnailIsMadeAndKept();
    void thumbnailThatCannotBeMadeIsNotKept();
    void laterThumbnailWins();
    void wrongThumbnailsFail_data();
    void wrongThumbnailsFail();
    void purgeEmptiesBoth();
    void thumbnailsHaveNoLimit();
    void manyThumbnailsAreKeptCompressed();
    void thumbnailThatIsReplacedIsNotTheCompressedOne();
    void thumbnailsThatComeNextAreUncompressedAhead();
    void whatIsPreparedIsHandedOver();
    void whatWasToBePreparedBeforeIsGivenUp();
    void onlyBitmapsAreThereAtOnce();
    void transparentThumbnailsStayTransparent();

private:
    static KLImagePtr imageOf(char name)
    {
        const auto url = FileUrl::fromPath(QByteArray("/") + name);
        return std::make_shared<KLImage>(url, QImage(1, 1, QImage::Format_RGB32), 1);
    }

    // As near as nobody can tell apart.
    static bool isNear(const QImage& actual, const QImage& expected)
    {
        constexpr int tolerance = 10;
        bool isNear = actual.size() == expected.size();
        for (int y = 0; isNear && y < expected.height(); ++y) {
            for (int x = 0; x < expected.width(); ++x) {
                const QRgb a = actual.pixel(x, y);
                const QRgb b = expected.pixel(x, y);
                isNear = isNear && std::abs(qRed(a) - qRed(b)) <= tolerance
                    && std::abs(qGreen(a) - qGreen(b)) <= tolerance && std::abs(qBlue(a) - qBlue(b)) <= tolerance;
            }
        }
        return isNear;
    }

    static QByteArray namesIn(const KLImageCache& cache)
    {
        QByteArray names;
        for (const KLImagePtr& image : cache.images()) {
            names += image->mURL().path().mid(1);
        }
        return names;
    }
};

void CachesTest::init()
{
    KLImageCache::purge();
    KLThumbnailCache::purge();
}

void CachesTest::holdsTheLastFive()
{
    KLImageCache cache;
    for (const char name : QByteArray("ABCDEF")) {
        cache.addImage(imageOf(name));
    }
    QCOMPARE(namesIn(cache), QByteArray("FEDCB"));
}

void CachesTest::findingMovesToTheFront()
{
    KLImageCache cache;
    for (const char name : QByteArray("ABCDE")) {
        cache.addImage(imageOf(name));
    }
    const auto found = cache.findImageWithURL(FileUrl::fromPath(QByteArray("/A")));
    QVERIFY(found);
    QCOMPARE(namesIn(cache), QByteArray("AEDCB"));
    QCOMPARE(cache.findImageWithURL(FileUrl::fromPath(QByteArray("/A"))), found);
    QCOMPARE(namesIn(cache), QByteArray("AEDCB"));
    cache.addImage(imageOf('F'));
    QCOMPARE(namesIn(cache), QByteArray("FAEDC"));
    QVERIFY(!cache.findImageWithURL(FileUrl::fromPath(QByteArray("/B"))));
}

void CachesTest::sameFileMayStandTwice()
{
    KLImageCache cache;
    cache.addImage(imageOf('A'));
    cache.addImage(imageOf('A'));
    QCOMPARE(namesIn(cache), QByteArray("AA"));
}

void CachesTest::removesTheFirstOfAFile()
{
    KLImageCache cache;
    for (const char name : QByteArray("ABA")) {
        cache.addImage(imageOf(name));
    }
    cache.removeCachedImageWithURL(FileUrl::fromPath(QByteArray("/A")));
    QCOMPARE(namesIn(cache), QByteArray("BA"));
}

void CachesTest::removingWhatIsNotThereChangesNothing()
{
    KLImageCache cache;
    cache.addImage(imageOf('A'));
    cache.removeCachedImageWithURL(FileUrl::fromPath(QByteArray("/X")));
    QCOMPARE(namesIn(cache), QByteArray("A"));
    KLImageCache::removeImageWithURL(FileUrl::fromPath(QByteArray("/X")));
    QVERIFY(KLImageCache::instance().images().empty());
}

void CachesTest::loadsOnceAndKeeps()
{
    const TestFolder folder;
    const QByteArray path = folder.addFile("a.png", encoded(quartersPicture(), "png"));
    const KLImagePtr image = KLImageCache::imageWithURL(folder.urlOf("a.png"));
    QVERIFY(image);
    QVERIFY(std::remove(path.constData()) == 0);
    QCOMPARE(KLImageCache::imageWithURL(FileUrl::fromPath(path)), image);
    KLImageCache::removeImageWithURL(folder.urlOf("a.png"));
    QVERIFY(!KLImageCache::imageWithURL(folder.urlOf("a.png")));
}

void CachesTest::cachesAheadOfNeed()
{
    const TestFolder folder;
    folder.addFile("a.png", encoded(quartersPicture(), "png"));
    KLImageCache::cacheImageWithURL(folder.urlOf("a.png"));
    QCOMPARE(KLImageCache::instance().images().size(), size_t(1));
    QCOMPARE(KLImageCache::instance().images().front()->mURL(), folder.urlOf("a.png"));
}

void CachesTest::undecodableFilesAreNotCached()
{
    const TestFolder folder;
    folder.addFile("a.png", "x");
    KLImageCache::instance().addImage(imageOf('A'));
    QVERIFY(!KLImageCache::imageWithURL(folder.urlOf("a.png")));
    QCOMPARE(namesIn(KLImageCache::instance()), QByteArray("A"));
    // It is tried again each time.
    folder.addFile("a.png", encoded(quartersPicture(), "png"));
    QVERIFY(KLImageCache::imageWithURL(folder.urlOf("a.png")));
}

void CachesTest::addingNoImageFails()
{
    KLImageCache cache;
    try {
        cache.addImage(nullptr);
        QFAIL("no assertion");
    } catch (const AssertionFailure& failure) {
        QCOMPARE(failure.what(), "the image may not be nil");
        QCOMPARE(failure.source(), std::string("KLImageCache"));
        QCOMPARE(failure.line(), 17);
    }
}

void CachesTest::thumbnailsAreNeverLoadedByLooking()
{
    const TestFolder folder;
    folder.addFile("a.png", encoded(quartersPicture(), "png"));
    QVERIFY(KLThumbnailCache::imageWithURL(folder.urlOf("a.png")).isNull());
    QVERIFY(KLThumbnailCache::imageWithURL(folder.urlOf("a.png")).isNull());
}

void CachesTest::thumbnailIsMadeAndKept()
{
    const TestFolder folder;
    const QByteArray path = folder.addFile("a.png", encoded(quartersPicture(QSize(600, 400)), "png"));
    const QImage made = KLThumbnailCache::cacheImageWithURL(folder.urlOf("a.png"));
    QCOMPARE(made.size(), QSize(300, 200));
    QVERIFY(std::remove(path.constData()) == 0);
    QCOMPARE(KLThumbnailCache::imageWithURL(FileUrl::fromPath(path)), made);
    const auto thumbnail = KLThumbnailCache::instance().findImageWithURL(folder.urlOf("a.png"));
    QVERIFY(thumbnail);
    QCOMPARE(thumbnail->mURL(), folder.urlOf("a.png"));
}

void CachesTest::thumbnailThatCannotBeMadeIsNotKept()
{
    const TestFolder folder;
    folder.addFile("a.png", "x");
    QVERIFY(KLThumbnailCache::cacheImageWithURL(folder.urlOf("a.png")).isNull());
    QVERIFY(!KLThumbnail::thumbnailWithURL(folder.urlOf("a.png")));
    QVERIFY(!KLThumbnailCache::instance().findImageWithURL(folder.urlOf("a.png")));
}

void CachesTest::laterThumbnailWins()
{
    KLThumbnailCache cache;
    const auto url = FileUrl::fromPath(QByteArray("/a"));
    cache.addImage(std::make_shared<const KLThumbnail>(url, QImage(1, 1, QImage::Format_RGB32)));
    cache.addImage(std::make_shared<const KLThumbnail>(url, QImage(2, 1, QImage::Format_RGB32)));
    QCOMPARE(cache.findImageWithURL(url)->mImage().width(), 2);
}

void CachesTest::wrongThumbnailsFail_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QImage>("image");
    QTest::addColumn<bool>("isThere");
    QTest::addColumn<int>("line");
    QTest::addColumn<QByteArray>("message");
    const QImage image(1, 1, QImage::Format_RGB32);
    QTest::newRow("none") << QByteArray() << QImage() << false << 58 << QByteArray("the image may not be nil");
    QTest::newRow("without URL") << QByteArray() << image << true << 59 << QByteArray("the url may not be nil");
    QTest::newRow("without both") << QByteArray() << QImage() << true << 59 << QByteArray("the url may not be nil");
    QTest::newRow("without picture") << QByteArray("/a") << QImage() << true << 60
                                     << QByteArray("the url may not be nil");
}

void CachesTest::wrongThumbnailsFail()
{
    QFETCH(QByteArray, path);
    QFETCH(QImage, image);
    QFETCH(bool, isThere);
    QFETCH(int, line);
    QFETCH(QByteArray, message);
    const auto url = path.isEmpty() ? FileUrl() : FileUrl::fromPath(path);
    KLThumbnailCache cache;
    try {
        cache.addImage(isThere ? std::make_shared<const KLThumbnail>(url, image) : nullptr);
        QFAIL("no assertion");
    } catch (const AssertionFailure& failure) {
        QCOMPARE(QByteArray(failure.what()), message);
        QCOMPARE(failure.source(), std::string("KLThumbnailCache"));
        QCOMPARE(failure.line(), line);
    }
}

void CachesTest::purgeEmptiesBoth()
{
    const TestFolder folder;
    const QByteArray path = folder.addFile("a.png", encoded(quartersPicture(), "png"));
    const FileUrl url = folder.urlOf("a.png");
    QVERIFY(KLImageCache::imageWithURL(url));
    QVERIFY(!KLThumbnailCache::cacheImageWithURL(url).isNull());
    KLImageCache::purge();
    KLThumbnailCache::purge();
    QVERIFY(KLImageCache::instance().images().empty());
    QVERIFY(KLThumbnailCache::imageWithURL(url).isNull());
    // The next requests read from disk.
    QVERIFY(std::remove(path.constData()) == 0);
    QVERIFY(!KLImageCache::imageWithURL(url));
    QVERIFY(KLThumbnailCache::cacheImageWithURL(url).isNull());
}

void CachesTest::thumbnailsHaveNoLimit()
{
    KLThumbnailCache cache;
    const QImage image(1, 1, QImage::Format_RGB32);
    const auto urlOf = [](int number) { return FileUrl::fromPath("/" + QByteArray::number(number)); };
    constexpr int count = 3000;
    for (int i = 0; i < count; ++i) {
        cache.addImage(std::make_shared<const KLThumbnail>(urlOf(i), image));
    }
    for (int i = 0; i < count; ++i) {
        QVERIFY(cache.findImageWithURL(urlOf(i)));
    }
}

void CachesTest::manyThumbnailsAreKeptCompressed()
{
    constexpr qsizetype mostOfBitmaps = 4 << 20;
    KLThumbnailCache cache(mostOfBitmaps);
    const auto urlOf = [](int number) { return FileUrl::fromPath("/" + QByteArray::number(number)); };
    // Each with a colour of its own.
    const auto pictureOf = [](int number) {
        QImage image(300, 225, QImage::Format_RGB32);
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                image.setPixel(x, y, qRgb(number, x * 255 / image.width(), y * 255 / image.height()));
            }
        }
        return image;
    };
    constexpr int count = 200; // 54 megabytes as they are
    for (int i = 0; i < count; ++i) {
        cache.addImage(std::make_shared<const KLThumbnail>(urlOf(i), pictureOf(i)));
    }
    QVERIFY(cache.bytes() > mostOfBitmaps / 2);
    constexpr qsizetype mostOfOne = 30000;
    QVERIFY2(cache.bytes() < mostOfBitmaps + count * mostOfOne, qPrintable(QString::number(cache.bytes())));
    // Twice, since the second time nothing is compressed any more, and in the order that brings none of the last ones.
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < count; ++i) {
            const KLThumbnailPtr found = cache.findImageWithURL(urlOf(i));
            QVERIFY(found);
            QCOMPARE(found->mURL(), urlOf(i));
            QCOMPARE(found->mImage().format(), QImage::Format_RGB32);
            QVERIFY(isNear(found->mImage(), pictureOf(i)));
        }
        QVERIFY(cache.bytes() < mostOfBitmaps + count * mostOfOne);
    }
    cache.removeAll();
    QCOMPARE(cache.bytes(), 0);
    QVERIFY(!cache.findImageWithURL(urlOf(0)));
}

void CachesTest::thumbnailThatIsReplacedIsNotTheCompressedOne()
{
    KLThumbnailCache cache(1);
    const auto url = FileUrl::fromPath(QByteArray("/a"));
    QImage red(30, 20, QImage::Format_RGB32);
    red.fill(Qt::red);
    QImage blue(10, 20, QImage::Format_RGB32);
    blue.fill(Qt::blue);
    cache.addImage(std::make_shared<const KLThumbnail>(url, red));
    cache.addImage(std::make_shared<const KLThumbnail>(FileUrl::fromPath(QByteArray("/b")), red));
    QVERIFY(cache.bytes() < 2 * red.sizeInBytes()); // "a" has been compressed
    cache.addImage(std::make_shared<const KLThumbnail>(url, blue));
    QVERIFY(cache.bytes() > 0);
    QCOMPARE(cache.findImageWithURL(url)->mImage(), blue);
}

void CachesTest::thumbnailsThatComeNextAreUncompressedAhead()
{
    QImage noise(30, 20, QImage::Format_RGB32);
    for (int i = 0; i < 600; ++i) {
        noise.setPixel(i % 30, i / 30, qRgb(i * 77 % 256, i * 131 % 256, i * 29 % 256)); // no JPEG is like that
    }
    KLThumbnailCache cache(2 * noise.sizeInBytes());
    const auto a = FileUrl::fromPath(QByteArray("/a"));
    const auto b = FileUrl::fromPath(QByteArray("/b"));
    const auto c = FileUrl::fromPath(QByteArray("/c"));
    for (const FileUrl& url : {a, b, c}) {
        cache.addImage(std::make_shared<const KLThumbnail>(url, noise));
    }
    QVERIFY(cache.bytes() > 0); // "a" has been compressed
    cache.prepare({c, a, FileUrl::fromPath(QByteArray("/unknown"))});
    QVERIFY(cache.bytes() > 0); // "a" is a bitmap, so "b" has been compressed
    QVERIFY(cache.findImageWithURL(b)->mImage() != noise);
    QCOMPARE(cache.findImageWithURL(c)->mImage(), noise);
    cache.removeAll();
    cache.prepare({a, b});
    QCOMPARE(cache.bytes(), 0);
}

void CachesTest::whatIsPreparedIsHandedOver()
{
    QImage red(30, 20, QImage::Format_RGB32);
    red.fill(Qt::red);
    KLThumbnailCache cache(1);
    const auto a = FileUrl::fromPath(QByteArray("/a"));
    const auto b = FileUrl::fromPath(QByteArray("/b"));
    cache.addImage(std::make_shared<const KLThumbnail>(a, red));
    cache.addImage(std::make_shared<const KLThumbnail>(b, red));
    QVERIFY(cache.bytes() > 0); // "a" has been compressed
    QList<FileUrl> ready;
    bool allAreRed = true;
    cache.prepare({b, FileUrl::fromPath(QByteArray("/unknown")), a}, [&](const FileUrl& url, const QImage& picture) {
        ready.append(url);
        allAreRed = allAreRed && isNear(picture, red);
    });
    QVERIFY(cache.bytes() > 0); // that is done
    QCOMPARE(ready, (QList<FileUrl>{b, a}));
    QVERIFY(allAreRed);
}

void CachesTest::whatWasToBePreparedBeforeIsGivenUp()
{
    QImage red(30, 20, QImage::Format_RGB32);
    red.fill(Qt::red);
    KLThumbnailCache cache;
    const auto a = FileUrl::fromPath(QByteArray("/a"));
    const auto b = FileUrl::fromPath(QByteArray("/b"));
    const auto c = FileUrl::fromPath(QByteArray("/c"));
    for (const FileUrl& url : {a, b, c}) {
        cache.addImage(std::make_shared<const KLThumbnail>(url, red));
    }
    QSemaphore begun;
    QSemaphore proceed;
    QList<FileUrl> ready;
    cache.prepare({a, b}, [&](const FileUrl& url, const QImage&) {
        ready.append(url);
        begun.release();
        proceed.acquire();
    });
    begun.acquire();
    QSemaphore done;
    cache.prepare({c}, [&](const FileUrl& url, const QImage&) {
        ready.append(url);
        done.release();
    });
    proceed.release(2);
    done.acquire();
    QVERIFY(cache.bytes() > 0); // whatever else the queue had to do is done
    QCOMPARE(ready, (QList<FileUrl>{a, c}));
}

void CachesTest::onlyBitmapsAreThereAtOnce()
{
    KLThumbnailCache& cache = KLThumbnailCache::instance();
    // More than all bitmaps may take.
    QImage large(5000, 5200, QImage::Format_RGB32);
    large.fill(Qt::red);
    const auto a = FileUrl::fromPath(QByteArray("/a"));
    cache.addImage(std::make_shared<const KLThumbnail>(a, large.scaled(30, 20)));
    QVERIFY(!KLThumbnailCache::bitmapWithURL(a).isNull());
    cache.addImage(std::make_shared<const KLThumbnail>(FileUrl::fromPath(QByteArray("/b")), large));
    QVERIFY(cache.bytes() > 0); // "a" has been compressed
    QVERIFY(KLThumbnailCache::hasImageWithURL(a));
    QVERIFY(KLThumbnailCache::bitmapWithURL(a).isNull());
    QVERIFY(!KLThumbnailCache::imageWithURL(a).isNull());
    QVERIFY(!KLThumbnailCache::bitmapWithURL(a).isNull());
}

void CachesTest::transparentThumbnailsStayTransparent()
{
    KLThumbnailCache cache(1);
    QImage glass(30, 20, QImage::Format_ARGB32_Premultiplied);
    glass.fill(QColor(200, 100, 0, 51));
    const auto url = FileUrl::fromPath(QByteArray("/a"));
    cache.addImage(std::make_shared<const KLThumbnail>(url, glass));
    cache.addImage(std::make_shared<const KLThumbnail>(FileUrl::fromPath(QByteArray("/b")), glass));
    QVERIFY(cache.bytes() < 2 * glass.sizeInBytes());
    const QImage found = cache.findImageWithURL(url)->mImage();
    QCOMPARE(found.format(), QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(found.pixelColor(10, 10).alpha(), 51);
}

QTEST_GUILESS_MAIN(CachesTest)
#include "CachesTest.moc"
