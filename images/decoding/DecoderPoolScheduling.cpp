#include "DecoderPoolState.h"

#include <algorithm>
#include <utility>

namespace frameflow {

namespace {

using namespace std::chrono_literals;

// A cancelled thumbnail that ends within this time costs less than a new process. Whole pictures take longer, and take
// a core from what is wanted instead.
constexpr Duration thumbnailGrace = 50ms;

Duration cancelGrace(const PoolJob& job)
{
    return job.request.longestSide > 0 ? thumbnailGrace : Duration();
}

// When the system had no thread left.
constexpr Duration workerAgainAfter = 1s;

DecodedFile cancelledFile()
{
    DecodedFile file;
    file.picture.error = DecodeError::Cancelled;
    return file;
}

} // namespace

WaitingDecodes DecoderPoolState::waiting() const
{
    WaitingDecodes result;
    if (const PoolJobPtr job = mFirst.first()) {
        result.first = job->urgency;
    }
    if (const PoolJobPtr job = mAlone.first()) {
        result.alone = job->urgency;
        result.aloneSince = job->since;
    }
    return result;
}

std::vector<RunningDecode> DecoderPoolState::running() const
{
    std::vector<RunningDecode> result;
    for (const PoolJobPtr& job : mRunning) {
        result.push_back({job->number, job->urgency, job->attempt, job->since});
    }
    return result;
}

DecoderWorker* DecoderPoolState::idleWorker()
{
    const auto idle = std::find_if(mWorkers.begin(), mWorkers.end(), [](const auto& worker) { return worker->isIdle; });
    if (idle != mWorkers.end()) {
        return idle->get();
    }
    if (static_cast<int>(mWorkers.size()) < mSchedule.workers()) {
        if (auto worker = DecoderWorker::start(*this)) {
            mWorkers.push_back(std::move(worker));
            return mWorkers.back().get();
        }
    }
    return nullptr;
}

void DecoderPoolState::begin(const PoolJobPtr& job, DecoderWorker& worker, TimePoint moment)
{
    queueOf(*job).remove(job);
    job->stage = PoolJob::Stage::Running;
    job->since = moment;
    job->isSuspended = false;
    job->wasSuspended = false;
    mRunning.push_back(job);
    worker.isIdle = false;
    worker.assign(job);
}

void DecoderPoolState::schedule()
{
    const TimePoint moment = std::chrono::steady_clock::now();
    mLookAgain = mStore.nextEnd();
    lookAgainAt(mMemories->nextEnd());
    while (!mIsClosing) {
        const auto decision = mSchedule.decide(waiting(), running(), moment);
        if (!decision.begin) {
            lookAgainAt(decision.lookAgain);
            break;
        }
        DecoderWorker* const worker = idleWorker();
        if (worker == nullptr) {
            lookAgainAt(moment + workerAgainAfter);
            break;
        }
        begin((*decision.begin == Attempt::First ? mFirst : mAlone).first(), *worker, moment);
    }
    suspend(moment);
    stopOverdue(moment);
    if (mLookAgain && (!mAttendedUntil || *mLookAgain < *mAttendedUntil)) {
        mAttention.notify_one();
    }
}

// On whichever thread drops the last image.
void DecoderPoolState::memoryCameBack()
{
    const Lock lock(mMutex);
    const auto end = mMemories->nextEnd();
    if (end && (!mAttendedUntil || *end < *mAttendedUntil)) {
        mAttention.notify_one();
    }
}

void DecoderPoolState::lookAgainAt(std::optional<TimePoint> moment)
{
    if (moment) {
        mLookAgain = std::min(mLookAgain.value_or(*moment), *moment);
    }
}

void DecoderPoolState::suspend(TimePoint moment)
{
    const auto suspension = mSchedule.suspension(running(), moment);
    for (size_t i = 0; i < mRunning.size(); ++i) {
        PoolJob& job = *mRunning[i];
        if (job.isSuspended == suspension.suspended[i]) {
            continue;
        }
        job.isSuspended = suspension.suspended[i];
        job.wasSuspended = true;
        if (job.process != nullptr && job.isSuspended) {
            job.process->pause();
        } else if (job.process != nullptr) {
            job.process->resume();
        }
    }
    lookAgainAt(suspension.until);
}

void DecoderPoolState::stopOverdue(TimePoint moment)
{
    for (const PoolJobPtr& job : mRunning) {
        if (!job->isCancelled || job->stop.stop_requested()) {
            continue;
        }
        if (moment >= job->since + cancelGrace(*job)) {
            job->stop.request_stop();
        } else {
            lookAgainAt(job->since + cancelGrace(*job));
        }
    }
}

// Its callback is told by the attendant: whoever cancels may hold what the callback wants.
void DecoderPoolState::abandon(const PoolJobPtr& job)
{
    if (job->stage == PoolJob::Stage::Done || job->isCancelled) {
        return;
    }
    if (job->stage == PoolJob::Stage::Waiting) {
        queueOf(*job).remove(job);
        job->stage = PoolJob::Stage::Done;
    }
    job->isCancelled = true;
    job->urgency = Urgency::Thumbnail;
    if (job->done) {
        mCancelled.push_back(std::exchange(job->done, nullptr));
        mAttention.notify_one();
    }
}

void DecoderPoolState::attend()
{
    Lock lock(mMutex);
    while (true) {
        if (!mCancelled.empty()) {
            deliver(lock);
            continue;
        }
        if (mIsClosed) {
            return;
        }
        schedule();
        mAttendedUntil = mLookAgain;
        // Without a deadline of its own the wait must not have one far away: those overflow in some libraries.
        if (mAttendedUntil) {
            mAttention.wait_until(lock, *mAttendedUntil);
        } else {
            mAttention.wait(lock);
        }
        mAttendedUntil.reset();
        lock.unlock();
        mStore.endIdle(std::chrono::steady_clock::now());
        mMemories->endIdle(std::chrono::steady_clock::now());
        lock.lock();
    }
}

void DecoderPoolState::deliver(Lock& lock)
{
    auto cancelled = std::exchange(mCancelled, {});
    lock.unlock();
    for (const auto& done : cancelled) {
        done(cancelledFile());
    }
    cancelled.clear();
    lock.lock();
}

} // namespace frameflow
