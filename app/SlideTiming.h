#pragma once

#include "Clock.h"

#include <optional>

namespace frameflow {

// How long a show waits between two slides for a setting in seconds. A setting of zero, below zero or none at all would
// never let the program rest, so there is a floor.
Duration slideDuration(double slideTime);

// When a running timer is to fire after its interval changed, so that the slide on screen keeps the time that it has
// already been shown. Absent: that time is up, and the timer fires at once.
std::optional<TimePoint> retimed(TimePoint now, TimePoint deadline, Duration oldInterval, Duration newInterval);

// When a running timer is to fire after a person asked for time to look: five seconds from now at the earliest.
TimePoint postponed(TimePoint now, TimePoint deadline);

} // namespace frameflow
