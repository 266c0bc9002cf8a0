#pragma once

#include <QImage>
#include <QRectF>

namespace frameflow {

// From so many device pixels for one of the picture's on, an axis is drawn by enlarged(): QPainter counts places in
// pictures too coarsely for that.
constexpr double leastEnlargement = 32;

// The part of an upright picture that stands on whole device pixels, mixed from the four nearest of the picture's
// pixels as ever, however large the rectangle is that the whole picture fills. Of the picture's own format, which is a
// drawable one after this. The part lies within the rectangle, or a pixel beyond it. Null without memory.
QImage enlarged(const QImage& picture, const QRectF& rect, const QRect& part);

} // namespace frameflow
