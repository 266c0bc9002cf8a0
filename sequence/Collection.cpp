#include "Collection.h"

#include "Duplicates.h"
#include "FirstOfFolder.h"
#include "FolderWalk.h"
#include "Sources.h"

#include <chrono>
#include <utility>

namespace frameflow {

namespace {

using std::chrono::steady_clock;

// How many items are reported together at most, and how long one may wait for others.
constexpr size_t largestBatch = 8192;
constexpr std::chrono::milliseconds longestWait(25);

// Gathers what is found into batches. The very first item is a batch of its own, so that it can be shown at once.
class Batches
{
public:
    explicit Batches(const Collection& collection) : mCollection(collection) { }

    void add(SlideItemPtr item)
    {
        mCollection.collected->items.push_back(item);
        mBatch.push_back(std::move(item));
        if (mFirst || mBatch.size() >= largestBatch || steady_clock::now() >= mDue) {
            mFirst = false;
            flush();
        }
        mCollection.rest.take(mCollection.cancel);
    }

    void flush()
    {
        mDue = steady_clock::now() + longestWait;
        if (!mBatch.empty() && !mCollection.cancel.isCancelled()) {
            mCollection.reports.files(std::exchange(mBatch, {}));
        }
    }

private:
    const Collection& mCollection;
    SlideItems mBatch;
    bool mFirst = true;
    steady_clock::time_point mDue = steady_clock::now() + longestWait;
};

// What is found first is shown first: of a single folder, what is likely to be the first of the order too.
SlideItemPtr likelyFirst(const Collection& collection, const FileUrl& folder)
{
    const CollectionRequest& request = collection.request;
    const bool isAll = request.entries.size() == 1 && collection.collected->items.empty();
    return isAll && collection.order
        ? firstOfFolder(folder, *collection.order, request.removeDuplicatesAfterwards, collection.cancel)
        : SlideItemPtr();
}

void searchFolder(const Collection& collection, const FileUrl& folder, Batches& batches)
{
    batches.flush();
    collection.reports.folderBegun(folder);
    auto first = likelyFirst(collection, folder);
    if (first) {
        batches.add(first);
    }
    walkFolder(folder, collection.levelLimit, collection.cancel, [&](SlideItemPtr item) {
        if (first && item->isEqual(*first)) {
            first.reset(); // it is there already
        } else {
            batches.add(std::move(item));
        }
    });
    batches.flush();
    collection.reports.folderEnded();
}

void collectEntry(const Collection& collection, const FileUrl& entry, Batches& batches)
{
    const auto kind = kindOfPath(entry.path());
    if (kind == PathKind::Folder || collection.request.adder == CollectionRequest::Adder::Directory) {
        searchFolder(collection, entry, batches);
    } else if (kind == PathKind::File && isDisplayable(entry)) {
        batches.add(SlideItem::itemWithURL(entry));
    }
}

} // namespace

void Collection::run() const
{
    if (cancel.isCancelled()) {
        return;
    }
    if (request.clearFirst) {
        collected->items = {};
    }
    reports.begun(sourcesOverlap(sources));
    Batches batches(*this);
    for (const auto& entry : request.entries) {
        if (cancel.isCancelled()) {
            return;
        }
        collectEntry(*this, entry, batches);
    }
    batches.flush();
    rest.take(cancel);
    if (order && !cancel.isCancelled()) {
        sortItems(collected->items, *order);
    }
    Duplicates duplicates;
    if (request.removeDuplicatesAfterwards && !cancel.isCancelled()) {
        duplicates = takeDuplicates(collected->items);
    }
    if (!cancel.isCancelled()) {
        UrlList removed(UrlList::Entries(duplicates.urls.begin(), duplicates.urls.end()));
        const bool isFree = request.removeDuplicatesAfterwards && !duplicates.leavesOthers;
        reports.finished(ItemList(SlideItems(collected->items)), std::move(removed), isFree);
    }
}

} // namespace frameflow
