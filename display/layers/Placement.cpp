#include "Placement.h"

#include <cmath>

namespace frameflow {

namespace {

// Thinner than that, nothing is to be seen, and maps cannot be inverted.
constexpr double thinnest = 0.02; // pixels
constexpr double farthest = 1e9;
// Renderers count turned pictures in numbers that end a little above.
constexpr double longestTurned = 30000;

// Written so that not-a-number fails.
bool isSpan(double from, double length, double longest)
{
    return std::abs(from) < longest && length > thinnest && length < longest;
}

Placement upright(const DrawItem& item, const ViewArea& area)
{
    const QTransform& map = item.toView;
    const QRectF exact = layersToPixels(area).mapRect(map.mapRect(item.bounds));
    const bool exactInX = item.movesInX || map.m11() != 1;
    const bool exactInY = item.movesInY || map.m22() != 1;
    Placement place;
    if (exactInX && exactInY) {
        place.rect = exact;
    } else {
        // An axis on which the picture is still counts by itself: it may be still while the other one shrinks to
        // nothing.
        QRectF layerRect = map.mapRect(item.bounds);
        if (exactInX) {
            layerRect = QRectF(0, layerRect.y(), area.size.width(), layerRect.height());
        } else if (exactInY) {
            layerRect = QRectF(layerRect.x(), 0, layerRect.width(), area.size.height());
        }
        const auto whole = pixelRect(layerRect, area);
        if (!whole) {
            return {};
        }
        const QRectF still(*whole);
        place.rect = QRectF(exactInX ? exact.x() : still.x(), exactInY ? exact.y() : still.y(),
            exactInX ? exact.width() : still.width(), exactInY ? exact.height() : still.height());
    }
    if (isSpan(place.rect.x(), place.rect.width(), farthest) && isSpan(place.rect.y(), place.rect.height(), farthest)) {
        place.kind = Placement::Kind::Upright;
        place.pixels
            = QSize(static_cast<int>(std::ceil(place.rect.width())), static_cast<int>(std::ceil(place.rect.height())));
    }
    return place;
}

Placement turned(const DrawItem& item, const ViewArea& area)
{
    const QSizeF size = item.bounds.size() * area.pixelsPerPoint;
    Placement place;
    if (!isSpan(0, size.width(), longestTurned) || !isSpan(0, size.height(), longestTurned)
        || !(std::abs(item.toView.determinant()) * std::min(size.width(), size.height()) > thinnest)) {
        return place;
    }
    place.kind = Placement::Kind::Turned;
    place.toPixels = item.toView * layersToPixels(area);
    place.pixels = size.toSize().expandedTo(QSize(1, 1));
    return place;
}

} // namespace

Placement placementOf(const DrawItem& item, const ViewArea& area)
{
    const QTransform& map = item.toView;
    const bool isUpright = map.m12() == 0 && map.m21() == 0 && map.m11() > 0 && map.m22() > 0;
    return isUpright ? upright(item, area) : turned(item, area);
}

bool hidesEverything(const DrawItem& item, const ViewArea& area)
{
    if (item.mix || item.opacity < 1 || item.picture.hasAlphaChannel()) {
        return false;
    }
    const Placement place = placementOf(item, area);
    return place.kind == Placement::Kind::Upright && place.rect.contains(QRectF(QPointF(), area.pixels()));
}

VisiblePart visiblePart(const QRectF& rect, QSize picture, const ViewArea& area)
{
    constexpr double margin = 2; // pixels
    const QRectF shown = rect & QRectF(QPointF(), area.pixels()).adjusted(-margin, -margin, margin, margin);
    if (shown.isEmpty()) {
        return {};
    }
    const double x = picture.width() / rect.width();
    const double y = picture.height() / rect.height();
    return {
        shown, QRectF((shown.x() - rect.x()) * x, (shown.y() - rect.y()) * y, shown.width() * x, shown.height() * y)};
}

} // namespace frameflow
