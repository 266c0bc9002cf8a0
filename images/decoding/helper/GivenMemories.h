#pragma once

#include "FileContents.h"
#include "TargetMemory.h"

#include <deque>

#include <sys/types.h>

namespace frameflow {

// The memories that came with requests, mapped for writing. They come again and again, and mapping them anew would
// take a good part of the time that decoding does.
class GivenMemories
{
public:
    GivenMemories() = default;
    ~GivenMemories();
    GivenMemories(const GivenMemories&) = delete;
    GivenMemories& operator=(const GivenMemories&) = delete;

    // Good until the next call. Of memory without pages yet the start is null: to write to it is quicker than to bring
    // them in one by one. Empty for what is not open or cannot be mapped.
    MemoryRange lookAt(const FileDescriptor& memory);

private:
    struct Mapped
    {
        ino_t inode;
        MemoryRange range;
    };
    void forgetFirst();

    std::deque<Mapped> mMapped; // the last one used at the end
    qint64 mBytes = 0; // of all of them
};

} // namespace frameflow
