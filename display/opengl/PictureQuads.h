#pragma once

#include "Placement.h"

#include <array>
#include <vector>

namespace frameflow {

// A corner of what is drawn. How far it is inside each of the picture's edges is told in device pixels; the edges of
// the picture lie half covered where that is 0.
struct QuadCorner
{
    float x = 0; // device pixels from the upper left of the view
    float y = 0;
    float u = 0; // in the texture, 0 to 1, from its upper left
    float v = 0;
    float left = 0;
    float right = 0;
    float top = 0;
    float bottom = 0;
};

// A part of a picture that fits into a texture, and the strip of two triangles that it is drawn on.
struct PictureQuad
{
    QRect part; // of the picture that the texture holds, with a pixel more at the borders to other parts
    std::array<QuadCorner, 4> corners; // upper left, upper right, lower left, lower right
};

// The parts that a picture is drawn in: one, unless it has more pixels on a side than a texture may have. Only those
// are there that the view shows, where the picture stands upright. The picture may be any copy of the step's own.
std::vector<PictureQuad> pictureQuads(
    const DrawItem& item, const Placement& place, QSize picture, int largestTexture, const ViewArea& area);

} // namespace frameflow
