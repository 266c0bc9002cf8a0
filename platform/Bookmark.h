#pragma once

#include "FileUrl.h"

#include <QByteArray>

#include <optional>

namespace frameflow {

struct ResolvedBookmark
{
    FileUrl folder;
    bool isStale = false; // another folder stands where the remembered one stood
};

// A lasting reference to a folder, to be kept in the settings: its path, and by what it is known again after it was
// renamed within its parent. Empty when the path leads to no folder. May block on a file system that does not answer.
QByteArray bookmarkForFolder(const FileUrl& folder);

// Where the folder was when the bookmark was made, without a look at it; empty when the bytes are no such reference.
FileUrl rememberedFolder(const QByteArray& bookmark);

// Absent when the bytes are no such reference, or the folder is neither at its path nor, renamed, beside it. May block.
std::optional<ResolvedBookmark> resolveBookmark(const QByteArray& bookmark);

} // namespace frameflow
