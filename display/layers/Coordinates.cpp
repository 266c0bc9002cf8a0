#include "Coordinates.h"

#include "FrameRule.h"

#include <cmath>

namespace frameflow {

QSize ViewArea::pixels() const
{
    return {static_cast<int>(std::lround(size.width() * pixelsPerPoint)),
        static_cast<int>(std::lround(size.height() * pixelsPerPoint))};
}

QRectF widgetRect(const QRectF& layerRect, double viewHeight)
{
    return {layerRect.x(), viewHeight - layerRect.y() - layerRect.height(), layerRect.width(), layerRect.height()};
}

QTransform layersToPixels(const ViewArea& area)
{
    const double scale = area.pixelsPerPoint;
    return {scale, 0, 0, -scale, 0, area.size.height() * scale};
}

QRectF wholePixels(const QRectF& layerRect, const ViewArea& area)
{
    const QRectF rect = widgetRect(layerRect, area.size.height());
    const double scale = area.pixelsPerPoint;
    return {inPixels(rect.x(), scale), inPixels(rect.y(), scale), inPixels(rect.width(), scale),
        inPixels(rect.height(), scale)};
}

std::optional<QRect> pixelRect(const QRectF& layerRect, const ViewArea& area)
{
    const QRectF rect = wholePixels(layerRect, area);
    constexpr double limit = 1e9;
    // Written so that not-a-number fails.
    const bool shown = std::abs(rect.x()) < limit && std::abs(rect.y()) < limit && rect.width() >= 1
        && rect.width() < limit && rect.height() >= 1 && rect.height() < limit;
    return shown ? std::optional(rect.toRect()) : std::nullopt;
}

} // namespace frameflow
