#include "ReadAhead.h"

#include "DecoderPool.h"
#include "KLImageCache.h"
#include "PictureFiles.h"
#include "Reduction.h"
#include "StaysTrue.h"

#include <QFile>
#include <QTest>

#include <thread>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

const QSize large(640, 480);

FrameRule fixed(QSize pixels)
{
    return {pixels, 1, FitMode::Stretch};
}

} // namespace

// Slides decoded before they are asked for.
class ReadAheadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void whatIsWantedBecomesReady();
    void whatIsReadIsReducedToo();
    void noMoreThanThreeAreHeld();
    void whatIsNoLongerNextIsDropped();
    void whatIsTakenIsNoLongerHeld();
    void aFileWithoutAPictureIsKnownToHaveNone();
    void aFileThatChangedIsDecodedAgain();
    void aFileThatWasRemovedIsNotShownFromMemory();
    void whatTheCacheHoldsIsNotDecodedAgain();
    void aCachedPictureIsReducedForANewFrame();
    void anotherFrameMakesAFinishedPictureUnready();
    void askingTellsOnceFromTheEventLoop();
    void askingForWhatIsUnderWayJoinsIt();
    void aLaterQuestionReplacesAnEarlierOne();
    void aCancelledQuestionIsNotAnswered();
    void takingWaitsForWhatIsUnderWay();
    void takingWorksOnAnyThread();
    void purgingDropsAll();
    void aChangedFileIsNoticed();

private:
    FileUrl add(const QByteArray& name, QSize size = large) const
    {
        mFolder->addFile(name, encoded(quartersPicture(size), "png"));
        return mFolder->urlOf(name);
    }
    bool becomesReady(const AheadFile& file) const
    {
        return QTest::qWaitFor([&] { return mReadAhead->isReady(file); }, 20000);
    }

    std::unique_ptr<TestFolder> mFolder;
    std::unique_ptr<ReadAhead> mReadAhead;
};

void ReadAheadTest::init()
{
    mFolder = std::make_unique<TestFolder>();
    mReadAhead = std::make_unique<ReadAhead>(DecoderPool::instance());
    KLImageCache::purge();
}

void ReadAheadTest::cleanup()
{
    mReadAhead.reset();
    KLImageCache::purge();
}

void ReadAheadTest::whatIsWantedBecomesReady()
{
    const AheadFile file{add("1.png"), {}};
    QVERIFY(!mReadAhead->isReady(file));
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    const KLImagePtr image = mReadAhead->take(file.url);
    QVERIFY(image);
    QCOMPARE(quarters(image->getCGImage(), 8), QByteArray("RGBY"));
    QCOMPARE(image->mURL(), file.url);
}

void ReadAheadTest::whatIsReadIsReducedToo()
{
    const AheadFile file{add("1.png"), fixed({64, 48})};
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    const KLImagePtr image = mReadAhead->take(file.url);
    QCOMPARE(image->reduced(), reducedTo(image->getCGImage(), {64, 48}));
    QCOMPARE(image->getCGImage().size(), large); // and true pixels are there as well
}

void ReadAheadTest::noMoreThanThreeAreHeld()
{
    constexpr int count = 6;
    std::vector<AheadFile> files;
    files.reserve(count);
    for (int i = 0; i < count; ++i) {
        files.push_back({add(QByteArray::number(i) + ".png"), {}});
    }
    mReadAhead->setWanted(files);
    for (size_t i = 0; i < ReadAhead::mostFiles; ++i) {
        QVERIFY(becomesReady(files[i]));
    }
    QCOMPARE(mReadAhead->files().size(), ReadAhead::mostFiles);
    QVERIFY(!mReadAhead->isReady(files[3]));
}

void ReadAheadTest::whatIsNoLongerNextIsDropped()
{
    const AheadFile first{add("1.png"), {}};
    const AheadFile second{add("2.png"), {}};
    mReadAhead->setWanted({first});
    QVERIFY(becomesReady(first));
    mReadAhead->setWanted({second});
    QVERIFY(!mReadAhead->isReady(first));
    QCOMPARE(mReadAhead->files(), std::vector{second.url});
    QVERIFY(becomesReady(second));
}

void ReadAheadTest::whatIsTakenIsNoLongerHeld()
{
    const AheadFile file{add("1.png"), {}};
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    QVERIFY(mReadAhead->take(file.url));
    QVERIFY(mReadAhead->files().empty());
}

void ReadAheadTest::aFileWithoutAPictureIsKnownToHaveNone()
{
    const AheadFile file{FileUrl::fromPath(mFolder->addFile("1.png", "no picture")), {}};
    const AheadFile missing{mFolder->urlOf("2.png"), {}};
    mReadAhead->setWanted({file, missing});
    QVERIFY(becomesReady(file));
    QVERIFY(becomesReady(missing));
    QVERIFY(!mReadAhead->take(file.url));
    QVERIFY(!mReadAhead->take(missing.url));
}

void ReadAheadTest::aFileThatChangedIsDecodedAgain()
{
    const AheadFile file{add("1.png"), {}};
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    mFolder->addFile("1.png", encoded(quartersOf("YYYY", {20, 10}), "png"));
    QVERIFY(!mReadAhead->isReady(file));
    bool ready = false;
    mReadAhead->ask(file, [&] { ready = true; });
    QTRY_VERIFY(ready);
    QCOMPARE(quarters(mReadAhead->take(file.url)->getCGImage(), 8), QByteArray("YYYY"));
}

void ReadAheadTest::aFileThatWasRemovedIsNotShownFromMemory()
{
    const AheadFile file{add("1.png"), {}};
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    QVERIFY(QFile::remove(QString::fromUtf8(mFolder->pathOf("1.png"))));
    QVERIFY(!mReadAhead->isReady(file));
    bool ready = false;
    mReadAhead->ask(file, [&] { ready = true; });
    QTRY_VERIFY(ready);
    QVERIFY(!mReadAhead->take(file.url));
}

void ReadAheadTest::whatTheCacheHoldsIsNotDecodedAgain()
{
    const AheadFile file{add("1.png"), {}};
    QVERIFY(KLImageCache::imageWithURL(file.url));
    mReadAhead->setWanted({file});
    QVERIFY(mReadAhead->files().empty());
    QVERIFY(mReadAhead->isReady(file));
}

void ReadAheadTest::aCachedPictureIsReducedForANewFrame()
{
    const AheadFile file{add("1.png"), fixed({64, 48})};
    const KLImagePtr image = KLImageCache::imageWithURL(file.url);
    QVERIFY(!mReadAhead->isReady(file));
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    QCOMPARE(image->reduced().size(), QSize(64, 48));
    const AheadFile smaller{file.url, fixed({32, 24})};
    QVERIFY(!mReadAhead->isReady(smaller));
    bool ready = false;
    mReadAhead->ask(smaller, [&] { ready = true; });
    QVERIFY(!ready);
    QTRY_VERIFY(ready);
    QCOMPARE(image->reduced().size(), QSize(32, 24));
}

void ReadAheadTest::anotherFrameMakesAFinishedPictureUnready()
{
    const FileUrl url = add("1.png");
    mReadAhead->setWanted({{url, fixed({64, 48})}});
    QVERIFY(becomesReady({url, fixed({64, 48})}));
    QVERIFY(!mReadAhead->isReady({url, fixed({100, 75})}));
    QVERIFY(mReadAhead->isReady({url, fixed({1280, 960})})); // nothing to reduce
    bool ready = false;
    mReadAhead->ask({url, fixed({100, 75})}, [&] { ready = true; });
    QTRY_VERIFY(ready);
    QCOMPARE(mReadAhead->take(url)->reduced().size(), QSize(100, 75));
}

void ReadAheadTest::askingTellsOnceFromTheEventLoop()
{
    const AheadFile file{add("1.png"), {}};
    int told = 0;
    mReadAhead->ask(file, [&] { ++told; });
    QVERIFY(mReadAhead->isAsking());
    QCOMPARE(told, 0);
    QTRY_COMPARE(told, 1);
    QVERIFY(!mReadAhead->isAsking());
    QVERIFY(mReadAhead->isReady(file) || mReadAhead->files().empty());
    QVERIFY(staysTrueFor(200ms, [&] { return told == 1; }));
}

void ReadAheadTest::askingForWhatIsUnderWayJoinsIt()
{
    const AheadFile file{add("1.png", {3000, 2000}), {}};
    mReadAhead->setWanted({file});
    bool ready = false;
    mReadAhead->ask(file, [&] { ready = true; });
    QCOMPARE(mReadAhead->files().size(), size_t(1));
    QTRY_VERIFY(ready);
    QVERIFY(mReadAhead->take(file.url));
}

void ReadAheadTest::aLaterQuestionReplacesAnEarlierOne()
{
    const AheadFile first{add("1.png", {3000, 2000}), {}};
    const AheadFile second{add("2.png"), {}};
    bool firstTold = false;
    bool secondTold = false;
    mReadAhead->ask(first, [&] { firstTold = true; });
    mReadAhead->ask(second, [&] { secondTold = true; });
    QTRY_VERIFY(secondTold);
    QVERIFY(staysTrueFor(200ms, [&] { return !firstTold; }));
}

void ReadAheadTest::aCancelledQuestionIsNotAnswered()
{
    const AheadFile file{add("1.png"), {}};
    bool told = false;
    mReadAhead->ask(file, [&] { told = true; });
    mReadAhead->cancelAsked();
    QVERIFY(!mReadAhead->isAsking());
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    QVERIFY(staysTrueFor(200ms, [&] { return !told; }));
}

void ReadAheadTest::takingWaitsForWhatIsUnderWay()
{
    const AheadFile file{add("1.png", {3000, 2000}), {}};
    mReadAhead->setWanted({file});
    const KLImagePtr image = mReadAhead->take(file.url);
    QVERIFY(image);
    QCOMPARE(image->width(), 3000U);
}

void ReadAheadTest::takingWorksOnAnyThread()
{
    const AheadFile file{add("1.png"), {}};
    const FileUrl other = add("2.png");
    mReadAhead->setWanted({file});
    std::vector<std::thread> threads;
    std::array<KLImagePtr, 4> images;
    for (size_t i = 0; i < images.size(); ++i) {
        threads.emplace_back([&, i] { images.at(i) = mReadAhead->take(i % 2 == 0 ? file.url : other); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const KLImagePtr& image : images) {
        QVERIFY(image);
    }
}

void ReadAheadTest::purgingDropsAll()
{
    const AheadFile first{add("1.png"), {}};
    const AheadFile second{add("2.png", {3000, 2000}), {}};
    mReadAhead->setWanted({first, second});
    QVERIFY(becomesReady(first));
    bool told = false;
    mReadAhead->ask(second, [&] { told = true; });
    mReadAhead->purge();
    QVERIFY(mReadAhead->files().empty());
    QVERIFY(!mReadAhead->isAsking());
    QVERIFY(staysTrueFor(200ms, [&] { return !told; }));
}

void ReadAheadTest::aChangedFileIsNoticed()
{
    const FileUrl url = add("1.png");
    const KLImagePtr image = mReadAhead->take(url);
    int changes = 0;
    mReadAhead->lookAt(image, [&] { ++changes; });
    QVERIFY(staysTrueFor(200ms, [&] { return changes == 0; }));
    mFolder->addFile("1.png", encoded(quartersOf("YYYY", {20, 10}), "png"));
    mReadAhead->lookAt(image, [&] { ++changes; });
    QTRY_COMPARE(changes, 1);
    QVERIFY(QFile::remove(QString::fromUtf8(mFolder->pathOf("1.png"))));
    mReadAhead->lookAt(image, [&] { ++changes; });
    QVERIFY(staysTrueFor(200ms, [&] { return changes == 1; }));
}

QTEST_GUILESS_MAIN(ReadAheadTest)
#include "ReadAheadTest.moc"
