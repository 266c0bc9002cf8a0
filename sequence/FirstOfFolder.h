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
};

// The file of the folder itself that the order puts first, from names alone, which takes a fraction of the time of a
// walk; of a JPEG and its companion the JPEG, if that is asked for. Where the limits are reached it is the first of
// those that the file system lists first, and files in subfolders may come before it. Null where names say nothing of
// the order, and where there is no such file. Any thread.
SlideItemPtr firstOfFolder(const FileUrl& folder, SortOrder order, bool leavesOutCompanions, const CancelToken& cancel,
    const FirstOfFolderLimits& limits = {});

} // namespace frameflow
