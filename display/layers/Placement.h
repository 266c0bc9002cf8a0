#pragma once

#include "Coordinates.h"
#include "Presentation.h"

namespace frameflow {

// Where the picture of a drawing step stands, in device pixels, origin at the upper left of the view. What is too thin
// or too far away for any screen stands nowhere. An upright picture that is too large to be counted on stands on a
// smaller rectangle, of which the view shows the same but for what nobody can see.
struct Placement
{
    enum class Kind
    {
        Nowhere,
        Upright, // fills the rectangle
        Turned, // the map leads from the step's bounds to pixels
    };

    Kind kind = Kind::Nowhere;
    QRectF rect;
    QTransform toPixels;
    QSize pixels; // on how many the picture is drawn when it is not turned: by that its copy is chosen

    // Whether an upright picture's edges lie between pixels.
    bool isWhole() const { return rect == QRectF(rect.toRect()); }
};

Placement placementOf(const DrawItem& item, const ViewArea& area);

// Whether nothing that is drawn before the step can be seen.
bool hidesEverything(const DrawItem& item, const ViewArea& area);

// The part of a rectangle that the view shows, and the part of the picture that fills it. A margin around the view, in
// pixels, is included, so that its edges are none of the picture's.
struct VisiblePart
{
    QRectF pixels;
    QRectF ofPicture; // in the picture's pixels
};

// Empty where nothing is to be seen.
VisiblePart visiblePart(const QRectF& rect, QSize picture, const ViewArea& area, double margin = 2);

} // namespace frameflow
