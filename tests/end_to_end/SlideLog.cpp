#include "SlideLog.h"

#include <algorithm>
#include <cstdlib>

namespace frameflow::e2e {

namespace {

constexpr int tolerance = 6; // steps of 8 bits

bool isNear(const QColor& a, const QColor& b)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance
        && std::abs(a.blue() - b.blue()) <= tolerance;
}

} // namespace

SlideLog::SlideLog(const XServer& server, const QMap<QByteArray, QColor>& names) : mServer(server), mColours(names)
{
    QObject::connect(&mTimer, &QTimer::timeout, &mTimer, [this] { look(); });
    mTimer.start(4);
}

void SlideLog::look()
{
    const QColor now(mServer.pixel(mServer.bounds().center()));
    mLongestGap = std::max(mLongestGap, mSinceLook.isValid() ? mSinceLook.elapsed() : 0);
    mSinceLook.start();
    for (auto it = mColours.cbegin(); it != mColours.cend(); ++it) {
        if (isNear(now, it.value()) && (mNames.isEmpty() || mNames.last() != it.key())) {
            mNames.append(it.key());
        }
    }
}

} // namespace frameflow::e2e
