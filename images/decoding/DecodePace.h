#pragma once

#include "Clock.h"

#include <array>
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
    // The middle one of the last few: single ones take far longer when something is in their way. Zero when there was
    // none.
    Duration usual() const;

    // When one more may begin, given when the last of those still running began; absent when none runs.
    TimePoint earliestBegin(std::optional<TimePoint> lastBegun, TimePoint now) const;

private:
    static constexpr int remembered = 8;

    int mAtOnce;
    std::array<Duration, remembered> mDurations = {};
    int mCount = 0;
    int mNext = 0;
};

} // namespace frameflow
