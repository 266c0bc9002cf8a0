#pragma once

#include "Layer.h"

#include <QSet>

namespace frameflow {

struct MixDraw;

// One step of drawing, over the steps before it: a picture, or the mixture of two drawings.
struct DrawItem
{
    QImage picture;
    QRectF bounds; // that the picture fills, upright, y up
    QTransform toView; // from the bounds' coordinates to the view's, y up
    double opacity = 1;
    std::shared_ptr<const MixDraw> mix; // null for a picture
    // Whether the picture is on its way along an axis. There it is drawn between pixels, elsewhere on whole ones.
    bool movesInX = false;
    bool movesInY = false;
};

using DrawList = std::vector<DrawItem>;

// A mixture on the whole area of the view.
struct MixDraw
{
    TransitionEffect effect;
    double progress = 0; // 0: the source alone, 1: the target alone
    DrawList source;
    DrawList target;
};

// A layer's values at a time: the animated ones where an animation runs, else the model's.
LayerValues presentedValues(const Layer& layer, TimePoint now);

// What the tree shows at a time, in the order of drawing; what cannot be seen is left out. Changes nothing. The root's
// position and bounds are the view's area.
DrawList presentation(const Layer& root, TimePoint now);

// What one layer and its sublayers contribute to the presentation of the tree that the layer is in.
DrawList captured(const Layer& layer, TimePoint now);

// The QImage::cacheKey() of every picture in the list, mixtures included.
QSet<qint64> picturesIn(const DrawList& items);

} // namespace frameflow
