#include "Clock.h"

#include <QTimer>

#include <algorithm>
#include <cmath>
#include <utility>

namespace frameflow {

Duration durationFromSeconds(double seconds)
{
    if (std::isnan(seconds)) {
        return Duration::zero();
    }
    // A century either way: far beyond any use, and safely inside 64 bits of nanoseconds when added to a TimePoint.
    constexpr double limit = 100.0 * 365 * 86400;
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(std::clamp(seconds, -limit, limit)));
}

double secondsFromDuration(Duration duration)
{
    return std::chrono::duration<double>(duration).count();
}

namespace {

class TimerAlarm final : public Clock::Alarm
{
public:
    TimerAlarm(const SystemClock& clock, TimePoint deadline, std::function<void()> callback)
        : mClock(clock), mDeadline(deadline), mCallback(std::move(callback))
    {
        mTimer.setSingleShot(true);
        mTimer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&mTimer, &QTimer::timeout, &mTimer, [this] { fire(); });
        arm();
    }

private:
    void arm()
    {
        using std::chrono::milliseconds;
        const auto left = std::chrono::ceil<milliseconds>(mDeadline - mClock.now());
        // QTimer counts milliseconds in an int; a longer wait is made in pieces.
        constexpr milliseconds longest = std::chrono::hours(24);
        mTimer.start(std::clamp(left, milliseconds::zero(), longest));
    }

    void fire()
    {
        if (mClock.now() < mDeadline) {
            arm();
            return;
        }
        const auto callback = std::move(mCallback);
        callback(); // may destroy this
    }

    const SystemClock& mClock;
    TimePoint mDeadline;
    std::function<void()> mCallback;
    QTimer mTimer;
};

} // namespace

TimePoint SystemClock::now() const
{
    return std::chrono::time_point_cast<Duration>(std::chrono::steady_clock::now());
}

std::unique_ptr<Clock::Alarm> SystemClock::alarmAt(TimePoint deadline, std::function<void()> callback)
{
    return std::make_unique<TimerAlarm>(*this, deadline, std::move(callback));
}

void OneShotTimer::start(TimePoint deadline, std::function<void()> callback)
{
    mDeadline = deadline;
    mCallback = std::move(callback);
    arm();
}

void OneShotTimer::stop()
{
    mAlarm.reset();
    mCallback = nullptr;
}

void OneShotTimer::moveTo(TimePoint deadline)
{
    if (!isActive()) {
        return;
    }
    mDeadline = deadline;
    arm();
}

void OneShotTimer::arm()
{
    mAlarm = mClock.alarmAt(mDeadline, [this] {
        // Inactive before the callback runs, so that the callback may start the timer again, or destroy it.
        const auto alarm = std::move(mAlarm);
        const auto callback = std::exchange(mCallback, nullptr);
        callback();
    });
}

} // namespace frameflow
