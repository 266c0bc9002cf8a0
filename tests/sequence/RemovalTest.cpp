#include "SequenceFixture.h"

#include <QElapsedTimer>

#include <unistd.h>

namespace frameflow {

class RemovalTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void removeKeepsTheCursorsNumber();
    void removeTakesAllEqualItems();
    void removeOfAnUnknownFileIsRecorded();
    void removeOfTheLastRewinds();
    void removeNothing();
    void stepBackAfterRemoval_data();
    void stepBackAfterRemoval();
    void stepBackAfterRemovalOfAll();
    void manyRemovalsAtTheCursorAreLinear();

    void trashMovesOn();
    void trashOfTheLastRewinds();
    void trashOfTheOnlyItem();
    void trashOfAVanishedFileChangesNothing();
    void trashWithTheCursorOutside();

    void aFileThatWentToTheTrashLateLeavesTheCursorOnItsSlide_data();
    void aFileThatWentToTheTrashLateLeavesTheCursorOnItsSlide();
    void clearKeepsTheRemovedUrls();
};

void RemovalTest::removeKeepsTheCursorsNumber()
{
    FiveFiles f;
    f.sequence.gotoIndex(2);
    f.sequence.remove(f.folder.urlOf("a.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(2));
    QCOMPARE(f.sequence.current(), f.folder.urlOf("d.jpg"));
    f.sequence.remove(f.folder.urlOf("d.jpg"));
    QCOMPARE(f.sequence.current(), f.folder.urlOf("e.jpg"));
    QCOMPARE(f.names(), "b.jpg c.jpg e.jpg");
    QCOMPARE(f.sequence.removedURLs(), (QList<FileUrl>{f.folder.urlOf("a.jpg"), f.folder.urlOf("d.jpg")}));
}

void RemovalTest::removeTakesAllEqualItems()
{
    FiveFiles f;
    f.sequence.addFiles({f.folder.pathOf("c.jpg"), f.folder.pathOf("a.jpg"), f.folder.pathOf("c.jpg")});
    QCOMPARE(f.names(), "a.jpg a.jpg b.jpg c.jpg c.jpg c.jpg d.jpg e.jpg");
    f.sequence.gotoIndex(4);
    f.sequence.remove(f.folder.urlOf("c.jpg"));
    QCOMPARE(f.names(), "a.jpg a.jpg b.jpg d.jpg e.jpg");
    f.sequence.remove(f.folder.urlOf("a.jpg"));
    QCOMPARE(f.names(), "b.jpg d.jpg e.jpg");
}

void RemovalTest::removeOfAnUnknownFileIsRecorded()
{
    FiveFiles f;
    f.sequence.remove(f.folder.urlOf("x.jpg"));
    QCOMPARE(f.sequence.count(), size_t(5));
    QCOMPARE(f.sequence.removedURLs(), QList<FileUrl>{f.folder.urlOf("x.jpg")});
}

void RemovalTest::removeOfTheLastRewinds()
{
    FiveFiles f;
    f.sequence.addFile(f.folder.addFile("0.jpg"));
    f.sequence.gotoIndex(5);
    f.sequence.remove(f.folder.urlOf("0.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.sequence.current(), f.folder.urlOf("a.jpg"));
}

void RemovalTest::removeNothing()
{
    FiveFiles f;
    f.sequence.remove(FileUrl());
    QCOMPARE(f.sequence.count(), size_t(5));
    QVERIFY(f.sequence.removedURLs().isEmpty());
}

void RemovalTest::stepBackAfterRemoval_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("next");
    QTest::newRow("first") << 0 << QByteArray("b.jpg");
    QTest::newRow("middle") << 2 << QByteArray("d.jpg");
    QTest::newRow("last, which rewinds") << 4 << QByteArray("a.jpg");
}

void RemovalTest::stepBackAfterRemoval()
{
    QFETCH(const int, index);
    QFETCH(const QByteArray, next);
    for (const auto& mode : {keys::endModeRewind, keys::endModeWait}) {
        FiveFiles f;
        f.set(keys::endMode, mode);
        f.sequence.remove(f.sequence.gotoIndex(index));
        f.sequence.stepBackAfterRemoval();
        QCOMPARE(f.sequence.next(), f.folder.urlOf(next));
    }
}

void RemovalTest::stepBackAfterRemovalOfAll()
{
    SequenceFixture f;
    f.sequence.addFile(f.folder.addFile("a.jpg"));
    f.sequence.remove(f.folder.urlOf("a.jpg"));
    f.sequence.stepBackAfterRemoval();
    QVERIFY(f.sequence.next().isEmpty());
    QVERIFY(f.sequence.current().isEmpty());
    f.sequence.addFile(f.folder.pathOf("a.jpg"));
    QCOMPARE(f.sequence.next(), f.folder.urlOf("a.jpg"));
}

void RemovalTest::manyRemovalsAtTheCursorAreLinear()
{
    SequenceFixture f;
    f.addFiles(20000);
    f.sequence.addDirectory(f.folder.path());
    QElapsedTimer timer;
    timer.start();
    FileUrl url = f.sequence.gotoIndex(10000);
    while (!url.isEmpty()) {
        f.sequence.remove(url);
        f.sequence.stepBackAfterRemoval();
        url = f.sequence.next();
    }
    QCOMPARE(f.sequence.count(), size_t(0));
    // Milliseconds when linear, tens of seconds when each removal looks at all items.
    QVERIFY2(timer.elapsed() < 4000, qPrintable(QString::number(timer.elapsed())));
}

void RemovalTest::trashMovesOn()
{
    FiveFiles f;
    f.sequence.gotoIndex(1);
    QCOMPARE(f.sequence.trash(), f.folder.urlOf("c.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(1));
    QCOMPARE(f.names(), "a.jpg c.jpg d.jpg e.jpg");
    QVERIFY(access(f.folder.pathOf("b.jpg").constData(), F_OK) != 0);
    QVERIFY(f.sequence.removedURLs().isEmpty());
}

void RemovalTest::trashOfTheLastRewinds()
{
    FiveFiles f;
    f.sequence.addFile(f.folder.addFile("0.jpg"));
    f.sequence.gotoIndex(5);
    QCOMPARE(f.sequence.trash(), f.folder.urlOf("a.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
}

void RemovalTest::trashOfTheOnlyItem()
{
    SequenceFixture f;
    f.sequence.addFile(f.folder.addFile("a.jpg"));
    QVERIFY(f.sequence.trash().isEmpty());
    QCOMPARE(f.sequence.count(), size_t(0));
    QVERIFY(access(f.folder.pathOf("a.jpg").constData(), F_OK) != 0);
}

void RemovalTest::trashOfAVanishedFileChangesNothing()
{
    FiveFiles f;
    QCOMPARE(unlink(f.folder.pathOf("a.jpg").constData()), 0);
    QVERIFY(f.sequence.trash().isEmpty());
    QCOMPARE(f.sequence.count(), size_t(5));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
}

void RemovalTest::trashWithTheCursorOutside()
{
    FiveFiles f;
    f.sequence.stepBackAfterRemoval();
    QVERIFY(f.sequence.trash().isEmpty());
    QCOMPARE(f.sequence.count(), size_t(5));
}

void RemovalTest::aFileThatWentToTheTrashLateLeavesTheCursorOnItsSlide_data()
{
    QTest::addColumn<size_t>("cursor");
    QTest::addColumn<QByteArray>("gone");
    QTest::addColumn<QByteArray>("current");
    QTest::newRow("before it") << size_t(3) << QByteArray("b.jpg") << QByteArray("d.jpg");
    QTest::newRow("directly before it") << size_t(1) << QByteArray("a.jpg") << QByteArray("b.jpg");
    QTest::newRow("before the last") << size_t(4) << QByteArray("a.jpg") << QByteArray("e.jpg");
    QTest::newRow("at it") << size_t(1) << QByteArray("b.jpg") << QByteArray("c.jpg");
    QTest::newRow("at it, the last") << size_t(4) << QByteArray("e.jpg") << QByteArray("a.jpg");
    QTest::newRow("behind it") << size_t(1) << QByteArray("d.jpg") << QByteArray("b.jpg");
}

void RemovalTest::aFileThatWentToTheTrashLateLeavesTheCursorOnItsSlide()
{
    QFETCH(const size_t, cursor);
    QFETCH(const QByteArray, gone);
    QFETCH(const QByteArray, current);
    FiveFiles f;
    f.sequence.gotoIndex(cursor);
    f.sequence.removeTrashed(f.folder.urlOf(gone));
    QCOMPARE(f.sequence.current(), f.folder.urlOf(current));
    QCOMPARE(f.sequence.count(), size_t(4));
    QVERIFY(!f.names().contains(gone));
    QVERIFY(f.sequence.removedURLs().isEmpty());
}

void RemovalTest::clearKeepsTheRemovedUrls()
{
    FiveFiles f;
    f.sequence.gotoIndex(3);
    f.sequence.remove(f.folder.urlOf("b.jpg"));
    f.sequence.clear();
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.sequence.removedURLs().size(), 1);
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::RemovalTest)
#include "RemovalTest.moc"
