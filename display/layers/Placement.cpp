#include "Placement.h"

#include <cmath>

namespace frameflow {

namespace {

// Thinner than that, nothing is to be seen, and maps cannot be inverted.
constexpr double thinnest = 0.02; // pixels
// More cannot be counted in whole numbers. The view then shows less than a hundredth of a pixel of any picture.
constexpr double farthest = 1e9;
// Renderers count turned pictures in numbers that end a little above.
constexpr double longestTurned = 30000;

// One axis of a rectangle.
struct Span
{
    double from;
    double length;
};

// Written so that not-a-number fails.
bool isSpan(double from, double length, double longest)
{
    return std::abs(from) < longest && length > thinnest && length < longest;
}

// Shortens what is too long so that the view, from 0 to its end, shows the same place of it, and the same edge.
Span counted(const Span& span, double view)
{
    if (!(span.length > farthest) || !std::isfinite(span.length)) {
        return span;
    }
    if (span.from > 0) {
        return {span.from, farthest};
    }
    if (const double end = span.from + span.length; end < view) {
        return {end - farthest, farthest};
    }
    const double share = (view / 2 - span.from) / span.length;
    return {std::clamp(view / 2 - share * farthest, view - farthest, 0.0), farthest};
}

// On an axis on which the picture is still it stands on whole pixels, at least one of them.
Span placed(const Span& exact, const Span& whole, bool isExact, double view)
{
    constexpr Span nowhere{0, 0};
    if (isExact) {
        return counted(exact, view);
    }
    return whole.length >= 1 ? counted(whole, view) : nowhere;
}

Placement upright(const DrawItem& item, const ViewArea& area)
{
    const QTransform& map = item.toView;
    const QRectF inView = map.mapRect(item.bounds);
    const QRectF exact = layersToPixels(area).mapRect(inView);
    const QRectF whole = wholePixels(inView, area);
    const QSizeF view = area.pixels();
    const Span inX
        = placed({exact.x(), exact.width()}, {whole.x(), whole.width()}, item.movesInX || map.m11() != 1, view.width());
    const Span inY = placed(
        {exact.y(), exact.height()}, {whole.y(), whole.height()}, item.movesInY || map.m22() != 1, view.height());
    Placement place;
    place.rect = QRectF(inX.from, inY.from, inX.length, inY.length);
    constexpr double limit = 1.04 * farthest; // so that both ends are whole numbers
    if (isSpan(inX.from, inX.length, limit) && isSpan(inY.from, inY.length, limit)) {
        place.kind = Placement::Kind::Upright;
        place.pixels = QSize(static_cast<int>(std::ceil(inX.length)), static_cast<int>(std::ceil(inY.length)));
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

VisiblePart visiblePart(const QRectF& rect, QSize picture, const ViewArea& area, double margin)
{
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
