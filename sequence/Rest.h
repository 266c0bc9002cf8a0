#pragma once

#include "CancelToken.h"

#include <atomic>
#include <chrono>
#include <memory>

namespace frameflow {

// A moment until which a piece of background work is asked to rest, shared by whoever asks and the work itself. Copies
// share it. Any thread.
class Rest
{
public:
    Rest() : mUntil(std::make_shared<std::atomic<Ticks>>(0)) { }

    // From now on; a later call replaces an earlier one.
    void askFor(std::chrono::milliseconds duration) const { mUntil->store(now() + ticks(duration)); }
    // Called by the work now and then: returns when the rest is over, or soon after the work has been cancelled.
    void take(const CancelToken& cancel) const;

private:
    using Ticks = std::chrono::steady_clock::rep;

    static Ticks now() { return std::chrono::steady_clock::now().time_since_epoch().count(); }
    static Ticks ticks(std::chrono::milliseconds duration)
    {
        return std::chrono::steady_clock::duration(duration).count();
    }

    std::shared_ptr<std::atomic<Ticks>> mUntil;
};

} // namespace frameflow
