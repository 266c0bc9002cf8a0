#include "FileSequence.h"
#include "KLImageCache.h"
#include "OpenForWriting.h"
#include "Rescan.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace frameflow {

namespace {

constexpr std::chrono::seconds scanInterval(5);

// However little seems to happen, all files are looked at this often.
constexpr std::chrono::seconds walkInterval(60);

// Beyond, a walk costs no more.
constexpr size_t mostToldFiles = 4096;

} // namespace

// ---- The watch

bool FileSequence::setupFSEvents()
{
    stopFSEvents();
    if (mClock != nullptr && !mHotFolder.isEmpty()) {
        mEventStream = FileEventStream::create(
            mHotFolder, *mClock,
            [this](const std::vector<FileEvent>& batch) {
                enterGate([batch](FileSequence& sequence) { sequence.folderChanged(batch); });
            },
            mWatching.mostWatches);
    }
    return mEventStream != nullptr;
}

void FileSequence::stopFSEvents()
{
    mEventStream.reset();
}

void FileSequence::startTimer()
{
    if (mTimer) {
        mTimer->start(mClock->now() + scanInterval, [this] {
            startTimer();
            myTimerFireMethod();
        });
    }
}

void FileSequence::stopTimer()
{
    if (mTimer) {
        mTimer->stop();
    }
}

void FileSequence::myTimerFireMethod()
{
    updateHotFolder();
}

void FileSequence::stopHotfolder()
{
    stopFSEvents();
    mHotFolder = {};
    stopTimer();
    stopScanning();
}

void FileSequence::resetHotFolderScanTime()
{
    // So that the first look is due at once.
    mLastHotfolderScan = std::chrono::system_clock::now() - scanInterval;
}

// As what queued work brings: on the main thread and in order, kept back while the gate is closed.
void FileSequence::enterGate(std::function<void(FileSequence&)> job)
{
    const auto run = [self = mSelf, hotFolder = mHotFolder, job = std::move(job)] {
        if (*self != nullptr && (*self)->mHotFolder == hotFolder) {
            job(**self);
        }
    };
    if (const Gate gate = mGate) {
        gate(run);
    } else {
        run();
    }
}

void FileSequence::folderChanged(const std::vector<FileEvent>& batch)
{
    const auto self = mSelf;
    const auto generation = mGeneration;
    mWatching.hasEvents = true;
    bool isRescanDue = false;
    for (const FileEvent& event : batch) {
        bool isTold = (event.flags & fileEvent::changesEntries) != 0;
        mWatching.needsWalk = mWatching.needsWalk || (event.flags & fileEvent::mustScan) != 0;
        FileUrl modified;
        if ((event.flags & fileEvent::dropped) != 0) {
            // Nobody knows which files were rewritten.
            KLImageCache::purge();
            modified = current();
        } else if ((event.flags & fileEvent::modified) != 0) {
            KLImageCache::removeImageWithURL(event.url);
            modified = event.url;
        }
        // A file that was being written when it was last looked at may be whole now.
        isTold = isTold || mWatching.unfinished.contains(modified);
        if (isTold) {
            isRescanDue = true;
            tell(event.url);
        }
        if (mWatching.isScanning && !modified.isEmpty()) {
            mWatching.modified.insert(modified);
        }
        itemChanged(modified);
        if (*self == nullptr || mGeneration != generation) {
            return;
        }
    }
    if (isRescanDue) {
        scanHotFolder(ScanOf::ToldFiles);
    }
}

void FileSequence::tell(const FileUrl& url)
{
    if (mWatching.told.urls.size() < mostToldFiles) {
        mWatching.told.urls.push_back(url);
    } else {
        mWatching.needsWalk = true;
    }
}

// ---- Files that could not be shown

void FileSequence::lookForUnloadable()
{
    if (mWatching.isLookingForUnloadable) {
        return;
    }
    mWatching.isLookingForUnloadable = true;
    hotFolderQueue().async([self = mSelf, cancel = mWatching.cancel, urls = mWatching.unloadable] {
        UrlList::Entries there;
        // One that is being written was not whole yet, and joins when it is.
        std::copy_if(urls.begin(), urls.end(), std::back_inserter(there), [](const FileUrl& url) {
            const char* path = url.path().constData();
            return access(path, F_OK) == 0 && writerOf(AT_FDCWD, path) != Writer::Some;
        });
        deliver(self, [cancel, there = std::move(there), count = urls.size()](FileSequence& sequence) {
            if (!cancel.isCancelled()) {
                auto& waiting = sequence.mWatching.unloadable;
                waiting.erase(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(count));
                sequence.mRemovedURLs.append(UrlList::Entries(there));
                sequence.mWatching.isLookingForUnloadable = false;
                if (!waiting.empty()) {
                    sequence.lookForUnloadable();
                }
            }
        });
    });
}

// Without waiting for the answer.
void FileSequence::recordUnloadable()
{
    mRemovedURLs.append(std::exchange(mWatching.unloadable, {}));
    mWatching.isLookingForUnloadable = false;
}

// ---- The rescan

void FileSequence::updateHotFolder()
{
    scanHotFolder(ScanOf::Tree);
}

void FileSequence::scanHotFolder(ScanOf of)
{
    if (mHotFolder.isEmpty() || isCollecting() || mCollecting.pendingClears > 0) {
        return;
    }
    mLastHotfolderScan = std::chrono::system_clock::now();
    if (mWatching.isScanning) {
        mWatching.isWantedAgain = true;
        mWatching.isWalkWantedAgain = mWatching.isWalkWantedAgain || of == ScanOf::Tree;
        return;
    }
    startScanning(listState(), of);
}

ListState FileSequence::listState()
{
    ListState state;
    state.items = mItems;
    state.removed = mRemovedURLs;
    state.trashed = mTrashedURLs;
    state.trashed.append(UrlList::Entries(mWatching.unloadable));
    state.cursor = mCurrentFileIndex;
    state.order = sortOrder();
    state.newItemsNext = mDefaults.boolValue(keys::showNewItemsASAP);
    state.isInOrder = mOrder == state.order;
    state.isFreeOfDuplicates = mIsFreeOfDuplicates;
    return state;
}

bool FileSequence::mayLookOnly(qint64 levelLimit) const
{
    return mClock != nullptr && mClock->now() - mWatching.walked < walkInterval && !mWatching.hasEvents
        && !(mEventStream && mEventStream->hasPending()) && mWatching.membership == mMembership
        && mWatching.levelLimit == levelLimit;
}

bool FileSequence::isToldEnough(qint64 levelLimit) const
{
    return !mWatching.needsWalk && !mWatching.told.isEmpty() && mWatching.levelLimit == levelLimit && mEventStream
        && mEventStream->watches()->isComplete();
}

void FileSequence::startScanning(ListState&& list, ScanOf of)
{
    if (!mWatching.memory) {
        mWatching.memory = std::make_shared<ScanMemory>();
    }
    Rescan rescan;
    rescan.folder = mHotFolder;
    rescan.levelLimit = mDefaults.integerValue(keys::maxFolderLevel);
    const bool isOfTold = of == ScanOf::ToldFiles && isToldEnough(rescan.levelLimit);
    rescan.mayLookOnly = !isOfTold && mayLookOnly(rescan.levelLimit);
    rescan.watches = mEventStream ? mEventStream->watches() : nullptr;
    rescan.memory = mWatching.memory;
    rescan.cancel = mWatching.cancel;
    rescan.rest = mCollecting.rest;
    if (isOfTold) {
        rescan.told = mWatching.told;
    } else if (!rescan.mayLookOnly) {
        mWatching.needsWalk = false;
        mWatching.hasEvents = false;
        mWatching.membership = mMembership;
        mWatching.levelLimit = rescan.levelLimit;
    }
    mWatching.told = {};
    mWatching.scanBegan = mClock != nullptr ? mClock->now() : TimePoint{};
    mWatching.isScanning = true;
    mWatching.isWantedAgain = false;
    mWatching.isWalkWantedAgain = false;
    mWatching.modified.clear();
    mWatching.additions = mAdditions;
    mWatching.revision = mRevision;
    mWatching.order = list.order;
    mWatching.newItemsNext = list.newItemsNext;
    rescan.list = std::move(list);
    scanOnQueue([rescan = std::move(rescan)] { return rescan.run(); });
}

SerialQueue& FileSequence::hotFolderQueue()
{
    if (!mWatching.queue) {
        mWatching.queue = std::make_unique<SerialQueue>("com.quillory.hotfolder");
    }
    return *mWatching.queue;
}

void FileSequence::scanOnQueue(std::function<RescanResult()> scan)
{
    SerialQueue& queue = hotFolderQueue();
    // Lists are destroyed there too: that takes as long as they are.
    const auto share = [handle = queue.handle()](RescanResult&& result) {
        return std::shared_ptr<RescanResult>(new RescanResult(std::move(result)), [handle](RescanResult* old) {
            handle.async([owned = std::shared_ptr<RescanResult>(old)]() mutable { owned.reset(); });
        });
    };
    queue.async([scan = std::move(scan), share, self = mSelf, cancel = mWatching.cancel] {
        deliver(self, [result = share(scan()), cancel](FileSequence& sequence) {
            if (!cancel.isCancelled()) {
                sequence.scanFinished(*result);
            }
        });
    });
}

void FileSequence::scanFinished(RescanResult& result)
{
    if (isCollecting() || mCollecting.pendingClears > 0) {
        stopScanning();
        return;
    }
    if (result.isComplete) {
        mWatching.unfinished = result.unfinished;
    }
    if (result.hasWalked) {
        mWatching.walked = mWatching.scanBegan;
    }
    // What was added meanwhile may be known to the walk or not.
    const bool isOutdated = !result.isComplete || mWatching.additions != mAdditions;
    if (isOutdated) {
        mWatching.hasEvents = true;
        mWatching.needsWalk = true;
        mWatching.isWantedAgain = mWatching.isWantedAgain || result.isComplete;
        endScanning();
        return;
    }
    if (result.changes.isEmpty()) {
        endScanning();
        return;
    }
    const bool isPlanGood = mWatching.revision == mRevision && mWatching.order == sortOrder()
        && mWatching.newItemsNext == mDefaults.boolValue(keys::showNewItemsASAP);
    if (!isPlanGood) {
        planAgain(result);
    } else if (result.plan.changesNothing()) {
        endScanning();
    } else {
        applyRescan(result);
    }
}

// The list or the rules have changed since: what was removed meanwhile stays removed, in whatever order.
void FileSequence::planAgain(RescanResult& result)
{
    auto list = listState();
    mWatching.revision = mRevision;
    mWatching.order = list.order;
    mWatching.newItemsNext = list.newItemsNext;
    scanOnQueue([list = std::move(list), old = std::make_shared<RescanResult>(std::move(result))] {
        RescanResult anew = std::move(*old);
        anew.plan = RescanPlan(list, anew.changes);
        return anew;
    });
}

void FileSequence::applyRescan(RescanResult& result)
{
    const bool isMembershipKnown = mWatching.membership == mMembership;
    const bool foundNew = result.plan.foundNew();
    const auto order = result.plan.sortsAll() && mWatching.order != SortOrder::Random ? std::optional(mWatching.order)
        : result.plan.insertsItems() || result.plan.sortsAll()                        ? std::nullopt
                                                                                      : mOrder;
    ItemList old = result.plan.apply(mItems, mCurrentFileIndex);
    mWatching.queue->async([list = std::make_shared<ItemList>(std::move(old))]() mutable { list.reset(); });
    mRemovedURLs.insert(mRemovedURLs.size(), result.plan.takeDuplicateURLs());
    listChanged(ListChange::Removal);
    mOrder = order;
    mIsFreeOfDuplicates = foundNew ? !result.plan.leavesDuplicates() : mIsFreeOfDuplicates;
    if (isMembershipKnown) {
        mWatching.membership = mMembership;
    }
    const auto self = mSelf;
    if (foundNew && myDelegate != nullptr) {
        myDelegate->newFilesFound();
    }
    if (*self != nullptr) {
        endScanning();
    }
}

void FileSequence::endScanning()
{
    mWatching.isScanning = false;
    bool isWanted = std::exchange(mWatching.isWantedAgain, false);
    for (const FileUrl& url : std::as_const(mWatching.modified)) {
        if (mWatching.unfinished.contains(url)) {
            tell(url);
            isWanted = true;
        }
    }
    if (isWanted) {
        scanHotFolder(std::exchange(mWatching.isWalkWantedAgain, false) ? ScanOf::Tree : ScanOf::ToldFiles);
    }
}

void FileSequence::stopScanning()
{
    mWatching.cancel.cancel();
    mWatching.cancel = CancelToken();
    recordUnloadable();
    if (mWatching.queue) {
        mWatching.queue->abandonRunning();
    }
    mWatching.memory.reset(); // a scan that is stuck may still have it
    mWatching.isScanning = false;
    mWatching.isWantedAgain = false;
    mWatching.hasEvents = true;
    mWatching.needsWalk = true;
    mWatching.told = {};
    mWatching.unfinished.clear();
    mWatching.modified.clear();
}

} // namespace frameflow
