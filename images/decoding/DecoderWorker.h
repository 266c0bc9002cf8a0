#pragma once

#include "DecoderKinds.h"
#include "ErrandThread.h"
#include "OpenedFile.h"
#include "PoolJob.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace frameflow {

// A thread that takes one job after another through its stations: opening, decoding by the right kind of process, and
// what follows when that was lost.
class DecoderWorker
{
public:
    // The pool outlives it. Null when the system has no thread left.
    static std::unique_ptr<DecoderWorker> start(DecoderPoolState& pool);
    // Waits for the running job, which is to have been asked to stop.
    ~DecoderWorker();
    DecoderWorker(const DecoderWorker&) = delete;
    DecoderWorker& operator=(const DecoderWorker&) = delete;

    // Only when it is idle. Any thread.
    void assign(PoolJobPtr job);
    // Whether the pool may assign a job; kept, and guarded, by the pool.
    bool isIdle = true;

private:
    struct Used
    {
        DecoderKind kind;
        std::unique_ptr<DecoderProcess> process;
        bool isWanted; // another is to take its place
    };

    explicit DecoderWorker(DecoderPoolState& pool) : mPool(pool) { }
    void work();
    void run(const PoolJobPtr& job);
    DecodedPicture decode(PoolJob& job, const std::shared_ptr<OpenedFile>& opened);
    DecodedPicture decodeBy(DecoderKind kind, PoolJob& job, const std::shared_ptr<OpenedFile>& opened);
    DecodedPicture decodeHere(const PoolJob& job, const std::shared_ptr<OpenedFile>& opened);
    void cleanUp();
    TimePoint deadline() const;

    DecoderPoolState& mPool;
    ErrandThread mErrands;
    std::vector<Used> mUsed; // by the last job, and of no more use
    bool mLostAThread = false; // to the last job

    std::mutex mMutex; // for what follows
    std::condition_variable mChanged;
    PoolJobPtr mJob;
    bool mIsClosed = false;
    std::thread mThread;
};

} // namespace frameflow
