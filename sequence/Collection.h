#pragma once

#include "CancelToken.h"
#include "FileSequence.h"
#include "ItemOrder.h"
#include "RescanPlan.h"
#include "Rest.h"

#include <functional>
#include <memory>
#include <optional>

namespace frameflow {

// What the jobs of one run of collections have found so far. Belongs to the queue: one job after the other.
struct CollectedItems
{
    SlideItems items;
};

// What a collection tells, from the queue's thread and in this order: begun; for each folder that is searched
// folderBegun, files and folderEnded, for each other file files; then finished, unless it was cancelled.
struct CollectionReports
{
    // Whether the sequence may come to hold equal items by this collection.
    std::function<void(bool mayHoldEquals)> begun;
    std::function<void(const FileUrl& folder)> folderBegun;
    std::function<void()> folderEnded;
    std::function<void(SlideItems&& items)> files;
    // The whole list in its final order, what the duplicate rule removed from it, and whether it is known that the rule
    // would find nothing more.
    std::function<void(ItemList&& items, UrlList&& removed, bool isFreeOfDuplicates)> finished;
};

// One collection as a value, to be run on a queue. It owns or shares all that it touches.
struct Collection
{
    CollectionRequest request;
    QList<FileUrl> sources; // all that the sequence was made from, the request's own entries included
    qint64 levelLimit = 0;
    std::optional<SortOrder> order; // none: the order of discovery
    CancelToken cancel;
    Rest rest;
    std::shared_ptr<CollectedItems> collected;
    CollectionReports reports;

    void run() const;
};

} // namespace frameflow
