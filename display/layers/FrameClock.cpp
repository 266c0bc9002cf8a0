#include "FrameClock.h"

#include <algorithm>
#include <cmath>

namespace frameflow {

TimePoint nextFrameTime(TimePoint origin, TimePoint now, double hertz)
{
    const auto at = [&](double frame) { return origin + durationFromSeconds(frame / hertz); };
    const double passed = std::floor(secondsFromDuration(now - origin) * hertz);
    // The division above may fall on either side of a frame that is due exactly now.
    const TimePoint next = at(passed + 1);
    return next > now ? next : at(passed + 2);
}

FrameClock::FrameClock(Clock& clock, std::function<void()> tick) : mClock(clock), mTick(std::move(tick)), mTimer(clock)
{
}

void FrameClock::setRefreshRate(double hertz)
{
    mHertz = hertz >= 1 && hertz <= 1000 ? hertz : 60;
}

void FrameClock::schedule(TimePoint atLatest)
{
    const TimePoint now = mClock.now();
    if (!mRunning) {
        mRunning = true;
        mOrigin = now;
    }
    mTimer.start(std::min(nextFrameTime(mOrigin, now, mHertz), atLatest), mTick);
}

void FrameClock::stop()
{
    mRunning = false;
    mTimer.stop();
}

} // namespace frameflow
