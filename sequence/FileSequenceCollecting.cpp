#include "Collection.h"
#include "FileSequence.h"
#include "MainThread.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"

#include <algorithm>
#include <utility>

namespace frameflow {

namespace {

// A list of at most this many items is destroyed where it is dropped.
constexpr size_t smallList = 1000;

template <typename List>
void disposeOn(const SerialQueue::Handle& queue, List&& items)
{
    if (items.size() > smallList) {
        queue.async([old = std::make_shared<List>(std::forward<List>(items))]() mutable { old.reset(); });
    }
}

// Whoever lets go last, a message that is dropped included, leaves the destruction to the queue.
template <typename List>
std::shared_ptr<List> shareOn(const SerialQueue::Handle& queue, List&& items)
{
    return std::shared_ptr<List>(new List(std::forward<List>(items)), [queue](List* list) {
        disposeOn(queue, std::move(*list));
        delete list;
    });
}

bool sortsItself(CollectionRequest::Adder adder)
{
    return adder == CollectionRequest::Adder::Files || adder == CollectionRequest::Adder::Urls;
}

} // namespace

void FileSequence::collect(SerialQueue& queue, const CollectionRequest& request, std::function<void()> finished)
{
    mCollecting.queue = queue.handle();
    stopScanning();
    if (request.clearFirst) {
        mSources.clear();
        mMayHoldEquals = mMayHoldEquals.value_or(true);
    }
    mSources.append(request.entries);
    if (!mCollecting.collected) {
        // What the list holds now is in the result too, unless it will have been cleared by then.
        const bool empty = request.clearFirst || mCollecting.pendingClears > 0;
        mCollecting.collected = std::make_shared<CollectedItems>();
        mCollecting.collected->items = empty ? SlideItems() : mItems.copy();
    }
    ++mCollecting.pending;

    const bool sorts = request.sortAfterwards || sortsItself(request.adder);
    Collection collection;
    collection.request = request;
    collection.sources = mSources;
    collection.levelLimit = mDefaults.integerValue(keys::maxFolderLevel);
    collection.order = sorts ? std::optional(sortOrder()) : std::nullopt;
    collection.cancel = mCollecting.cancel;
    collection.rest = mCollecting.rest;
    collection.collected = mCollecting.collected;
    collection.reports = reports(request, collection.order, std::move(finished));
    queue.async([collection = std::move(collection)] { collection.run(); });
}

CollectionReports FileSequence::reports(
    const CollectionRequest& request, std::optional<SortOrder> order, std::function<void()> finished)
{
    // What is posted reaches the sequence only if it lives and the collection has not been given up.
    const auto post = [self = mSelf, generation = mGeneration](std::function<void(FileSequence&)> job) {
        deliver(self, [generation, job = std::move(job)](FileSequence& sequence) {
            if (sequence.mGeneration == generation) {
                job(sequence);
            }
        });
    };
    CollectionReports reports;
    reports.begun = [post, request](bool mayHoldEquals) {
        post([request, mayHoldEquals](FileSequence& sequence) { sequence.beginCollection(request, mayHoldEquals); });
    };
    reports.folderBegun
        = [post](const FileUrl& folder) { post([folder](FileSequence& sequence) { sequence.beginFolder(folder); }); };
    reports.folderEnded = [post] { post([](FileSequence& sequence) { sequence.mAddDirectories = true; }); };
    reports.files = [post, queue = mCollecting.queue](SlideItems&& items) {
        post([shared = shareOn(queue, std::move(items))](
                 FileSequence& sequence) { sequence.appendItems(std::move(*shared)); });
    };
    reports.finished = [post, queue = mCollecting.queue, order, finished = std::move(finished)](
                           ItemList&& items, UrlList&& removed, bool isFreeOfDuplicates) {
        post([shared = shareOn(queue, std::move(items)), barred = shareOn(queue, std::move(removed)), order,
                 isFreeOfDuplicates, finished](FileSequence& sequence) {
            sequence.applyResult(std::move(*shared), std::move(*barred), order, isFreeOfDuplicates);
            if (finished) {
                finished(); // may destroy the sequence
            }
        });
    };
    return reports;
}

// Any thread.
void FileSequence::deliver(const std::shared_ptr<FileSequence*>& self, std::function<void(FileSequence&)> job)
{
    const auto run = [self, job = std::move(job)] {
        if (*self != nullptr) {
            job(**self);
        }
    };
    postToMainThread([self, run] {
        if (*self == nullptr) {
            return;
        }
        if (const Gate gate = (*self)->mGate) {
            gate(run);
        } else {
            run();
        }
    });
}

void FileSequence::beginCollection(const CollectionRequest& request, bool mayHoldEquals)
{
    if (request.clearFirst) {
        reset();
        mCollecting.removed.clear();
        mCollecting.added.clear();
    }
    if (sortsItself(request.adder)) {
        mAllowHotFolder = request.entries.size() == 1;
    }
    if (mayHoldEquals) {
        mMayHoldEquals = true;
    }
}

void FileSequence::applyResult(
    ItemList&& items, UrlList&& removed, std::optional<SortOrder> order, bool isFreeOfDuplicates)
{
    reconcile(items);
    dispose(std::exchange(mItems, std::move(items)));
    mRemovedURLs.insert(mRemovedURLs.size(), std::move(removed));
    listChanged(ListChange::Addition);
    const bool sorted = order && order == sortOrder() && mCollecting.added.empty();
    mOrder = sorted && order != SortOrder::Random ? order : std::nullopt;
    mIsFreeOfDuplicates = isFreeOfDuplicates && mCollecting.added.empty();
    endPending();
    if (order && !sorted) {
        sort();
    }
}

// A result knows nothing of what the main thread did meanwhile: takes out what was removed, puts in what was added.
void FileSequence::reconcile(ItemList& items) const
{
    items.append(SlideItems(mCollecting.added));
    if (mCollecting.removed.empty()) {
        return;
    }
    std::vector<const SlideItem*> removed;
    removed.reserve(mCollecting.removed.size());
    for (const auto& item : mCollecting.removed) {
        removed.push_back(item.data());
    }
    std::sort(removed.begin(), removed.end());
    SlideItems left = items.takeAll();
    std::erase_if(
        left, [&](const auto& item) { return std::binary_search(removed.begin(), removed.end(), item.data()); });
    items.assign(std::move(left));
}

void FileSequence::endPending()
{
    --mCollecting.pending;
    if (mCollecting.pending == 0) {
        dropPending();
        if (mClock != nullptr) {
            updateHotFolder();
        }
    }
}

void FileSequence::dropPending()
{
    mCollecting.pending = 0;
    // The queue's list is the queue's to destroy.
    mCollecting.queue.async([collected = std::move(mCollecting.collected)]() mutable { collected.reset(); });
    mCollecting.collected.reset();
    mCollecting.removed.clear();
    mCollecting.added.clear();
}

void FileSequence::abandonCollections()
{
    if (!isCollecting()) {
        return;
    }
    ++mGeneration;
    mCollecting.cancel.cancel();
    mCollecting.cancel = CancelToken();
    mCollecting.queue.abandonRunning();
    dropPending();
    mAddDirectories = true;
}

void FileSequence::clearOn(SerialQueue& queue, std::function<void()> finished)
{
    mCollecting.queue = queue.handle();
    mSources.clear();
    mMayHoldEquals = mMayHoldEquals.value_or(true);
    ++mCollecting.pendingClears;
    queue.async(
        [self = mSelf, cancel = mCollecting.cancel, collected = mCollecting.collected, finished = std::move(finished)] {
            // The list of collections that were given up may still be in the hands of one that is stuck.
            if (collected && !cancel.isCancelled()) {
                collected->items = {};
            }
            deliver(self, [finished](FileSequence& sequence) {
                --sequence.mCollecting.pendingClears;
                sequence.mCollecting.removed.clear();
                sequence.mCollecting.added.clear();
                sequence.reset();
                if (finished) {
                    finished();
                }
            });
        });
}

void FileSequence::dispose(ItemList&& items) const
{
    disposeOn(mCollecting.queue, std::move(items));
}

} // namespace frameflow
