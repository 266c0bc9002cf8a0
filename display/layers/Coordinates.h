#pragma once

#include <QRect>
#include <QRectF>
#include <QTransform>

#include <optional>

namespace frameflow {

// The area that layers are shown in: its size in points, and the device pixels in a point.
struct ViewArea
{
    QSizeF size;
    double pixelsPerPoint = 1;

    QSize pixels() const;
};

// Converts a rectangle of the layers (origin at the lower left, y up) to the widget's own geometry, and back.
QRectF widgetRect(const QRectF& layerRect, double viewHeight);

// Maps points of the layers to device pixels, origin at the upper left.
QTransform layersToPixels(const ViewArea& area);

// The device pixels that a rectangle of the layers is drawn on, origin at the upper left: the size rounded by itself,
// so that equal sizes stay equal wherever they stand.
QRectF wholePixels(const QRectF& layerRect, const ViewArea& area);

// The same in whole numbers. Absent for a rectangle that no screen can show: empty, infinite or not a number.
std::optional<QRect> pixelRect(const QRectF& layerRect, const ViewArea& area);

} // namespace frameflow
