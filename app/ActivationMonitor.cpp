#include "ActivationMonitor.h"

#include <utility>

namespace frameflow {

ActivationMonitor::ActivationMonitor(Clock& clock, std::function<void()> activated)
    : mClock(clock), mActivated(std::move(activated)), mTimer(clock)
{
}

void ActivationMonitor::setActive(bool active)
{
    mReported = active;
    mTimer.start(mClock.now() + settlingTime, [this] { settle(); });
}

void ActivationMonitor::windowsChange()
{
    mSettled = Settled::Unknown;
    mTimer.start(mClock.now() + settlingTime, [this] { settle(); });
}

void ActivationMonitor::settle()
{
    const Settled before = std::exchange(mSettled, mReported ? Settled::Active : Settled::Inactive);
    if (before == Settled::Inactive && mSettled == Settled::Active) {
        mActivated();
    }
}

} // namespace frameflow
