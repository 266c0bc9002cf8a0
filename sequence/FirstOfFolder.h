#pragma once

#include "CancelToken.h"
#include "ItemOrder.h"
#include "SlideItem.h"

#include <chrono>

namespace frameflow {

// How much is looked at: what a disk that is slow to answer is asked for.
struct FirstOfFolderLimits
{
    qint64 entries = 32768; // some 20 ms where the disk is quick
    std::chrono::milliseconds time{100};
    // Of the folder itself, which many file systems make larger with every entry: where there are too many of those, a
    // look at the first would only come before the walk.
    qint64 bytes = qint64(2) << 20;
};

// The file of the folder itself that the order puts first, from names alone, which takes a fraction of the time of a
// walk; of a JPEG and its companion the JPEG, if that is asked for. Where the limits are reached it is the first of
// those that the file system lists first, and files in subfolders may come before it. Null where names say nothing of
// the order, where the folder is too large, and where there is no such file. Any thread.
SlideItemPtr firstOfFolder(const FileUrl& folder, SortOrder order, bool leavesOutCompanions, const CancelToken& cancel,
    const FirstOfFolderLimits& limits = {});

} // namespace frameflow
