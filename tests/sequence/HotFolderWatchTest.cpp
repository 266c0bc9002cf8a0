#include "HotFixture.h"
#include "KLImage.h"
#include "KLImageCache.h"
#include "StaysTrue.h"

#include <QImage>

#include <sys/stat.h>

namespace frameflow {

namespace {

bool isCached(const FileUrl& url)
{
    return KLImageCache::instance().findImageWithURL(url) != nullptr;
}

void cache(const FileUrl& url)
{
    KLImageCache::instance().addImage(std::make_shared<KLImage>(url, QImage(2, 2, QImage::Format_RGB32), 1));
}

} // namespace

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

    void fileJoinsWhenItIsWhole();
    void unfinishedFileIsNotFoundByLooking();
    void unfinishedFileInANewFolder();
    void unfinishedFileUnderAnotherName();
    void reservedNameJoinsWhenItIsWritten_data();
    void reservedNameJoinsWhenItIsWritten();
    void itemBeingRewrittenStays();

    void vanishedFolder_data();
    void vanishedFolder();
    void folderReplacedByAnother();
    void linkToTheFolderIsTurned();
    void unreadableFolder_data();
    void unreadableFolder();

    void burst();
    void filesThatAppearAndVanish();
    void lostEvents();
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

void HotFolderWatchTest::fileJoinsWhenItIsWhole()
{
    HotFixture f;
    f.watch("a.jpg", "a.jpg");
    FileInWriting file(f.pathOf("b.jpg"));
    f.addFile("c.jpg");
    QVERIFY(f.listBecomes("a.jpg c.jpg")); // a rescan, which passes the unfinished one over
    file.writeMore();
    f.clock.advanceSeconds(20);
    QTRY_VERIFY(!f.sequence.isRescanning());
    QCOMPARE(f.names(), "a.jpg c.jpg");
    f.sequence.stopTimer();
    file.close();
    QVERIFY(f.listBecomes("a.jpg b.jpg c.jpg"));
}

void HotFolderWatchTest::unfinishedFileIsNotFoundByLooking()
{
    HotFixture f;
    f.watchByTimerOnly("a.jpg", "a.jpg");
    FileInWriting file(f.pathOf("b.jpg"));
    for (int i = 0; i < 15; ++i) {
        f.clock.advanceSeconds(5);
        QTRY_VERIFY(!f.sequence.isRescanning());
    }
    QCOMPARE(f.names(), "a.jpg");
    file.close();
    QVERIFY(f.listBecomes("a.jpg b.jpg"));
}

// Nobody saw it being created: the folder was not watched yet.
void HotFolderWatchTest::unfinishedFileInANewFolder()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg", "a.jpg");
    f.outside.addFolder("hot/sub");
    FileInWriting file(f.pathOf("sub/b.jpg"));
    f.addFile("sub/c.jpg");
    QVERIFY(f.listBecomes("a.jpg sub/c.jpg"));
    file.close();
    QVERIFY(f.listBecomes("a.jpg sub/b.jpg sub/c.jpg"));
}

void HotFolderWatchTest::unfinishedFileUnderAnotherName()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg", "a.jpg");
    FileInWriting file(f.pathOf("b.jpg.part"));
    f.rename("hot/b.jpg.part", "hot/b.jpg");
    f.addFile("c.jpg");
    QVERIFY(f.listBecomes("a.jpg c.jpg"));
    file.close();
    QVERIFY(f.listBecomes("a.jpg b.jpg c.jpg"));
}

void HotFolderWatchTest::reservedNameJoinsWhenItIsWritten_data()
{
    QTest::addColumn<bool>("byEvents");
    QTest::newRow("told") << true;
    QTest::newRow("looked at") << false;
}

// An empty file is no picture yet. Downloads begin so, and end by being renamed over it.
void HotFolderWatchTest::reservedNameJoinsWhenItIsWritten()
{
    QFETCH(const bool, byEvents);
    HotFixture f;
    byEvents ? f.watchByEventsOnly("a.jpg", "a.jpg") : f.watchByTimerOnly("a.jpg", "a.jpg");
    f.addFile("b.jpg", "");
    f.addFile("c.jpg", "");
    f.addFile("d.jpg");
    QVERIFY(f.listBecomes("a.jpg d.jpg"));
    f.addFile("b.jpg");
    QVERIFY(f.listBecomes("a.jpg b.jpg d.jpg"));
    f.addFile("c.jpg.part");
    f.rename("hot/c.jpg.part", "hot/c.jpg");
    QVERIFY(f.listBecomes("a.jpg c.jpg b.jpg d.jpg"));
}

void HotFolderWatchTest::itemBeingRewrittenStays()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "b.jpg");
    FileInWriting file(f.pathOf("b.jpg"));
    f.rescan();
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QCOMPARE(f.delegate.changes, 0);
    file.close();
    QVERIFY(f.comesTrue([&] { return f.delegate.changes == 1; }));
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QCOMPARE(f.current(), "b.jpg");
}

void HotFolderWatchTest::vanishedFolder_data()
{
    QTest::addColumn<bool>("byEvents");
    QTest::addColumn<bool>("deleted");
    QTest::newRow("renamed, told") << true << false;
    QTest::newRow("renamed, looked at") << false << false;
    QTest::newRow("deleted, told") << true << true;
    QTest::newRow("deleted, looked at") << false << true;
}

void HotFolderWatchTest::vanishedFolder()
{
    QFETCH(const bool, byEvents);
    QFETCH(const bool, deleted);
    HotFixture f;
    byEvents ? f.watchByEventsOnly("a.jpg b.jpg", "b.jpg") : f.watchByTimerOnly("a.jpg b.jpg", "b.jpg");
    if (deleted) {
        f.removeFile("a.jpg");
        f.removeFile("b.jpg");
        QCOMPARE(rmdir(f.outside.pathOf("hot").constData()), 0);
    } else {
        f.rename("hot", "gone");
    }
    QVERIFY(f.listBecomes(""));
    QCOMPARE(f.sequence.currentIndex(), nowhere);
    QCOMPARE(f.delegate.newFiles, 0);
    QCOMPARE(f.delegate.changes, 0);

    // Its return is found by looking; from then on changes are told again.
    f.sequence.startTimer();
    if (deleted) {
        f.addFiles("a.jpg b.jpg");
    } else {
        f.rename("gone", "hot");
    }
    QVERIFY(f.listBecomes("a.jpg b.jpg"));
    QVERIFY(f.delegate.newFiles >= 1);
    if (byEvents) {
        f.sequence.stopTimer();
        f.addFile("c.jpg");
        QVERIFY(f.comesTrue([&] { return f.names().contains("c.jpg"); }));
    }
}

void HotFolderWatchTest::folderReplacedByAnother()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "b.jpg");
    f.outside.addFile("other/b.jpg");
    f.outside.addFile("other/c.jpg");
    f.rename("hot", "gone");
    f.rename("other", "hot");
    QVERIFY(f.listBecomes("b.jpg c.jpg"));
    f.outside.addFile("gone/d.jpg");
    f.addFile("e.jpg");
    QVERIFY(f.listBecomes("b.jpg e.jpg c.jpg"));
}

void HotFolderWatchTest::linkToTheFolderIsTurned()
{
    HotFixture f;
    f.outside.addFile("one/a.jpg");
    f.outside.addFile("two/b.jpg");
    f.outside.addLink("hot/link", f.outside.pathOf("one"));
    f.sequence.addURLs({f.urlOf("link")});
    QCOMPARE(f.names(), "link/a.jpg");
    QCOMPARE(unlink(f.pathOf("link").constData()), 0);
    f.outside.addLink("hot/link", f.outside.pathOf("two"));
    QVERIFY(f.listBecomes("link/b.jpg"));
}

void HotFolderWatchTest::unreadableFolder_data()
{
    QTest::addColumn<QByteArray>("closed");
    QTest::addColumn<QByteArray>("left");
    QTest::newRow("the hot folder") << QByteArray("hot") << QByteArray();
    QTest::newRow("a subfolder") << QByteArray("hot/sub") << QByteArray("a.jpg");
}

void HotFolderWatchTest::unreadableFolder()
{
    QFETCH(const QByteArray, closed);
    QFETCH(const QByteArray, left);
    HotFixture f;
    f.watchByEventsOnly("a.jpg sub/b.jpg", "a.jpg");
    const QByteArray path = f.outside.pathOf(closed);
    QCOMPARE(chmod(path.constData(), 0), 0);
    // Whoever may read everything still sees it.
    const bool isSeen = access(path.constData(), R_OK) == 0;
    QVERIFY(f.listBecomes(isSeen ? "a.jpg sub/b.jpg" : left));
    QCOMPARE(f.delegate.newFiles, 0);
    QCOMPARE(chmod(path.constData(), 0700), 0);
    f.sequence.startTimer();
    QVERIFY(f.listBecomes("a.jpg sub/b.jpg"));
    f.sequence.stopTimer();
    f.addFile("sub/c.jpg");
    QVERIFY(f.comesTrue([&] { return f.names().contains("sub/c.jpg"); }));
}

void HotFolderWatchTest::burst()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg z.jpg", "a.jpg");
    constexpr int count = 10000;
    for (int i = 0; i < count; ++i) {
        f.addFile(QByteArray::number(i) + ".jpg");
    }
    QVERIFY(f.comesTrue([&] { return f.sequence.count() == count + 2; }));
    QCOMPARE(f.current(), "a.jpg");
    QCOMPARE(f.sequence.URLAtIndex(count + 1), f.urlOf("z.jpg"));
    for (int i = 0; i < count; i += 2) {
        f.removeFile(QByteArray::number(i) + ".jpg");
    }
    QVERIFY(f.comesTrue([&] { return f.sequence.count() == count / 2 + 2; }));
    for (size_t i = 0; i < f.sequence.count(); ++i) {
        QVERIFY(access(f.sequence.URLAtIndex(i).path().constData(), F_OK) == 0);
    }
    QCOMPARE(f.delegate.changes, 0);
}

void HotFolderWatchTest::filesThatAppearAndVanish()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "a.jpg");
    for (int i = 0; i < 100; ++i) {
        f.addFile("c.jpg");
        f.removeFile("c.jpg");
    }
    f.addFile("d.jpg");
    QVERIFY(f.listBecomes("a.jpg d.jpg b.jpg"));
    QCOMPARE(f.delegate.newFiles, 1);
}

void HotFolderWatchTest::lostEvents()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "a.jpg");
    cache(f.urlOf("a.jpg"));
    cache(f.urlOf("b.jpg"));
    const QByteArray source = f.outside.addFile("source");
    constexpr int count = 33000; // more than one batch holds
    for (int i = 0; i < count; ++i) {
        QCOMPARE(link(source.constData(), f.pathOf(QByteArray::number(i) + ".jpg").constData()), 0);
    }
    QVERIFY(QTest::qWaitFor([&] { return f.clock.pendingAlarms() == 1; }));
    QVERIFY(f.comesTrue([&] { return f.sequence.count() == count + 2; }));
    QCOMPARE(f.delegate.changes, 1); // nobody knows
    QVERIFY(!isCached(f.urlOf("a.jpg")));
    QVERIFY(!isCached(f.urlOf("b.jpg")));
    QCOMPARE(f.current(), "a.jpg");
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::HotFolderWatchTest)
#include "HotFolderWatchTest.moc"
