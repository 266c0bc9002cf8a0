#include "ManualClock.h"

#include <utility>

namespace frameflow {

class ManualClock::Pending final : public Clock::Alarm
{
public:
    Pending(Alarms& alarms, TimePoint deadline, std::function<void()> callback)
        : mAlarms(alarms), mCallback(std::move(callback)), mPlace(alarms.emplace(deadline, this))
    {
    }
    Pending(const Pending&) = delete;
    Pending& operator=(const Pending&) = delete;

    ~Pending() override
    {
        if (mPlace != mAlarms.end()) {
            mAlarms.erase(mPlace);
        }
    }

    void fire()
    {
        mAlarms.erase(std::exchange(mPlace, mAlarms.end()));
        const auto callback = std::move(mCallback);
        callback(); // may destroy this
    }

private:
    Alarms& mAlarms;
    std::function<void()> mCallback;
    Alarms::iterator mPlace;
};

std::unique_ptr<Clock::Alarm> ManualClock::alarmAt(TimePoint deadline, std::function<void()> callback)
{
    return std::make_unique<Pending>(mAlarms, deadline, std::move(callback));
}

void ManualClock::advance(Duration duration)
{
    const TimePoint end = mNow + duration;
    while (!mAlarms.empty() && mAlarms.begin()->first <= end) {
        mNow = std::max(mNow, mAlarms.begin()->first);
        mAlarms.begin()->second->fire();
    }
    mNow = std::max(mNow, end);
}

} // namespace frameflow
