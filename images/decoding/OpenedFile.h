#pragma once

#include "FileContents.h"
#include "FileUrl.h"

#include <optional>

namespace frameflow {

struct OpenedFile
{
    FileDescriptor file; // closed when it could not be opened
    std::optional<FileStamp> stamp;
    bool mayStall = false; // it lies on a file system whose answers may take any time
};

// May wait for ever, on such a file system.
OpenedFile openFile(const FileUrl& url);

} // namespace frameflow
