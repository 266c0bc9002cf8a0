#pragma once

#include "CancelToken.h"
#include "FileUrl.h"
#include "ItemList.h"
#include "ItemOrder.h"
#include "Rest.h"
#include "SerialQueue.h"

#include <QList>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace frameflow {

class UserDefaults;
struct CollectedItems;
struct CollectionReports;

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

    explicit FileSequence(UserDefaults& defaults);
    // Gives up the collections.
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
    // Whether a collection has not finished yet. False in its own finished callback, unless others follow.
    // Lets running collections rest for that long, so that a picture that is being put on screen has the machine to
    // itself; a later call replaces an earlier one.
    void giveWay(std::chrono::milliseconds duration) const { mCollecting.rest.askFor(duration); }
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
    FileUrl atOffset(qint64 offset) const;
    void rewind();
    void sort();
    // Sorts any list by the setting "sort".
    void sortArray(SlideItems& items) const;
    void shuffle();
    void removeDuplicates();
    // Applies the rule to any list, and records what it removes in this sequence.
    void removeDuplicates(SlideItems& items);
    FileUrl trash();
    void remove(const FileUrl& url);
    // After remove() of the current item: puts the cursor so that next() answers the file that followed it, also when
    // the first item was removed (previous() would wrap to the end there).
    void stepBackAfterRemoval() { --mCurrentFileIndex; }
    // Also gives up the collections.
    void clear();
    void itemChanged(const FileUrl& url);

    // Removed on purpose, by remove() or as duplicates, in order; kept when the sequence is cleared.
    const QList<FileUrl>& removedURLs() const { return mRemovedURLs; }
    // The folder to watch; empty for none.
    const FileUrl& hotFolder() const { return mHotFolder; }
    void stopHotfolder() { mHotFolder = {}; }
    // When the hot folder was last looked at; the epoch when there was none yet.
    ScanTime lastHotfolderScan() const { return mLastHotfolderScan; }

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

    SortOrder sortOrder() const;
    bool appendItems(SlideItems&& items);
    void addDirectly(SlideItems&& items, const FileUrl& source);
    void searchFolder(const FileUrl& folder);
    void beginFolder(const FileUrl& folder);
    void noteRemoved(SlideItemPtr item);
    bool mayHoldEquals();

    CollectionReports reports(
        const CollectionRequest& request, std::optional<SortOrder> order, std::function<void()> finished);
    void beginCollection(const CollectionRequest& request, bool mayHoldEquals);
    void applyResult(SlideItems&& items, const QList<FileUrl>& removed, std::optional<SortOrder> order);
    void reconcile(SlideItems& items) const;
    static void deliver(const std::shared_ptr<FileSequence*>& self, std::function<void(FileSequence&)> job);
    void endPending();
    void dropPending();
    void reset();
    void dispose(SlideItems&& items) const;

    UserDefaults& mDefaults;
    ItemList mItems;
    QList<FileUrl> mRemovedURLs;
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

    Collecting mCollecting;
    quint64 mGeneration = 0; // what was posted for an older one is dropped
    // For what is posted, and for callbacks during which this may be destroyed: null from then on.
    std::shared_ptr<FileSequence*> mSelf = std::make_shared<FileSequence*>(this);
};

} // namespace frameflow
