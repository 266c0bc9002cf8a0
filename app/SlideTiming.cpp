#include "SlideTiming.h"

#include <algorithm>

namespace frameflow {

namespace {

constexpr Duration shortestSlide = std::chrono::milliseconds(100);
constexpr Duration timeToLook = std::chrono::seconds(5);

} // namespace

Duration slideDuration(double slideTime)
{
    return std::max(durationFromSeconds(slideTime), shortestSlide);
}

std::optional<TimePoint> retimed(TimePoint now, TimePoint deadline, Duration oldInterval, Duration newInterval)
{
    const Duration elapsed = oldInterval - (deadline - now);
    if (elapsed >= newInterval) {
        return std::nullopt;
    }
    return now + (newInterval - elapsed);
}

TimePoint postponed(TimePoint now, TimePoint deadline)
{
    return std::max(deadline, now + timeToLook);
}

} // namespace frameflow
