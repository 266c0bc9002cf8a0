#pragma once

#include "Coordinates.h"
#include "Presentation.h"

namespace frameflow {

// Draws a presentation point by point in floating point, slowly and plainly: pictures bilinearly, edges by how much of
// a pixel they cover, over black. The part is in device pixels. Pictures must not be shown smaller than half their
// size, where renderers do better. RGB32.
QImage referenceDrawing(const DrawList& items, const ViewArea& area, const QRect& part);

// The peak signal-to-noise ratio of two RGB32 pictures of one size, in decibels; 99 for equal ones.
double decibels(const QImage& actual, const QImage& expected);

} // namespace frameflow
