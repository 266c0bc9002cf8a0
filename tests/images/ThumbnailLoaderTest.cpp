#include "ThumbnailLoader.h"

#include "DecoderPool.h"
#include "KLImage.h"
#include "KLImageCache.h"
#include "KLThumbnailCache.h"
#include "PictureFiles.h"
#include "ReadAhead.h"
#include "StaysTrue.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <array>

#include <fcntl.h>
#include <sys/stat.h>

using namespace frameflow;
using namespace std::chrono_literals;

// Thumbnails made in the order in which they are wanted.
class ThumbnailLoaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void allThatIsWantedArrivesAndIsCached();
    void theMostWantedComeFirst();
    void whatIsCachedIsPassedOver();
    void aBadFileArrivesWithoutAPicture();
    void aBadFileIsTriedAgainWhenItIsWantedAgain();
    void aForgottenFailureIsTriedAgain();
    void whatIsNoLongerWantedIsGivenUp();
    void whatHasBegunMayBeFinished();
    void aBadFileThatNobodyWantsIsTriedAgain();
    void nothingArrivesAfterTheLoaderIsGone();
    void theCallbackMayDestroyTheLoader();
    void namesWantedTwiceArriveOnce();
    void whatIsHeldIsNotDecodedAgain();
    void whatIsDecodedAheadIsNotDecodedAgain();
    void aCopyOfAnotherShapeIsNoSourceOfAThumbnail();
    void whatIsHeldDecodedLooksAsItsFileDoes_data();
    void whatIsHeldDecodedLooksAsItsFileDoes();
    void theFilesOwnThumbnailIsTakenThoughItsPictureIsHeld();
    void aHeldPictureWhoseFileHasChangedIsDecodedAgain();
    void aHeldPictureWhoseFileIsGoneHasNone();

private:
    FileUrl add(int number, QSize size = {400, 300}) const
    {
        const QByteArray name = QByteArray::number(number) + ".png";
        mFolder->addFile(name, encoded(quartersPicture(size), "png"));
        return mFolder->urlOf(name);
    }
    std::vector<FileUrl> add(int from, int count) const
    {
        std::vector<FileUrl> urls;
        urls.reserve(count);
        for (int i = 0; i < count; ++i) {
            urls.push_back(add(from + i));
        }
        return urls;
    }

    void repaint(const QByteArray& name, const QByteArray& colours, QSize size) const;

    std::unique_ptr<TestFolder> mFolder;
    std::unique_ptr<ThumbnailLoader> mLoader;
    std::vector<FileUrl> mArrived;
    std::vector<QImage> mPictures;
};

void ThumbnailLoaderTest::init()
{
    mFolder = std::make_unique<TestFolder>();
    mArrived.clear();
    mPictures.clear();
    mLoader
        = std::make_unique<ThumbnailLoader>(DecoderPool::instance(), [this](const FileUrl& url, const QImage& picture) {
              mArrived.push_back(url);
              mPictures.push_back(picture);
          });
}

void ThumbnailLoaderTest::cleanup()
{
    mLoader.reset();
    KLThumbnailCache::purge();
    KLImageCache::purge();
    ReadAhead::instance().purge();
}

void ThumbnailLoaderTest::allThatIsWantedArrivesAndIsCached()
{
    const auto files = add(0, 12);
    mLoader->setWanted(files);
    QVERIFY(!mLoader->isIdle());
    QTRY_COMPARE(mArrived.size(), files.size());
    QVERIFY(mLoader->isIdle());
    for (size_t i = 0; i < files.size(); ++i) {
        QCOMPARE(mPictures[i].size(), QSize(300, 225));
        const QImage cached = KLThumbnailCache::imageWithURL(files[i]);
        QCOMPARE(quarters(cached, 8), QByteArray("RGBY"));
    }
}

void ThumbnailLoaderTest::theMostWantedComeFirst()
{
    const auto later = add(0, 60);
    const auto visible = add(100, 4);
    mLoader->setWanted(later);
    auto all = visible;
    all.insert(all.end(), later.begin(), later.end());
    mLoader->setWanted(all);
    QTRY_COMPARE(mArrived.size(), all.size());
    // Those that had begun come first, and they are few.
    for (const FileUrl& url : visible) {
        const auto place = std::find(mArrived.begin(), mArrived.end(), url) - mArrived.begin();
        QVERIFY2(place < 40, QByteArray::number(qlonglong(place)).constData());
    }
}

void ThumbnailLoaderTest::whatIsCachedIsPassedOver()
{
    const FileUrl cached = add(1);
    const FileUrl other = add(2);
    QVERIFY(!KLThumbnailCache::cacheImageWithURL(cached).isNull());
    mLoader->setWanted({cached, other});
    QTRY_VERIFY(mLoader->isIdle());
    QCOMPARE(mArrived, std::vector{other});
}

void ThumbnailLoaderTest::aBadFileArrivesWithoutAPicture()
{
    const FileUrl bad = FileUrl::fromPath(mFolder->addFile("bad.png", "no picture"));
    mLoader->setWanted({bad});
    QTRY_COMPARE(mArrived, std::vector{bad});
    QVERIFY(mPictures.front().isNull());
    QVERIFY(KLThumbnailCache::imageWithURL(bad).isNull());
}

void ThumbnailLoaderTest::aBadFileIsTriedAgainWhenItIsWantedAgain()
{
    const FileUrl bad = FileUrl::fromPath(mFolder->addFile("bad.png", "no picture"));
    mLoader->setWanted({bad});
    QTRY_COMPARE(mArrived.size(), size_t(1));
    mLoader->setWanted({bad}); // still wanted: nothing has changed
    QVERIFY(mLoader->isIdle());
    mLoader->setWanted({});
    mFolder->addFile("bad.png", encoded(quartersPicture(), "png"));
    mLoader->setWanted({bad});
    QTRY_COMPARE(mArrived.size(), size_t(2));
    QVERIFY(!mPictures.back().isNull());
}

void ThumbnailLoaderTest::aForgottenFailureIsTriedAgain()
{
    const FileUrl bad = FileUrl::fromPath(mFolder->addFile("bad.png", "no picture"));
    mLoader->setWanted({bad});
    QTRY_COMPARE(mArrived.size(), size_t(1));
    mLoader->forgetFailures();
    mFolder->addFile("bad.png", encoded(quartersPicture(), "png"));
    mLoader->setWanted({bad});
    QTRY_COMPARE(mArrived.size(), size_t(2));
    QVERIFY(!mPictures.back().isNull());
}

void ThumbnailLoaderTest::whatIsNoLongerWantedIsGivenUp()
{
    const auto files = add(0, 40);
    const FileUrl last = add(100);
    mLoader->setWanted(files);
    mLoader->setWanted({last});
    QTRY_VERIFY(mLoader->isIdle());
    QCOMPARE(mArrived, std::vector{last});
    QVERIFY(staysTrueFor(200ms, [this] { return mArrived.size() == 1; }));
}

void ThumbnailLoaderTest::whatHasBegunMayBeFinished()
{
    DecoderPool::Options options = DecoderPool::installed();
    options.atOnce = 2;
    DecoderPool pool(options);
    std::vector<FileUrl> arrived;
    ThumbnailLoader loader(pool, [&](const FileUrl& url, const QImage&) { arrived.push_back(url); });
    const auto processes = [&] {
        auto ids = pool.processes();
        std::sort(ids.begin(), ids.end());
        return ids;
    };
    pool.warmUp(2);
    QTRY_COMPARE(processes().size(), 2);
    const auto before = processes();

    constexpr QSize large(3000, 2000);
    const std::vector<FileUrl> scrolledAway{add(10, large), add(11, large), add(12), add(13)};
    const FileUrl inView = add(20);
    loader.setWanted(scrolledAway);
    loader.setWanted({inView}, ThumbnailLoader::Begun::Finished);
    QTRY_VERIFY(loader.isIdle());
    const auto hasArrived = [&](const FileUrl& url) {
        return std::find(arrived.begin(), arrived.end(), url) != arrived.end()
            && KLThumbnailCache::hasImageWithURL(url);
    };
    QVERIFY(hasArrived(scrolledAway[0]));
    QVERIFY(hasArrived(scrolledAway[1]));
    QVERIFY(!hasArrived(scrolledAway[3]));
    QVERIFY(hasArrived(inView));
    QCOMPARE(processes(), before);
}

void ThumbnailLoaderTest::aBadFileThatNobodyWantsIsTriedAgain()
{
    const FileUrl bad = FileUrl::fromPath(mFolder->addFile("bad.png", "no picture"));
    mLoader->setWanted({bad});
    mLoader->setWanted({}, ThumbnailLoader::Begun::Finished);
    QTRY_COMPARE(mArrived.size(), size_t(1));
    mFolder->addFile("bad.png", encoded(quartersPicture(), "png"));
    mLoader->setWanted({bad});
    QTRY_COMPARE(mArrived.size(), size_t(2));
    QVERIFY(!mPictures.back().isNull());
}

void ThumbnailLoaderTest::nothingArrivesAfterTheLoaderIsGone()
{
    mLoader->setWanted(add(0, 10));
    mLoader.reset();
    QVERIFY(staysTrueFor(200ms, [this] { return mArrived.empty(); }));
}

void ThumbnailLoaderTest::theCallbackMayDestroyTheLoader()
{
    std::unique_ptr<ThumbnailLoader> loader;
    int arrived = 0;
    loader = std::make_unique<ThumbnailLoader>(DecoderPool::instance(), [&](const FileUrl&, const QImage&) {
        ++arrived;
        loader.reset();
    });
    loader->setWanted(add(0, 10));
    QTRY_COMPARE(arrived, 1);
    QVERIFY(staysTrueFor(200ms, [&] { return arrived == 1; }));
}

void ThumbnailLoaderTest::namesWantedTwiceArriveOnce()
{
    const FileUrl url = add(1);
    mLoader->setWanted({url, url, {}});
    QTRY_VERIFY(mLoader->isIdle());
    QCOMPARE(mArrived.size(), size_t(1));
}

// Other pixels in the same file, which nobody can tell from before without reading them.
void ThumbnailLoaderTest::repaint(const QByteArray& name, const QByteArray& colours, QSize size) const
{
    const QByteArray path = mFolder->pathOf(name);
    struct stat before = {};
    QCOMPARE(stat(path.constData(), &before), 0);
    const QByteArray contents = encoded(quartersOf(colours, size), "bmp");
    QCOMPARE(contents.size(), qsizetype(before.st_size));
    QFile file(QString::fromUtf8(path));
    QVERIFY(file.open(QIODevice::ReadWrite) && file.write(contents) == contents.size());
    file.close();
    const std::array times{before.st_atim, before.st_mtim};
    QCOMPARE(utimensat(AT_FDCWD, path.constData(), times.data(), 0), 0);
}

void ThumbnailLoaderTest::whatIsHeldIsNotDecodedAgain()
{
    constexpr QSize size(600, 400);
    for (const char* const name : {"held.bmp", "other.bmp"}) {
        mFolder->addFile(name, encoded(quartersPicture(size), "bmp"));
    }
    const FileUrl held = mFolder->urlOf("held.bmp");
    const FileUrl other = mFolder->urlOf("other.bmp");
    QVERIFY(KLImageCache::imageWithURL(held));
    repaint("held.bmp", "YBGR", size);
    repaint("other.bmp", "YBGR", size);
    mLoader->setWanted({held, other});
    QTRY_COMPARE(mArrived.size(), size_t(2));
    QVERIFY(mLoader->isIdle());
    QCOMPARE(KLThumbnailCache::imageWithURL(held).size(), QSize(300, 200));
    QCOMPARE(quarters(KLThumbnailCache::imageWithURL(held), 8), QByteArray("RGBY"));
    QCOMPARE(quarters(KLThumbnailCache::imageWithURL(other), 8), QByteArray("YBGR"));
}

void ThumbnailLoaderTest::whatIsDecodedAheadIsNotDecodedAgain()
{
    constexpr QSize size(2400, 1600);
    mFolder->addFile("next.bmp", encoded(quartersPicture(size), "bmp"));
    const AheadFile next{mFolder->urlOf("next.bmp"), {{900, 600}, 1, FitMode::Stretch}};
    ReadAhead::instance().setWanted({next});
    QTRY_VERIFY(ReadAhead::instance().isReady(next));
    repaint("next.bmp", "YBGR", size);
    mLoader->setWanted({next.url});
    QTRY_COMPARE(mPictures.size(), size_t(1));
    QCOMPARE(mPictures.front().size(), QSize(300, 200));
    QCOMPARE(quarters(mPictures.front(), 8), QByteArray("RGBY"));
    QVERIFY(ReadAhead::instance().isReady(next)); // it is still there for the show
}

void ThumbnailLoaderTest::aCopyOfAnotherShapeIsNoSourceOfAThumbnail()
{
    QImage stripes(1200, 1200, QImage::Format_RGB32);
    for (int line = 0; line < stripes.height(); ++line) {
        std::fill_n(reinterpret_cast<QRgb*>(stripes.scanLine(line)), stripes.width(),
            line / 20 % 2 == 0 ? qRgb(0, 0, 0) : qRgb(255, 255, 255));
    }
    mFolder->addFile("1.png", encoded(stripes, "png"));
    const AheadFile next{mFolder->urlOf("1.png"), {{700, 60}, 1, FitMode::Stretch}};
    ReadAhead::instance().setWanted({next});
    QTRY_VERIFY(ReadAhead::instance().isReady(next));
    mLoader->setWanted({next.url});
    QTRY_COMPARE(mPictures.size(), size_t(1));
    QCOMPARE(mPictures.front().size(), QSize(300, 300));
    QVERIFY(isNear(mPictures.front().pixel(150, 152), qRgb(0, 0, 0), 8));
    QVERIFY(isNear(mPictures.front().pixel(150, 157), qRgb(255, 255, 255), 8));
}

void ThumbnailLoaderTest::whatIsHeldDecodedLooksAsItsFileDoes_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("contents");
    const auto jpeg = [](QSize size) { return encoded(quartersPicture(size), "jpeg"); };
    QTest::newRow("wide") << QByteArray("a.jpg") << jpeg({4001, 2003});
    QTest::newRow("high") << QByteArray("a.jpg") << jpeg({401, 1999});
    QTest::newRow("small") << QByteArray("a.jpg") << jpeg({80, 50});
    QTest::newRow("turned") << QByteArray("a.jpg") << withExif(jpeg({1201, 803}), exifBlock(6));
    QTest::newRow("thin") << QByteArray("a.png") << encoded(quartersPicture({2000, 2}), "png");
    QImage glass(900, 600, QImage::Format_ARGB32);
    glass.fill(QColor(0, 255, 0, 100));
    QTest::newRow("transparent") << QByteArray("a.png") << encoded(glass, "png");
    QTest::newRow("camera raw") << QByteArray("a.dng") << cameraRaw({640, 480}, 1);
}

void ThumbnailLoaderTest::whatIsHeldDecodedLooksAsItsFileDoes()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, contents);
    mFolder->addFile(name, contents);
    const FileUrl url = mFolder->urlOf(name);
    const QImage expected = KLImage::thumbNailFromURL(url);
    QVERIFY(KLImageCache::imageWithURL(url));
    mLoader->setWanted({url});
    QTRY_COMPARE(mPictures.size(), size_t(1));
    const QImage& picture = mPictures.front();
    QCOMPARE(picture.size(), expected.size());
    QCOMPARE(picture.format(), expected.format());
    const auto unlike = [&](double across, double down) {
        const QPoint place(int(across * expected.width()), int(down * expected.height()));
        return !isNear(picture.pixel(place), expected.pixel(place), 8);
    };
    QVERIFY(!unlike(0.25, 0.25) && !unlike(0.75, 0.25) && !unlike(0.25, 0.75) && !unlike(0.75, 0.75));
}

void ThumbnailLoaderTest::theFilesOwnThumbnailIsTakenThoughItsPictureIsHeld()
{
    const auto plain = [](QSize size, Qt::GlobalColor colour) {
        QImage image(size, QImage::Format_RGB32);
        image.fill(colour);
        return encoded(image, "jpeg");
    };
    mFolder->addFile("large.jpg", withExif(plain({1200, 800}, Qt::blue), exifBlock(1, plain({320, 240}, Qt::red))));
    mFolder->addFile("small.jpg", withExif(plain({1200, 800}, Qt::blue), exifBlock(1, plain({160, 120}, Qt::red))));
    const FileUrl large = mFolder->urlOf("large.jpg");
    const FileUrl small = mFolder->urlOf("small.jpg");
    QVERIFY(KLImageCache::imageWithURL(large) && KLImageCache::imageWithURL(small));
    mLoader->setWanted({large, small});
    QTRY_COMPARE(mArrived.size(), size_t(2));
    QCOMPARE(quarters(KLThumbnailCache::imageWithURL(large), 20), QByteArray("RRRR"));
    QCOMPARE(quarters(KLThumbnailCache::imageWithURL(small), 20), QByteArray("BBBB"));
}

void ThumbnailLoaderTest::aHeldPictureWhoseFileHasChangedIsDecodedAgain()
{
    const FileUrl url = add(1);
    QVERIFY(KLImageCache::imageWithURL(url));
    mFolder->addFile("1.png", encoded(quartersOf("YBGR", {600, 400}), "png"));
    mLoader->setWanted({url});
    QTRY_COMPARE(mPictures.size(), size_t(1));
    QCOMPARE(quarters(mPictures.front(), 8), QByteArray("YBGR"));
}

void ThumbnailLoaderTest::aHeldPictureWhoseFileIsGoneHasNone()
{
    const FileUrl url = add(1);
    QVERIFY(KLImageCache::imageWithURL(url));
    QVERIFY(QFile::remove(QString::fromUtf8(mFolder->pathOf("1.png"))));
    mLoader->setWanted({url});
    QTRY_COMPARE(mPictures.size(), size_t(1));
    QVERIFY(mPictures.front().isNull());
    QVERIFY(!KLThumbnailCache::hasImageWithURL(url));
}

QTEST_GUILESS_MAIN(ThumbnailLoaderTest)
#include "ThumbnailLoaderTest.moc"
