// The transitions that move, turn and resize the layers of the two slides.
#include "KLLayerView.h"

namespace frameflow {

namespace {

using namespace std::chrono_literals;

// A little short of a quarter turn, and of a half turn.
constexpr float quarterTurn = 1.57075F;
constexpr float halfTurn = 3.1415F;

constexpr Duration flipTime = 1s;
constexpr Duration rotationTime = 2s;
constexpr Duration resizeTime = 1s;
constexpr Duration slideTime = 1400ms;

constexpr QPointF lowerLeft(0, 0);
constexpr QPointF lowerRight(1, 0);
constexpr QPointF centre(0.5, 0.5);

const QString transitionKey = QStringLiteral("transition");
const QString transition2Key = QStringLiteral("transition2");
const QString transitionLeftKey = QStringLiteral("transitionLeft");
const QString fadeKey = QStringLiteral("fade");

void setOpacities(const LayerPtr& from, const LayerPtr& to, double opacity)
{
    from->setOpacity(opacity);
    to->setOpacity(opacity);
}

} // namespace

AnimationPtr KLLayerView::change(KeyPath keyPath, double from, double to, Duration duration, Curve curve)
{
    return makeAnimation({keyPath, static_cast<float>(from), static_cast<float>(to)}, duration, curve, this);
}

void KLLayerView::transitionHorizontalFlip(const LayerPtr& from, const LayerPtr& to)
{
    put(from, to);
    from->setZPosition(10000.0);
    to->setZPosition(0.0);
    from->setAnchorPoint(lowerLeft);
    from->setPosition(rectForLayer(from).topLeft());
    from->removeAllAnimations();
    from->addAnimation(change(KeyPath::TransformRotationX, 0, quarterTurn, flipTime, Curve::Linear), transitionKey);
    LayerTransform turned = from->transform();
    turned.rotationX = quarterTurn;
    from->setTransform(turned);
    to->removeAllAnimations();
    to->addAnimation(change(KeyPath::TransformRotationX, quarterTurn, 0, flipTime, Curve::Linear), transitionKey);
    setOpacities(from, to, 1.0);
}

// Looks the same in both directions.
void KLLayerView::transitionHorizontalFlipBack(const LayerPtr& from, const LayerPtr& to)
{
    transitionHorizontalFlip(from, to);
}

void KLLayerView::rotate(const LayerPtr& from, const LayerPtr& to, float fromAngle, float toAngle, const QString& key)
{
    putFlat(from, to);
    setOpacities(from, to, 1.0);
    from->setAnchorPoint(lowerLeft);
    from->setPosition(rectForLayer(from).topLeft());
    from->removeAllAnimations();
    from->addAnimation(change(KeyPath::TransformRotationZ, 0, fromAngle, rotationTime, Curve::EaseIn), key);
    LayerTransform turned = from->transform();
    turned.rotationZ = fromAngle;
    from->setTransform(turned);
    to->setAnchorPoint(lowerLeft);
    to->setFrame(rectForLayer(to));
    to->addAnimation(change(KeyPath::TransformRotationZ, toAngle, 0, rotationTime, Curve::EaseOut), key);
    to->setTransform(LayerTransform());
}

void KLLayerView::transitionRotate(const LayerPtr& from, const LayerPtr& to)
{
    rotate(from, to, halfTurn, halfTurn, transitionKey);
}

void KLLayerView::transitionRotateLeft(const LayerPtr& from, const LayerPtr& to)
{
    rotate(from, to, halfTurn, -halfTurn, transitionLeftKey);
}

void KLLayerView::transitionRotateRight(const LayerPtr& from, const LayerPtr& to)
{
    rotate(from, to, -halfTurn, halfTurn, transitionLeftKey);
}

void KLLayerView::transitionShrink(const LayerPtr& from, const LayerPtr& to)
{
    putFlat(from, to);
    from->setAnchorPoint(centre);
    to->setAnchorPoint(centre);
    setOpacities(from, to, 1.0);
    const QRectF frame = rectForLayer(from);
    from->setFrame(frame);
    to->setFrame(rectForLayer(to));
    to->removeAllAnimations();
    from->removeAllAnimations();
    from->addAnimation(change(KeyPath::BoundsSizeWidth, frame.width(), 0, resizeTime, Curve::EaseIn), transitionKey);
    from->addAnimation(change(KeyPath::BoundsSizeHeight, frame.height(), 0, resizeTime, Curve::EaseIn), transition2Key);
    from->setBoundsSize({0, 0});
}

void KLLayerView::transitionExpand(const LayerPtr& from, const LayerPtr& to)
{
    putFlat(to, from);
    setOpacities(from, to, 1.0);
    from->setAnchorPoint(centre);
    to->setAnchorPoint(centre);
    const QRectF frame = rectForLayer(to);
    to->setFrame(frame);
    from->setFrame(rectForLayer(from));
    to->setBoundsSize(frame.size());
    to->removeAllAnimations();
    to->addAnimation(change(KeyPath::BoundsSizeWidth, 0, frame.width(), resizeTime, Curve::EaseOut), transitionKey);
    to->addAnimation(change(KeyPath::BoundsSizeHeight, 0, frame.height(), resizeTime, Curve::EaseOut), transition2Key);
    from->removeAllAnimations();
    from->addAnimation(change(KeyPath::Opacity, 1, 0, resizeTime, Curve::EaseIn), fadeKey);
    from->setOpacity(0.0);
}

void KLLayerView::transitionSlide(const LayerPtr& from, const LayerPtr& to)
{
    putFlat(from, to);
    setOpacities(from, to, 1.0);
    to->setAnchorPoint(lowerLeft);
    from->setAnchorPoint(lowerRight);
    const QRectF end = rectForLayer(to);
    to->setFrame(end);
    const QRectF start = rectForLayer(from);
    from->setFrame(start);
    from->removeAllAnimations();
    from->addAnimation(
        change(KeyPath::PositionX, start.x() + start.width(), -start.x(), slideTime, Curve::Linear), transitionKey);
    from->setPosition({0, from->position().y()});
    to->removeAllAnimations();
    to->addAnimation(change(KeyPath::PositionX, width() + end.x(), end.x(), slideTime, Curve::Linear), transition2Key);
}

void KLLayerView::transitionSlideBack(const LayerPtr& from, const LayerPtr& to)
{
    putFlat(from, to);
    setOpacities(from, to, 1.0);
    to->setAnchorPoint(lowerLeft);
    from->setAnchorPoint(lowerLeft);
    const QRectF end = rectForLayer(to);
    to->setFrame(end);
    const QRectF start = rectForLayer(from);
    from->setFrame(start);
    from->removeAllAnimations();
    from->addAnimation(
        change(KeyPath::PositionX, start.x(), start.x() + width(), slideTime, Curve::Linear), transitionKey);
    from->setPosition({static_cast<double>(width()), from->position().y()});
    to->removeAllAnimations();
    to->addAnimation(change(KeyPath::PositionX, end.x() - width(), end.x(), slideTime, Curve::Linear), transition2Key);
}

} // namespace frameflow
