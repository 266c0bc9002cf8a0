#pragma once

#include "FolderWatches.h"
#include "RescanPlan.h"

#include <optional>
#include <vector>

namespace frameflow {

// Some files of a tree, known to be all that can have come or gone.
struct ToldFiles
{
    std::vector<FileUrl> urls;

    bool isEmpty() const { return urls.empty(); }
};

// The tree to which files belong, with the rules for what of it counts.
struct ToldTree
{
    const FileUrl& folder;
    qint64 levelLimit = 0;
    const FolderWatches* watches = nullptr; // null where folders are not watched
    FileDate now;
};

// What a walk through the whole tree would find against the list, if nothing but these files has come or gone; costs
// one look at each of them and one round through the list. Adds those that somebody is still writing to "unfinished",
// and takes out those that nobody writes any more. Absent when one of them is none of the tree. Any thread.
std::optional<TreeChanges> changesOf(
    const ToldFiles& files, const ToldTree& tree, const ListState& list, std::vector<FileUrl>& unfinished);

} // namespace frameflow
