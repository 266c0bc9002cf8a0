#pragma once

#include "Clock.h"

#include <functional>
#include <memory>
#include <stop_token>
#include <thread>

namespace frameflow {

// A thread for calls that may never return, as those to a file system whose server is gone: its owner waits for them
// only so long. Belongs to one thread.
class ErrandThread
{
public:
    ErrandThread();
    // Waits for no errand that was given up.
    ~ErrandThread();
    ErrandThread(const ErrandThread&) = delete;
    ErrandThread& operator=(const ErrandThread&) = delete;

    // Calls the errand there and waits for its end. False when it has not ended by the deadline, or, when it is asked
    // to stop, shortly after: then it goes on by itself, and must own, or share, all that it touches. False too when
    // no thread can be had.
    bool run(std::function<void()> errand, TimePoint deadline, const std::stop_token& stop);

private:
    class Line;
    std::shared_ptr<Line> mLine; // null without a thread
    std::thread mThread;
};

} // namespace frameflow
