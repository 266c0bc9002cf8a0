#include "KLLayerView.h"

#include <algorithm>

namespace frameflow {

namespace {

constexpr double zoomStep = 1.5;
// There is no limit to zooming but that of what can be counted. It takes more than seven hundred presses to get there.
constexpr double largestNumber = 1e140;
constexpr Duration zoomTime = std::chrono::seconds(1);
constexpr Duration driftTime = std::chrono::seconds(30);
constexpr QPointF centre(0.5, 0.5);

// A picture that is larger than the view covers it; a smaller one stays where it is.
double panned(double position, double by, double length, double viewLength)
{
    if (length <= viewLength) {
        return position;
    }
    return std::clamp(position + by, viewLength - length / 2, length / 2);
}

} // namespace

void KLLayerView::animate(KeyPath keyPath, double from, double to, const QString& key)
{
    mCurrentLayer->addAnimation(makeAnimation({keyPath, from, to}, zoomTime, Curve::EaseInEaseOut, this), key);
}

void KLLayerView::zoomToHeight(double height, double width)
{
    if (mMovieActive) {
        return;
    }
    mCurrentLayer->setZPosition(0.0);
    const QRectF bounds = mCurrentLayer->bounds();
    animate(KeyPath::BoundsSizeWidth, bounds.width(), width, QStringLiteral("zoomW"));
    animate(KeyPath::BoundsSizeHeight, bounds.height(), height, QStringLiteral("zoomH"));
    mCurrentLayer->setBoundsSize({width, height});
}

void KLLayerView::moveToPosition(double x, double y)
{
    if (mMovieActive) {
        return;
    }
    const QPointF position = mCurrentLayer->position();
    animate(KeyPath::PositionX, position.x(), x, QStringLiteral("moveX"));
    animate(KeyPath::PositionY, position.y(), y, QStringLiteral("moveY"));
    mCurrentLayer->setPosition({x, y});
}

void KLLayerView::prepareZoom()
{
    if (!mZoom) {
        resetLayer(mCurrentLayer);
        mCurrentLayer->setAnchorPoint(centre);
        mCurrentLayer->setFrame(rectForImage(mCurrentImage));
    }
}

void KLLayerView::zoomIn()
{
    if (mMovieActive) {
        return;
    }
    prepareZoom();
    const QSizeF enlarged = mCurrentLayer->bounds().size() * zoomStep;
    if (std::max(enlarged.width(), enlarged.height()) < largestNumber) {
        zoomToHeight(enlarged.height(), enlarged.width());
    }
    mZoom = true;
}

void KLLayerView::zoomOne()
{
    if (mMovieActive || !mCurrentImage) {
        return;
    }
    prepareZoom();
    zoomToHeight(mCurrentImage->height(), mCurrentImage->width());
    mZoom = true;
}

void KLLayerView::zoomOff()
{
    if (mMovieActive) {
        return;
    }
    mCurrentLayer->setAnchorPoint(centre);
    const QRectF frame = rectForImage(mCurrentImage);
    zoomToHeight(frame.height(), frame.width());
    moveToPosition(frame.x() + 0.5 * frame.width(), frame.y() + 0.5 * frame.height());
    resetLayer(mCurrentLayer);
    mZoom = false;
}

void KLLayerView::panX(double dx, double panY)
{
    if (mMovieActive) {
        return;
    }
    const QPointF position = mCurrentLayer->position();
    const QSizeF layer = mCurrentLayer->bounds().size();
    const QSizeF view = size();
    mCurrentLayer->setPosition({panned(position.x(), dx, layer.width(), view.width()),
        panned(position.y(), -panY, layer.height(), view.height())});
}

void KLLayerView::driftEffect()
{
    const PropertyChange change{KeyPath::PositionX, 0, rectForImage(mCurrentImage).width()};
    mDriftAnimation = makeAnimation(change, driftTime, Curve::EaseOut, this);
    mCurrentLayer->addAnimation(mDriftAnimation, QStringLiteral("driftx"));
}

} // namespace frameflow
