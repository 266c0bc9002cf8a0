#pragma once

#include "CancelToken.h"
#include "Clock.h"
#include "FileEventStream.h"
#include "FileUrl.h"
#include "ItemList.h"
#include "ItemOrder.h"
#include "RescanPlan.h"
#include "Rest.h"
#include "SerialQueue.h"
#include "ToldFiles.h"
#include "Trash.h"

#include <QList>
#include <QSet>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace frameflow {

class UserDefaults;
struct CollectedItems;
struct CollectionReports;
struct RescanResult;
struct ScanMemory;

// Told by a FileSequence, always on the main thread. May call back into the sequence, and may destroy it.
class FileSequenceDelegate
{
public:
    virtual ~FileSequenceDelegate() = default;
    virtual void firstFileFound() = 0;
    virtual void newFilesFound() = 0;
    virtual void currentFileChanged() = 0;
};

// A collection to be made on a queue.
struct CollectionRequest
{
    enum class Adder
    {
        Files, // as addFiles
        Urls, // as addURLs
        Directory, // as addDirectory, with one entry
        Url, // as addURL, with one entry
    };

    Adder adder = Adder::Files;
    QList<FileUrl> entries;
    bool clearFirst = false;
    bool sortAfterwards = false; // Files and Urls sort in any case
    bool removeDuplicatesAfterwards = false;
};

// The ordered list of slides with a cursor. Main thread only; collections run on a queue and post what they find.
class FileSequence
{
public:
    using ScanTime = std::chrono::system_clock::time_point;

    // Watches no folder by itself.
    explicit FileSequence(UserDefaults& defaults);
    // Watches its hot folder. The clock outlives the sequence.
    FileSequence(UserDefaults& defaults, Clock& clock);
    // Gives up the collections and the scan of the hot folder.
    ~FileSequence();
    FileSequence(const FileSequence&) = delete;
    FileSequence& operator=(const FileSequence&) = delete;

    // Through which everything that queued work brings reaches this sequence, on the main thread and in order. A gate
    // may keep a job and run it later, or drop it. None: jobs run as they come.
    using Gate = std::function<void(std::function<void()> job)>;
    void setGate(Gate gate) { mGate = std::move(gate); }

    // Not owned; null for none.
    void setDelegate(FileSequenceDelegate* delegate) { myDelegate = delegate; }

    // Queued collection. Returns at once. What is found joins the list in batches, the first of one item, followed by
    // firstFileFound; finished runs on the main thread when the order and duplicate rules have been applied. A second
    // collection queued behind the first adds to it. An abandoned collection calls nothing back. All collections of a
    // sequence go to one queue; either may be destroyed first.
    void collect(SerialQueue& queue, const CollectionRequest& request, std::function<void()> finished = {});
    // Gives up all collections at once, running and queued ones, even one stuck in a system call. What they have found
    // so far stays. Without effect on a queued clearing.
    void abandonCollections();
    // Lets running collections rest for that long, so that a picture that is being put on screen has the machine to
    // itself; a later call replaces an earlier one.
    void giveWay(std::chrono::milliseconds duration) const { mCollecting.rest.askFor(duration); }
    // Whether a collection has not finished yet. False in its own finished callback, unless others follow.
    bool isCollecting() const { return mCollecting.pending > 0; }
    // Empties the sequence after the jobs that the queue already holds.
    void clearOn(SerialQueue& queue, std::function<void()> finished = {});

    // Synchronous operations. A folder search blocks until it is done.
    void addURLs(const QList<FileUrl>& urls);
    void addURL(const FileUrl& url);
    void addFiles(const QList<QByteArray>& paths);
    void addFile(const QByteArray& path);
    void addDirectory(const QByteArray& path);
    // By the file's name.
    static bool displayableURL(const FileUrl& url);
    void checkFirstFile();

    // All answers are empty where there is no such item.
    size_t count() const { return mItems.size(); }
    // Not always below count: see previous and stepBackAfterRemoval.
    size_t currentIndex() const { return mCurrentFileIndex; }
    FileUrl current() const;
    FileUrl first();
    FileUrl next();
    // From the first item to the last. On an empty sequence the cursor becomes the largest number.
    FileUrl previous();
    FileUrl URLAtIndex(size_t index) const;
    FileUrl gotoIndex(size_t index);
    // Where that file is, looked for from the index outwards; of equal ones the nearest. Absent when it is not there.
    std::optional<size_t> indexOf(const FileUrl& url, size_t from) const;
    // Another number after every change of the list.
    quint64 revision() const { return mRevision; }
    FileUrl atOffset(qint64 offset) const;
    void rewind();
    void sort();
    // Sorts any list by the setting "sort".
    void sortArray(SlideItems& items) const;
    void shuffle();
    void removeDuplicates();
    // Applies the rule to any list, and records what it removes in this sequence.
    void removeDuplicates(SlideItems& items);
    // Moves a file to the Trash; true when that is done.
    using TrashMover = std::function<bool(const FileUrl& file)>;
    FileUrl trash(const TrashMover& move = moveToTrash);
    // The same for a file that has been moved there meanwhile, wherever it is in the list: what the cursor stands on
    // stays, unless it is that file.
    void removeTrashed(const FileUrl& url);
    void remove(const FileUrl& url);
    // The same for a file that could not be shown; but one of the hot folder that is not there any more, as when a
    // volume was taken away, or that somebody is still writing, may come back.
    void removeUnloadable(const FileUrl& url);
    // After remove() of the current item: puts the cursor so that next() answers the file that followed it, also when
    // the first item was removed (previous() would wrap to the end there).
    void stepBackAfterRemoval() { --mCurrentFileIndex; }
    // Also gives up the collections.
    void clear();
    void itemChanged(const FileUrl& url);

    // Removed on purpose, by remove() or as duplicates; kept when the sequence is cleared.
    QList<FileUrl> removedURLs() const;

    // The hot folder: the one folder of a sequence that is watched for new, vanished and rewritten files, while it is
    // the only thing that was added. Files join when nobody writes them any more; a file that was removed or moved to
    // the Trash does not come back.
    const FileUrl& hotFolder() const { return mHotFolder; } // empty for none
    // When the hot folder was last looked at; the epoch when there was none yet.
    ScanTime lastHotfolderScan() const { return mLastHotfolderScan; }
    // Begins to be told of changes in the hot folder. False where the machine offers no such thing.
    bool setupFSEvents();
    void stopFSEvents();
    // The look every five seconds, which needs no events.
    void startTimer();
    void stopTimer();
    void myTimerFireMethod();
    void stopHotfolder();
    void resetHotFolderScanTime();
    // Has the hot folder compared with the list, on another thread, and the list changed by what was found. Does
    // nothing while something is collected: that ends with a rescan. Asked for during a rescan, another one follows it.
    void updateHotFolder();
    // Whether a rescan has not come to its end yet.
    bool isRescanning() const { return mWatching.isScanning; }
    // For tests: how many folders may be watched.
    void setMostWatches(int most) { mWatching.mostWatches = most; }

private:
    // The queued work that has not come to its end, as the main thread knows it.
    struct Collecting
    {
        SerialQueue::Handle queue;
        int pending = 0;
        int pendingClears = 0;
        CancelToken cancel;
        Rest rest;
        std::shared_ptr<CollectedItems> collected; // the queue's; null while nothing is pending
        // What the main thread took out and put in since the first pending collection was queued.
        SlideItems removed;
        SlideItems added;
    };

    // What is known of the hot folder, and the rescan of it that has not come to its end.
    struct Watching
    {
        std::unique_ptr<SerialQueue> queue; // made for the first rescan
        std::shared_ptr<ScanMemory> memory; // the queue's
        CancelToken cancel;
        int mostWatches = FolderWatches::noLimit;
        bool isScanning = false;
        bool isWantedAgain = false;
        bool isWalkWantedAgain = false;
        quint64 additions = 0; // when the rescan began
        quint64 revision = 0; // of the list, when the plan was made
        bool newItemsNext = true; // the rules of the plan
        SortOrder order = SortOrder::Name;

        // What events have told since the last scan began; enough to look at, unless a walk is needed.
        ToldFiles told;
        bool needsWalk = true;

        // Since the last whole walk began; only without all that is a look at the folders enough.
        bool hasEvents = true;
        quint64 membership = 0;
        qint64 levelLimit = 0;
        TimePoint walked{};
        TimePoint scanBegan{};

        UrlList::Entries unloadable; // of which it is not known yet whether they are there
        bool isLookingForUnloadable = false;

        QSet<FileUrl> unfinished; // as the last rescan found them
        QSet<FileUrl> modified; // while this one runs
    };

    // What a rescan has to look at.
    enum class ScanOf
    {
        Tree,
        ToldFiles, // the tree all the same where they are not enough
    };

    enum class ListChange
    {
        Order,
        Removal,
        Addition,
    };

    SortOrder sortOrder() const;
    void listChanged(ListChange change);
    bool appendItems(SlideItems&& items);
    void addDirectly(SlideItems&& items, const FileUrl& source);
    void searchFolder(const FileUrl& folder);
    void beginFolder(const FileUrl& folder);
    void takeOut(const FileUrl& url);
    void lookForUnloadable();
    void recordUnloadable();
    void noteRemoved(SlideItemPtr item);
    bool mayHoldEquals();

    CollectionReports reports(
        const CollectionRequest& request, std::optional<SortOrder> order, std::function<void()> finished);
    void beginCollection(const CollectionRequest& request, bool mayHoldEquals);
    void applyResult(ItemList&& items, UrlList&& removed, std::optional<SortOrder> order, bool isFreeOfDuplicates);
    void reconcile(ItemList& items) const;
    static void deliver(const std::shared_ptr<FileSequence*>& self, std::function<void(FileSequence&)> job);
    void endPending();
    void dropPending();
    void reset();
    void dispose(ItemList&& items) const;

    void enterGate(std::function<void(FileSequence&)> job);
    void folderChanged(const std::vector<FileEvent>& batch);
    void tell(const FileUrl& url);
    bool mayLookOnly(qint64 levelLimit) const;
    ListState listState();
    SerialQueue& hotFolderQueue();
    void scanOnQueue(std::function<RescanResult()> scan);
    void scanHotFolder(ScanOf of);
    bool isToldEnough(qint64 levelLimit) const;
    void startScanning(ListState&& list, ScanOf of);
    void scanFinished(RescanResult& result);
    void planAgain(RescanResult& result);
    void applyRescan(RescanResult& result);
    void endScanning();
    void stopScanning();

    UserDefaults& mDefaults;
    Clock* mClock = nullptr; // null: nothing is watched
    ItemList mItems;
    UrlList mRemovedURLs;
    UrlList mTrashedURLs; // since the sequence was last cleared
    quint64 mCurrentFileIndex = 0;
    FileUrl mHotFolder;
    FileSequenceDelegate* myDelegate = nullptr;
    Gate mGate;
    ScanTime mLastHotfolderScan;
    bool mAllowHotFolder = true;
    bool mAddDirectories = true;

    QList<FileUrl> mSources; // what was added since the sequence was last cleared, queued additions included
    std::optional<bool> mMayHoldEquals = false; // none: the sources have not been looked at
    std::optional<SortOrder> mOrder; // the order that the list is known to be in
    bool mIsFreeOfDuplicates = false; // the duplicate rule is known to find nothing in the list

    // Counted up with every change of the list, of what it holds, and with every addition.
    quint64 mRevision = 0;
    quint64 mMembership = 0;
    quint64 mAdditions = 0;

    std::unique_ptr<FileEventStream> mEventStream;
    std::optional<OneShotTimer> mTimer; // none without a clock
    Watching mWatching;

    Collecting mCollecting;
    quint64 mGeneration = 0; // what was posted for an older one is dropped
    // For what is posted, and for callbacks during which this may be destroyed: null from then on.
    std::shared_ptr<FileSequence*> mSelf = std::make_shared<FileSequence*>(this);
};

} // namespace frameflow
