#pragma once

#include "DecodeSchedule.h"
#include "DecoderPool.h"

#include <functional>
#include <map>
#include <memory>
#include <stop_token>
#include <tuple>

namespace frameflow {

// One decoding that was asked for, from its coming to its end. What changes is guarded by the pool's mutex.
struct PoolJob
{
    enum class Stage
    {
        Waiting,
        Running,
        Done,
    };

    FileUrl url;
    DecodeRequest request;
    std::weak_ptr<DecoderPoolState> pool;
    std::stop_source stop; // asks whoever works on it to end at once

    Urgency urgency = Urgency::Asked;
    quint64 number = 0;
    std::function<void(DecodedFile&&)> done; // empty once somebody is about to call it
    Stage stage = Stage::Waiting;
    Attempt attempt = Attempt::First;
    bool isCancelled = false;
    TimePoint since{}; // it waits for its second attempt, or runs
    DecoderProcess* process = nullptr; // that decodes it now
    bool isSuspended = false;
    bool wasSuspended = false; // at some time in this attempt
};

using PoolJobPtr = std::shared_ptr<PoolJob>;

// Jobs that wait, the most urgent first, and inside one urgency in the order of their coming. No locks.
class JobQueue
{
public:
    void add(const PoolJobPtr& job) { mJobs.emplace(keyOf(*job), job); }
    // False when it is not among them. Its urgency must be the one it was added with.
    bool remove(const PoolJobPtr& job) { return mJobs.erase(keyOf(*job)) > 0; }
    PoolJobPtr first() const { return mJobs.empty() ? nullptr : mJobs.begin()->second; }

private:
    using Key = std::tuple<Urgency, quint64>;
    static Key keyOf(const PoolJob& job) { return {job.urgency, job.number}; }

    std::map<Key, PoolJobPtr> mJobs;
};

} // namespace frameflow
