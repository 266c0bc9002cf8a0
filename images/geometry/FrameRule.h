#pragma once

#include <QRectF>
#include <QSize>
#include <QSizeF>

namespace frameflow {

// How a picture is brought to the size of a view.
enum class FitMode
{
    Shrink, // whole, and no larger than it is
    Zoom, // whole, as large as the view allows
    Fill, // covers the view
    Stretch, // to the view's own shape
};

// Where a picture stands in a view, in points of the view, origin at a corner.
QRectF frameIn(QSizeF view, QSizeF picture, FitMode mode);

// A length on the screen in whole device pixels.
double inPixels(double points, double pixelsPerPoint);

// Whether a picture drawn on so many pixels is to be reduced first: only where both its sides shrink.
bool needsReduction(QSize picture, QSize pixels);

// How large pictures of any size are to be shown: a value that every thread and process can ask. Without a view it says
// nothing.
struct FrameRule
{
    QSizeF view; // in points
    double pixelsPerPoint = 1;
    FitMode mode = FitMode::Stretch;

    // The device pixels that an upright picture of that size is shown on; empty where that does not matter, or no
    // screen can show it.
    QSize pixelsFor(QSize picture) const;
    // The same, but empty where a bitmap of it in the second size need not be reduced for that.
    QSize reductionOf(QSize picture, QSize bitmap) const;

    friend bool operator==(const FrameRule&, const FrameRule&) = default;
};

} // namespace frameflow
