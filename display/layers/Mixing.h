#pragma once

#include "Coordinates.h"
#include "Presentation.h"

#include <QImage>

namespace frameflow {

// Mixes two drawings of the view's area at the mixture's progress. All three pictures are ARGB32_Premultiplied and of
// the area's pixels; the result's old contents are of no account. Any thread.
using MixFunction
    = void (*)(QImage& result, const QImage& source, const QImage& target, const MixDraw& mix, const ViewArea& area);

// The function for an effect; null for a filter whose name is not known.
MixFunction mixFunctionFor(const TransitionEffect& effect);

} // namespace frameflow
