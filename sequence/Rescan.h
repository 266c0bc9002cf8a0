#pragma once

#include "CancelToken.h"
#include "FolderRecords.h"
#include "FolderWalk.h"
#include "FolderWatches.h"
#include "RescanPlan.h"
#include "Rest.h"
#include "ToldFiles.h"

#include <QSet>

#include <memory>
#include <optional>

namespace frameflow {

// What the scans of one hot folder remember from one to the next. For one scan at a time.
struct ScanMemory
{
    FolderRecords folders;
    bool isTrustworthy = false; // whether a look at the folders alone shows all changes since
    std::vector<FileUrl> unfinished; // files that were left alone because somebody was writing them
};

struct RescanResult
{
    bool isComplete = false; // else it was cancelled, or could not look at all folders, and says nothing
    bool hasWalked = false; // else the folders alone told that nothing has changed, or only told files were looked at
    QSet<FileUrl> unfinished;
    TreeChanges changes;
    RescanPlan plan; // for the changes; meaningless without any
};

// One look at a hot folder as a value, to be run on a queue. It owns or shares all that it touches.
struct Rescan
{
    FileUrl folder;
    qint64 levelLimit = 0;
    // Nothing is known against looking at the folders alone.
    bool mayLookOnly = false;
    // When there are any: nothing else has come or gone since the last walk.
    ToldFiles told;
    ListState list;
    std::shared_ptr<FolderWatches> watches; // null where folders are not watched
    std::shared_ptr<ScanMemory> memory;
    CancelToken cancel;
    Rest rest;
    FileDate now = FileDate::now();

    RescanResult run() const;

private:
    bool isUnchanged() const;
    bool lookAtTold(RescanResult& result) const;
    void finish(RescanResult& result) const;
};

} // namespace frameflow
