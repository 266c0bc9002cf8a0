#pragma once

#include <QByteArray>

#include <functional>
#include <memory>

namespace frameflow {

// Runs jobs one after another, in the order they were given, on one background thread of its own. Safe to use from any
// thread, but for destruction, which belongs to the owner.
class SerialQueue
{
public:
    using Job = std::function<void()>;

private:
    class State;

public:
    // Reaches the queue without keeping it: once the queue is gone, or for a handle made of none, jobs are dropped and
    // nothing else happens.
    class Handle
    {
    public:
        Handle() = default;
        void async(Job job) const;
        void abandonRunning() const;

    private:
        friend class SerialQueue;
        explicit Handle(std::weak_ptr<State> state) : mState(std::move(state)) { }
        std::weak_ptr<State> mState;
    };

    // The label names the thread, for debuggers.
    explicit SerialQueue(const QByteArray& label);
    // Drops the jobs that have not started and waits for the running one, unless it was abandoned.
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    // Appends a job and returns at once.
    void async(Job job);
    // Appends a job and returns when it has run. Must not be called from a job of the same queue.
    void sync(const Job& job);

    // Appends a job and waits a quarter of a second for it. False when it has not ended by then: it goes on without its
    // caller, and counts as abandoned.
    bool runForAMoment(Job job);

    // Tells the queue that nobody waits for the running job any more. If that job, stuck in a system call for example,
    // has not ended after the grace period, later jobs get a new thread, and neither they nor the destructor wait for
    // the old one. A job that is given up this way must own, or share, all that it touches. Does nothing when idle.
    void abandonRunning();

    Handle handle() const { return Handle(mState); }

    // Whether a job is running or waiting. The answer may be outdated at once.
    bool isBusy() const;

private:
    std::shared_ptr<State> mState;
};

} // namespace frameflow
