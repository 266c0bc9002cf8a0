#include "CollectingFixture.h"
#include "Collection.h"
#include "FirstOfFolder.h"
#include "FolderWalk.h"
#include "SettingsKeys.h"

#include <QElapsedTimer>

#include <algorithm>
#include <numeric>

using namespace std::chrono_literals;

namespace frameflow {

using Adder = CollectionRequest::Adder;

namespace {

// A collection that notes its reports instead of posting them.
struct RecordedCollection
{
    explicit RecordedCollection(const FileUrl& folder)
    {
        collection.request.adder = Adder::Directory;
        collection.request.entries = {folder};
        collection.collected = std::make_shared<CollectedItems>();
        collection.reports.begun = [this](bool) { reports += 'b'; };
        collection.reports.folderBegun = [this](const FileUrl&) { reports += 'f'; };
        collection.reports.folderEnded = [this] { reports += 'e'; };
        collection.reports.files = [this](SlideItems&& items) {
            reports += 'i';
            batches.append(items.size());
            if (onFiles) {
                onFiles();
            }
        };
        collection.reports.finished = [this](const ItemList& items, const UrlList&, bool) {
            reports += '.';
            result = items.size();
        };
    }

    Collection collection;
    QByteArray reports;
    QList<size_t> batches;
    size_t result = 0;
    std::function<void()> onFiles;
};

// What the file system lists first of what can be shown.
FileUrl firstAsListed(const TestFolder& folder)
{
    FileUrl first;
    walkFolder(folder.url(), 0, CancelToken(),
        [&](const SlideItemPtr& item) { first = first.isEmpty() ? item->mURL() : first; });
    return first;
}

} // namespace

class CollectingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstBatchIsOneItemFollowedByFirstFileFound();
    void resultIsSortedAndThinned();
    void addersAreAsTheirSynchronousTwins_data();
    void addersAreAsTheirSynchronousTwins();
    void hotFolderIsDecidedByTheCollection_data();
    void hotFolderIsDecidedByTheCollection();
    void settingsAreReadWhenQueued();
    void emptyFolderFinishesWithoutFirstFile();
    void nothingIsCalledBackFromCollectItself();

    void secondCollectionAddsToTheFirst();
    void collectionAddsToWhatIsThere();
    void clearFirstDropsWhatIsThere();
    void clearOnEmptiesAfterQueuedCollections();
    void collectionAfterQueuedClearStartsEmpty();

    void theFirstOfTheOrderIsFoundFirst_data();
    void theFirstOfTheOrderIsFoundFirst();
    void otherOrdersAreFoundAsTheFileSystemListsThem();
    void severalFoldersAreFoundAsTheyAreNamed();
    void theFirstOfTheOrderIsLookedForWithinLimits();
    void thereMayBeNoFirstOfTheOrder();
    void companionsThatStayMayBeFirst();

    void batchesStartWithOneItemAndAreBounded();
    void cancelledCollectionReportsNothingMore();
    void collectionRestsWhereItIsAskedTo();
    void cancelledCollectionEndsItsRest();
};

void CollectingTest::firstBatchIsOneItemFollowedByFirstFileFound()
{
    QueuedFixture f(100);
    QList<size_t> counts;
    f.delegate.onFirstFile = [&] { counts.append(f.sequence.count()); };
    f.collect(f.folderRequest());
    QVERIFY(f.sequence.isCollecting());
    QTRY_COMPARE(f.finished, 1);
    QVERIFY(!f.sequence.isCollecting());
    QCOMPARE(counts, QList<size_t>{1});
    QCOMPARE(f.sequence.count(), size_t(100));
    QCOMPARE(f.sequence.URLAtIndex(2), f.folder.urlOf("2.jpg"));
    QCOMPARE(f.sequence.URLAtIndex(10), f.folder.urlOf("10.jpg"));
}

void CollectingTest::resultIsSortedAndThinned()
{
    QueuedFixture f;
    for (const char* name : {"IMG_10.JPG", "IMG_10.CR2", "IMG_9.JPG", "IMG_8.CR2"}) {
        f.folder.addFile(name);
    }
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.names(), "IMG_8.CR2 IMG_9.JPG IMG_10.JPG");
    QCOMPARE(f.sequence.removedURLs(), QList<FileUrl>{f.folder.urlOf("IMG_10.CR2")});
}

void CollectingTest::addersAreAsTheirSynchronousTwins_data()
{
    QTest::addColumn<int>("adder");
    QTest::addColumn<bool>("sorts");
    QTest::newRow("files") << static_cast<int>(Adder::Files) << true;
    QTest::newRow("urls") << static_cast<int>(Adder::Urls) << true;
    QTest::newRow("url") << static_cast<int>(Adder::Url) << false;
}

void CollectingTest::addersAreAsTheirSynchronousTwins()
{
    QFETCH(const int, adder);
    QFETCH(const bool, sorts);
    QueuedFixture f(3);
    f.folder.addFile("sub/z.jpg");
    f.folder.addFile("b.png");
    const auto last = f.folder.urlOf("2.jpg");
    const CollectionRequest request{static_cast<Adder>(adder),
        {last, f.folder.urlOf("sub"), f.folder.urlOf("0.jpg"), f.folder.urlOf("none"), last}};
    f.collect(request);
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.names(), sorts ? "0.jpg 2.jpg 2.jpg sub/z.jpg" : "2.jpg sub/z.jpg 0.jpg 2.jpg");
    f.sequence.gotoIndex(0);
    f.sequence.remove(last);
    QCOMPARE(f.names(), sorts ? "0.jpg sub/z.jpg" : "sub/z.jpg 0.jpg");
}

void CollectingTest::hotFolderIsDecidedByTheCollection_data()
{
    QTest::addColumn<int>("adder");
    QTest::addColumn<int>("folders");
    QTest::addColumn<bool>("hot");
    QTest::newRow("one as files") << static_cast<int>(Adder::Files) << 1 << true;
    QTest::newRow("one as urls") << static_cast<int>(Adder::Urls) << 1 << true;
    QTest::newRow("directory") << static_cast<int>(Adder::Directory) << 1 << true;
    QTest::newRow("url") << static_cast<int>(Adder::Url) << 1 << true;
    QTest::newRow("two as files") << static_cast<int>(Adder::Files) << 2 << false;
    QTest::newRow("two as urls") << static_cast<int>(Adder::Urls) << 2 << false;
}

void CollectingTest::hotFolderIsDecidedByTheCollection()
{
    QFETCH(const int, adder);
    QFETCH(const int, folders);
    QFETCH(const bool, hot);
    QueuedFixture f(2);
    const TestFolder other;
    const QList<FileUrl> both{f.folder.url(), other.url()};
    f.collect({static_cast<Adder>(adder), both.mid(0, folders)});
    QVERIFY(f.sequence.hotFolder().isEmpty());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.hotFolder(), hot ? f.folder.url() : FileUrl());
    // A second folder ends the watch.
    f.collect({Adder::Directory, {other.url()}});
    QTRY_COMPARE(f.finished, 2);
    QVERIFY(f.sequence.hotFolder().isEmpty());
    f.collect({Adder::Directory, {other.url()}, true});
    QTRY_COMPARE(f.finished, 3);
    QCOMPARE(f.sequence.hotFolder(), other.url());
}

void CollectingTest::settingsAreReadWhenQueued()
{
    QueuedFixture f(2);
    f.folder.addFile("sub/z.jpg");
    f.set(keys::maxFolderLevel, 1);
    f.collect(f.folderRequest());
    f.set(keys::maxFolderLevel, 0);
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.names(), "0.jpg 1.jpg");
}

void CollectingTest::emptyFolderFinishesWithoutFirstFile()
{
    QueuedFixture f;
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.delegate.firstFiles, 0);
    QCOMPARE(f.sequence.count(), size_t(0));
    f.sequence.collect(f.queue, {Adder::Files, {}});
    QTRY_VERIFY(!f.sequence.isCollecting());
}

void CollectingTest::nothingIsCalledBackFromCollectItself()
{
    QueuedFixture f(5);
    f.collect(f.folderRequest());
    f.runQueue();
    QCOMPARE(f.finished, 0);
    QCOMPARE(f.delegate.firstFiles, 0);
    QCOMPARE(f.sequence.count(), size_t(0));
    QTRY_COMPARE(f.finished, 1);
}

void CollectingTest::secondCollectionAddsToTheFirst()
{
    QueuedFixture f(3);
    const TestFolder other;
    other.addFile("a.jpg");
    other.addFile("1.png");
    f.collect(f.folderRequest());
    f.collect({Adder::Urls, {other.url()}, false, false, true});
    f.runQueue();
    QTRY_COMPARE(f.finished, 2);
    QCOMPARE(f.delegate.firstFiles, 1);
    QCOMPARE(f.sequence.count(), size_t(4)); // 1.png is a companion of 1.jpg
    QCOMPARE(f.sequence.URLAtIndex(3), other.urlOf("a.jpg"));
    QCOMPARE(f.sequence.removedURLs(), QList<FileUrl>{other.urlOf("1.png")});
}

void CollectingTest::collectionAddsToWhatIsThere()
{
    QueuedFixture f(3);
    const TestFolder other;
    f.sequence.addFile(other.addFile("1a.jpg"));
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(4));
    QCOMPARE(f.sequence.URLAtIndex(2), other.urlOf("1a.jpg"));
    QCOMPARE(f.delegate.firstFiles, 1);
}

void CollectingTest::clearFirstDropsWhatIsThere()
{
    QueuedFixture f(3);
    const TestFolder other;
    f.sequence.addFile(other.addFile("1a.jpg"));
    auto request = f.folderRequest();
    request.clearFirst = true;
    f.collect(request);
    f.runQueue();
    QCOMPARE(f.sequence.count(), size_t(1));
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.names(), "0.jpg 1.jpg 2.jpg");
    QCOMPARE(f.delegate.firstFiles, 2);
}

void CollectingTest::clearOnEmptiesAfterQueuedCollections()
{
    QueuedFixture f(3);
    f.collect(f.folderRequest());
    size_t countWhenCleared = 99;
    bool cleared = false;
    f.sequence.clearOn(f.queue, [&] {
        cleared = true;
        countWhenCleared = f.sequence.count();
    });
    f.collect({Adder::Files, {f.folder.urlOf("2.jpg")}});
    QTRY_VERIFY(cleared);
    QCOMPARE(countWhenCleared, size_t(0));
    QTRY_COMPARE(f.finished, 2);
    QCOMPARE(f.names(), "2.jpg");
    QVERIFY(f.sequence.hotFolder().isEmpty());
    QCOMPARE(f.delegate.firstFiles, 2);
}

void CollectingTest::collectionAfterQueuedClearStartsEmpty()
{
    QueuedFixture f(3);
    f.sequence.addDirectory(f.folder.path());
    f.sequence.clearOn(f.queue);
    f.collect({Adder::Files, {f.folder.urlOf("2.jpg")}});
    QCOMPARE(f.sequence.count(), size_t(3));
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.names(), "2.jpg");
}

void CollectingTest::theFirstOfTheOrderIsFoundFirst_data()
{
    QTest::addColumn<QString>("order");
    QTest::addColumn<QByteArrayList>("names");
    QTest::addColumn<QByteArray>("first");
    QByteArrayList many;
    for (int number = 400; number > 1; --number) {
        many.append(QByteArray::number(number) + ".jpg");
    }
    QTest::newRow("by name, numbers count") << "name" << many << QByteArray("2.jpg");
    QTest::newRow("by path") << "url" << many << QByteArray("10.jpg");
    const QByteArrayList letters{"c.png", "B.png", "a.png", "A.png"};
    QTest::newRow("by name, case decides only between equals") << "name" << letters << QByteArray("A.png");
    QTest::newRow("by path, case counts") << "url" << letters << QByteArray("A.png");
    QTest::newRow("what cannot be shown is none")
        << "name" << QByteArrayList{"a.txt", ".a.jpg", "z.jpg", "y.jpg", "x.jpg"} << QByteArray("x.jpg");
    QTest::newRow("of a JPEG and its companion the JPEG")
        << "name" << QByteArrayList{"a.CR2", "a.JPG", "b.JPG"} << QByteArray("a.JPG");
    QTest::newRow("a raw picture alone") << "name" << QByteArrayList{"a.CR2", "b.JPG"} << QByteArray("a.CR2");
    QTest::newRow("one") << "name" << QByteArrayList{"a.jpg"} << QByteArray("a.jpg");
    QTest::newRow("in a subfolder alone") << "name" << QByteArrayList{"x/a.jpg"} << QByteArray("x/a.jpg");
}

void CollectingTest::theFirstOfTheOrderIsFoundFirst()
{
    QFETCH(QString, order);
    QFETCH(QByteArrayList, names);
    QFETCH(QByteArray, first);
    QueuedFixture f;
    f.folder.addFolder("x");
    for (const QByteArray& name : names) {
        f.folder.addFile(name);
    }
    f.set(keys::sort, order);
    QList<FileUrl> found;
    f.delegate.onFirstFile = [&] { found.append(f.sequence.current()); };
    // A machine that is held up reaches the limit of the time, and finds another one first.
    constexpr int attempts = 20;
    for (int attempt = 1; found.isEmpty() || (found.last() != f.folder.urlOf(first) && attempt < attempts); ++attempt) {
        f.collect({Adder::Directory, {f.folder.url()}, true, true, true});
        QTRY_COMPARE(f.finished, attempt);
        QCOMPARE(found.size(), attempt);
        QCOMPARE(f.sequence.first(), f.folder.urlOf(first));
    }
    QCOMPARE(found.last(), f.folder.urlOf(first));
    QList<FileUrl> all;
    for (size_t index = 0; index < f.sequence.count(); ++index) {
        QVERIFY(!all.contains(f.sequence.URLAtIndex(index))); // nothing is there twice
        all.append(f.sequence.URLAtIndex(index));
    }
}

void CollectingTest::otherOrdersAreFoundAsTheFileSystemListsThem()
{
    QueuedFixture f(50);
    const FileUrl listedFirst = firstAsListed(f.folder);
    QList<FileUrl> found;
    f.delegate.onFirstFile = [&] { found.append(f.sequence.current()); };
    for (const char* order : {"date", "random"}) {
        f.set(keys::sort, QString::fromUtf8(order));
        f.collect({Adder::Directory, {f.folder.url()}, true, true, true});
    }
    f.set(keys::sort, keys::sortByName);
    f.collect({Adder::Directory, {f.folder.url()}, true, false, false}); // which sorts nothing
    QTRY_COMPARE(f.finished, 3);
    QCOMPARE(found, (QList<FileUrl>{listedFirst, listedFirst, listedFirst}));
}

void CollectingTest::severalFoldersAreFoundAsTheyAreNamed()
{
    QueuedFixture f;
    const TestFolder other;
    f.folder.addFile("b.jpg");
    f.folder.addFile("c.jpg");
    other.addFile("a.jpg");
    const FileUrl listedFirst = firstAsListed(f.folder);
    QList<FileUrl> found;
    f.delegate.onFirstFile = [&] { found.append(f.sequence.current()); };
    f.collect({Adder::Urls, {f.folder.url(), other.url()}, false, true, true});
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(found, QList<FileUrl>{listedFirst});
    // What joins others is found in the order of the file system too.
    f.collect({Adder::Urls, {other.url()}, false, true, true});
    QTRY_COMPARE(f.finished, 2);
    QCOMPARE(f.sequence.count(), size_t(4));
}

void CollectingTest::theFirstOfTheOrderIsLookedForWithinLimits()
{
    QueuedFixture f(50);
    const FileUrl listedFirst = firstAsListed(f.folder);
    const auto first = [&](qint64 entries, std::chrono::milliseconds time, const CancelToken& cancel = {}) {
        const auto item = firstOfFolder(f.folder.url(), SortOrder::Name, true, cancel, {entries, time});
        return item ? item->mURL() : FileUrl();
    };
    constexpr int all = 51; // with the file that the others are links to
    QCOMPARE(first(all, 1h), f.folder.urlOf("0.jpg"));
    FileUrl amongFew;
    for (int most = 1; amongFew.isEmpty() && most < all; ++most) {
        amongFew = first(most, 1h);
    }
    QCOMPARE(amongFew, listedFirst);
    QVERIFY(first(0, 1h).isEmpty());
    QVERIFY(first(all, 0ms).isEmpty());
    QVERIFY(!firstOfFolder(f.folder.url(), SortOrder::Name, true, CancelToken(), {all, 1h, 1}));
    const CancelToken cancelled;
    cancelled.cancel();
    QVERIFY(first(all, 1h, cancelled).isEmpty());
}

void CollectingTest::thereMayBeNoFirstOfTheOrder()
{
    QueuedFixture f(3);
    const FirstOfFolderLimits limits{1000, 1h};
    const auto isNone = [&](const FileUrl& folder, SortOrder order) {
        return !firstOfFolder(folder, order, true, CancelToken(), limits);
    };
    QVERIFY(!isNone(f.folder.url(), SortOrder::Name));
    QVERIFY(isNone(f.folder.url(), SortOrder::Date));
    QVERIFY(isNone(f.folder.url(), SortOrder::Random));
    QVERIFY(isNone(f.folder.urlOf("missing"), SortOrder::Name));
    // A link that leads nowhere is no file.
    f.folder.addLink("-.jpg", "nowhere");
    QVERIFY(isNone(f.folder.url(), SortOrder::Name));
}

void CollectingTest::companionsThatStayMayBeFirst()
{
    QueuedFixture f;
    f.folder.addFile("a.CR2");
    f.folder.addFile("a.JPG");
    const auto first = [&](bool leavesOutCompanions) {
        return firstOfFolder(f.folder.url(), SortOrder::Name, leavesOutCompanions, CancelToken(), {1000, 1h})->mURL();
    };
    QCOMPARE(first(false), f.folder.urlOf("a.CR2"));
    QCOMPARE(first(true), f.folder.urlOf("a.JPG"));
}

void CollectingTest::batchesStartWithOneItemAndAreBounded()
{
    const QueuedFixture f(20000);
    RecordedCollection recorded(f.folder.url());
    recorded.collection.run();
    QVERIFY(recorded.batches.size() >= 4);
    QCOMPARE(recorded.batches.first(), size_t(1));
    QVERIFY(*std::max_element(recorded.batches.begin(), recorded.batches.end()) <= 8192);
    QCOMPARE(std::accumulate(recorded.batches.begin(), recorded.batches.end(), size_t(0)), size_t(20000));
    QCOMPARE(recorded.result, size_t(20000));
    QVERIFY(recorded.reports.startsWith("bfi"));
    QVERIFY(recorded.reports.endsWith("ie."));
}

void CollectingTest::cancelledCollectionReportsNothingMore()
{
    const QueuedFixture f(100);
    RecordedCollection recorded(f.folder.url());
    recorded.onFiles = [&] { recorded.collection.cancel.cancel(); };
    recorded.collection.run();
    QCOMPARE(recorded.batches, QList<size_t>{1});
    QVERIFY(!recorded.reports.endsWith('.'));
    recorded.reports.clear();
    recorded.collection.run();
    QVERIFY(recorded.reports.isEmpty());
}

void CollectingTest::collectionRestsWhereItIsAskedTo()
{
    const QueuedFixture f(20);
    RecordedCollection recorded(f.folder.url());
    QElapsedTimer timer;
    recorded.onFiles = [&] {
        if (!timer.isValid()) {
            timer.start();
            recorded.collection.rest.askFor(std::chrono::milliseconds(200));
        }
    };
    recorded.collection.run();
    QVERIFY2(timer.elapsed() >= 200, QByteArray::number(timer.elapsed()).constData());
    QCOMPARE(recorded.result, size_t(20));
    QVERIFY(recorded.reports.endsWith('.'));
}

void CollectingTest::cancelledCollectionEndsItsRest()
{
    const QueuedFixture f(20);
    RecordedCollection recorded(f.folder.url());
    QElapsedTimer timer;
    timer.start();
    recorded.onFiles = [&] {
        recorded.collection.rest.askFor(std::chrono::hours(1));
        recorded.collection.cancel.cancel();
    };
    recorded.collection.run();
    QVERIFY(timer.elapsed() < 60000);
    QCOMPARE(recorded.batches, QList<size_t>{1});
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::CollectingTest)
#include "CollectingTest.moc"
