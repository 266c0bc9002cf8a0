#pragma once

#include "CancelToken.h"
#include "SlideItem.h"

#include <functional>

namespace frameflow {

// Told each item as it is found.
using ItemSink = std::function<void(SlideItemPtr)>;

// Whether the path names a folder, a regular file, or nothing that can be shown; links are followed.
enum class PathKind
{
    Missing,
    Folder,
    File,
};
PathKind kindOfPath(const QByteArray& path);

// Whether the program can show a file of this name. Contents are not opened.
bool isDisplayable(const FileUrl& url);

// Searches a folder, without asking what was added before, and tells the displayable files: depth first, a folder's
// entries as the file system lists them, the contents of a subfolder in the subfolder's place. Links to files count as
// files, links to folders and special files do not; whatever cannot be read is passed over. Top-level entries whose
// names begin with a dot are left out with all below them. A limit of 1 takes the folder's own files, 2 those of its
// subfolders too, 0 or less everything. Any thread; stops within one entry of being cancelled.
void walkFolder(const FileUrl& folder, qint64 levelLimit, const CancelToken& cancel, const ItemSink& found);

} // namespace frameflow
