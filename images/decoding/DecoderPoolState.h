#pragma once

#include "DecodeSchedule.h"
#include "DecoderKinds.h"
#include "DecoderPool.h"
#include "DecoderStore.h"
#include "DecoderWorker.h"
#include "FallbackDecoder.h"
#include "PictureMemory.h"
#include "PoolJob.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace frameflow {

// The jobs of a pool and who works on them. Any thread.
class DecoderPoolState : public std::enable_shared_from_this<DecoderPoolState>
{
public:
    explicit DecoderPoolState(const DecoderPool::Options& options);
    ~DecoderPoolState();

    // The first and the last thing that its owner calls.
    void open();
    void close();

    PoolJobPtr submit(const DecodeJob& order, std::function<void(DecodedFile&&)> done);
    void cancel(const PoolJobPtr& job);
    bool cancelUnlessBegun(const PoolJobPtr& job);
    void raise(const PoolJobPtr& job, Urgency urgency);
    QList<pid_t> processes() const;

    // ---- For the workers

    DecoderStore& store() { return mStore; }
    const std::shared_ptr<PictureMemoryStore>& memories() const { return mMemories; }
    std::shared_ptr<FallbackDecoder> fallback() const { return mFallback; }
    const DecoderLimits& limits() const { return mLimits; }
    bool isClosing() const { return mIsClosing; }
    DecoderKind firstKind(const DecodeRequest& request) const;
    void noteKind(DecoderKind kind, const DecodeRequest& request);
    Attempt attemptOf(const PoolJob& job) const;
    Urgency urgencyOf(const PoolJob& job) const;

    // Between these two the process may be suspended.
    void attach(PoolJob& job, DecoderProcess& process);
    void detach(PoolJob& job);
    // Puts the job back for its second attempt; false when it has none.
    bool tryAlone(const PoolJobPtr& job);
    // Calls back.
    void finish(const PoolJobPtr& job, DecodedFile&& result);
    void becomeIdle(DecoderWorker& worker);

private:
    using Lock = std::unique_lock<std::mutex>;

    // ---- With the lock
    JobQueue& queueOf(const PoolJob& job) { return job.attempt == Attempt::First ? mFirst : mAlone; }
    WaitingDecodes waiting() const;
    std::vector<RunningDecode> running() const;
    DecoderWorker* idleWorker();
    void begin(const PoolJobPtr& job, DecoderWorker& worker, TimePoint moment);
    void schedule();
    void suspend(TimePoint moment);
    void memoryCameBack();
    void lookAgainAt(std::optional<TimePoint> moment);
    void abandon(const PoolJobPtr& job);
    void stopOverdue(TimePoint moment);

    // The attendant's thread: tells of what was cancelled, and looks again when time alone changes things.
    void attend();
    void deliver(Lock& lock);

    const DecoderLimits mLimits;
    const int mOwnPriority;
    DecoderStore mStore;
    std::shared_ptr<PictureMemoryStore> mMemories; // made by open()
    const std::shared_ptr<FallbackDecoder> mFallback;
    std::atomic<bool> mIsClosing = false;
    std::thread mAttendant;

    mutable std::mutex mMutex; // for what follows
    std::condition_variable mAttention;
    DecodeSchedule mSchedule;
    DecoderKinds mKinds;
    quint64 mLastNumber = 0;
    JobQueue mFirst;
    JobQueue mAlone;
    std::vector<PoolJobPtr> mRunning;
    std::vector<std::unique_ptr<DecoderWorker>> mWorkers;
    std::vector<std::function<void(DecodedFile&&)>> mCancelled; // to be told so
    std::optional<TimePoint> mLookAgain; // when time alone changes something
    std::optional<TimePoint> mAttendedUntil; // absent: the attendant sleeps till it is called, or is awake
    bool mIsClosed = false;
};

} // namespace frameflow
