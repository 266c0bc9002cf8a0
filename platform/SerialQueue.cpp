#include "SerialQueue.h"

#include <QRunnable>
#include <QThreadPool>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace frameflow {

namespace {

// How long an abandoned job may take to notice before it loses its thread.
constexpr std::chrono::milliseconds abandonGrace(200);
constexpr std::chrono::milliseconds moment(250);

std::unique_ptr<QThreadPool> makePool(const QByteArray& label)
{
    auto pool = std::make_unique<QThreadPool>();
    pool->setMaxThreadCount(1);
    pool->setObjectName(QString::fromUtf8(label));
    // A thread that timed out and was made again would be a wake-up of an idle program.
    pool->setExpiryTimeout(-1);
    return pool;
}

// Held while a worker is handed to a pool, and taken by the worker first: it orders the two visibly to every tool.
std::mutex workerHandover;

} // namespace

class SerialQueue::State : public std::enable_shared_from_this<State>
{
public:
    explicit State(const QByteArray& label) : mLabel(label), mPool(makePool(label)) { }

    void append(Job job)
    {
        const std::lock_guard lock(mMutex);
        if (mClosed) {
            return;
        }
        mJobs.push_back(std::move(job));
        startWorkerIfNeeded();
    }

    void abandonRunning()
    {
        std::unique_lock lock(mMutex);
        if (!mRunning || mWatched == mWorker) {
            return;
        }
        mWatched = mWorker;
        const auto deadline = std::chrono::steady_clock::now() + abandonGrace;
        // A thread for the wait itself: the caller is the main thread, and the pool's only thread may be stuck.
        std::thread([self = shared_from_this(), worker = mWorker, job = mJobNumber, deadline] {
            self->replaceIfStuck(worker, job, deadline);
        }).detach();
    }

    bool isBusy() const
    {
        const std::lock_guard lock(mMutex);
        return mRunning || !mJobs.empty();
    }

    void close()
    {
        std::unique_lock lock(mMutex);
        mClosed = true;
        // What a dropped job holds may reach for the queue when it is destroyed.
        std::deque<Job> dropped;
        dropped.swap(mJobs);
        lock.unlock();
        dropped.clear();
        lock.lock();
        if (mWatched == mWorker && mRunning) {
            const auto number = mJobNumber;
            mChanged.wait_for(lock, abandonGrace, [&] { return !mRunning || mJobNumber != number; });
            if (mRunning && mJobNumber == number) {
                leakPool();
                return;
            }
        }
        mChanged.wait(lock, [this] { return !mRunning; });
        const auto pool = std::move(mPool);
        lock.unlock();
        // The destructor of the pool waits for its idle thread to leave.
    }

private:
    // Called with the mutex held.
    void startWorkerIfNeeded()
    {
        if (mRunning || mJobs.empty()) {
            return;
        }
        mRunning = true;
        const std::lock_guard handover(workerHandover);
        mPool->start(new Worker(shared_from_this(), mWorker));
    }

    void work(int worker)
    {
        std::unique_lock lock(mMutex);
        while (worker == mWorker && !mJobs.empty()) {
            Job job = std::move(mJobs.front());
            mJobs.pop_front();
            ++mJobNumber;
            lock.unlock();
            job();
            job = nullptr; // what it holds is released on this thread, without the lock
            lock.lock();
        }
        if (worker == mWorker) {
            mRunning = false;
        }
        mChanged.notify_all();
    }

    void replaceIfStuck(int worker, quint64 job, std::chrono::steady_clock::time_point deadline)
    {
        std::unique_lock lock(mMutex);
        mChanged.wait_until(lock, deadline, [&] { return !isRunning(worker, job); });
        if (mWatched == worker) {
            mWatched = none;
        }
        if (!isRunning(worker, job) || !mPool) {
            return;
        }
        leakPool();
        mPool = makePool(mLabel);
        startWorkerIfNeeded();
    }

    bool isRunning(int worker, quint64 job) const { return mWorker == worker && mRunning && mJobNumber == job; }

    // The stuck thread keeps its pool: destroying it would wait for the thread. Called with the mutex held.
    void leakPool()
    {
        static_cast<void>(mPool.release());
        ++mWorker;
        mRunning = false;
    }

    class Worker : public QRunnable
    {
    public:
        Worker(std::shared_ptr<State> state, int number) : mState(std::move(state)), mNumber(number) { }
        void run() override
        {
            workerHandover.lock();
            workerHandover.unlock();
            mState->work(mNumber);
        }

    private:
        std::shared_ptr<State> mState;
        int mNumber;
    };

    static constexpr int none = -1;

    const QByteArray mLabel;
    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<Job> mJobs;
    std::unique_ptr<QThreadPool> mPool;
    bool mRunning = false;
    bool mClosed = false;
    int mWorker = 0;
    int mWatched = none;
    quint64 mJobNumber = 0;
};

SerialQueue::SerialQueue(const QByteArray& label) : mState(std::make_shared<State>(label)) { }

SerialQueue::~SerialQueue()
{
    mState->close();
}

void SerialQueue::async(Job job)
{
    mState->append(std::move(job));
}

void SerialQueue::sync(const Job& job)
{
    struct Done
    {
        std::mutex mutex;
        std::condition_variable changed;
        bool reached = false;
    } done;
    mState->append([&] {
        job();
        const std::lock_guard lock(done.mutex);
        done.reached = true;
        done.changed.notify_one();
    });
    std::unique_lock lock(done.mutex);
    done.changed.wait(lock, [&] { return done.reached; });
}

bool SerialQueue::runForAMoment(Job job)
{
    struct Done
    {
        std::mutex mutex;
        std::condition_variable changed;
        bool reached = false;
    };
    const auto done = std::make_shared<Done>();
    mState->append([done, job = std::move(job)] {
        job();
        const std::lock_guard lock(done->mutex);
        done->reached = true;
        done->changed.notify_one();
    });
    std::unique_lock lock(done->mutex);
    const bool isReached = done->changed.wait_for(lock, moment, [&] { return done->reached; });
    if (!isReached) {
        mState->abandonRunning();
    }
    return isReached;
}

void SerialQueue::abandonRunning()
{
    mState->abandonRunning();
}

void SerialQueue::Handle::async(Job job) const
{
    if (const auto state = mState.lock()) {
        state->append(std::move(job));
    }
}

void SerialQueue::Handle::abandonRunning() const
{
    if (const auto state = mState.lock()) {
        state->abandonRunning();
    }
}

bool SerialQueue::isBusy() const
{
    return mState->isBusy();
}

} // namespace frameflow
