#include "FrameRule.h"

#include "CGRectUtils.h"

#include <cmath>

namespace frameflow {

QRectF frameIn(QSizeF view, QSizeF picture, FitMode mode)
{
    switch (mode) {
    case FitMode::Shrink:
        return CGRectUtils::rectToFitSize(picture, view, false);
    case FitMode::Zoom:
        return CGRectUtils::rectToFitSize(picture, view, true);
    case FitMode::Fill:
        return CGRectUtils::rectToFillSize(picture, view);
    case FitMode::Stretch:
        break;
    }
    return {QPointF(), view};
}

double inPixels(double points, double pixelsPerPoint)
{
    return std::floor(points * pixelsPerPoint + 0.5);
}

bool needsReduction(QSize picture, QSize pixels)
{
    return pixels.width() < picture.width() && pixels.height() < picture.height();
}

QSize FrameRule::pixelsFor(QSize picture) const
{
    if (view.isEmpty()) {
        return {};
    }
    const QSizeF points = frameIn(view, picture, mode).size();
    const double width = inPixels(points.width(), pixelsPerPoint);
    const double height = inPixels(points.height(), pixelsPerPoint);
    constexpr double limit = 1e9;
    // Written so that not-a-number fails.
    const bool isShown = width >= 1 && width < limit && height >= 1 && height < limit;
    return isShown ? QSize(static_cast<int>(width), static_cast<int>(height)) : QSize();
}

QSize FrameRule::reductionOf(QSize picture, QSize bitmap) const
{
    const QSize pixels = pixelsFor(picture);
    return !pixels.isEmpty() && needsReduction(bitmap, pixels) ? pixels : QSize();
}

} // namespace frameflow
