#include "DecodePace.h"

#include <algorithm>
#include <numeric>

namespace frameflow {

void DecodePace::addDuration(Duration duration)
{
    mDurations[mNext] = duration;
    mNext = (mNext + 1) % remembered;
    mCount = std::min(mCount + 1, remembered);
}

Duration DecodePace::mean() const
{
    return mCount == 0 ? Duration{} : std::accumulate(mDurations, mDurations + mCount, Duration{}) / mCount;
}

TimePoint DecodePace::earliestBegin(std::optional<TimePoint> lastBegun, TimePoint now) const
{
    return lastBegun ? std::max(now, *lastBegun + mean() / mAtOnce) : now;
}

} // namespace frameflow
