#include "MainThread.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <deque>
#include <mutex>
#include <utility>

namespace frameflow {

namespace {

// The jobs cross over under a lock of our own rather than inside the posted events, so that whatever one thread wrote
// before posting is seen, visibly to every tool, by the job on the main thread.
class Receiver : public QObject
{
protected:
    void customEvent(QEvent* event) override;
};

struct Posted
{
    std::mutex mutex;
    Receiver* receiver = nullptr; // lives on the main thread
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

void Receiver::customEvent(QEvent*)
{
    runNext();
}

} // namespace

void postToMainThread(std::function<void()> job)
{
    auto* application = QCoreApplication::instance();
    if (application == nullptr) {
        return;
    }
    const std::lock_guard lock(posted().mutex);
    posted().jobs.push_back(std::move(job));
    if (posted().receiver == nullptr) {
        posted().receiver = new Receiver;
        posted().receiver->moveToThread(application->thread());
    }
    // One event a job, so that jobs keep their place among the other events of the main thread.
    QCoreApplication::postEvent(posted().receiver, new QEvent(QEvent::User));
}

} // namespace frameflow
