#include "ClockJumps.h"

#include <array>

namespace frameflow {

ClockJumps::ClockJumps()
{
    if (!mFile.open()) {
        qFatal("no file for the clocks");
    }
    write();
}

QMap<QString, QString> ClockJumps::variables() const
{
    return {{QStringLiteral("LD_PRELOAD"), QStringLiteral(JUMPING_CLOCK)},
        {QStringLiteral("JUMPING_CLOCK"), mFile.fileName()},
        // Those of a sanitizer want to be the first of all libraries, and are good enough as the second.
        {QStringLiteral("ASAN_OPTIONS"),
            qEnvironmentVariable("ASAN_OPTIONS") + QStringLiteral(":verify_asan_link_order=0")}};
}

void ClockJumps::suspend(std::chrono::nanoseconds time)
{
    mOfDay += time;
    mWithSleep += time;
    write();
}

void ClockJumps::write()
{
    const std::array<qint64, 2> offsets{mOfDay.count(), mWithSleep.count()};
    mFile.seek(0);
    mFile.write(reinterpret_cast<const char*>(offsets.data()), sizeof offsets);
    mFile.flush();
}

} // namespace frameflow
