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

// A displayable file in a folder that is being listed, by its name: a regular one, or a link to whatever.
class ListedFile
{
public:
    virtual ~ListedFile() = default;
    // The path of the folder, with a slash at its end, and the name in it, which ends with a NUL byte.
    virtual const QByteArray& prefix() const = 0;
    virtual QByteArrayView name() const = 0;
    virtual bool isLink() const = 0;
    // Null when it is gone, or a link to no file.
    virtual SlideItemPtr item() const = 0;
    // A descriptor of the folder for the name alone, or -1 where only the whole path leads to it.
    virtual int folder() const = 0;
};

// What a walk tells. Each may be absent.
struct WalkSinks
{
    // Asked before each entry, also of what is not told: false ends the walk as if it had been cancelled.
    std::function<bool()> goesOn;
    // Each folder before it is listed, with an open descriptor; with -1 one that cannot be listed, or is not there.
    std::function<void(int folder, const QByteArray& path)> folder;
    // Valid during the call alone.
    std::function<void(const ListedFile& file)> file;
};

enum class WalkEnd
{
    Complete,
    Cancelled,
    OutOfResources, // the program has no descriptors or no memory left: nothing is known of what was not told
};

// Searches a folder, without asking what was added before, and tells the displayable files: depth first, a folder's
// entries as the file system lists them, the contents of a subfolder in the subfolder's place. Links to files count as
// files, links to folders and special files do not; whatever cannot be read is passed over. Top-level entries whose
// names begin with a dot are left out with all below them. A limit of 1 takes the folder's own files, 2 those of its
// subfolders too, 0 or less everything. Any thread; stops within one entry of being cancelled.
WalkEnd walkTree(const FileUrl& folder, qint64 levelLimit, const CancelToken& cancel, const WalkSinks& sinks);
void walkFolder(const FileUrl& folder, qint64 levelLimit, const CancelToken& cancel, const ItemSink& found);

} // namespace frameflow
