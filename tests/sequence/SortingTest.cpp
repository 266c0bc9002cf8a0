#include "SequenceFixture.h"

#include <QSet>

namespace frameflow {

class SortingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sortOrders_data();
    void sortOrders();
    void sortKeepsTheCursorsNumber();
    void sortAfterNewFilesSortsAgain();
    void twoItemsAreNeverShuffled();
    void randomSortShufflesEveryTime();
    void sortUsesTheDatesOfCreation();
    void sortArraySortsAnyList();

    void removeDuplicatesRecords();
    void removeDuplicatesOfAList();
    void onlyJpegsStay();
};

void SortingTest::sortOrders_data()
{
    QTest::addColumn<QString>("order");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("name") << keys::sortByName << QByteArray("a/img9.jpg b/Img10.jpg a/img11.jpg");
    QTest::newRow("url") << keys::sortByUrl << QByteArray("a/img11.jpg a/img9.jpg b/Img10.jpg");
    QTest::newRow("date") << keys::sortByDate << QByteArray("b/Img10.jpg a/img11.jpg a/img9.jpg");
}

void SortingTest::sortOrders()
{
    QFETCH(const QString, order);
    SequenceFixture f;
    f.set(keys::sort, order);
    f.folder.addFile("a/img9.jpg");
    f.folder.addFile("b/Img10.jpg");
    f.folder.addFile("a/img11.jpg");
    f.folder.setModified("b/Img10.jpg", 1000);
    f.folder.setModified("a/img11.jpg", 1000.5);
    f.folder.setModified("a/img9.jpg", 2000);
    f.sequence.addURLs({f.folder.url()});
    QTEST(f.names(), "expected");
}

void SortingTest::sortKeepsTheCursorsNumber()
{
    SequenceFixture f;
    for (const char* name : {"c.jpg", "b.jpg", "a.jpg"}) {
        f.sequence.addFile(f.folder.addFile(name));
    }
    f.sequence.gotoIndex(2);
    f.sequence.sort();
    QCOMPARE(f.sequence.currentIndex(), size_t(2));
    QCOMPARE(f.sequence.current(), f.folder.urlOf("c.jpg"));
}

void SortingTest::sortAfterNewFilesSortsAgain()
{
    FiveFiles f;
    f.sequence.addFile(f.folder.addFile("aa.jpg"));
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg d.jpg e.jpg aa.jpg");
    f.sequence.sort();
    QCOMPARE(f.names(), "a.jpg aa.jpg b.jpg c.jpg d.jpg e.jpg");
}

void SortingTest::twoItemsAreNeverShuffled()
{
    SequenceFixture f;
    f.set(keys::sort, keys::sortRandom);
    f.sequence.addFiles({f.folder.addFile("b.jpg"), f.folder.addFile("a.jpg")});
    for (int i = 0; i < 50; ++i) {
        f.sequence.sort();
        f.sequence.shuffle();
        QCOMPARE(f.names(), "b.jpg a.jpg");
    }
}

void SortingTest::randomSortShufflesEveryTime()
{
    FiveFiles f;
    f.set(keys::sort, QStringLiteral("anything"));
    QSet<QByteArray> seen;
    for (int i = 0; i < 200; ++i) {
        f.sequence.sort();
        seen.insert(f.names());
    }
    QVERIFY(seen.size() > 50);
    f.set(keys::sort, keys::sortByName);
    f.sequence.sort();
    seen.clear();
    for (int i = 0; i < 200; ++i) {
        f.sequence.shuffle(); // whatever the setting says
        seen.insert(f.names());
    }
    QVERIFY(seen.size() > 50);
    f.sequence.sort();
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg d.jpg e.jpg");
}

void SortingTest::sortUsesTheDatesOfCreation()
{
    FiveFiles f;
    f.sequence.clear();
    f.set(keys::sort, keys::sortByDate);
    int date = 1000;
    for (const char* name : {"e.jpg", "d.jpg", "c.jpg", "b.jpg", "a.jpg"}) {
        f.folder.setModified(name, date++);
    }
    f.sequence.addURLs({f.folder.url()});
    f.folder.setModified("e.jpg", 5000);
    f.sequence.shuffle();
    f.sequence.sort();
    QCOMPARE(f.names(), "e.jpg d.jpg c.jpg b.jpg a.jpg");
}

void SortingTest::sortArraySortsAnyList()
{
    SequenceFixture f;
    SlideItems items;
    for (const char* path : {"/b.jpg", "/a.jpg"}) {
        items.push_back(SlideItem::itemWithURL(FileUrl::fromPath(QByteArray(path))));
    }
    f.sequence.sortArray(items);
    QCOMPARE(items[0]->mURL().path(), "/a.jpg");
}

void SortingTest::removeDuplicatesRecords()
{
    SequenceFixture f;
    for (const char* name : {"IMG_7.CR2", "IMG_7.JPG", "IMG_8.CR2"}) {
        f.folder.addFile(name);
    }
    f.sequence.addURLs({f.folder.url()});
    f.sequence.gotoIndex(2);
    f.sequence.removeDuplicates();
    QCOMPARE(f.names(), "IMG_7.JPG IMG_8.CR2");
    QCOMPARE(f.sequence.removedURLs(), QList<FileUrl>{f.folder.urlOf("IMG_7.CR2")});
    QCOMPARE(f.sequence.currentIndex(), size_t(2));
}

void SortingTest::removeDuplicatesOfAList()
{
    SequenceFixture f;
    SlideItems items;
    for (const char* path : {"/x/a.png", "/y/a.jpg"}) {
        items.push_back(SlideItem::itemWithURL(FileUrl::fromPath(QByteArray(path))));
    }
    f.sequence.removeDuplicates(items);
    QCOMPARE(items.size(), size_t(1));
    QCOMPARE(f.sequence.removedURLs(), QList<FileUrl>{FileUrl::fromPath(QByteArray("/x/a.png"))});
}

void SortingTest::onlyJpegsStay()
{
    FiveFiles f;
    f.sequence.removeDuplicates();
    QCOMPARE(f.sequence.count(), size_t(5));
    QVERIFY(f.sequence.removedURLs().isEmpty());
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::SortingTest)
#include "SortingTest.moc"
