#include "DecoderPoolState.h"

#include "BackgroundThread.h"

#include <algorithm>
#include <utility>

#include <sys/resource.h>

namespace frameflow {

namespace {

// How far a decode that nobody waits for stands back behind the windows of this and of other programs.
constexpr int niceness = 5;

TimePoint now()
{
    return std::chrono::steady_clock::now();
}

int coresOr(int atOnce)
{
    return atOnce > 0 ? atOnce : std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

// Giving back what was taken is refused to most users: such a process stays where it is.
void setPriority(const DecoderProcess& process, int own, Urgency urgency)
{
    setpriority(PRIO_PROCESS, static_cast<id_t>(process.processId()), own + (urgency == Urgency::Asked ? 0 : niceness));
}

} // namespace

DecoderPoolState::DecoderPoolState(const DecoderPool::Options& options)
    : mLimits(options.limits), mOwnPriority(getpriority(PRIO_PROCESS, 0)), mStore(options),
      mFallback(std::make_shared<FallbackDecoder>(options.module)), mSchedule(coresOr(options.atOnce))
{
}

DecoderPoolState::~DecoderPoolState() = default;

void DecoderPoolState::open()
{
    mMemories = std::make_shared<PictureMemoryStore>([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->memoryCameBack();
        }
    });
    auto thread = backgroundThread("decoders", [this] { attend(); });
    if (thread) {
        mAttendant = *std::move(thread);
    }
}

void DecoderPoolState::close()
{
    std::vector<std::unique_ptr<DecoderWorker>> workers;
    {
        const Lock lock(mMutex);
        mIsClosing = true;
        for (JobQueue* const queue : {&mFirst, &mAlone}) {
            while (const PoolJobPtr job = queue->first()) {
                abandon(job);
            }
        }
        for (const PoolJobPtr& job : std::vector(mRunning)) {
            abandon(job);
            job->stop.request_stop();
        }
        workers = std::move(mWorkers);
        mAttention.notify_one();
    }
    workers.clear();
    {
        const Lock lock(mMutex);
        mIsClosed = true;
        mAttention.notify_one();
    }
    if (mAttendant.joinable()) {
        mAttendant.join();
    }
    Lock lock(mMutex);
    while (!mCancelled.empty()) {
        deliver(lock);
    }
    lock.unlock();
    mStore.endAll();
    mMemories->close();
}

PoolJobPtr DecoderPoolState::submit(const DecodeJob& order, std::function<void(DecodedFile&&)> done)
{
    auto job = std::make_shared<PoolJob>();
    job->url = order.url;
    job->request = order.request;
    job->urgency = order.urgency;
    job->done = std::move(done);
    job->pool = weak_from_this();
    const Lock lock(mMutex);
    job->number = ++mLastNumber;
    mFirst.add(job);
    if (mIsClosing) {
        abandon(job);
    }
    schedule();
    return job;
}

void DecoderPoolState::cancel(const PoolJobPtr& job)
{
    const Lock lock(mMutex);
    abandon(job);
    schedule();
}

bool DecoderPoolState::cancelUnlessBegun(const PoolJobPtr& job)
{
    const Lock lock(mMutex);
    if (job->stage != PoolJob::Stage::Waiting) {
        return false;
    }
    abandon(job);
    schedule();
    return true;
}

void DecoderPoolState::raise(const PoolJobPtr& job, Urgency urgency)
{
    const Lock lock(mMutex);
    if (job->stage == PoolJob::Stage::Done || job->isCancelled || job->urgency <= urgency) {
        return;
    }
    if (job->stage == PoolJob::Stage::Waiting) {
        queueOf(*job).remove(job);
        job->urgency = urgency;
        queueOf(*job).add(job);
    } else {
        job->urgency = urgency;
        if (job->process != nullptr) {
            setPriority(*job->process, mOwnPriority, urgency);
        }
    }
    schedule();
}

QList<pid_t> DecoderPoolState::processes() const
{
    QList<pid_t> ids = mStore.processes();
    const Lock lock(mMutex);
    for (const PoolJobPtr& job : mRunning) {
        if (job->process != nullptr) {
            ids.append(job->process->processId());
        }
    }
    return ids;
}

DecoderKind DecoderPoolState::firstKind(const DecodeRequest& request) const
{
    const Lock lock(mMutex);
    return mKinds.first(request);
}

void DecoderPoolState::noteKind(DecoderKind kind, const DecodeRequest& request)
{
    const Lock lock(mMutex);
    if (kind == DecoderKind::Common) {
        mKinds.noteCommon(request.fileName);
    } else {
        mKinds.noteExtra(request.fileName);
    }
}

void DecoderPoolState::attach(PoolJob& job, DecoderProcess& process)
{
    const Lock lock(mMutex);
    job.process = &process;
    setPriority(process, mOwnPriority, job.urgency);
    if (job.isSuspended) {
        process.pause();
    }
}

void DecoderPoolState::detach(PoolJob& job)
{
    const Lock lock(mMutex);
    job.process->resume();
    job.process = nullptr;
}

Attempt DecoderPoolState::attemptOf(const PoolJob& job) const
{
    const Lock lock(mMutex);
    return job.attempt;
}

Urgency DecoderPoolState::urgencyOf(const PoolJob& job) const
{
    const Lock lock(mMutex);
    return job.urgency;
}

bool DecoderPoolState::tryAlone(const PoolJobPtr& job)
{
    const Lock lock(mMutex);
    if (job->attempt == Attempt::Alone || job->isCancelled) {
        return false;
    }
    std::erase(mRunning, job);
    job->stage = PoolJob::Stage::Waiting;
    job->attempt = Attempt::Alone;
    job->since = now();
    mAlone.add(job);
    schedule();
    return true;
}

void DecoderPoolState::finish(const PoolJobPtr& job, DecodedFile&& result)
{
    std::function<void(DecodedFile &&)> done;
    {
        const Lock lock(mMutex);
        std::erase(mRunning, job);
        job->stage = PoolJob::Stage::Done;
        done = std::exchange(job->done, nullptr);
        if (result.picture.error == DecodeError::None && job->urgency != Urgency::Thumbnail && !job->wasSuspended) {
            mSchedule.pace().addDuration(now() - job->since);
        }
        schedule();
    }
    if (done) {
        done(std::move(result));
    }
}

void DecoderPoolState::becomeIdle(DecoderWorker& worker)
{
    const Lock lock(mMutex);
    worker.isIdle = true;
    schedule();
}

} // namespace frameflow
