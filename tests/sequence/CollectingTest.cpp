#include "Collection.h"
#include "SequenceTest.h"

#include <algorithm>
#include <numeric>
#include <semaphore>

namespace frameflow {

using Adder = CollectionRequest::Adder;

namespace {

// A job at the head of a queue that ends when the test says so.
class Blocker
{
public:
    explicit Blocker(SerialQueue& queue)
    {
        queue.async([state = mState] {
            state->started.release();
            state->released.acquire();
        });
    }
    ~Blocker() { release(); }
    Blocker(const Blocker&) = delete;
    Blocker& operator=(const Blocker&) = delete;

    void waitUntilRunning() const { mState->started.acquire(); }
    void release()
    {
        if (!std::exchange(mDone, true)) {
            mState->released.release();
        }
    }

private:
    struct State
    {
        // Not Qt's: the thread sanitizer does not see what those order.
        std::counting_semaphore<> started{0};
        std::counting_semaphore<> released{0};
    };

    std::shared_ptr<State> mState = std::make_shared<State>();
    bool mDone = false;
};

// A sequence with a queue and a folder of numbered files: 0.jpg, 1.jpg and so on.
struct QueuedFixture : SequenceFixture
{
    explicit QueuedFixture(int files = 0)
    {
        addFiles(files);
        sequence.setDelegate(&delegate);
    }

    CollectionRequest folderRequest() const { return {Adder::Directory, {folder.url()}, false, true, true}; }

    void collect(const CollectionRequest& request)
    {
        sequence.collect(queue, request, [this] { ++finished; });
    }

    // Lets the queue come to its end without handling what it posts.
    void runQueue()
    {
        queue.sync([] {});
    }

    RecordingDelegate delegate;
    SerialQueue queue{"test"};
    int finished = 0;
};

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

    void removedMeanwhileIsNotRestored_data();
    void removedMeanwhileIsNotRestored();
    void removedBeforeTheSecondResultStaysRemoved();
    void addedMeanwhileIsKept();
    void duplicatesRemovedMeanwhileStayRemoved();
    void sortSettingChangedMeanwhile();
    void cursorKeepsItsNumber();

    void abandonedCollectionCallsNothingBack();
    void abandonKeepsWhatWasFound();
    void abandonRestoresFolderSearches();
    void abandonGivesUpAStuckJob();
    void abandonedThenCollectedAgain();
    void abandonDoesNotTouchAQueuedClear();
    void clearAfterAbandonOfAStuckCollection();
    void clearGivesUpCollections();

    void sequenceMayBeDestroyedWhileCollecting();
    void queueMayBeDestroyedFirst();
    void delegateMayDestroyTheSequence();
    void delegateMayClear();
    void delegateMayAbandon();
    void finishedMayDestroyTheSequence();
    void finishedMayCollectAgain();

    void batchesStartWithOneItemAndAreBounded();
    void cancelledCollectionReportsNothingMore();
    void removingWhileManyFilesArrive();
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

void CollectingTest::removedMeanwhileIsNotRestored_data()
{
    QTest::addColumn<bool>("trash");
    QTest::newRow("removed") << false;
    QTest::newRow("trashed") << true;
}

void CollectingTest::removedMeanwhileIsNotRestored()
{
    QFETCH(const bool, trash);
    QueuedFixture f(5);
    FileUrl gone;
    f.delegate.onFirstFile = [&] {
        if (gone.isEmpty()) {
            gone = f.sequence.current();
            trash ? static_cast<void>(f.sequence.trash()) : f.sequence.remove(gone);
        }
    };
    f.collect(f.folderRequest());
    f.runQueue(); // the result does not know of the removal
    QTRY_COMPARE(f.finished, 1);
    QVERIFY(!gone.isEmpty());
    QCOMPARE(f.sequence.count(), size_t(4));
    QVERIFY(!f.names().contains(gone.fileName().toByteArray()));
    QCOMPARE(f.sequence.removedURLs().size(), trash ? 0 : 1);
}

void CollectingTest::removedBeforeTheSecondResultStaysRemoved()
{
    QueuedFixture f(3);
    const TestFolder other;
    other.addFile("z.jpg");
    Blocker blocker(f.queue);
    f.collect(f.folderRequest());
    f.sequence.collect(f.queue, {Adder::Urls, {other.url()}}, [&] { ++f.finished; });
    // Between the two results, when the queue has already made the second one.
    blocker.release();
    f.runQueue();
    f.delegate.onFirstFile = [&] { f.sequence.remove(f.folder.urlOf("1.jpg")); };
    QTRY_COMPARE(f.finished, 2);
    QCOMPARE(f.sequence.count(), size_t(4));
    f.sequence.remove(f.folder.urlOf("1.jpg"));
    QCOMPARE(f.sequence.count(), size_t(3));

    bool removed = false;
    f.sequence.clear();
    f.delegate.onFirstFile = {};
    f.sequence.collect(f.queue, f.folderRequest(), [&] {
        f.sequence.remove(f.folder.urlOf("1.jpg"));
        removed = true;
    });
    f.sequence.collect(f.queue, {Adder::Urls, {other.url()}}, [&] { ++f.finished; });
    f.runQueue();
    QTRY_COMPARE(f.finished, 3);
    QVERIFY(removed);
    QCOMPARE(f.sequence.count(), size_t(3));
}

void CollectingTest::addedMeanwhileIsKept()
{
    QueuedFixture f(5);
    const TestFolder other;
    const auto path = other.addFile("1a.jpg");
    f.delegate.onFirstFile = [&] { f.sequence.addFile(path); };
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(6));
    QCOMPARE(f.sequence.URLAtIndex(2), FileUrl::fromPath(path));
}

void CollectingTest::duplicatesRemovedMeanwhileStayRemoved()
{
    QueuedFixture f;
    const TestFolder other;
    other.addFile("b.jpg");
    f.sequence.addFiles({f.folder.addFile("a.jpg"), f.folder.addFile("a.png")});
    f.collect({Adder::Directory, {other.url()}, false, true, false});
    f.runQueue();
    f.sequence.removeDuplicates();
    QCOMPARE(f.names(), "a.jpg");
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(2));
    QCOMPARE(f.sequence.URLAtIndex(1), other.urlOf("b.jpg"));
}

void CollectingTest::sortSettingChangedMeanwhile()
{
    QueuedFixture f(12);
    f.collect(f.folderRequest());
    f.runQueue();
    f.set(keys::sort, keys::sortByUrl);
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.URLAtIndex(1), f.folder.urlOf("1.jpg"));
    QCOMPARE(f.sequence.URLAtIndex(2), f.folder.urlOf("10.jpg"));
}

void CollectingTest::cursorKeepsItsNumber()
{
    QueuedFixture f(3);
    f.sequence.addDirectory(f.folder.path());
    f.sequence.gotoIndex(2);
    const TestFolder other;
    other.addFile("00.jpg");
    f.collect({Adder::Urls, {other.url()}});
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.currentIndex(), size_t(2));
    QCOMPARE(f.sequence.count(), size_t(4));
}

void CollectingTest::abandonedCollectionCallsNothingBack()
{
    QueuedFixture f(5);
    Blocker blocker(f.queue);
    f.collect(f.folderRequest());
    f.collect(f.folderRequest());
    f.sequence.abandonCollections();
    QVERIFY(!f.sequence.isCollecting());
    blocker.release();
    f.runQueue();
    // What was posted before the end was also given up.
    f.collect(f.folderRequest());
    f.runQueue();
    f.sequence.abandonCollections();
    QCoreApplication::processEvents();
    QCOMPARE(f.finished, 0);
    QCOMPARE(f.delegate.firstFiles, 0);
    QCOMPARE(f.sequence.count(), size_t(0));
    f.sequence.abandonCollections();
}

void CollectingTest::abandonKeepsWhatWasFound()
{
    QueuedFixture f(5);
    f.delegate.onFirstFile = [&] { f.sequence.abandonCollections(); };
    f.collect(f.folderRequest());
    f.runQueue();
    QTRY_COMPARE(f.delegate.firstFiles, 1);
    QCoreApplication::processEvents();
    QCOMPARE(f.sequence.count(), size_t(1));
    QCOMPARE(f.finished, 0);
}

void CollectingTest::abandonRestoresFolderSearches()
{
    QueuedFixture f(5);
    const TestFolder other;
    other.addFile("z.jpg");
    bool refused = false;
    f.delegate.onFirstFile = [&] {
        const auto before = f.sequence.count();
        f.sequence.addURL(other.url());
        refused = f.sequence.count() == before;
        f.sequence.abandonCollections();
        f.sequence.addURL(other.url());
    };
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.delegate.firstFiles, 1);
    QVERIFY(refused);
    QCOMPARE(f.sequence.count(), size_t(2));
}

void CollectingTest::abandonGivesUpAStuckJob()
{
    QueuedFixture f(5);
    const Blocker stuck(f.queue);
    stuck.waitUntilRunning();
    f.collect(f.folderRequest());
    f.sequence.abandonCollections();
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(5));
}

void CollectingTest::abandonedThenCollectedAgain()
{
    QueuedFixture f(5);
    const TestFolder other;
    other.addFile("z.jpg");
    Blocker blocker(f.queue);
    f.collect(f.folderRequest());
    f.sequence.abandonCollections();
    f.sequence.clearOn(f.queue);
    f.collect({Adder::Directory, {other.url()}, true, true, true});
    blocker.release();
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(1));
    QCOMPARE(f.sequence.hotFolder(), other.url());
}

void CollectingTest::abandonDoesNotTouchAQueuedClear()
{
    QueuedFixture f(5);
    f.sequence.addDirectory(f.folder.path());
    bool cleared = false;
    Blocker blocker(f.queue);
    f.collect({Adder::Files, {f.folder.urlOf("1.jpg")}});
    f.sequence.clearOn(f.queue, [&] { cleared = true; });
    f.sequence.abandonCollections();
    QCOMPARE(f.sequence.count(), size_t(5));
    blocker.release();
    QTRY_VERIFY(cleared);
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.finished, 0);
}

void CollectingTest::clearAfterAbandonOfAStuckCollection()
{
    QueuedFixture f(5);
    f.sequence.addDirectory(f.folder.path());
    const Blocker stuck(f.queue);
    stuck.waitUntilRunning();
    f.collect(f.folderRequest());
    f.sequence.abandonCollections();
    bool cleared = false;
    f.sequence.clearOn(f.queue, [&] { cleared = true; });
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QVERIFY(cleared);
    QCOMPARE(f.names(), "0.jpg 1.jpg 2.jpg 3.jpg 4.jpg");
}

void CollectingTest::clearGivesUpCollections()
{
    QueuedFixture f(5);
    f.collect(f.folderRequest());
    f.runQueue();
    f.sequence.clear();
    QCoreApplication::processEvents();
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.finished, 0);
    QVERIFY(!f.sequence.isCollecting());
}

void CollectingTest::sequenceMayBeDestroyedWhileCollecting()
{
    QueuedFixture f(5);
    for (const bool posted : {false, true}) {
        Blocker blocker(f.queue);
        auto sequence = std::make_unique<FileSequence>(f.defaults);
        sequence->setDelegate(&f.delegate);
        sequence->collect(f.queue, f.folderRequest(), [&] { ++f.finished; });
        sequence->clearOn(f.queue, [&] { ++f.finished; });
        if (posted) {
            blocker.release();
            f.runQueue();
        }
        sequence.reset();
        blocker.release();
        f.runQueue();
        QCoreApplication::processEvents();
    }
    QCOMPARE(f.finished, 0);
    QCOMPARE(f.delegate.firstFiles, 0);
}

void CollectingTest::queueMayBeDestroyedFirst()
{
    SequenceFixture f;
    f.folder.addFile("a.jpg");
    int finished = 0;
    {
        SerialQueue queue("short-lived");
        f.sequence.collect(queue, {Adder::Files, {f.folder.urlOf("a.jpg")}}, [&] { ++finished; });
        queue.sync([] {});
    }
    QTRY_COMPARE(finished, 1);
    QCOMPARE(f.names(), "a.jpg");
    f.sequence.clear();
}

void CollectingTest::delegateMayDestroyTheSequence()
{
    QueuedFixture f(50);
    auto sequence = std::make_unique<FileSequence>(f.defaults);
    f.delegate.onFirstFile = [&] { sequence.reset(); };
    sequence->setDelegate(&f.delegate);
    sequence->collect(f.queue, f.folderRequest(), [&] { ++f.finished; });
    f.runQueue();
    QTRY_VERIFY(!sequence);
    QCoreApplication::processEvents();
    QCOMPARE(f.finished, 0);
    QCOMPARE(f.delegate.firstFiles, 1);
}

void CollectingTest::delegateMayClear()
{
    QueuedFixture f(50);
    f.delegate.onFirstFile = [&] { f.sequence.clear(); };
    f.collect(f.folderRequest());
    f.runQueue();
    QTRY_COMPARE(f.delegate.firstFiles, 1);
    QCoreApplication::processEvents();
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.finished, 0);
}

void CollectingTest::delegateMayAbandon()
{
    QueuedFixture f(50);
    f.delegate.onFirstFile = [&] {
        f.sequence.abandonCollections();
        f.delegate.onFirstFile = {};
        f.sequence.clearOn(f.queue);
        f.collect(f.folderRequest());
    };
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(50));
    QCOMPARE(f.delegate.firstFiles, 2);
}

void CollectingTest::finishedMayDestroyTheSequence()
{
    QueuedFixture f(3);
    auto sequence = std::make_unique<FileSequence>(f.defaults);
    sequence->collect(f.queue, f.folderRequest(), [&] { sequence.reset(); });
    QTRY_VERIFY(!sequence);
    sequence = std::make_unique<FileSequence>(f.defaults);
    sequence->clearOn(f.queue, [&] { sequence.reset(); });
    QTRY_VERIFY(!sequence);
}

void CollectingTest::finishedMayCollectAgain()
{
    QueuedFixture f(3);
    f.sequence.collect(f.queue, f.folderRequest(), [&] {
        QVERIFY(!f.sequence.isCollecting());
        auto request = f.folderRequest();
        request.clearFirst = true;
        f.collect(request);
    });
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.names(), "0.jpg 1.jpg 2.jpg");
}

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
        collection.reports.finished = [this](SlideItems&& items, const QList<FileUrl>&) {
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

} // namespace

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

// What the show does with a folder of files that it cannot decode, while the folder is still being searched.
void CollectingTest::removingWhileManyFilesArrive()
{
    QueuedFixture f(3000);
    f.collect(f.folderRequest());
    QSet<FileUrl> removed;
    while (f.finished == 0) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 1);
        for (int i = 0; i < 20; ++i) {
            if (const FileUrl url = f.sequence.current(); !url.isEmpty()) {
                QVERIFY(!removed.contains(url));
                removed.insert(url);
                f.sequence.remove(url);
                f.sequence.stepBackAfterRemoval();
            }
            f.sequence.next();
        }
    }
    QVERIFY(!removed.isEmpty());
    QCOMPARE(f.sequence.count(), size_t(3000 - removed.size()));
    for (size_t i = 0; i < f.sequence.count(); ++i) {
        QVERIFY(!removed.contains(f.sequence.URLAtIndex(i)));
    }
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::CollectingTest)
#include "CollectingTest.moc"
