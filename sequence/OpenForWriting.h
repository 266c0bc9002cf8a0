#pragma once

#include "SlideItem.h"

namespace frameflow {

// Whether somebody writes a file, as far as the kernel tells.
enum class Writer
{
    None,
    Some, // holds it open, or will write it soon: it is empty, as programs leave a name that they have reserved
    Unknown, // not our file, or a file system that cannot tell
};

// Of the file that is opened as a name in a folder, or as a path with AT_FDCWD. Any thread.
Writer writerOf(int folder, const char* name);

// Whether a file is to be left alone until it is whole. Where the kernel does not tell, one that was created under our
// eyes and not closed since is unfinished, unless a minute has passed since it was last written.
bool isUnfinished(Writer writer, bool isAwaited, FileDate modified, FileDate now);

} // namespace frameflow
