#include "ThumbnailLoader.h"

#include "DecoderPool.h"
#include "KLThumbnailCache.h"
#include "PictureFiles.h"
#include "StaysTrue.h"

#include <QTest>

#include <algorithm>

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

QTEST_GUILESS_MAIN(ThumbnailLoaderTest)
#include "ThumbnailLoaderTest.moc"
