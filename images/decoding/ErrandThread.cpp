#include "ErrandThread.h"

#include "BackgroundThread.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace frameflow {

namespace {

// What an errand nobody wants any more is given, before it costs its thread.
constexpr Duration grace = std::chrono::milliseconds(200);

} // namespace

class ErrandThread::Line
{
public:
    void work()
    {
        std::unique_lock lock(mMutex);
        while (true) {
            mChanged.wait(lock, [&] { return mErrand || mIsClosed; });
            if (!mErrand) {
                return;
            }
            auto errand = std::exchange(mErrand, nullptr);
            lock.unlock();
            errand();
            errand = nullptr;
            lock.lock();
            mIsBusy = false;
            mChanged.notify_all();
        }
    }

    bool run(std::function<void()> errand, TimePoint deadline, const std::stop_token& stop)
    {
        std::unique_lock lock(mMutex);
        mErrand = std::move(errand);
        mIsBusy = true;
        mChanged.notify_all();
        const auto hasEnded = [&] { return !mIsBusy; };
        if (mChanged.wait_until(lock, stop, deadline, hasEnded)) {
            return true;
        }
        return mChanged.wait_until(
            lock, std::min<TimePoint>(deadline, std::chrono::steady_clock::now() + grace), hasEnded);
    }

    void close()
    {
        const std::lock_guard lock(mMutex);
        mIsClosed = true;
        mChanged.notify_all();
    }

private:
    std::mutex mMutex;
    std::condition_variable_any mChanged;
    std::function<void()> mErrand;
    bool mIsBusy = false;
    bool mIsClosed = false;
};

ErrandThread::ErrandThread() = default;

ErrandThread::~ErrandThread()
{
    if (mLine) {
        mLine->close();
        mThread.join();
    }
}

bool ErrandThread::run(std::function<void()> errand, TimePoint deadline, const std::stop_token& stop)
{
    if (!mLine) {
        auto line = std::make_shared<Line>();
        auto thread = backgroundThread("opening", [line] { line->work(); });
        if (!thread) {
            return false;
        }
        mThread = *std::move(thread);
        mLine = std::move(line);
    }
    if (mLine->run(std::move(errand), deadline, stop)) {
        return true;
    }
    mLine->close();
    mLine.reset();
    mThread.detach();
    return false;
}

} // namespace frameflow
