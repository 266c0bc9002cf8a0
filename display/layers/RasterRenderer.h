#pragma once

#include "Coordinates.h"
#include "Mixing.h"
#include "Presentation.h"

class QPainter;

namespace frameflow {

class ReducedCopies;
struct Placement;

// Draws a presentation with a QPainter, over black. Main thread.
class RasterRenderer
{
public:
    explicit RasterRenderer(const ReducedCopies& copies) : mCopies(copies) { }

    // The painter's coordinates are the view's points, origin at the upper left; its state is left as it was.
    void paint(QPainter& painter, const DrawList& items, const ViewArea& area);

private:
    // These draw in device pixels.
    void paintOver(const QColor& background, QPainter& painter, const DrawList& items, const ViewArea& area);
    void paintPicture(QPainter& painter, const DrawItem& item, const ViewArea& area) const;
    void paintUpright(QPainter& painter, const DrawItem& item, const Placement& place, const ViewArea& area) const;
    void paintTurned(QPainter& painter, const DrawItem& item, const Placement& place) const;
    void paintItem(QPainter& painter, const DrawItem& item, const ViewArea& area);
    void paintMix(QPainter& painter, const MixDraw& mix, const ViewArea& area);
    // A drawing of its own, in a buffer or in the picture that it is; null if it is empty.
    QImage drawn(const DrawList& items, const ViewArea& area);
    // The copy of an opaque picture that is the whole drawing, pixel by pixel; null if there is none.
    QImage wholePicture(const DrawList& items, const ViewArea& area) const;
    QImage takeBuffer(QSize pixels);
    void giveBack(QImage buffer);

    const ReducedCopies& mCopies;
    Mixer mMixer;
    // Pictures of the view's pixels for mixtures, kept from frame to frame while there are mixtures.
    std::vector<QImage> mSpareBuffers;
    bool mMixed = false;
};

} // namespace frameflow
