#include "KLImage.h"
#include "KLImageCache.h"
#include "KLThumbnailCache.h"
#include "PictureFiles.h"

#include <QFile>
#include <QTest>

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

using namespace frameflow;

namespace {

// What the process writes to its error stream, the libraries in it included, while this lives.
class ErrorStream
{
public:
    explicit ErrorStream(const QByteArray& path) : mPath(path), mSaved(dup(STDERR_FILENO))
    {
        const int file = open(path.constData(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0600);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    ~ErrorStream()
    {
        dup2(mSaved, STDERR_FILENO);
        close(mSaved);
    }
    ErrorStream(const ErrorStream&) = delete;
    ErrorStream& operator=(const ErrorStream&) = delete;

    QByteArray written() const
    {
        std::fflush(stderr);
        QFile file(QString::fromUtf8(mPath));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(not readable)");
    }

private:
    const QByteArray mPath;
    const int mSaved;
};

} // namespace

// What loading leaves behind in a picture that held another one, and what the caches do beyond their own list.
class ImageRulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        KLImageCache::purge();
        KLThumbnailCache::purge();
    }

    void failedOpeningTakesTheOrientationAway();
    void failedDecodingTakesTheOldBitmapAway();
    void pictureInMemoryHasNoOrientation();
    void loadedPictureHasTheIdentity();
    void filesThatAreNoPicturesAreMetInSilence_data();
    void filesThatAreNoPicturesAreMetInSilence();

    void findingInTheMiddleKeepsTheOthersInOrder();
    void findingTheFirstOfTwoEqualOnes();
    void askingAgainMovesToTheFront();
    void sixthPictureDropsTheOneAskedForLongestAgo();
    void thumbnailCacheKeepsNoPicturesAndTheOtherNoThumbnails();

private:
    QByteArray addPicture(const TestFolder& folder, const QByteArray& name) const
    {
        return folder.addFile(name, encoded(quartersPicture(), "png"));
    }
    static QByteArray namesIn(const KLImageCache& cache)
    {
        QByteArray names;
        for (const KLImagePtr& image : cache.images()) {
            names += image->mURL().fileName().first(1).toByteArray();
        }
        return names;
    }
    static KLImagePtr imageOf(char name)
    {
        const auto url = FileUrl::fromPath(QByteArray("/") + name);
        return std::make_shared<KLImage>(url, QImage(1, 1, QImage::Format_RGB32), 1);
    }
};

void ImageRulesTest::failedOpeningTakesTheOrientationAway()
{
    const TestFolder folder;
    folder.addFile("bad.jpg", "no picture");
    for (const char* const name : {"bad.jpg", "missing.jpg"}) {
        KLImage image(folder.urlOf("before.jpg"), quartersPicture(), 6);
        QVERIFY(image.turnedImage());
        image.loadFromURL(folder.urlOf(name));
        QVERIFY(!image.turnedImage());
        QCOMPARE(image.getTransform(), QTransform());
        QCOMPARE(image.mURL(), folder.urlOf("before.jpg"));
        QCOMPARE(image.getCGImage().size(), quartersSize);

        KLImage fresh;
        fresh.loadFromURL(folder.urlOf(name));
        QCOMPARE(fresh.getTransform(), QTransform());
        QVERIFY(fresh.mURL().isEmpty());
        QVERIFY(fresh.getCGImage().isNull());
    }
}

void ImageRulesTest::failedDecodingTakesTheOldBitmapAway()
{
    const TestFolder folder;
    addPicture(folder, "a.png");
    folder.addFile("cut.png", encoded(quartersPicture(), "png").left(100));
    KLImage image;
    image.loadFromURL(folder.urlOf("a.png"));
    QVERIFY(!image.getCGImage().isNull());
    image.loadFromURL(folder.urlOf("cut.png"));
    QVERIFY(image.getCGImage().isNull());
    QCOMPARE(image.width(), 0U);
    QCOMPARE(image.height(), 0U);
    QCOMPARE(image.mURL(), folder.urlOf("cut.png"));
}

void ImageRulesTest::pictureInMemoryHasNoOrientation()
{
    const KLImagePtr image = KLImage::imageWithImage(quartersPicture());
    QVERIFY(!image->turnedImage());
    QCOMPARE(image->getTransform(), KLImage().getTransform());
    QCOMPARE(quarters(image->getCGImage(), 0), QByteArray("RGBY"));
}

void ImageRulesTest::loadedPictureHasTheIdentity()
{
    const TestFolder folder;
    folder.addFile("a.jpg", withExif(encoded(quartersPicture(QSize(4000, 3000)), "jpeg"), exifBlock(6)));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.jpg"));
    QVERIFY(image);
    QCOMPARE(image->getTransform(), QTransform());
    QCOMPARE(image->rectToFitScreen(QSizeF(3000, 4000), false), QRectF(0, 0, 3000, 4000));
}

void ImageRulesTest::filesThatAreNoPicturesAreMetInSilence_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("empty") << QByteArray("a.jpg") << QByteArray();
    QTest::newRow("text") << QByteArray("a.jpg") << QByteArray("Dear reader,\n");
    QTest::newRow("text as raw") << QByteArray("a.cr2") << QByteArray("Dear reader,\n");
    QTest::newRow("text as drawing") << QByteArray("a.svg") << QByteArray("Dear reader,\n");
    QTest::newRow("document") << QByteArray("a.png") << QByteArray("%PDF-1.4\n1 0 obj<</Type/Catalog>>endobj\n");
    QTest::newRow("archive") << QByteArray("a.tif") << QByteArray("PK\3\4") + QByteArray(100, 'z');
    const QByteArray zeros(5000, '\0');
    for (const char* const name : {"a.jpg", "a.png", "a.tif", "a.gif", "a.webp", "a.heic", "a.tga", "a.psd", "a.dng"}) {
        QTest::addRow("zeros as %s", name) << QByteArray(name) << zeros;
    }
    QTest::newRow("half a JPEG") << QByteArray("a.jpg") << encoded(quartersPicture(QSize(400, 300)), "jpeg").left(2000);
}

void ImageRulesTest::filesThatAreNoPicturesAreMetInSilence()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, contents);
    const TestFolder folder;
    folder.addFile(name, contents);
    QByteArray written;
    {
        const ErrorStream stream(folder.pathOf("errors"));
        KLImage::imageWithURL(folder.urlOf(name));
        KLImage::thumbNailFromURL(folder.urlOf(name));
        written = stream.written();
    }
    QCOMPARE(written, QByteArray());
}

void ImageRulesTest::findingInTheMiddleKeepsTheOthersInOrder()
{
    KLImageCache cache;
    for (const char name : QByteArray("ABCDE")) {
        cache.addImage(imageOf(name));
    }
    QVERIFY(cache.findImageWithURL(FileUrl::fromPath(QByteArray("/C"))));
    QCOMPARE(namesIn(cache), QByteArray("CEDBA"));
    QVERIFY(!cache.findImageWithURL(FileUrl::fromPath(QByteArray("/X"))));
    QCOMPARE(namesIn(cache), QByteArray("CEDBA"));
}

void ImageRulesTest::findingTheFirstOfTwoEqualOnes()
{
    KLImageCache cache;
    const KLImagePtr old = imageOf('A');
    const KLImagePtr fresh = imageOf('A');
    cache.addImage(old);
    cache.addImage(fresh);
    cache.addImage(imageOf('B'));
    QCOMPARE(cache.findImageWithURL(old->mURL()), fresh);
    QCOMPARE(namesIn(cache), QByteArray("ABA"));
    cache.removeCachedImageWithURL(old->mURL());
    QCOMPARE(cache.findImageWithURL(old->mURL()), old);
}

void ImageRulesTest::askingAgainMovesToTheFront()
{
    const TestFolder folder;
    for (const char* const name : {"a.png", "b.png", "c.png"}) {
        addPicture(folder, name);
        QVERIFY(KLImageCache::imageWithURL(folder.urlOf(name)));
    }
    QVERIFY(KLImageCache::imageWithURL(folder.urlOf("a.png")));
    QCOMPARE(namesIn(KLImageCache::instance()), QByteArray("acb"));
    KLImageCache::cacheImageWithURL(folder.urlOf("b.png"));
    QCOMPARE(namesIn(KLImageCache::instance()), QByteArray("bac"));
}

void ImageRulesTest::sixthPictureDropsTheOneAskedForLongestAgo()
{
    const TestFolder folder;
    for (const char* const name : {"a.png", "b.png", "c.png", "d.png", "e.png", "a.png", "f.png"}) {
        addPicture(folder, name);
        QVERIFY(KLImageCache::imageWithURL(folder.urlOf(name)));
    }
    QCOMPARE(namesIn(KLImageCache::instance()), QByteArray("faedc"));
}

void ImageRulesTest::thumbnailCacheKeepsNoPicturesAndTheOtherNoThumbnails()
{
    const TestFolder folder;
    const FileUrl url = FileUrl::fromPath(addPicture(folder, "a.png"));
    QVERIFY(KLImageCache::imageWithURL(url));
    QVERIFY(KLThumbnailCache::imageWithURL(url).isNull());
    QVERIFY(!KLThumbnailCache::cacheImageWithURL(url).isNull());
    KLImageCache::purge();
    QVERIFY(!KLThumbnailCache::imageWithURL(url).isNull());
    KLThumbnailCache::purge();
    QVERIFY(KLThumbnailCache::imageWithURL(url).isNull());
}

QTEST_GUILESS_MAIN(ImageRulesTest)
#include "ImageRulesTest.moc"
