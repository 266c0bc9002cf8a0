#pragma once

#include "Coordinates.h"
#include "Presentation.h"

class QPainter;

namespace frameflow {

class ReducedCopies;

// Draws a presentation with a QPainter, over black. Main thread.
class RasterRenderer
{
public:
    explicit RasterRenderer(const ReducedCopies& copies) : mCopies(copies) { }

    // The painter's coordinates are the view's points, origin at the upper left; its state is left as it was.
    void paint(QPainter& painter, const DrawList& items, const ViewArea& area) const;

private:
    // These draw in device pixels.
    void paintItems(QPainter& painter, const DrawList& items, const ViewArea& area) const;
    void paintPicture(QPainter& painter, const DrawItem& item, const ViewArea& area) const;
    void paintUpright(QPainter& painter, const DrawItem& item, const QRect& frame, const ViewArea& area) const;
    void paintTurned(QPainter& painter, const DrawItem& item, const ViewArea& area) const;
    void paintMix(QPainter& painter, const MixDraw& mix, const ViewArea& area) const;
    QImage drawn(const DrawList& items, const ViewArea& area) const;

    const ReducedCopies& mCopies;
};

} // namespace frameflow
