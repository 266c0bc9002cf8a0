#pragma once

#include <QtGlobal>

#include <atomic>
#include <thread>

namespace frameflow::e2e {

// How much memory a process and those that it has started hold together at most, while this object lives. What several
// of them share counts once. Looks many times in a second, on a thread of its own.
class MemoryPeak
{
public:
    explicit MemoryPeak(qint64 process);
    ~MemoryPeak();
    MemoryPeak(const MemoryPeak&) = delete;
    MemoryPeak& operator=(const MemoryPeak&) = delete;

    qint64 bytes() const { return mBytes; }

private:
    void run();

    const qint64 mProcess;
    std::atomic<bool> mIsEnding = false;
    std::atomic<qint64> mBytes = 0;
    std::thread mThread;
};

// Of one process now: its own memory, and its part of what it shares. Where the kernel does not tell that of another
// user's process, what it has for itself; 0 where it tells nothing.
qint64 proportionalBytesOf(qint64 process);

} // namespace frameflow::e2e
