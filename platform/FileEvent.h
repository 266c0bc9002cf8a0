#pragma once

#include "FileUrl.h"

namespace frameflow {

// What can have happened to a file or folder, as bits of one word.
namespace fileEvent {

constexpr quint32 mustScan = 0x1; // what is below may have come within reach, or gone out of it
constexpr quint32 dropped = 0x4; // with mustScan: changes were lost, so anything may have happened
constexpr quint32 created = 0x100;
constexpr quint32 removed = 0x200;
constexpr quint32 renamed = 0x800; // told for the old and for the new name
constexpr quint32 modified = 0x1000; // told when the file has been closed, or has taken the place of another

// After any of these the list of files may be another one. Without mustScan it is a file that has come or gone.
constexpr quint32 changesEntries = mustScan | created | removed | renamed;

} // namespace fileEvent

// All that happened to one path within a batch.
struct FileEvent
{
    FileUrl url;
    quint32 flags = 0;

    friend bool operator==(const FileEvent&, const FileEvent&) = default;
};

} // namespace frameflow
