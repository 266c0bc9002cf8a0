#include "CachedPictures.h"
#include "HotFixture.h"

#include <sys/stat.h>

namespace frameflow {

// Files that are not whole yet, folders that go away and come back, and more changes than can be told.
class HotFolderTroubleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { KLImageCache::purge(); }

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

void HotFolderTroubleTest::fileJoinsWhenItIsWhole()
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

void HotFolderTroubleTest::unfinishedFileIsNotFoundByLooking()
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
void HotFolderTroubleTest::unfinishedFileInANewFolder()
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

void HotFolderTroubleTest::unfinishedFileUnderAnotherName()
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

void HotFolderTroubleTest::reservedNameJoinsWhenItIsWritten_data()
{
    QTest::addColumn<bool>("byEvents");
    QTest::newRow("told") << true;
    QTest::newRow("looked at") << false;
}

// An empty file is no picture yet. Downloads begin so, and end by being renamed over it.
void HotFolderTroubleTest::reservedNameJoinsWhenItIsWritten()
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

void HotFolderTroubleTest::itemBeingRewrittenStays()
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

void HotFolderTroubleTest::vanishedFolder_data()
{
    QTest::addColumn<bool>("byEvents");
    QTest::addColumn<bool>("deleted");
    QTest::newRow("renamed, told") << true << false;
    QTest::newRow("renamed, looked at") << false << false;
    QTest::newRow("deleted, told") << true << true;
    QTest::newRow("deleted, looked at") << false << true;
}

void HotFolderTroubleTest::vanishedFolder()
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

void HotFolderTroubleTest::folderReplacedByAnother()
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

void HotFolderTroubleTest::linkToTheFolderIsTurned()
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

void HotFolderTroubleTest::unreadableFolder_data()
{
    QTest::addColumn<QByteArray>("closed");
    QTest::addColumn<QByteArray>("left");
    QTest::newRow("the hot folder") << QByteArray("hot") << QByteArray();
    QTest::newRow("a subfolder") << QByteArray("hot/sub") << QByteArray("a.jpg");
}

void HotFolderTroubleTest::unreadableFolder()
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

void HotFolderTroubleTest::burst()
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

void HotFolderTroubleTest::filesThatAppearAndVanish()
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

void HotFolderTroubleTest::lostEvents()
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

QTEST_GUILESS_MAIN(frameflow::HotFolderTroubleTest)
#include "HotFolderTroubleTest.moc"
