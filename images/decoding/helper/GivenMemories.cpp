#include "GivenMemories.h"

#include "Limits.h"

#include <algorithm>
#include <cerrno>

#include <sys/mman.h>
#include <sys/stat.h>

#ifndef MADV_POPULATE_WRITE
#define MADV_POPULATE_WRITE 23
#endif

namespace frameflow {

namespace {

// More than the pictures that the program holds at a time, or those that come round would be mapped anew each time.
constexpr size_t mostMapped = 16;

} // namespace

GivenMemories::~GivenMemories()
{
    while (!mMapped.empty()) {
        forgetFirst();
    }
}

void GivenMemories::forgetFirst()
{
    const MemoryRange range = mMapped.front().range;
    munmap(range.start, range.size);
    mBytes -= range.size;
    mMapped.pop_front();
}

MemoryRange GivenMemories::lookAt(const FileDescriptor& memory)
{
    struct stat status = {};
    if (!memory.isOpen() || fstat(memory.number(), &status) != 0 || status.st_size <= 0) {
        return {};
    }
    if (status.st_blocks == 0) {
        return {nullptr, status.st_size};
    }
    // A number belongs to its memory for as long as that is mapped.
    const auto known = std::find_if(
        mMapped.begin(), mMapped.end(), [&](const Mapped& mapped) { return mapped.inode == status.st_ino; });
    if (known != mMapped.end()) {
        std::rotate(known, known + 1, mMapped.end());
        return mMapped.back().range;
    }
    while (!mMapped.empty() && (mMapped.size() == mostMapped || mBytes + status.st_size > mostBytesKeptMapped)) {
        forgetFirst();
    }
    void* const start = mmap(nullptr, status.st_size, PROT_READ | PROT_WRITE, MAP_SHARED, memory.number(), 0);
    if (start == MAP_FAILED) {
        return {};
    }
    // All at once. Older kernels bring the pages in when they are written to.
    madvise(start, status.st_size, MADV_POPULATE_WRITE);
    mBytes += status.st_size;
    mMapped.push_back({status.st_ino, {static_cast<uchar*>(start), status.st_size}});
    return mMapped.back().range;
}

} // namespace frameflow
