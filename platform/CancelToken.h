#pragma once

#include <atomic>
#include <memory>

namespace frameflow {

// A flag shared by whoever started a piece of work and the work itself. Copies share the flag; once cancelled it stays
// so. Any thread.
class CancelToken
{
public:
    CancelToken() : mFlag(std::make_shared<std::atomic<bool>>(false)) { }

    void cancel() const { mFlag->store(true, std::memory_order_relaxed); }
    bool isCancelled() const { return mFlag->load(std::memory_order_relaxed); }

private:
    std::shared_ptr<std::atomic<bool>> mFlag;
};

} // namespace frameflow
