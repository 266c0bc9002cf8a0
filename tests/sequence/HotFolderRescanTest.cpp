#include "HotFixture.h"
#include "StaysTrue.h"

#include <sys/stat.h>

namespace frameflow {

// What a rescan does to the list, whatever has caused it.
class HotFolderRescanTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newFilesComeAfterTheCurrentOne();
    void newFilesJoinTheOrder();
    void newFilesInRandomOrderKeepTheirPlace();
    void vanishedFilesLeaveQuietly();
    void vanishedCurrentFileMovesTheCursorToTheLast();
    void unchangedFolderTellsNobody();
    void allVanish();
    void filesComeIntoAnEmptySequence();
    void removedFileDoesNotReturn();
    void removedFileInTheListLeaves();
    void trashedFileDoesNotReturn();
    void trashedFileMayReturnAfterAClear();
    void duplicateDoesNotReturn();
    void newDuplicatesLeave();
    void oldDuplicatesLeaveWhenNewFilesCome();
    void duplicatesThatACollectionLeftGoWhenNewFilesCome();
    void depthIsLimited_data();
    void depthIsLimited();
    void changedDepthCounts();
    void hiddenAndUnknownFilesAreLeftOut();
    void filesFromElsewhereLeave();
    void vanishedFolderEmptiesTheSequence();
    void withoutAHotFolderNothingHappens();
    void renamedFileIsANewOne();
    void orderIsSortedAfterwardsWhereItHasTo();
};

void HotFolderRescanTest::newFilesComeAfterTheCurrentOne()
{
    HotFixture f;
    f.watch("0.jpg 1.jpg 2.jpg 3.jpg 4.jpg 5.jpg 6.jpg 7.jpg 8.jpg 9.jpg", "3.jpg");
    f.addFiles("y10.jpg y9.jpg");
    f.rescan();
    QCOMPARE(f.names(), "0.jpg 1.jpg 2.jpg 3.jpg y9.jpg y10.jpg 4.jpg 5.jpg 6.jpg 7.jpg 8.jpg 9.jpg");
    QCOMPARE(f.sequence.currentIndex(), size_t(3));
    QCOMPARE(f.delegate.newFiles, 1);
    QCOMPARE(f.delegate.firstFiles, 1);
    QCOMPARE(f.sequence.next(), f.urlOf("y9.jpg"));
}

void HotFolderRescanTest::newFilesJoinTheOrder()
{
    HotFixture f;
    f.set(keys::showNewItemsASAP, false);
    f.watch("b.jpg d.jpg f.jpg h.jpg", "h.jpg");
    f.addFiles("c.jpg e.jpg");
    f.rescan();
    QCOMPARE(f.names(), "b.jpg c.jpg d.jpg e.jpg f.jpg h.jpg");
    QCOMPARE(f.sequence.currentIndex(), size_t(3));
    QCOMPARE(f.current(), "e.jpg");
    QCOMPARE(f.delegate.newFiles, 1);
}

void HotFolderRescanTest::newFilesInRandomOrderKeepTheirPlace()
{
    HotFixture f;
    f.set(keys::sort, QStringLiteral("random"));
    f.watch("a.jpg b.jpg c.jpg d.jpg", "c.jpg");
    const auto before = f.names().split(' ');
    f.addFiles("x.jpg y.jpg z.jpg");
    f.rescan();
    auto after = f.names().split(' ');
    QCOMPARE(f.current(), "c.jpg");
    const auto place = qsizetype(f.sequence.currentIndex());
    QCOMPARE(after.mid(0, place + 1) + after.mid(place + 4), before);
}

void HotFolderRescanTest::vanishedFilesLeaveQuietly()
{
    HotFixture f;
    f.watch("a.jpg b.jpg c.jpg d.jpg", "c.jpg");
    f.removeFile("a.jpg");
    f.removeFile("d.jpg");
    f.rescan();
    QCOMPARE(f.names(), "b.jpg c.jpg");
    QCOMPARE(f.current(), "c.jpg");
    QCOMPARE(f.delegate.newFiles, 0);
    QCOMPARE(f.delegate.changes, 0);
}

void HotFolderRescanTest::vanishedCurrentFileMovesTheCursorToTheLast()
{
    HotFixture f;
    f.watch("a.jpg b.jpg c.jpg d.jpg", "b.jpg");
    f.removeFile("b.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg c.jpg d.jpg");
    QCOMPARE(f.current(), "d.jpg");
    QCOMPARE(f.delegate.newFiles, 0);
    QCOMPARE(f.delegate.changes, 0);
    f.addFile("b.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg c.jpg d.jpg b.jpg");
}

void HotFolderRescanTest::unchangedFolderTellsNobody()
{
    HotFixture f;
    f.watch("a.jpg b.jpg", "b.jpg");
    f.sequence.shuffle();
    f.rescan();
    QCOMPARE(f.sequence.count(), size_t(2));
    QCOMPARE(f.sequence.currentIndex(), size_t(1));
    QCOMPARE(f.delegate.newFiles, 0);
}

void HotFolderRescanTest::allVanish()
{
    HotFixture f;
    f.watch("a.jpg b.jpg", "b.jpg");
    f.removeFile("a.jpg");
    f.removeFile("b.jpg");
    f.rescan();
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.sequence.currentIndex(), nowhere);
    QVERIFY(f.sequence.current().isEmpty());
    QCOMPARE(f.delegate.newFiles, 0);
    f.addFiles("b.jpg a.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QCOMPARE(f.sequence.currentIndex(), nowhere);
    QCOMPARE(f.sequence.next(), f.urlOf("a.jpg"));
    QCOMPARE(f.delegate.newFiles, 1);
}

void HotFolderRescanTest::filesComeIntoAnEmptySequence()
{
    HotFixture f;
    f.watch();
    f.addFile("a.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg");
    QCOMPARE(f.delegate.newFiles, 1);
    QCOMPARE(f.delegate.firstFiles, 0);
    QCOMPARE(f.sequence.next(), f.urlOf("a.jpg"));
}

void HotFolderRescanTest::removedFileDoesNotReturn()
{
    HotFixture f;
    f.watch("a.jpg b.jpg c.jpg");
    f.sequence.remove(f.urlOf("b.jpg"));
    f.addFile("b.jpg", "rewritten");
    f.rescan();
    f.removeFile("b.jpg");
    f.rescan();
    f.addFiles("b.jpg d.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg d.jpg c.jpg");
    QCOMPARE(f.delegate.newFiles, 1);
}

// It was removed in an earlier show of the folder.
void HotFolderRescanTest::removedFileInTheListLeaves()
{
    HotFixture f;
    f.addFiles("a.jpg b.jpg");
    f.sequence.remove(f.urlOf("a.jpg"));
    f.sequence.addURLs({f.hotFolder()});
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QTRY_COMPARE(f.names(), "b.jpg");
}

void HotFolderRescanTest::trashedFileDoesNotReturn()
{
    HotFixture f;
    f.watch("a.jpg b.jpg c.jpg", "b.jpg");
    QVERIFY(!f.sequence.trash().isEmpty());
    QVERIFY(f.sequence.removedURLs().isEmpty());
    f.addFile("b.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg c.jpg");
    QCOMPARE(f.delegate.newFiles, 0);
}

void HotFolderRescanTest::trashedFileMayReturnAfterAClear()
{
    HotFixture f;
    f.watch("a.jpg b.jpg", "b.jpg");
    QVERIFY(!f.sequence.trash().isEmpty());
    f.sequence.clear();
    f.addFile("b.jpg");
    f.watch();
    f.rescan();
    QCOMPARE(f.names(), "a.jpg b.jpg");
}

void HotFolderRescanTest::duplicateDoesNotReturn()
{
    HotFixture f;
    f.watch("a.jpg a.png b.png");
    f.sequence.removeDuplicates();
    QCOMPARE(f.names(), "a.jpg b.png");
    f.rescan();
    f.removeFile("a.jpg");
    f.rescan();
    QCOMPARE(f.names(), "b.png");
    QCOMPARE(f.delegate.newFiles, 0);
}

void HotFolderRescanTest::newDuplicatesLeave()
{
    HotFixture f;
    f.watch("a.jpg b.jpg", "a.jpg");
    f.addFiles("b.cr2 c.png c.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg c.jpg b.jpg");
    QCOMPARE(f.sequence.removedURLs().size(), 2);
    f.addFile("a.png");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg c.jpg b.jpg");
    QCOMPARE(f.delegate.newFiles, 2); // new it was
    f.rescan();
    QCOMPARE(f.delegate.newFiles, 2);
}

// What was opened as a folder among files has not been under the rule yet, and a rule applied once takes one companion
// of each JPEG.
void HotFolderRescanTest::oldDuplicatesLeaveWhenNewFilesCome()
{
    HotFixture f;
    f.watch("a.cr2 a.jpg a.png b.jpg", "b.jpg");
    QCOMPARE(f.names(), "a.cr2 a.jpg a.png b.jpg");
    f.addFile("c.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg a.png b.jpg c.jpg");
    f.addFile("d.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg d.jpg");
    f.addFile("b.png");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg d.jpg");
    QCOMPARE(f.sequence.removedURLs().size(), 3);
}

void HotFolderRescanTest::duplicatesThatACollectionLeftGoWhenNewFilesCome()
{
    HotFixture f;
    f.addFiles("a.cr2 a.jpg a.png");
    SerialQueue queue("test");
    CollectionRequest request{CollectionRequest::Adder::Directory, {f.hotFolder()}, true, true, true};
    bool isFinished = false;
    f.sequence.collect(queue, request, [&] { isFinished = true; });
    QTRY_VERIFY(isFinished && !f.sequence.isRescanning());
    QCOMPARE(f.names(), "a.jpg a.png");
    f.addFile("b.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg b.jpg");
}

void HotFolderRescanTest::depthIsLimited_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("-1") << -1 << QByteArray("a.jpg b/b.jpg b/c/c.jpg b/c/d/d.jpg");
    QTest::newRow("0") << 0 << QByteArray("a.jpg b/b.jpg b/c/c.jpg b/c/d/d.jpg");
    QTest::newRow("1") << 1 << QByteArray("a.jpg");
    QTest::newRow("2") << 2 << QByteArray("a.jpg b/b.jpg");
    QTest::newRow("3") << 3 << QByteArray("a.jpg b/b.jpg b/c/c.jpg");
}

void HotFolderRescanTest::depthIsLimited()
{
    QFETCH(const int, limit);
    HotFixture f;
    f.set(keys::maxFolderLevel, limit);
    f.set(keys::showNewItemsASAP, false);
    f.watch();
    f.addFiles("a.jpg b/b.jpg b/c/c.jpg b/c/d/d.jpg");
    f.rescan();
    QTEST(f.names(), "expected");
}

void HotFolderRescanTest::changedDepthCounts()
{
    HotFixture f;
    f.watch("a.jpg sub/b.jpg");
    f.set(keys::maxFolderLevel, 1);
    f.rescan();
    QCOMPARE(f.names(), "a.jpg");
    f.set(keys::maxFolderLevel, 2);
    f.rescan();
    QCOMPARE(f.names(), "a.jpg sub/b.jpg");
}

void HotFolderRescanTest::hiddenAndUnknownFilesAreLeftOut()
{
    HotFixture f;
    f.watch("a.jpg");
    f.addFiles(".b.jpg .cache/c.jpg notes.txt paper.pdf drawing.eps sub/.d.jpg");
    f.outside.addFolder("hot/folder.jpg");
    f.outside.addFile("elsewhere/e.jpg");
    f.outside.addLink("hot/link", f.outside.pathOf("elsewhere"));
    f.outside.addLink("hot/dangling.jpg", f.outside.pathOf("nothing.jpg"));
    f.outside.addLink("hot/good.jpg", f.outside.pathOf("elsewhere/e.jpg"));
    QCOMPARE(mkfifo(f.pathOf("pipe.jpg").constData(), 0600), 0);
    f.rescan();
    // Hidden files in a folder that is not hidden are shown.
    QCOMPARE(f.names(), "a.jpg sub/.d.jpg good.jpg");
    f.outside.addFile("nothing.jpg");
    QCOMPARE(unlink(f.outside.pathOf("elsewhere/e.jpg").constData()), 0);
    f.rescan();
    QCOMPARE(f.names(), "a.jpg dangling.jpg sub/.d.jpg");
}

void HotFolderRescanTest::filesFromElsewhereLeave()
{
    HotFixture f;
    f.watch("a.jpg");
    f.sequence.addURLs({FileUrl::fromPath(f.outside.addFile("other.jpg"))});
    QCOMPARE(f.sequence.count(), size_t(2));
    f.rescan();
    QCOMPARE(f.names(), "a.jpg");
}

void HotFolderRescanTest::vanishedFolderEmptiesTheSequence()
{
    HotFixture f;
    f.watch("a.jpg b.jpg c.jpg", "b.jpg");
    f.rename("hot", "gone");
    f.rescan();
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.sequence.currentIndex(), nowhere);
    QCOMPARE(f.delegate.newFiles, 0);
    QCOMPARE(f.sequence.hotFolder(), f.hotFolder());
    f.rename("gone", "hot");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg");
    QCOMPARE(f.delegate.newFiles, 1);
}

void HotFolderRescanTest::withoutAHotFolderNothingHappens()
{
    HotFixture f;
    f.addFile("a.jpg");
    f.sequence.addFiles({f.pathOf("a.jpg")});
    f.sequence.updateHotFolder();
    QVERIFY(!f.sequence.isRescanning());
    QCOMPARE(f.sequence.lastHotfolderScan(), FileSequence::ScanTime());
}

void HotFolderRescanTest::renamedFileIsANewOne()
{
    HotFixture f;
    f.watch("a.jpg b.jpg c.jpg", "b.jpg");
    f.rename("hot/a.jpg", "hot/d.jpg");
    f.rescan();
    QCOMPARE(f.names(), "b.jpg d.jpg c.jpg");
    QCOMPARE(f.current(), "b.jpg");
}

void HotFolderRescanTest::orderIsSortedAfterwardsWhereItHasTo()
{
    HotFixture f;
    f.watch("b.jpg d.jpg", "d.jpg");
    f.addFile("a.jpg");
    f.rescan();
    QCOMPARE(f.names(), "b.jpg d.jpg a.jpg");
    f.removeFile("b.jpg");
    f.rescan();
    QCOMPARE(f.names(), "d.jpg a.jpg");
    f.sequence.sort();
    QCOMPARE(f.names(), "a.jpg d.jpg");
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::HotFolderRescanTest)
#include "HotFolderRescanTest.moc"
