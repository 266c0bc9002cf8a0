#include "GridWindowFrame.h"

#include <algorithm>

namespace frameflow {

namespace {

// Enough of the window to take hold of it.
constexpr int least = 40;

} // namespace

std::optional<QRect> reachableFrame(const QRectF& stored, const QList<QRect>& displays)
{
    if (!(stored.width() >= 1) || !(stored.height() >= 1)) {
        return std::nullopt;
    }
    QSize largest;
    for (const QRect& display : displays) {
        largest = largest.expandedTo(display.size());
    }
    constexpr double farthest = 1e6; // what is beyond is on no display, and would not fit into the type
    const QRect frame(static_cast<int>(std::clamp(stored.x(), -farthest, farthest)),
        static_cast<int>(std::clamp(stored.y(), -farthest, farthest)),
        static_cast<int>(std::min(stored.width(), double(largest.width()))),
        static_cast<int>(std::min(stored.height(), double(largest.height()))));
    const bool isReachable = std::any_of(displays.begin(), displays.end(), [&](const QRect& display) {
        const QRect seen = display & frame;
        return seen.width() >= std::min(least, frame.width()) && seen.height() >= std::min(least, frame.height())
            && frame.top() >= display.top();
    });
    if (isReachable) {
        return frame;
    }
    QRect centred = frame;
    centred.moveCenter(displays.first().center());
    centred.moveTop(std::max(centred.top(), displays.first().top()));
    return centred;
}

} // namespace frameflow
