#pragma once

#include "Animation.h"

#include <QImage>
#include <QPointF>
#include <QTransform>

#include <vector>

namespace frameflow {

class Compositor;
class Layer;
using LayerPtr = std::shared_ptr<Layer>;

// Turns about the layer's anchor point, counter-clockwise, in radians. There is no perspective: a turn about x squeezes
// the height by its cosine.
struct LayerTransform
{
    double rotationX = 0;
    double rotationZ = 0;

    QTransform toAffine() const;
    friend bool operator==(const LayerTransform&, const LayerTransform&) = default;
};

// The numbers of a layer, as they were set or as they are at one moment of an animation. Points, y up. The anchor point
// is a fraction of the bounds, from their lower left corner, and lies at the position in the superlayer.
struct LayerValues
{
    QRectF bounds;
    QPointF position;
    QPointF anchorPoint{0.5, 0.5};
    LayerTransform transform;
    double opacity = 1;
    double zPosition = 0;
    QImage contents; // stretched over the bounds; null for none

    // Maps the coordinates of the bounds to those of the superlayer.
    QTransform toSuperlayer() const;
};

// Where a layer stands among its siblings.
enum class LayerLevel
{
    ByZPosition, // by z-position, then by order
    Front, // drawn after all others, whatever their z-positions
};

// A rectangle with contents and sublayers. What is set is the model: it holds at once, getters answer it, and
// animations never change it. Main thread only.
class Layer : public std::enable_shared_from_this<Layer>
{
public:
    // The compositor is kept while the layer lives.
    explicit Layer(std::shared_ptr<Compositor> compositor);
    // Ends its animations.
    ~Layer();
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;

    const LayerValues& values() const { return mValues; }
    QRectF bounds() const { return mValues.bounds; }
    QPointF position() const { return mValues.position; }
    QPointF anchorPoint() const { return mValues.anchorPoint; }
    LayerTransform transform() const { return mValues.transform; }
    double opacity() const { return mValues.opacity; }
    double zPosition() const { return mValues.zPosition; }
    QImage contents() const { return mValues.contents; }
    LayerLevel level() const { return mLevel; }

    void setBounds(const QRectF& bounds);
    // Keeps the origin of the bounds.
    void setBoundsSize(QSizeF size);
    void setPosition(QPointF position);
    // Keeps the position, so that the layer moves.
    void setAnchorPoint(QPointF anchorPoint);
    void setTransform(const LayerTransform& transform);
    void setOpacity(double opacity);
    void setZPosition(double zPosition);
    void setContents(const QImage& contents);
    void setLevel(LayerLevel level);

    // The rectangle in the superlayer, leaving the transform out of account. Setting it sets size and position.
    QRectF frame() const;
    void setFrame(const QRectF& frame);

    // Sublayers are kept, in the order of drawing among equal z-positions.
    const std::vector<LayerPtr>& sublayers() const { return mSublayers; }
    Layer* superlayer() const { return mSuperlayer; }
    void addSublayer(const LayerPtr& layer);
    // Directly above the sibling, which must be a sublayer of this layer; last where it is not.
    void insertSublayerAbove(const LayerPtr& layer, const Layer& sibling);
    // Leaves the animations running.
    void removeFromSuperlayer();

    // Replaces the layer's animation of that key.
    void addAnimation(const AnimationPtr& animation, const QString& key);
    void removeAnimation(const QString& key);
    void removeAllAnimations();
    // Null where there is none of that key.
    AnimationPtr animation(const QString& key) const;
    // In the order in which they were added.
    const std::vector<std::shared_ptr<AnimationRun>>& runs() const { return mRuns; }

    // For the compositor: ends the animations whose time has come.
    void finishAnimations(TimePoint now);

private:
    template <typename T>
    void set(T& value, const T& newValue);
    void endRun(size_t index, bool finished);
    void attach(const LayerPtr& layer, size_t index);

    std::shared_ptr<Compositor> mCompositor;
    LayerValues mValues;
    LayerLevel mLevel = LayerLevel::ByZPosition;
    Layer* mSuperlayer = nullptr;
    std::vector<LayerPtr> mSublayers;
    std::vector<std::shared_ptr<AnimationRun>> mRuns;
};

} // namespace frameflow
