#include "SequenceFixture.h"

#include <limits>
#include <utility>

namespace frameflow {

namespace {

constexpr auto largest = std::numeric_limits<size_t>::max();

} // namespace

class NavigationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nextAtTheEndRewinds();
    void nextAtTheEndStays_data();
    void nextAtTheEndStays();
    void rewindSortsAnew();
    void previousWrapsInEveryEndMode();
    void emptySequence();
    void previousOnEmptyThenFilesArrive();
    void atOffset_data();
    void atOffset();
    void atOffsetWithTheCursorBeforeTheFirst();
    void gotoIndex();
    void indexOf_data();
    void indexOf();
    void theRevisionTellsChangesOfTheList();
    void firstMovesTheCursor();

    void itemChangedOnlyForTheCurrentFile();
};

void NavigationTest::nextAtTheEndRewinds()
{
    FiveFiles f;
    f.folder.setModified("e.jpg", 1000);
    f.sequence.clear();
    f.set(keys::sort, keys::sortByDate);
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(f.sequence.gotoIndex(0), f.folder.urlOf("e.jpg"));
    f.sequence.gotoIndex(4);
    f.set(keys::sort, keys::sortByName); // seen by the fresh sort
    QCOMPARE(f.sequence.next(), f.folder.urlOf("a.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg d.jpg e.jpg");
}

void NavigationTest::nextAtTheEndStays_data()
{
    QTest::addColumn<QVariant>("endMode");
    QTest::newRow("wait") << QVariant(keys::endModeWait);
    QTest::newRow("close") << QVariant(keys::endModeClose);
    QTest::newRow("absent") << QVariant();
}

void NavigationTest::nextAtTheEndStays()
{
    QFETCH(const QVariant, endMode);
    FiveFiles f;
    f.set(keys::endMode, endMode);
    QCOMPARE(f.sequence.next(), f.folder.urlOf("b.jpg"));
    f.sequence.gotoIndex(4);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(f.sequence.next().isEmpty());
        QCOMPARE(f.sequence.currentIndex(), size_t(4));
    }
    QCOMPARE(f.sequence.first(), f.folder.urlOf("a.jpg"));
}

void NavigationTest::rewindSortsAnew()
{
    SequenceFixture f;
    f.sequence.addFile(f.folder.addFile("b.jpg"));
    f.sequence.addFile(f.folder.addFile("a.jpg"));
    f.sequence.gotoIndex(1);
    f.sequence.rewind();
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.names(), "a.jpg b.jpg");
}

void NavigationTest::previousWrapsInEveryEndMode()
{
    for (const auto& mode : {keys::endModeWait, keys::endModeRewind, keys::endModeClose}) {
        FiveFiles f;
        f.set(keys::endMode, mode);
        QCOMPARE(f.sequence.previous(), f.folder.urlOf("e.jpg"));
        QCOMPARE(f.sequence.currentIndex(), size_t(4));
        QCOMPARE(f.sequence.previous(), f.folder.urlOf("d.jpg"));
    }
}

void NavigationTest::emptySequence()
{
    SequenceFixture f;
    QVERIFY(f.sequence.current().isEmpty());
    QVERIFY(f.sequence.first().isEmpty());
    QVERIFY(f.sequence.next().isEmpty());
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QVERIFY(f.sequence.gotoIndex(0).isEmpty());
    QVERIFY(f.sequence.atOffset(0).isEmpty());
    QVERIFY(f.sequence.trash().isEmpty());
    QVERIFY(f.sequence.previous().isEmpty());
    QCOMPARE(f.sequence.currentIndex(), largest);
    QVERIFY(f.sequence.current().isEmpty());
    QVERIFY(f.sequence.trash().isEmpty());
    f.sequence.sort();
    f.sequence.shuffle();
    f.sequence.removeDuplicates();
    f.sequence.rewind();
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
}

void NavigationTest::previousOnEmptyThenFilesArrive()
{
    SequenceFixture f;
    f.sequence.previous();
    f.sequence.addFile(f.folder.addFile("a.jpg"));
    f.sequence.addFile(f.folder.addFile("b.jpg"));
    QVERIFY(f.sequence.current().isEmpty());
    QCOMPARE(f.sequence.next(), f.folder.urlOf("a.jpg"));
}

void NavigationTest::atOffset_data()
{
    QTest::addColumn<int>("cursor");
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](int cursor, qint64 offset, const char* expected) {
        QTest::addRow("%d by %lld", cursor, offset) << cursor << offset << QByteArray(expected);
    };
    row(4, 1, "a.jpg");
    row(4, -5, "e.jpg");
    row(4, -6, "d.jpg");
    row(4, -9, "a.jpg");
    row(4, -10, "");
    row(4, 6, "");
    row(4, 5, "e.jpg");
    row(4, 0, "e.jpg");
    row(0, -5, "a.jpg");
    row(0, -6, "");
    row(0, 9, "e.jpg");
    row(0, 10, "");
    row(2, std::numeric_limits<qint64>::max(), "");
    row(2, std::numeric_limits<qint64>::min(), "");
}

void NavigationTest::atOffset()
{
    QFETCH(const int, cursor);
    QFETCH(const qint64, offset);
    QFETCH(const QByteArray, expected);
    FiveFiles f;
    f.sequence.gotoIndex(cursor);
    QCOMPARE(f.sequence.atOffset(offset), expected.isEmpty() ? FileUrl() : f.folder.urlOf(expected));
    QCOMPARE(f.sequence.currentIndex(), size_t(cursor));
}

void NavigationTest::atOffsetWithTheCursorBeforeTheFirst()
{
    FiveFiles f;
    f.sequence.stepBackAfterRemoval();
    QCOMPARE(f.sequence.currentIndex(), largest);
    QCOMPARE(f.sequence.atOffset(1), f.folder.urlOf("a.jpg"));
    QVERIFY(f.sequence.atOffset(std::numeric_limits<qint64>::min()).isEmpty());
}

void NavigationTest::gotoIndex()
{
    FiveFiles f;
    QCOMPARE(f.sequence.gotoIndex(3), f.folder.urlOf("d.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(3));
    QVERIFY(f.sequence.gotoIndex(5).isEmpty());
    QVERIFY(f.sequence.gotoIndex(largest).isEmpty());
    QCOMPARE(f.sequence.currentIndex(), size_t(3));
    QCOMPARE(f.sequence.URLAtIndex(4), f.folder.urlOf("e.jpg"));
    QVERIFY(f.sequence.URLAtIndex(5).isEmpty());
}

void NavigationTest::indexOf_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<qulonglong>("from");
    QTest::addColumn<int>("index"); // -1: absent
    for (const qulonglong from : {0ULL, 2ULL, 4ULL, 5ULL, qulonglong(largest)}) {
        const QByteArray where = QByteArray::number(from);
        QTest::newRow("first from " + where) << QByteArray("a.jpg") << from << 0;
        QTest::newRow("middle from " + where) << QByteArray("c.jpg") << from << 2;
        QTest::newRow("last from " + where) << QByteArray("e.jpg") << from << 4;
        QTest::newRow("none from " + where) << QByteArray("x.jpg") << from << -1;
    }
}

void NavigationTest::indexOf()
{
    QFETCH(QByteArray, name);
    QFETCH(qulonglong, from);
    QFETCH(int, index);
    FiveFiles f;
    const auto found = f.sequence.indexOf(f.folder.urlOf(name), from);
    QCOMPARE(found ? int(*found) : -1, index);
    f.sequence.clear();
    QVERIFY(!f.sequence.indexOf(f.folder.urlOf(name), from));
}

void NavigationTest::theRevisionTellsChangesOfTheList()
{
    FiveFiles f;
    auto revision = f.sequence.revision();
    const auto hasChanged = [&] {
        const auto before = std::exchange(revision, f.sequence.revision());
        return before != revision;
    };
    f.sequence.next();
    f.sequence.gotoIndex(3);
    QVERIFY(!hasChanged()); // the cursor is no part of it
    f.sequence.remove(f.folder.urlOf("b.jpg"));
    QVERIFY(hasChanged());
    f.sequence.shuffle();
    QVERIFY(hasChanged());
    f.sequence.sort();
    QVERIFY(hasChanged());
    f.sequence.addURLs({FileUrl::fromPath(f.folder.addFile("z.jpg"))});
    QVERIFY(hasChanged());
    f.sequence.clear();
    QVERIFY(hasChanged());
}

void NavigationTest::firstMovesTheCursor()
{
    FiveFiles f;
    f.sequence.gotoIndex(3);
    QCOMPARE(f.sequence.first(), f.folder.urlOf("a.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
}

void NavigationTest::itemChangedOnlyForTheCurrentFile()
{
    FiveFiles f;
    RecordingDelegate delegate;
    f.sequence.setDelegate(&delegate);
    f.sequence.itemChanged(f.folder.urlOf("b.jpg"));
    f.sequence.itemChanged(FileUrl());
    QCOMPARE(delegate.changes, 0);
    f.sequence.itemChanged(f.folder.urlOf("a.jpg"));
    QCOMPARE(delegate.changes, 1);
    f.sequence.setDelegate(nullptr);
    f.sequence.itemChanged(f.folder.urlOf("a.jpg"));
    f.sequence.setDelegate(&delegate);
    f.sequence.stepBackAfterRemoval();
    f.sequence.itemChanged(FileUrl());
    QCOMPARE(delegate.changes, 1);
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::NavigationTest)
#include "NavigationTest.moc"
