#include "Bands.h"

#include <algorithm>
#include <atomic>
#include <system_error>

namespace frameflow {

namespace {

// Small enough that a thread that is held up keeps nobody waiting for long.
constexpr int rowsOfABand = 32;

} // namespace

// Shared with helpers that may come when all is done; those take nothing any more, and so never look at the work.
class Bands::Job
{
public:
    Job(int rows, const std::function<void(int, int)>& work)
        : mRows(rows), mBands((rows + rowsOfABand - 1) / rowsOfABand), mWork(work)
    {
    }

    void takePart()
    {
        for (int band = mNext++; band < mBands; band = mNext++) {
            mWork(band * rowsOfABand, std::min((band + 1) * rowsOfABand, mRows));
            if (++mDone == mBands) {
                mDone.notify_all();
            }
        }
    }

    void await()
    {
        for (int done = mDone; done < mBands; done = mDone) {
            mDone.wait(done);
        }
    }

private:
    const int mRows;
    const int mBands;
    const std::function<void(int, int)>& mWork;
    std::atomic<int> mNext = 0;
    std::atomic<int> mDone = 0;
};

Bands::Bands() = default;

Bands::~Bands()
{
    {
        const std::lock_guard lock(mMutex);
        mEnding = true;
    }
    mChanged.notify_all();
    for (std::thread& helper : mHelpers) {
        helper.join();
    }
}

void Bands::forEach(int rows, const std::function<void(int, int)>& work)
{
    if (rows <= 0) {
        return;
    }
    startHelpers();
    const auto job = std::make_shared<Job>(rows, work);
    {
        const std::lock_guard lock(mMutex);
        mJob = job;
    }
    mChanged.notify_all();
    job->takePart();
    job->await();
}

void Bands::startHelpers()
{
    if (mHasStarted) {
        return;
    }
    mHasStarted = true;
    try {
        for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i) {
            mHelpers.emplace_back([this] { help(); });
        }
    } catch (const std::system_error&) {
        return; // with fewer of them it takes longer
    }
}

void Bands::help()
{
    std::shared_ptr<Job> last;
    std::unique_lock lock(mMutex);
    while (!mEnding) {
        if (mJob == last) {
            mChanged.wait(lock);
            continue;
        }
        last = mJob;
        lock.unlock();
        last->takePart();
        lock.lock();
    }
}

} // namespace frameflow
