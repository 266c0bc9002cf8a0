#include "Layer.h"

#include "Compositor.h"
#include "Presentation.h"

#include <algorithm>
#include <cmath>

namespace frameflow {

QTransform LayerTransform::toAffine() const
{
    QTransform affine;
    if (rotationZ != 0) {
        affine.rotateRadians(rotationZ);
    }
    if (rotationX != 0) {
        affine.scale(1, std::cos(rotationX));
    }
    return affine;
}

QTransform LayerValues::toSuperlayer() const
{
    const QPointF anchor
        = bounds.topLeft() + QPointF(anchorPoint.x() * bounds.width(), anchorPoint.y() * bounds.height());
    return QTransform::fromTranslate(-anchor.x(), -anchor.y()) * transform.toAffine()
        * QTransform::fromTranslate(position.x(), position.y());
}

Layer::Layer(std::shared_ptr<Compositor> compositor) : mCompositor(std::move(compositor)) { }

Layer::~Layer()
{
    removeAllAnimations();
    for (const LayerPtr& sublayer : mSublayers) {
        sublayer->mSuperlayer = nullptr;
    }
}

template <typename T>
void Layer::set(T& value, const T& newValue)
{
    if (value != newValue) {
        value = newValue;
        mCompositor->modelChanged();
    }
}

void Layer::setBounds(const QRectF& bounds)
{
    set(mValues.bounds, bounds);
}

void Layer::setBoundsSize(QSizeF size)
{
    setBounds(QRectF(mValues.bounds.topLeft(), size));
}

void Layer::setPosition(QPointF position)
{
    set(mValues.position, position);
}

void Layer::setAnchorPoint(QPointF anchorPoint)
{
    set(mValues.anchorPoint, anchorPoint);
}

void Layer::setTransform(const LayerTransform& transform)
{
    set(mValues.transform, transform);
}

void Layer::setOpacity(double opacity)
{
    set(mValues.opacity, opacity);
}

void Layer::setZPosition(double zPosition)
{
    set(mValues.zPosition, zPosition);
}

void Layer::setContents(const QImage& contents)
{
    if (mValues.contents.cacheKey() != contents.cacheKey()) {
        mValues.contents = contents;
        mCompositor->modelChanged();
    }
}

void Layer::setLevel(LayerLevel level)
{
    set(mLevel, level);
}

QRectF Layer::frame() const
{
    const QPointF offset(
        mValues.anchorPoint.x() * mValues.bounds.width(), mValues.anchorPoint.y() * mValues.bounds.height());
    return {mValues.position - offset, mValues.bounds.size()};
}

void Layer::setFrame(const QRectF& frame)
{
    setBoundsSize(frame.size());
    setPosition(
        frame.topLeft() + QPointF(mValues.anchorPoint.x() * frame.width(), mValues.anchorPoint.y() * frame.height()));
}

void Layer::addSublayer(const LayerPtr& layer)
{
    layer->removeFromSuperlayer();
    attach(layer, mSublayers.size());
}

void Layer::insertSublayerAbove(const LayerPtr& layer, const Layer& sibling)
{
    if (layer.get() == &sibling) {
        return;
    }
    layer->removeFromSuperlayer();
    const auto place = std::find_if(
        mSublayers.begin(), mSublayers.end(), [&](const LayerPtr& sublayer) { return sublayer.get() == &sibling; });
    attach(layer, place == mSublayers.end() ? mSublayers.size() : place - mSublayers.begin() + 1);
}

void Layer::attach(const LayerPtr& layer, size_t index)
{
    mSublayers.insert(mSublayers.begin() + static_cast<std::ptrdiff_t>(index), layer);
    layer->mSuperlayer = this;
    mCompositor->modelChanged();
}

void Layer::removeFromSuperlayer()
{
    if (!mSuperlayer) {
        return;
    }
    const LayerPtr self = shared_from_this(); // the superlayer's may be the last reference
    std::erase(mSuperlayer->mSublayers, self);
    mSuperlayer = nullptr;
    mCompositor->modelChanged();
}

void Layer::addAnimation(const AnimationPtr& animation, const QString& key)
{
    auto run = std::make_shared<AnimationRun>();
    run->key = key;
    run->animation = animation;
    run->begin = mCompositor->now();
    run->duration = mCompositor->scaled(animation->duration);
    if (std::holds_alternative<TransitionEffect>(animation->effect)) {
        // Before the old animation of that key goes: it is part of what is seen.
        run->source = std::make_shared<const std::vector<DrawItem>>(captured(*this, run->begin));
    }
    removeAnimation(key);
    mRuns.push_back(run);
    mCompositor->runAdded(*this, run);
}

void Layer::removeAnimation(const QString& key)
{
    const auto place = std::find_if(mRuns.begin(), mRuns.end(), [&](const auto& run) { return run->key == key; });
    if (place != mRuns.end()) {
        endRun(place - mRuns.begin(), false);
    }
}

void Layer::removeAllAnimations()
{
    while (!mRuns.empty()) {
        endRun(0, false);
    }
}

AnimationPtr Layer::animation(const QString& key) const
{
    const auto place = std::find_if(mRuns.begin(), mRuns.end(), [&](const auto& run) { return run->key == key; });
    return place == mRuns.end() ? nullptr : (*place)->animation;
}

void Layer::finishAnimations(TimePoint now)
{
    for (size_t i = 0; i < mRuns.size();) {
        if (mRuns[i]->end() <= now) {
            endRun(i, true);
        } else {
            ++i;
        }
    }
}

void Layer::endRun(size_t index, bool finished)
{
    const auto run = mRuns[index];
    mRuns.erase(mRuns.begin() + static_cast<std::ptrdiff_t>(index));
    mCompositor->runEnded(*this, run, finished);
}

} // namespace frameflow
