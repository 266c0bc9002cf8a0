#pragma once

#include "Clock.h"

namespace frameflow {

// Time stands where the benchmark puts it; nothing fires.
class StillClock final : public Clock
{
public:
    TimePoint now() const override { return mNow; }
    std::unique_ptr<Alarm> alarmAt(TimePoint /*deadline*/, std::function<void()> /*callback*/) override
    {
        return std::make_unique<Alarm>();
    }
    void advance(Duration duration) { mNow += duration; }

private:
    TimePoint mNow{std::chrono::hours(1)};
};

} // namespace frameflow
