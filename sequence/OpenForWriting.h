#pragma once

#include "SlideItem.h"

namespace frameflow {

// Whether somebody holds a file open for writing, as far as the kernel tells.
enum class Writer
{
    None,
    Some,
    Unknown, // not our file, or a file system that cannot tell
};

// Of the file that is opened as a name in a folder, or as a path with AT_FDCWD. Any thread.
Writer writerOf(int folder, const char* name);

// Whether a file is to be left alone until it is whole. Where the kernel does not tell, one that was created under our
// eyes and not closed since is unfinished, unless a minute has passed since it was last written.
bool isUnfinished(Writer writer, bool isAwaited, FileDate modified, FileDate now);

} // namespace frameflow
