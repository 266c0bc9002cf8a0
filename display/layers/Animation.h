#pragma once

#include "Clock.h"
#include "Curve.h"

#include <QRectF>
#include <QString>

#include <memory>
#include <optional>
#include <variant>
#include <vector>

namespace frameflow {

struct Animation;
using AnimationPtr = std::shared_ptr<const Animation>;

// Told of the animations that name it. Main thread; called between events, never from within a change to a layer. The
// animation is the very object that was added, so that a delegate can tell its animations apart.
class AnimationDelegate
{
public:
    AnimationDelegate() = default;
    AnimationDelegate(const AnimationDelegate&) = delete;
    AnimationDelegate& operator=(const AnimationDelegate&) = delete;
    virtual ~AnimationDelegate() = default;

    virtual void animationDidStart(const AnimationPtr& animation) = 0;
    // Finished is false for an animation that was replaced or removed before its time.
    virtual void animationDidStop(const AnimationPtr& animation, bool finished) = 0;

private:
    friend class AnimationDelegateLink;
    std::shared_ptr<char> mLife = std::make_shared<char>();
};

// Names a delegate without keeping it alive, and becomes null when the delegate is destroyed.
class AnimationDelegateLink
{
public:
    AnimationDelegateLink() = default;
    AnimationDelegateLink(AnimationDelegate* delegate) : mDelegate(delegate) // implicit: stands in for the pointer
    {
        if (delegate) {
            mLife = delegate->mLife;
        }
    }

    AnimationDelegate* get() const { return mLife.expired() ? nullptr : mDelegate; }

private:
    AnimationDelegate* mDelegate = nullptr;
    std::weak_ptr<char> mLife;
};

// The single numbers of a layer that can be animated.
enum class KeyPath
{
    BoundsSizeWidth,
    BoundsSizeHeight,
    PositionX,
    PositionY,
    Opacity,
    TransformRotationX,
    TransformRotationZ,
};

// Moves one number from one value to another.
struct PropertyChange
{
    KeyPath keyPath;
    double from;
    double to;
};

// Leads from how the layer looked when the animation was added to how its model looks now, on the whole area of the
// view.
struct TransitionEffect
{
    enum class Kind
    {
        Fade,
        PushFromRight,
        Filter, // a picture filter, by its name
    };

    Kind kind = Kind::Fade;
    QString filterName;
    QRectF inputExtent; // the filter's extent in the view's points; empty: the view's area
    double startProgress = 0;
    double endProgress = 1;
};

// What a layer can be asked to do over a time. A constant once made; one object may be added to several layers, and
// runs on each of them by itself.
struct Animation
{
    std::variant<PropertyChange, TransitionEffect> effect;
    Duration duration{};
    Curve curve = Curve::Linear;
    AnimationDelegateLink delegate;
};

AnimationPtr makeAnimation(PropertyChange change, Duration duration, Curve curve, AnimationDelegate* delegate);
AnimationPtr makeAnimation(const TransitionEffect& effect, Duration duration, AnimationDelegate* delegate);

struct DrawItem;

// An animation on a layer.
struct AnimationRun
{
    QString key;
    AnimationPtr animation;
    TimePoint begin;
    Duration duration; // the animation's own, scaled
    // For a transition effect: the layer as it was drawn when the animation was added, in the view's coordinates.
    std::shared_ptr<const std::vector<DrawItem>> source;
    bool startDelivered = false;
    bool isOver = false;

    TimePoint end() const { return begin + duration; }
    // The paced progress, 0 to 1; absent from the end on. A time before the beginning counts as the beginning.
    std::optional<double> progressAt(TimePoint now) const;
};

} // namespace frameflow
