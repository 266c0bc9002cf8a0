#pragma once

#include "Clock.h"

#include <optional>

namespace frameflow {

// Spreads the beginnings of the decodes for the next slides, so that these get ready one after the other at even
// distances rather than all at once: each begins a share of a decode's usual length after the one before it. No locks.
class DecodePace
{
public:
    explicit DecodePace(int atOnce) : mAtOnce(atOnce) { }

    // A decode in full size took that long.
    void addDuration(Duration duration);
    // The mean of the last few; zero when there was none.
    Duration mean() const;

    // When one more may begin, given when the last of those still running began; absent when none runs.
    TimePoint earliestBegin(std::optional<TimePoint> lastBegun, TimePoint now) const;

private:
    static constexpr int remembered = 8;

    int mAtOnce;
    Duration mDurations[remembered] = {};
    int mCount = 0;
    int mNext = 0;
};

} // namespace frameflow
