#include "ScreenChoice.h"

#include "RectText.h"

namespace frameflow {

std::optional<size_t> rememberedScreen(const std::vector<QRect>& frames, const QString& storedFrame)
{
    if (frames.size() < 2 || storedFrame.isEmpty()) {
        return std::nullopt;
    }
    const QRectF stored = rectFromText(storedFrame);
    for (size_t i = 0; i < frames.size(); ++i) {
        if (QRectF(frames[i]) == stored) {
            return i;
        }
    }
    return std::nullopt;
}

QRect windowModeFrame(const QRect& display)
{
    const QSize half(display.width() / 2, display.height() / 2);
    return {QPoint(display.left(), display.top() + display.height() - half.height()), half};
}

} // namespace frameflow
