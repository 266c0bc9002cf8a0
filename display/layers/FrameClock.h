#pragma once

#include "Clock.h"

namespace frameflow {

// The first frame after now of a display that shows one every 1/hertz seconds from the origin on. Counted from the
// origin, never summed up.
TimePoint nextFrameTime(TimePoint origin, TimePoint now, double hertz);

// Wakes the compositor for the frames of a display while something moves; frames that are missed are dropped. Nothing
// runs while it is stopped. Main thread.
class FrameClock
{
public:
    // The tick may schedule, stop or destroy the frame clock. After it nothing is scheduled.
    FrameClock(Clock& clock, std::function<void()> tick);

    // Values that no display has count as 60.
    void setRefreshRate(double hertz);

    // Has the next tick come at the next frame, or at the given time where that is sooner. The first one after a stop
    // begins a new row of frames.
    void schedule(TimePoint atLatest);
    void stop();
    bool isScheduled() const { return mTimer.isActive(); }

private:
    Clock& mClock;
    std::function<void()> mTick;
    OneShotTimer mTimer;
    double mHertz = 60;
    bool mRunning = false;
    TimePoint mOrigin{};
};

} // namespace frameflow
