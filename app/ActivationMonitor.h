#pragma once

#include "Clock.h"

#include <functional>

namespace frameflow {

// Tells when the person comes back to the program from another one. Window systems report a program as inactive for
// moments while its own windows change, so a state counts only after it has lasted. Main thread only.
class ActivationMonitor
{
public:
    static constexpr Duration settlingTime = std::chrono::milliseconds(250);

    // The callback runs from the event loop, once per return.
    ActivationMonitor(Clock& clock, std::function<void()> activated);

    // The window system's word, at every change.
    void setActive(bool active);
    // The program itself opens, closes or rebuilds windows now: becoming active after that is no return. Nor is it at
    // start-up.
    void windowsChange();

private:
    enum class Settled
    {
        Unknown,
        Active,
        Inactive,
    };

    void settle();

    Clock& mClock;
    std::function<void()> mActivated;
    Settled mSettled = Settled::Unknown;
    bool mReported = false;
    OneShotTimer mTimer;
};

} // namespace frameflow
