#pragma once

#include "Bands.h"
#include "Coordinates.h"
#include "Filters.h"
#include "Presentation.h"

#include <QImage>

namespace frameflow {

// Whether the effect is one that mixes: a fade, or a filter whose name is known.
bool canMix(const TransitionEffect& effect);

// Mixes two drawings of the view's area at a mixture's progress.
class Mixer
{
public:
    // The effect must be one that mixes. The pictures are 32 bits a pixel, premultiplied or opaque, and of the area's
    // pixels; a null one is wholly transparent. The result is ARGB32_Premultiplied; what it held is of no account.
    void mix(QImage& result, const QImage& source, const QImage& target, const MixDraw& mix, const ViewArea& area);

private:
    FilterShares mShares;
    Bands mBands;
};

} // namespace frameflow
