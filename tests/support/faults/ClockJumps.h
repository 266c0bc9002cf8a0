#pragma once

#include <QMap>
#include <QString>
#include <QTemporaryFile>

#include <chrono>

namespace frameflow {

// Clocks that jump under a program that is started with these variables. The one that only counts while the machine is
// awake never jumps.
class ClockJumps
{
public:
    ClockJumps();
    ClockJumps(const ClockJumps&) = delete;
    ClockJumps& operator=(const ClockJumps&) = delete;

    QMap<QString, QString> variables() const;

    // By how far the time of day is off from now on.
    void setTimeOfDay(std::chrono::nanoseconds offset)
    {
        mOfDay = offset;
        write();
    }
    // Both clocks go on by that much at once.
    void suspend(std::chrono::nanoseconds time);

private:
    void write();

    QTemporaryFile mFile;
    std::chrono::nanoseconds mOfDay{0};
    std::chrono::nanoseconds mWithSleep{0};
};

} // namespace frameflow
