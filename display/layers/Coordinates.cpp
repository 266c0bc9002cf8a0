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

std::optional<QRect> pixelRect(const QRectF& layerRect, const ViewArea& area)
{
    const QRectF rect = widgetRect(layerRect, area.size.height());
    const double scale = area.pixelsPerPoint;
    const double x = inPixels(rect.x(), scale);
    const double y = inPixels(rect.y(), scale);
    const double width = inPixels(rect.width(), scale);
    const double height = inPixels(rect.height(), scale);
    constexpr double limit = 1e9;
    // Written so that not-a-number fails.
    const bool shown
        = std::abs(x) < limit && std::abs(y) < limit && width >= 1 && width < limit && height >= 1 && height < limit;
    if (!shown) {
        return std::nullopt;
    }
    return QRect(static_cast<int>(x), static_cast<int>(y), static_cast<int>(width), static_cast<int>(height));
}

} // namespace frameflow
