#pragma once

#include "Clock.h"

#include <map>

namespace frameflow {

// A clock that stands still until the test moves it.
class ManualClock final : public Clock
{
public:
    TimePoint now() const override { return mNow += mStep; }
    std::unique_ptr<Alarm> alarmAt(TimePoint deadline, std::function<void()> callback) override;

    // Moves the time on and fires the alarms that fall due on the way, each at its own deadline and in their order. An
    // alarm set by a callback fires too when it falls due within the same advance.
    void advance(Duration duration);
    void advanceSeconds(double seconds) { advance(durationFromSeconds(seconds)); }
    // Moves the time alone, backwards too, and fires nothing: what a machine does that was asleep.
    void jump(Duration duration) { mNow += duration; }

    // Lets every look at the clock take that long.
    void setStep(Duration step) { mStep = step; }

    size_t pendingAlarms() const { return mAlarms.size(); }

private:
    class Pending;
    using Alarms = std::multimap<TimePoint, Pending*>;

    Duration mStep{};
    mutable TimePoint mNow{std::chrono::hours(1)};
    Alarms mAlarms;
};

} // namespace frameflow
