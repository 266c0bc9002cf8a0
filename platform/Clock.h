#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace frameflow {

using Duration = std::chrono::nanoseconds;
using TimePoint = std::chrono::time_point<std::chrono::steady_clock, Duration>;

// Converts settings and interface values, which are seconds as floating point. Not-a-number gives zero.
Duration durationFromSeconds(double seconds);
double secondsFromDuration(Duration duration);

// The one source of "now" and of wake-ups for the main thread. Everything that waits or animates is given a Clock, so
// that a test can set the time by hand. Main thread only.
class Clock
{
public:
    // A pending wake-up. Destroying it cancels it; destroying it from within its own callback is allowed.
    class Alarm
    {
    public:
        virtual ~Alarm() = default;
    };

    virtual ~Clock() = default;

    virtual TimePoint now() const = 0;

    // Calls back once, from the event loop and never from within this call, as soon as now() has reached the deadline.
    // The caller owns the alarm; without it nothing fires.
    [[nodiscard]] virtual std::unique_ptr<Alarm> alarmAt(TimePoint deadline, std::function<void()> callback) = 0;
};

// The machine's monotonic clock, with alarms from Qt's event loop at millisecond precision.
class SystemClock final : public Clock
{
public:
    TimePoint now() const override;
    std::unique_ptr<Alarm> alarmAt(TimePoint deadline, std::function<void()> callback) override;
};

// One restartable wake-up. The callback may restart, stop or destroy the timer.
class OneShotTimer
{
public:
    explicit OneShotTimer(Clock& clock) : mClock(clock) { }

    void start(TimePoint deadline, std::function<void()> callback);
    void stop();
    bool isActive() const { return mAlarm != nullptr; }
    // When it will fire; meaningful only while active.
    TimePoint deadline() const { return mDeadline; }
    // Moves the deadline of an active timer and keeps its callback. Does nothing when inactive.
    void moveTo(TimePoint deadline);

private:
    void arm();

    Clock& mClock;
    TimePoint mDeadline{};
    std::function<void()> mCallback;
    std::unique_ptr<Clock::Alarm> mAlarm;
};

} // namespace frameflow
