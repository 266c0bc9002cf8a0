#pragma once

#include "CancelToken.h"
#include "ItemOrder.h"
#include "SlideItem.h"

namespace frameflow {

// How many entries are looked at: those take about ten milliseconds.
constexpr qint64 mostNamesRead = 32768;

// The file of the folder itself that the order puts first, from names alone, which takes a fraction of the time of a
// walk; of a JPEG and its companion the JPEG. Of a folder with more entries the first among those that the file system
// lists first, and files in subfolders may come before it. Null where names say nothing of the order, and where
// there is no such file. Any thread.
SlideItemPtr firstOfFolder(
    const FileUrl& folder, SortOrder order, const CancelToken& cancel, qint64 mostNames = mostNamesRead);

} // namespace frameflow
