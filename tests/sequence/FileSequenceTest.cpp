#include "SequenceTest.h"
#include "SlideItem.h"

#include <QElapsedTimer>

#include <algorithm>
#include <limits>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

constexpr auto largest = std::numeric_limits<size_t>::max();

// Five files, sorted, with the cursor on the first.
struct FiveFiles : SequenceFixture
{
    FiveFiles()
    {
        for (const char* name : {"a.jpg", "b.jpg", "c.jpg", "d.jpg", "e.jpg"}) {
            folder.addFile(name);
        }
        sequence.addURLs({folder.url()});
    }
};

} // namespace

class FileSequenceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newSequenceIsEmpty();
    void filesListedTwiceGiveTwoEqualItems();
    void listAddersSort();
    void singleAddersKeepTheOrderOfDiscovery();
    void maxFolderLevel_data();
    void maxFolderLevel();
    void missingAndUndisplayableAreSkipped();
    void displayable_data();
    void displayable();
    void firstFileFoundOnce();
    void firstFileFoundAgainAfterClear();
    void firstFileOfAFolder();
    void noDelegateIsNoProblem();
    void folderIsNotSearchedDuringASearch();
    void filesAreAddedDuringASearch();
    void addFilesAllowsFoldersAgain();
    void delegateMayDestroyTheSequence();
    void delegateMayClearTheSequence();

    void oneFolderBecomesHot();
    void oneFolderOpenedAsPathBecomesHot();
    void twoFoldersMakeNoHotFolder();
    void secondFolderEndsTheWatch();
    void fileAndFolderMakeNoHotFolder();
    void singleFileLeavesTheHotFolder();
    void missingFolderStillBecomesHot();
    void clearEndsTheWatchAndAllowsAnother();

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
    void firstMovesTheCursor();

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
    void clearKeepsTheRemovedUrls();
    void itemChangedOnlyForTheCurrentFile();
};

void FileSequenceTest::newSequenceIsEmpty()
{
    SequenceFixture f;
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QVERIFY(f.sequence.hotFolder().isEmpty());
    QVERIFY(f.sequence.removedURLs().isEmpty());
    QVERIFY(!f.sequence.isCollecting());
}

void FileSequenceTest::filesListedTwiceGiveTwoEqualItems()
{
    SequenceFixture f;
    const auto path = f.folder.addFile("a.jpg");
    f.sequence.addFiles({path, path});
    QCOMPARE(f.names(), "a.jpg a.jpg");
}

void FileSequenceTest::listAddersSort()
{
    SequenceFixture f;
    const auto ten = f.folder.addFile("img10.jpg");
    const auto nine = f.folder.addFile("img9.jpg");
    f.sequence.addFiles({ten, nine});
    QCOMPARE(f.names(), "img9.jpg img10.jpg");
    f.sequence.clear();
    f.sequence.addURLs({FileUrl::fromPath(ten), FileUrl::fromPath(nine)});
    QCOMPARE(f.names(), "img9.jpg img10.jpg");
}

void FileSequenceTest::singleAddersKeepTheOrderOfDiscovery()
{
    SequenceFixture f;
    for (const char* name : {"3.jpg", "1.jpg", "2.jpg"}) {
        f.sequence.addFile(f.folder.addFile(name));
    }
    QCOMPARE(f.names(), "3.jpg 1.jpg 2.jpg");
    f.sequence.addURL(FileUrl::fromPath(f.folder.addFile("0.jpg")));
    QCOMPARE(f.names(), "3.jpg 1.jpg 2.jpg 0.jpg");
}

void FileSequenceTest::maxFolderLevel_data()
{
    QTest::addColumn<QVariant>("level");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("absent") << QVariant() << QByteArray("1.jpg s/2.jpg s/t/3.jpg");
    QTest::newRow("0") << QVariant(0) << QByteArray("1.jpg s/2.jpg s/t/3.jpg");
    QTest::newRow("-1") << QVariant(-1) << QByteArray("1.jpg s/2.jpg s/t/3.jpg");
    QTest::newRow("1") << QVariant(1) << QByteArray("1.jpg");
    QTest::newRow("2") << QVariant(2) << QByteArray("1.jpg s/2.jpg");
}

void FileSequenceTest::maxFolderLevel()
{
    QFETCH(const QVariant, level);
    SequenceFixture f;
    f.folder.addFile("1.jpg");
    f.folder.addFile("s/2.jpg");
    f.folder.addFile("s/t/3.jpg");
    f.set(keys::maxFolderLevel, level);
    f.sequence.addURLs({f.folder.url()});
    QTEST(f.names(), "expected");
}

void FileSequenceTest::missingAndUndisplayableAreSkipped()
{
    SequenceFixture f;
    f.sequence.addFiles({f.folder.pathOf("missing.jpg"), f.folder.addFile("a.txt"), f.folder.addFile("b.jpg"), ""});
    f.sequence.addURL(FileUrl());
    QCOMPARE(f.names(), "b.jpg");
}

void FileSequenceTest::displayable_data()
{
    QTest::addColumn<bool>("expected");
    QTest::newRow("/a.jpg") << true;
    QTest::newRow("/a.MOV") << true;
    QTest::newRow("/a.pdf") << false;
    QTest::newRow("/a.eps") << false;
    QTest::newRow("/a.txt") << false;
    QTest::newRow("/a") << false;
}

void FileSequenceTest::displayable()
{
    QTEST(FileSequence::displayableURL(FileUrl::fromPath(QByteArray(QTest::currentDataTag()))), "expected");
}

void FileSequenceTest::firstFileFoundOnce()
{
    SequenceFixture f;
    RecordingDelegate delegate;
    QByteArray seen;
    delegate.onFirstFile = [&] { seen = f.names(); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addFiles({f.folder.addFile("a.txt"), f.folder.addFile("c.jpg"), f.folder.addFile("b.jpg")});
    QCOMPARE(delegate.firstFiles, 1);
    QCOMPARE(seen, "c.jpg");
    QCOMPARE(f.sequence.count(), size_t(2));
}

void FileSequenceTest::firstFileFoundAgainAfterClear()
{
    FiveFiles f;
    RecordingDelegate delegate;
    f.sequence.setDelegate(&delegate);
    f.sequence.addFile(f.folder.pathOf("a.jpg"));
    QCOMPARE(delegate.firstFiles, 0);
    f.sequence.clear();
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(delegate.firstFiles, 1);
}

void FileSequenceTest::firstFileOfAFolder()
{
    FiveFiles f;
    f.sequence.clear();
    RecordingDelegate delegate;
    size_t count = 0;
    delegate.onFirstFile = [&] { count = f.sequence.count(); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(delegate.firstFiles, 1);
    QCOMPARE(count, size_t(1));
    QCOMPARE(f.sequence.count(), size_t(5));
}

void FileSequenceTest::noDelegateIsNoProblem()
{
    SequenceFixture f;
    f.sequence.checkFirstFile();
    const auto path = f.folder.addFile("a.jpg");
    f.sequence.addFile(path);
    f.sequence.itemChanged(FileUrl::fromPath(path));
    QCOMPARE(f.sequence.count(), size_t(1));
}

void FileSequenceTest::folderIsNotSearchedDuringASearch()
{
    FiveFiles f;
    f.sequence.clear();
    const TestFolder other;
    other.addFile("z.jpg");
    RecordingDelegate delegate;
    delegate.onFirstFile = [&] { f.sequence.addFile(other.path()); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(f.sequence.count(), size_t(5));
    f.sequence.addFile(other.path());
    QCOMPARE(f.sequence.count(), size_t(6));
}

void FileSequenceTest::filesAreAddedDuringASearch()
{
    FiveFiles f;
    f.sequence.clear();
    const TestFolder other;
    const auto file = other.addFile("z.jpg");
    RecordingDelegate delegate;
    delegate.onFirstFile = [&] { f.sequence.addFile(file); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(f.sequence.count(), size_t(6));
    QCOMPARE(f.sequence.URLAtIndex(5), FileUrl::fromPath(file));
}

void FileSequenceTest::addFilesAllowsFoldersAgain()
{
    FiveFiles f;
    f.sequence.clear();
    const TestFolder other;
    other.addFile("z.jpg");
    RecordingDelegate delegate;
    delegate.onFirstFile = [&] { f.sequence.addFiles({other.path()}); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(f.sequence.count(), size_t(6));
}

void FileSequenceTest::delegateMayDestroyTheSequence()
{
    SequenceFixture f;
    const auto first = f.folder.addFile("a.jpg");
    const auto second = f.folder.addFile("b.jpg");
    RecordingDelegate delegate;
    std::optional<FileSequence> sequence;
    delegate.onFirstFile = [&] { sequence.reset(); };
    const std::array<std::function<void()>, 4> adders{[&] {
                                                          sequence->addFiles({first, second});
                                                      },
        [&] {
            sequence->addURLs({FileUrl::fromPath(first), FileUrl::fromPath(second)});
        },
        [&] { sequence->addDirectory(f.folder.path()); }, [&] { sequence->addFile(first); }};
    for (const auto& add : adders) {
        sequence.emplace(f.defaults);
        sequence->setDelegate(&delegate);
        add();
        QVERIFY(!sequence);
    }
    QCOMPARE(delegate.firstFiles, 4);
}

void FileSequenceTest::delegateMayClearTheSequence()
{
    FiveFiles f;
    f.sequence.clear();
    RecordingDelegate delegate;
    delegate.onFirstFile = [&] { f.sequence.clear(); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(delegate.firstFiles, 1);
    QCOMPARE(f.sequence.count(), size_t(0));
}

void FileSequenceTest::oneFolderBecomesHot()
{
    SequenceFixture f;
    const auto before = std::chrono::system_clock::now();
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(f.sequence.hotFolder(), f.folder.url());
    const auto scanned = f.sequence.lastHotfolderScan();
    QVERIFY(scanned >= before - std::chrono::seconds(5));
    QVERIFY(scanned <= std::chrono::system_clock::now() - std::chrono::seconds(5));
}

void FileSequenceTest::oneFolderOpenedAsPathBecomesHot()
{
    SequenceFixture f;
    f.sequence.addFiles({f.folder.path() + '/'});
    QCOMPARE(f.sequence.hotFolder(), f.folder.url());
}

void FileSequenceTest::twoFoldersMakeNoHotFolder()
{
    SequenceFixture f;
    const TestFolder other;
    f.sequence.addURLs({f.folder.url(), other.url()});
    QVERIFY(f.sequence.hotFolder().isEmpty());
    f.sequence.addFiles({f.folder.path(), other.path()});
    QVERIFY(f.sequence.hotFolder().isEmpty());
}

void FileSequenceTest::secondFolderEndsTheWatch()
{
    SequenceFixture f;
    const TestFolder other;
    f.sequence.addURLs({f.folder.url()});
    f.sequence.addURLs({other.url()});
    QVERIFY(f.sequence.hotFolder().isEmpty());
    // No folder is watched now, so a third one alone is.
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(f.sequence.hotFolder(), f.folder.url());
}

void FileSequenceTest::fileAndFolderMakeNoHotFolder()
{
    SequenceFixture f;
    f.sequence.addURLs({f.folder.url(), FileUrl::fromPath(f.folder.addFile("a.jpg"))});
    QVERIFY(f.sequence.hotFolder().isEmpty());
}

void FileSequenceTest::singleFileLeavesTheHotFolder()
{
    SequenceFixture f;
    f.sequence.addURLs({f.folder.url()});
    f.sequence.addFiles({f.folder.addFile("a.jpg")});
    QCOMPARE(f.sequence.hotFolder(), f.folder.url());
}

void FileSequenceTest::missingFolderStillBecomesHot()
{
    SequenceFixture f;
    f.sequence.addDirectory(f.folder.pathOf("missing"));
    QCOMPARE(f.sequence.hotFolder(), f.folder.urlOf("missing"));
    QCOMPARE(f.sequence.count(), size_t(0));
}

void FileSequenceTest::clearEndsTheWatchAndAllowsAnother()
{
    SequenceFixture f;
    const TestFolder other;
    f.sequence.addURLs({f.folder.url(), other.url()});
    f.sequence.clear();
    QVERIFY(f.sequence.hotFolder().isEmpty());
    f.sequence.addDirectory(other.path());
    QCOMPARE(f.sequence.hotFolder(), other.url());
    f.sequence.clear();
    QVERIFY(f.sequence.hotFolder().isEmpty());
}

void FileSequenceTest::nextAtTheEndRewinds()
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

void FileSequenceTest::nextAtTheEndStays_data()
{
    QTest::addColumn<QVariant>("endMode");
    QTest::newRow("wait") << QVariant(keys::endModeWait);
    QTest::newRow("close") << QVariant(keys::endModeClose);
    QTest::newRow("absent") << QVariant();
}

void FileSequenceTest::nextAtTheEndStays()
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

void FileSequenceTest::rewindSortsAnew()
{
    SequenceFixture f;
    f.sequence.addFile(f.folder.addFile("b.jpg"));
    f.sequence.addFile(f.folder.addFile("a.jpg"));
    f.sequence.gotoIndex(1);
    f.sequence.rewind();
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.names(), "a.jpg b.jpg");
}

void FileSequenceTest::previousWrapsInEveryEndMode()
{
    for (const auto& mode : {keys::endModeWait, keys::endModeRewind, keys::endModeClose}) {
        FiveFiles f;
        f.set(keys::endMode, mode);
        QCOMPARE(f.sequence.previous(), f.folder.urlOf("e.jpg"));
        QCOMPARE(f.sequence.currentIndex(), size_t(4));
        QCOMPARE(f.sequence.previous(), f.folder.urlOf("d.jpg"));
    }
}

void FileSequenceTest::emptySequence()
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

void FileSequenceTest::previousOnEmptyThenFilesArrive()
{
    SequenceFixture f;
    f.sequence.previous();
    f.sequence.addFile(f.folder.addFile("a.jpg"));
    f.sequence.addFile(f.folder.addFile("b.jpg"));
    QVERIFY(f.sequence.current().isEmpty());
    QCOMPARE(f.sequence.next(), f.folder.urlOf("a.jpg"));
}

void FileSequenceTest::atOffset_data()
{
    QTest::addColumn<int>("cursor");
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](int cursor, qint64 offset, const char* expected) {
        QTest::addRow("%d by %lld", cursor, offset) << cursor << offset << QByteArray(expected);
    };
    row(4, 1, "a.jpg");
    row(4, -5, "e.jpg");
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

void FileSequenceTest::atOffset()
{
    QFETCH(const int, cursor);
    QFETCH(const qint64, offset);
    QFETCH(const QByteArray, expected);
    FiveFiles f;
    f.sequence.gotoIndex(cursor);
    QCOMPARE(f.sequence.atOffset(offset), expected.isEmpty() ? FileUrl() : f.folder.urlOf(expected));
    QCOMPARE(f.sequence.currentIndex(), size_t(cursor));
}

void FileSequenceTest::atOffsetWithTheCursorBeforeTheFirst()
{
    FiveFiles f;
    f.sequence.stepBackAfterRemoval();
    QCOMPARE(f.sequence.currentIndex(), largest);
    QCOMPARE(f.sequence.atOffset(1), f.folder.urlOf("a.jpg"));
    QVERIFY(f.sequence.atOffset(std::numeric_limits<qint64>::min()).isEmpty());
}

void FileSequenceTest::gotoIndex()
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

void FileSequenceTest::firstMovesTheCursor()
{
    FiveFiles f;
    f.sequence.gotoIndex(3);
    QCOMPARE(f.sequence.first(), f.folder.urlOf("a.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
}

void FileSequenceTest::sortOrders_data()
{
    QTest::addColumn<QString>("order");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("name") << keys::sortByName << QByteArray("a/img9.jpg b/Img10.jpg a/img11.jpg");
    QTest::newRow("url") << keys::sortByUrl << QByteArray("a/img11.jpg a/img9.jpg b/Img10.jpg");
    QTest::newRow("date") << keys::sortByDate << QByteArray("b/Img10.jpg a/img11.jpg a/img9.jpg");
}

void FileSequenceTest::sortOrders()
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

void FileSequenceTest::sortKeepsTheCursorsNumber()
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

void FileSequenceTest::sortAfterNewFilesSortsAgain()
{
    FiveFiles f;
    f.sequence.addFile(f.folder.addFile("aa.jpg"));
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg d.jpg e.jpg aa.jpg");
    f.sequence.sort();
    QCOMPARE(f.names(), "a.jpg aa.jpg b.jpg c.jpg d.jpg e.jpg");
}

void FileSequenceTest::twoItemsAreNeverShuffled()
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

void FileSequenceTest::randomSortShufflesEveryTime()
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

void FileSequenceTest::sortUsesTheDatesOfCreation()
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

void FileSequenceTest::sortArraySortsAnyList()
{
    SequenceFixture f;
    SlideItems items;
    for (const char* path : {"/b.jpg", "/a.jpg"}) {
        items.push_back(SlideItem::itemWithURL(FileUrl::fromPath(QByteArray(path))));
    }
    f.sequence.sortArray(items);
    QCOMPARE(items[0]->mURL().path(), "/a.jpg");
}

void FileSequenceTest::removeDuplicatesRecords()
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

void FileSequenceTest::removeDuplicatesOfAList()
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

void FileSequenceTest::onlyJpegsStay()
{
    FiveFiles f;
    f.sequence.removeDuplicates();
    QCOMPARE(f.sequence.count(), size_t(5));
    QVERIFY(f.sequence.removedURLs().isEmpty());
}

void FileSequenceTest::removeKeepsTheCursorsNumber()
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

void FileSequenceTest::removeTakesAllEqualItems()
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

void FileSequenceTest::removeOfAnUnknownFileIsRecorded()
{
    FiveFiles f;
    f.sequence.remove(f.folder.urlOf("x.jpg"));
    QCOMPARE(f.sequence.count(), size_t(5));
    QCOMPARE(f.sequence.removedURLs(), QList<FileUrl>{f.folder.urlOf("x.jpg")});
}

void FileSequenceTest::removeOfTheLastRewinds()
{
    FiveFiles f;
    f.sequence.addFile(f.folder.addFile("0.jpg"));
    f.sequence.gotoIndex(5);
    f.sequence.remove(f.folder.urlOf("0.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.sequence.current(), f.folder.urlOf("a.jpg"));
}

void FileSequenceTest::removeNothing()
{
    FiveFiles f;
    f.sequence.remove(FileUrl());
    QCOMPARE(f.sequence.count(), size_t(5));
    QVERIFY(f.sequence.removedURLs().isEmpty());
}

void FileSequenceTest::stepBackAfterRemoval_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("next");
    QTest::newRow("first") << 0 << QByteArray("b.jpg");
    QTest::newRow("middle") << 2 << QByteArray("d.jpg");
    QTest::newRow("last, which rewinds") << 4 << QByteArray("a.jpg");
}

void FileSequenceTest::stepBackAfterRemoval()
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

void FileSequenceTest::stepBackAfterRemovalOfAll()
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

void FileSequenceTest::manyRemovalsAtTheCursorAreLinear()
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

void FileSequenceTest::trashMovesOn()
{
    FiveFiles f;
    f.sequence.gotoIndex(1);
    QCOMPARE(f.sequence.trash(), f.folder.urlOf("c.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(1));
    QCOMPARE(f.names(), "a.jpg c.jpg d.jpg e.jpg");
    QVERIFY(access(f.folder.pathOf("b.jpg").constData(), F_OK) != 0);
    QVERIFY(f.sequence.removedURLs().isEmpty());
}

void FileSequenceTest::trashOfTheLastRewinds()
{
    FiveFiles f;
    f.sequence.addFile(f.folder.addFile("0.jpg"));
    f.sequence.gotoIndex(5);
    QCOMPARE(f.sequence.trash(), f.folder.urlOf("a.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
}

void FileSequenceTest::trashOfTheOnlyItem()
{
    SequenceFixture f;
    f.sequence.addFile(f.folder.addFile("a.jpg"));
    QVERIFY(f.sequence.trash().isEmpty());
    QCOMPARE(f.sequence.count(), size_t(0));
    QVERIFY(access(f.folder.pathOf("a.jpg").constData(), F_OK) != 0);
}

void FileSequenceTest::trashOfAVanishedFileChangesNothing()
{
    FiveFiles f;
    QCOMPARE(unlink(f.folder.pathOf("a.jpg").constData()), 0);
    QVERIFY(f.sequence.trash().isEmpty());
    QCOMPARE(f.sequence.count(), size_t(5));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
}

void FileSequenceTest::trashWithTheCursorOutside()
{
    FiveFiles f;
    f.sequence.stepBackAfterRemoval();
    QVERIFY(f.sequence.trash().isEmpty());
    QCOMPARE(f.sequence.count(), size_t(5));
}

void FileSequenceTest::clearKeepsTheRemovedUrls()
{
    FiveFiles f;
    f.sequence.gotoIndex(3);
    f.sequence.remove(f.folder.urlOf("b.jpg"));
    f.sequence.clear();
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.sequence.removedURLs().size(), 1);
}

void FileSequenceTest::itemChangedOnlyForTheCurrentFile()
{
    FiveFiles f;
    RecordingDelegate delegate;
    f.sequence.setDelegate(&delegate);
    f.sequence.itemChanged(f.folder.urlOf("b.jpg"));
    f.sequence.itemChanged(FileUrl());
    QCOMPARE(delegate.changes, 0);
    f.sequence.itemChanged(f.folder.urlOf("a.jpg"));
    QCOMPARE(delegate.changes, 1);
    f.sequence.stepBackAfterRemoval();
    f.sequence.itemChanged(FileUrl());
    QCOMPARE(delegate.changes, 1);
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::FileSequenceTest)
#include "FileSequenceTest.moc"
