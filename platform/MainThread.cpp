#include "MainThread.h"

#include <QCoreApplication>

#include <deque>
#include <mutex>
#include <utility>

namespace frameflow {

namespace {

// The jobs cross over under a lock of our own rather than inside the posted events, so that whatever one thread wrote
// before posting is seen, visibly to every tool, by the job on the main thread.
struct Posted
{
    std::mutex mutex;
    std::deque<std::function<void()>> jobs;
};

Posted& posted()
{
    static auto* jobs = new Posted; // outlives every thread that may still post at exit
    return *jobs;
}

void runNext()
{
    std::function<void()> job;
    {
        const std::lock_guard lock(posted().mutex);
        if (posted().jobs.empty()) {
            return;
        }
        job = std::move(posted().jobs.front());
        posted().jobs.pop_front();
    }
    job();
}

} // namespace

void postToMainThread(std::function<void()> job)
{
    auto* application = QCoreApplication::instance();
    if (application == nullptr) {
        return;
    }
    {
        const std::lock_guard lock(posted().mutex);
        posted().jobs.push_back(std::move(job));
    }
    // One event a job, so that jobs keep their place among the other events of the main thread.
    QMetaObject::invokeMethod(application, &runNext, Qt::QueuedConnection);
}

} // namespace frameflow
