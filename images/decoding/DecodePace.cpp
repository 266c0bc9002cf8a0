#include "DecodePace.h"

#include <algorithm>

namespace frameflow {

void DecodePace::addDuration(Duration duration)
{
    mDurations[mNext] = duration;
    mNext = (mNext + 1) % remembered;
    mCount = std::min(mCount + 1, remembered);
}

Duration DecodePace::usual() const
{
    if (mCount == 0) {
        return {};
    }
    std::array<Duration, remembered> sorted = mDurations;
    const auto middle = sorted.begin() + mCount / 2;
    std::nth_element(sorted.begin(), middle, sorted.begin() + mCount);
    return *middle;
}

TimePoint DecodePace::earliestBegin(std::optional<TimePoint> lastBegun, TimePoint now) const
{
    return lastBegun ? std::max(now, *lastBegun + usual() / mAtOnce) : now;
}

} // namespace frameflow
