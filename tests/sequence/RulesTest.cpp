#include "FolderWalk.h"
#include "SequenceFixture.h"

#include <QSet>

#include <algorithm>
#include <compare>
#include <limits>

namespace frameflow {

namespace {

constexpr auto largest = std::numeric_limits<size_t>::max();

FileUrl urlOf(const char* path)
{
    return FileUrl::fromPath(QByteArray(path));
}

// Files in the given order, which is not sorted.
struct Unsorted : SequenceFixture
{
    explicit Unsorted(const QByteArrayList& names)
    {
        for (const auto& name : names) {
            sequence.addFile(folder.addFile(name));
        }
    }
};

// Files whose order by date is the reverse of the order in which their folder lists them.
struct DatedAgainstTheListing : SequenceFixture
{
    DatedAgainstTheListing()
    {
        set(keys::sort, keys::sortByDate);
        for (int i = 0; i < 8; ++i) {
            folder.addFile(QByteArray::number(i) + ".jpg");
        }
        walkFolder(folder.url(), 0, CancelToken(),
            [this](const SlideItemPtr& item) { listed.append(item->mURL().fileName().toByteArray()); });
        for (qsizetype i = 0; i < listed.size(); ++i) {
            folder.setModified(listed[i], 2000.0 - static_cast<double>(i));
        }
    }

    QByteArrayList listed;
};

} // namespace

// Rules that no single operation owns, and the odd ones that are easily lost.
class RulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Items
    void itemsOfOneFileAreEqualWhateverTheirAttributes();
    void refreshingFollowsALinkToItsNewTarget();
    void refreshingAVanishedFileLosesItsDate();
    void freshFileThatVanishesIsNotReady();
    void extensionsCountInTheNameOrder();
    void comparisonsOfAbsentUrlsAreQuiet();

    // Collecting
    void folderAloneIsNotSorted_data();
    void folderAloneIsNotSorted();
    void addingUrlsDuringASearchLeavesFoldersOut();
    void linksToFilesAndFoldersMayBeAdded();
    void singleAddersDoNotAllowAHotFolder_data();
    void singleAddersDoNotAllowAHotFolder();
    void severalFoldersEndTheWatch();
    void hotFolderIsSetBeforeTheSearch();
    void maxFolderLevelMayBeText();
    void onlyItemAgainIsAFirstFileAgain();
    void checkFirstFileTellsOfExactlyOne();

    // Order and walking
    void everythingElseIsRandomOrder_data();
    void everythingElseIsRandomOrder();
    void everyRoundInRandomOrderIsAnother();
    void emptySequenceLeavesTheCursorWhereItIs();
    void cursorBehindTheEnd_data();
    void cursorBehindTheEnd();
    void shufflingKeepsTheCursorsNumber();
    void sortArrayFollowsTheSetting_data();
    void sortArrayFollowsTheSetting();

    // Leaving
    void trashingTheLastSortsAgain();
    void removingTheLastSortsAgain();
    void removingAnotherMayRewindToo();
    void removingTheOnlyItemEmptiesTheSequence();
};

void RulesTest::itemsOfOneFileAreEqualWhateverTheirAttributes()
{
    const SlideItem old(urlOf("/a.jpg"), {1000, 0}, "target.jpg");
    const SlideItem fresh(urlOf("/a.jpg"), {2000, 5}, {});
    QVERIFY(old.isEqual(fresh));
    QCOMPARE(old.hash(), fresh.hash());
    QCOMPARE(old.hash(), qHash(urlOf("/a.jpg")));
    QVERIFY(!old.isEqual(SlideItem(urlOf("/b.jpg"), {1000, 0}, "target.jpg")));
}

void RulesTest::refreshingFollowsALinkToItsNewTarget()
{
    const TestFolder folder;
    folder.addFile("one.jpg");
    folder.addFile("two.jpg");
    folder.setModified("one.jpg", 1000);
    folder.setModified("two.jpg", 2000);
    const QByteArray link = folder.addLink("link.jpg", "one.jpg");
    SlideItem item(folder.urlOf("link.jpg"));
    QCOMPARE(item.mFileName(), QByteArrayView("one.jpg"));
    QCOMPARE(unlink(link.constData()), 0);
    folder.addLink("link.jpg", "two.jpg");
    QCOMPARE(item.mFileName(), QByteArrayView("one.jpg"));
    item.refreshAttributes();
    QCOMPARE(item.mFileName(), QByteArrayView("two.jpg"));
    QVERIFY(item.fileModificationDate() == (FileDate{2000, 0}));
    QCOMPARE(item.mURL(), folder.urlOf("link.jpg"));
}

void RulesTest::refreshingAVanishedFileLosesItsDate()
{
    const TestFolder folder;
    const QByteArray path = folder.addFile("a.jpg");
    const SlideItemPtr item = SlideItem::itemWithURL(folder.urlOf("a.jpg"));
    QVERIFY(item->fileModificationDate());
    QCOMPARE(unlink(path.constData()), 0);
    QVERIFY(item->fileModificationDate());
    item->refreshAttributes();
    QVERIFY(!item->fileModificationDate());
    QCOMPARE(item->mFileName(), QByteArrayView("a.jpg"));
}

void RulesTest::freshFileThatVanishesIsNotReady()
{
    const TestFolder folder;
    const QByteArray path = folder.addFile("a.jpg");
    folder.setModified("a.jpg", 2000);
    SlideItem item(folder.urlOf("a.jpg"));
    QCOMPARE(unlink(path.constData()), 0);
    QVERIFY(!item.isReady({2000, 500}));
    QVERIFY(!item.isReady({9000, 0})); // it looked, and found nothing
}

void RulesTest::extensionsCountInTheNameOrder()
{
    const SlideItem jpg(urlOf("/b/a.jpg"), {}, {});
    const SlideItem png(urlOf("/a/a.png"), {}, {});
    QVERIFY(std::is_lt(jpg.nameCompare(png)));
    QVERIFY(std::is_eq(jpg.baseCompare(png)));
}

void RulesTest::comparisonsOfAbsentUrlsAreQuiet()
{
    const SlideItem absent{FileUrl()};
    const SlideItem file(urlOf("/a.jpg"), {1, 0}, {});
    QVERIFY(std::is_lt(absent.nameCompare(file)));
    QVERIFY(std::is_lt(absent.baseCompare(file)));
    QVERIFY(std::is_lt(absent.urlCompare(file)));
    QVERIFY(std::is_eq(absent.dateCompare(file)));
}

void RulesTest::folderAloneIsNotSorted_data()
{
    QTest::addColumn<bool>("asUrl");
    QTest::addColumn<bool>("sorted");
    QTest::newRow("directory") << false << false;
    QTest::newRow("url") << true << false;
    QTest::newRow("list of one url") << true << true;
}

void RulesTest::folderAloneIsNotSorted()
{
    QFETCH(const bool, asUrl);
    QFETCH(const bool, sorted);
    DatedAgainstTheListing f;
    if (sorted) {
        f.sequence.addURLs({f.folder.url()});
        std::reverse(f.listed.begin(), f.listed.end());
    } else if (asUrl) {
        f.sequence.addURL(f.folder.url());
    } else {
        f.sequence.addDirectory(f.folder.path());
    }
    QCOMPARE(f.names(), f.listed.join(' '));
}

void RulesTest::addingUrlsDuringASearchLeavesFoldersOut()
{
    SequenceFixture f;
    f.folder.addFile("a.jpg");
    const TestFolder other;
    other.addFile("z.jpg");
    RecordingDelegate delegate;
    delegate.onFirstFile = [&] { f.sequence.addURLs({other.url()}); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(f.names(), "a.jpg");
    f.sequence.addURLs({other.url()});
    QCOMPARE(f.sequence.count(), size_t(2));
}

void RulesTest::linksToFilesAndFoldersMayBeAdded()
{
    SequenceFixture f;
    const QByteArray target = f.folder.addFile("photos/IMG_1.jpg");
    const QByteArray file = f.folder.addLink("file.jpg", target);
    const QByteArray folder = f.folder.addLink("folder", "photos");
    f.sequence.addFile(file);
    f.sequence.addURL(FileUrl::fromPath(folder));
    QCOMPARE(f.names(), "file.jpg folder/IMG_1.jpg");
}

void RulesTest::singleAddersDoNotAllowAHotFolder_data()
{
    QTest::addColumn<int>("files");
    QTest::addColumn<bool>("hot");
    QTest::newRow("after a list of none") << 0 << false;
    QTest::newRow("after a list of one file") << 1 << true;
    QTest::newRow("after a list of two files") << 2 << false;
}

void RulesTest::singleAddersDoNotAllowAHotFolder()
{
    QFETCH(const int, files);
    QFETCH(const bool, hot);
    for (const bool asUrls : {false, true}) {
        SequenceFixture f;
        const TestFolder other;
        QList<QByteArray> paths;
        QList<FileUrl> urls;
        for (int i = 0; i < files; ++i) {
            paths.append(f.folder.addFile(QByteArray::number(i) + ".jpg"));
            urls.append(FileUrl::fromPath(paths.last()));
        }
        if (asUrls) {
            f.sequence.addURLs(urls);
        } else {
            f.sequence.addFiles(paths);
        }
        f.sequence.addFile(f.folder.addFile("alone.jpg"));
        f.sequence.addDirectory(other.path());
        QCOMPARE(f.sequence.hotFolder(), hot ? other.url() : FileUrl());
    }
}

void RulesTest::severalFoldersEndTheWatch()
{
    const TestFolder other;
    SequenceFixture f;
    f.sequence.addURLs({f.folder.url()});
    QVERIFY(!f.sequence.hotFolder().isEmpty());
    f.sequence.addFiles({other.path(), f.folder.path()});
    QVERIFY(f.sequence.hotFolder().isEmpty());
}

void RulesTest::hotFolderIsSetBeforeTheSearch()
{
    SequenceFixture f;
    f.folder.addFile("a.jpg");
    RecordingDelegate delegate;
    FileUrl seen;
    delegate.onFirstFile = [&] { seen = f.sequence.hotFolder(); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(seen, f.folder.url());
}

void RulesTest::maxFolderLevelMayBeText()
{
    SequenceFixture f;
    f.folder.addFile("1.jpg");
    f.folder.addFile("s/2.jpg");
    f.set(keys::maxFolderLevel, QStringLiteral("1"));
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(f.names(), "1.jpg");
}

void RulesTest::onlyItemAgainIsAFirstFileAgain()
{
    SequenceFixture f;
    RecordingDelegate delegate;
    f.sequence.setDelegate(&delegate);
    const QByteArray path = f.folder.addFile("a.jpg");
    f.sequence.addFile(path);
    f.sequence.remove(FileUrl::fromPath(path));
    f.sequence.addFile(path);
    QCOMPARE(delegate.firstFiles, 2);
}

void RulesTest::checkFirstFileTellsOfExactlyOne()
{
    SequenceFixture f;
    RecordingDelegate delegate;
    f.sequence.setDelegate(&delegate);
    f.sequence.checkFirstFile();
    QCOMPARE(delegate.firstFiles, 0);
    f.sequence.addFile(f.folder.addFile("a.jpg"));
    f.sequence.checkFirstFile();
    QCOMPARE(delegate.firstFiles, 2);
    f.sequence.addFile(f.folder.addFile("b.jpg"));
    f.sequence.checkFirstFile();
    QCOMPARE(delegate.firstFiles, 2);
}

void RulesTest::everythingElseIsRandomOrder_data()
{
    QTest::addColumn<QVariant>("sort");
    QTest::newRow("random") << QVariant(keys::sortRandom);
    QTest::newRow("unknown word") << QVariant(QStringLiteral("size"));
    QTest::newRow("other case") << QVariant(QStringLiteral("Name"));
    QTest::newRow("removed") << QVariant();
}

void RulesTest::everythingElseIsRandomOrder()
{
    QFETCH(const QVariant, sort);
    Unsorted f({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    f.set(keys::sort, sort);
    QSet<QByteArray> seen;
    for (int i = 0; i < 200; ++i) {
        f.sequence.sort();
        seen.insert(f.names());
    }
    QVERIFY2(seen.size() > 12, qPrintable(QString::number(seen.size())));
}

void RulesTest::everyRoundInRandomOrderIsAnother()
{
    Unsorted f({"a.jpg", "b.jpg", "c.jpg", "d.jpg", "e.jpg"});
    f.set(keys::sort, keys::sortRandom);
    QSet<QByteArray> rounds;
    for (int round = 0; round < 60; ++round) {
        f.sequence.gotoIndex(4);
        const FileUrl next = f.sequence.next();
        QCOMPARE(next, f.sequence.URLAtIndex(0));
        QCOMPARE(f.sequence.currentIndex(), size_t(0));
        rounds.insert(f.names());
    }
    QVERIFY2(rounds.size() > 20, qPrintable(QString::number(rounds.size())));
}

void RulesTest::emptySequenceLeavesTheCursorWhereItIs()
{
    SequenceFixture f;
    f.sequence.previous();
    QVERIFY(f.sequence.next().isEmpty());
    QVERIFY(f.sequence.first().isEmpty());
    QVERIFY(f.sequence.gotoIndex(0).isEmpty());
    QVERIFY(f.sequence.URLAtIndex(largest).isEmpty());
    QCOMPARE(f.sequence.currentIndex(), largest);
    f.sequence.clear();
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
}

void RulesTest::cursorBehindTheEnd_data()
{
    QTest::addColumn<QString>("endMode");
    QTest::addColumn<QByteArray>("next");
    QTest::addColumn<size_t>("index");
    QTest::newRow("wait") << keys::endModeWait << QByteArray() << size_t(1);
    QTest::newRow("rewind") << keys::endModeRewind << QByteArray("a.jpg") << size_t(0);
}

// The duplicate rule leaves the cursor where it is, behind the end of what is left.
void RulesTest::cursorBehindTheEnd()
{
    QFETCH(const QString, endMode);
    QFETCH(const QByteArray, next);
    QFETCH(const size_t, index);
    Unsorted f({"a.jpg", "b.jpg", "a.png", "b.png"});
    f.set(keys::endMode, endMode);
    f.sequence.gotoIndex(3);
    f.sequence.removeDuplicates();
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QCOMPARE(f.sequence.currentIndex(), size_t(3));
    QVERIFY(f.sequence.current().isEmpty());
    QVERIFY(f.sequence.previous().isEmpty());
    QCOMPARE(f.sequence.currentIndex(), size_t(2));
    QCOMPARE(f.sequence.next(), next.isEmpty() ? FileUrl() : f.folder.urlOf(next));
    QCOMPARE(f.sequence.currentIndex(), index);
}

void RulesTest::shufflingKeepsTheCursorsNumber()
{
    Unsorted f({"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    f.sequence.gotoIndex(2);
    f.sequence.shuffle();
    QCOMPARE(f.sequence.currentIndex(), size_t(2));
    QCOMPARE(f.sequence.current(), f.sequence.URLAtIndex(2));
}

void RulesTest::sortArrayFollowsTheSetting_data()
{
    QTest::addColumn<QString>("order");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("name") << keys::sortByName << QByteArray("/b/2.jpg /a/10.jpg /c/a.jpg");
    QTest::newRow("url") << keys::sortByUrl << QByteArray("/a/10.jpg /b/2.jpg /c/a.jpg");
    QTest::newRow("date") << keys::sortByDate << QByteArray("/c/a.jpg /a/10.jpg /b/2.jpg");
}

void RulesTest::sortArrayFollowsTheSetting()
{
    QFETCH(const QString, order);
    SequenceFixture f;
    f.set(keys::sort, order);
    SlideItems items;
    items.push_back(SlideItemPtr(new SlideItem(urlOf("/a/10.jpg"), {2000, 0}, {})));
    items.push_back(SlideItemPtr(new SlideItem(urlOf("/c/a.jpg"), {1000, 0}, {})));
    items.push_back(SlideItemPtr(new SlideItem(urlOf("/b/2.jpg"), {3000, 0}, {})));
    f.sequence.sortArray(items);
    QByteArrayList sorted;
    for (const auto& item : items) {
        sorted.append(item->mURL().path());
    }
    QTEST(sorted.join(' '), "expected");
    QCOMPARE(f.sequence.count(), size_t(0));
}

void RulesTest::trashingTheLastSortsAgain()
{
    Unsorted f({"c.jpg", "b.jpg", "a.jpg"});
    f.sequence.gotoIndex(2);
    QCOMPARE(f.sequence.trash(), f.folder.urlOf("b.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.names(), "b.jpg c.jpg");
}

void RulesTest::removingTheLastSortsAgain()
{
    Unsorted f({"c.jpg", "b.jpg", "a.jpg"});
    f.sequence.gotoIndex(2);
    f.sequence.remove(f.folder.urlOf("a.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.names(), "b.jpg c.jpg");
}

// With the cursor on the last item, it stands behind the end when any other one goes.
void RulesTest::removingAnotherMayRewindToo()
{
    Unsorted f({"c.jpg", "b.jpg", "a.jpg"});
    f.sequence.gotoIndex(2);
    f.sequence.remove(f.folder.urlOf("c.jpg"));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QCOMPARE(f.names(), "a.jpg b.jpg");
}

void RulesTest::removingTheOnlyItemEmptiesTheSequence()
{
    Unsorted f({"a.jpg"});
    f.sequence.remove(f.folder.urlOf("a.jpg"));
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QVERIFY(f.sequence.current().isEmpty());
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::RulesTest)
#include "RulesTest.moc"
