#include "CachedPictures.h"
#include "HotFixture.h"
#include "StaysTrue.h"

namespace frameflow {

// How changes in the folder come to be seen: by the system's word, and by looking every five seconds.
class HotFolderWatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { KLImageCache::purge(); }

    void eventsBringNewFiles();
    void eventsTakeVanishedFilesOut();
    void renamedFiles();
    void newSubfolders();
    void folderWithFilesMovesIn();
    void deepFoldersAreNotWatched();
    void oneRescanForABatch();

    void rewrittenCurrentFile();
    void rewrittenOtherFile();
    void replacedCurrentFile();
    void currentFileDeletedAndWrittenAgain();
    void modificationsComeBeforeTheRescan();
    void changeCallbackMayClear();

    void timerLooksEveryFiveSeconds();
    void timerGoesOnWithoutEvents();
    void watchLimitLeavesTheTimer();
    void twoFoldersAreNotWatched();
    void clearEndsTheWatch();
    void secondFolderEndsTheWatch();
    void stopHotfolderEndsTheWatch();
    void scanTimes();
};

void HotFolderWatchTest::eventsBringNewFiles()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "a.jpg");
    f.addFile("c.jpg");
    QVERIFY(f.listBecomes("a.jpg c.jpg b.jpg"));
    QCOMPARE(f.delegate.newFiles, 1);
    f.addFile("d.jpg");
    QVERIFY(f.listBecomes("a.jpg d.jpg c.jpg b.jpg"));
    QCOMPARE(f.delegate.newFiles, 2);
}

void HotFolderWatchTest::eventsTakeVanishedFilesOut()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg c.jpg", "b.jpg");
    f.removeFile("b.jpg");
    QVERIFY(f.listBecomes("a.jpg c.jpg"));
    QCOMPARE(f.current(), "c.jpg");
    QCOMPARE(f.delegate.newFiles, 0);
    QCOMPARE(f.delegate.changes, 0);
}

void HotFolderWatchTest::renamedFiles()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "a.jpg");
    f.rename("hot/b.jpg", "hot/c.jpg");
    QVERIFY(f.listBecomes("a.jpg c.jpg"));
    f.rename("hot/c.jpg", "c.jpg");
    QVERIFY(f.listBecomes("a.jpg"));
    f.rename("c.jpg", "hot/d.jpg");
    QVERIFY(f.listBecomes("a.jpg d.jpg"));
}

void HotFolderWatchTest::newSubfolders()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg", "a.jpg");
    f.outside.addFolder("hot/sub");
    f.addFile("sub/b.jpg");
    QVERIFY(f.listBecomes("a.jpg sub/b.jpg"));
    f.addFile("sub/c.jpg");
    QVERIFY(f.listBecomes("a.jpg sub/c.jpg sub/b.jpg"));
    f.addFile("sub/deep/d.jpg");
    QVERIFY(f.listBecomes("a.jpg sub/deep/d.jpg sub/c.jpg sub/b.jpg"));
    f.addFile("sub/deep/e.jpg");
    QVERIFY(f.listBecomes("a.jpg sub/deep/e.jpg sub/deep/d.jpg sub/c.jpg sub/b.jpg"));
}

void HotFolderWatchTest::folderWithFilesMovesIn()
{
    HotFixture f;
    f.outside.addFile("other/deep/b.jpg");
    f.watchByEventsOnly("a.jpg", "a.jpg");
    f.rename("other", "hot/other");
    QVERIFY(f.listBecomes("a.jpg other/deep/b.jpg"));
    f.addFile("other/deep/c.jpg");
    QVERIFY(f.listBecomes("a.jpg other/deep/c.jpg other/deep/b.jpg"));
    f.rename("hot/other", "other");
    QVERIFY(f.listBecomes("a.jpg"));
}

void HotFolderWatchTest::deepFoldersAreNotWatched()
{
    HotFixture f;
    f.set(keys::maxFolderLevel, 2);
    f.outside.addFolder("hot/sub/deep");
    f.watchByEventsOnly("a.jpg", "a.jpg");
    const auto scanned = f.sequence.lastHotfolderScan();
    f.addFile("sub/deep/b.jpg");
    QVERIFY(staysTrueFor(std::chrono::milliseconds(50), [&] { return f.clock.pendingAlarms() == 0; }));
    QVERIFY(f.sequence.lastHotfolderScan() == scanned);
    f.addFile("sub/c.jpg");
    QVERIFY(f.listBecomes("a.jpg sub/c.jpg"));
}

void HotFolderWatchTest::oneRescanForABatch()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg", "a.jpg");
    const auto scanned = f.sequence.lastHotfolderScan();
    f.addFiles("b.jpg c.jpg d.jpg");
    QTRY_COMPARE(f.clock.pendingAlarms(), size_t(1));
    // Before time goes on, the word of all three has come.
    QTRY_COMPARE(HotFixture::unreadEvents(), 0);
    QVERIFY(staysTrueFor(std::chrono::milliseconds(50), [&] { return f.clock.pendingAlarms() == 1; }));
    f.clock.advanceSeconds(0.9);
    QVERIFY(f.sequence.lastHotfolderScan() == scanned);
    QVERIFY(f.listBecomes("a.jpg b.jpg c.jpg d.jpg"));
    QCOMPARE(f.delegate.newFiles, 1);
    QCOMPARE(f.clock.pendingAlarms(), size_t(0));
}

void HotFolderWatchTest::rewrittenCurrentFile()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "b.jpg");
    const auto scanned = f.sequence.lastHotfolderScan();
    cache(f.urlOf("a.jpg"));
    cache(f.urlOf("b.jpg"));
    bool wasCached = true;
    f.delegate.onChange = [&] { wasCached = isCached(f.urlOf("b.jpg")); };
    f.addFile("b.jpg", "new");
    QVERIFY(f.comesTrue([&] { return f.delegate.changes == 1; }));
    QVERIFY(!wasCached);
    QVERIFY(isCached(f.urlOf("a.jpg")));
    QVERIFY(f.sequence.lastHotfolderScan() == scanned);
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QCOMPARE(f.delegate.newFiles, 0);
}

void HotFolderWatchTest::rewrittenOtherFile()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "b.jpg");
    cache(f.urlOf("a.jpg"));
    f.addFile("a.jpg", "new");
    QVERIFY(f.comesTrue([&] { return !isCached(f.urlOf("a.jpg")); }));
    QCOMPARE(f.delegate.changes, 0);
}

// As a careful program saves: under another name first.
void HotFolderWatchTest::replacedCurrentFile()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "a.jpg");
    cache(f.urlOf("a.jpg"));
    f.addFile("a.jpg.new", "new");
    f.rename("hot/a.jpg.new", "hot/a.jpg");
    QVERIFY(f.comesTrue([&] { return f.delegate.changes == 1; }));
    QVERIFY(!isCached(f.urlOf("a.jpg")));
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QCOMPARE(f.current(), "a.jpg");
    QCOMPARE(f.delegate.newFiles, 0);
}

void HotFolderWatchTest::currentFileDeletedAndWrittenAgain()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg c.jpg", "b.jpg");
    f.removeFile("b.jpg");
    f.addFile("b.jpg", "new");
    QVERIFY(f.comesTrue([&] { return f.delegate.changes == 1; }));
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg");
    QCOMPARE(f.current(), "b.jpg");
}

void HotFolderWatchTest::modificationsComeBeforeTheRescan()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "b.jpg");
    QByteArray namesThen;
    f.delegate.onChange = [&] { namesThen = f.names(); };
    f.removeFile("a.jpg");
    f.addFile("b.jpg", "new");
    f.addFile("c.jpg");
    QVERIFY(f.listBecomes("b.jpg c.jpg"));
    QCOMPARE(f.delegate.changes, 1);
    QCOMPARE(namesThen, "a.jpg b.jpg");
}

void HotFolderWatchTest::changeCallbackMayClear()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "b.jpg");
    f.delegate.onChange = [&] { f.sequence.clear(); };
    f.addFiles("b.jpg c.jpg");
    QVERIFY(f.comesTrue([&] { return f.delegate.changes == 1; }));
    QCOMPARE(f.sequence.count(), size_t(0));
    QVERIFY(!f.sequence.isRescanning());
}

void HotFolderWatchTest::timerLooksEveryFiveSeconds()
{
    HotFixture f;
    f.watchByTimerOnly("a.jpg", "a.jpg");
    f.addFile("b.jpg");
    f.clock.advanceSeconds(4.9);
    QVERIFY(!f.sequence.isRescanning());
    f.clock.advanceSeconds(0.1);
    QVERIFY(f.sequence.isRescanning());
    QTRY_COMPARE(f.names(), "a.jpg b.jpg");
    f.removeFile("b.jpg");
    QTRY_VERIFY(!f.sequence.isRescanning());
    f.clock.advanceSeconds(4.9);
    QVERIFY(!f.sequence.isRescanning());
    f.clock.advanceSeconds(0.1);
    QTRY_COMPARE(f.names(), "a.jpg");
}

void HotFolderWatchTest::timerGoesOnWithoutEvents()
{
    HotFixture f;
    f.watchByTimerOnly("a.jpg", "a.jpg");
    for (const char* name : {"b.jpg", "c.jpg", "d.jpg"}) {
        f.addFile(name);
        QVERIFY(f.comesTrue([&] { return f.names().contains(name); }));
    }
    QCOMPARE(f.names(), "a.jpg d.jpg c.jpg b.jpg");
}

void HotFolderWatchTest::watchLimitLeavesTheTimer()
{
    HotFixture f;
    f.outside.addFolder("hot/one");
    f.outside.addFolder("hot/two");
    f.sequence.setMostWatches(1);
    f.watch("a.jpg", "a.jpg");
    f.addFile("one/b.jpg");
    f.addFile("two/c.jpg");
    f.clock.advanceSeconds(4);
    QCOMPARE(f.names(), "a.jpg");
    QVERIFY(f.listBecomes("a.jpg one/b.jpg two/c.jpg"));
    // What is watched is told as before.
    f.sequence.stopTimer();
    f.addFile("d.jpg");
    QVERIFY(f.listBecomes("a.jpg d.jpg one/b.jpg two/c.jpg"));
}

void HotFolderWatchTest::twoFoldersAreNotWatched()
{
    HotFixture f;
    f.sequence.addURLs({f.hotFolder(), FileUrl::fromPath(f.outside.addFolder("other"))});
    QCOMPARE(f.clock.pendingAlarms(), size_t(0));
    f.addFile("a.jpg");
    QVERIFY(staysTrueFor(std::chrono::milliseconds(50), [&] { return f.clock.pendingAlarms() == 0; }));
    f.clock.advanceSeconds(10);
    QVERIFY(!f.sequence.isRescanning());
    QVERIFY(f.sequence.lastHotfolderScan() == FileSequence::ScanTime());
    QCOMPARE(f.sequence.count(), size_t(0));
}

void HotFolderWatchTest::clearEndsTheWatch()
{
    HotFixture f;
    f.watch("a.jpg");
    f.addFile("b.jpg");
    f.sequence.clear();
    QCOMPARE(f.clock.pendingAlarms(), size_t(0));
    f.addFile("c.jpg");
    QVERIFY(staysTrueFor(std::chrono::milliseconds(50), [&] { return f.clock.pendingAlarms() == 0; }));
    QCOMPARE(f.sequence.count(), size_t(0));
}

void HotFolderWatchTest::secondFolderEndsTheWatch()
{
    HotFixture f;
    f.watch("a.jpg");
    f.sequence.addURLs({FileUrl::fromPath(f.outside.addFolder("other"))});
    QCOMPARE(f.clock.pendingAlarms(), size_t(0));
    f.addFile("b.jpg");
    QVERIFY(staysTrueFor(std::chrono::milliseconds(50), [&] { return f.clock.pendingAlarms() == 0; }));
    QCOMPARE(f.names(), "a.jpg");
}

void HotFolderWatchTest::stopHotfolderEndsTheWatch()
{
    HotFixture f;
    f.watch("a.jpg");
    f.sequence.stopHotfolder();
    QVERIFY(f.sequence.hotFolder().isEmpty());
    QCOMPARE(f.clock.pendingAlarms(), size_t(0));
    QVERIFY(!f.sequence.setupFSEvents());
}

void HotFolderWatchTest::scanTimes()
{
    HotFixture f;
    f.watch();
    const auto isBetween = [&](auto from, auto to) {
        return f.sequence.lastHotfolderScan() >= from && f.sequence.lastHotfolderScan() <= to;
    };
    using std::chrono::system_clock;
    auto before = system_clock::now();
    f.sequence.resetHotFolderScanTime();
    QVERIFY(isBetween(before - std::chrono::seconds(5), system_clock::now() - std::chrono::seconds(5)));
    before = system_clock::now();
    f.sequence.updateHotFolder();
    QVERIFY(isBetween(before, system_clock::now()));
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::HotFolderWatchTest)
#include "HotFolderWatchTest.moc"
