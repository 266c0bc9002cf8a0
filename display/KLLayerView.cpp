#include "KLLayerView.h"

#include "AssertionFailure.h"
#include "CGRectUtils.h"
#include "Clock.h"
#include "Coordinates.h"
#include "CursorOverlay.h"
#include "KLImageCache.h"
#include "LayerSurface.h"
#include "MoviePlayerView.h"
#include "OpenGLProbe.h"
#include "Presentation.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"

#include <QPainter>
#include <QScreen>

#include <unistd.h>

namespace frameflow {

namespace {

// Words that name no mode stretch the picture.
FitMode fitModeOf(const UserDefaults& defaults)
{
    const QVariant stored = defaults.value(keys::imageFitMode);
    const QString word = stored.isValid() ? stored.toString() : keys::fitModeFit;
    if (word == keys::fitModeFit) {
        return FitMode::Shrink;
    }
    if (word == keys::fitModeZoom) {
        return FitMode::Zoom;
    }
    return word == keys::fitModeFill ? FitMode::Fill : FitMode::Stretch;
}

} // namespace

KLLayerView::KLLayerView(UserDefaults& defaults, Clock& clock, QWidget* parent, LayerDrawing drawing)
    : QWidget(parent), mDefaults(defaults), mClock(clock), mCompositor(Compositor::create(clock, [this] { redraw(); })),
      mCopies([this] { redraw(); }), mRenderer(mCopies)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    mBackgroundLayer = std::make_shared<Layer>(mCompositor);
    fitRootLayer();
    mCurrentLayer = addLayer();
    mPreviousLayer = addLayer();
    mCursorLayer = addLayer();
    mCursorLayer->setZPosition(2.0);
    mCursorLayer->setLevel(LayerLevel::Front);
    if (drawing == LayerDrawing::OpenGL || (drawing == LayerDrawing::ByProbe && hasHardwareOpenGL())) {
        useOpenGL();
    }
}

KLLayerView::~KLLayerView()
{
    showMouse();
    removeMovie();
    mCompositor->stop();
    delete mLayerSurface; // while the copies that it draws from are there
}

void KLLayerView::useOpenGL()
{
    const auto frame = [this] { return LayerSurface::Frame{prepareFrame(), area()}; };
    mLayerSurface = new LayerSurface(mCopies, frame, this);
    mLayerSurface->lower();
    connect(mLayerSurface, &LayerSurface::failed, this, [this] {
        mLayerSurface->deleteLater();
        mLayerSurface->hide();
        mLayerSurface = nullptr;
        update();
    });
}

void KLLayerView::redraw()
{
    if (mLayerSurface) {
        mLayerSurface->update();
    } else {
        update();
    }
}

LayerPtr KLLayerView::addLayer()
{
    auto layer = std::make_shared<Layer>(mCompositor);
    mBackgroundLayer->addSublayer(layer);
    return layer;
}

void KLLayerView::setImageWithURL(const FileUrl& url, bool forward)
{
    if (mTransitionInProgress) {
        return;
    }
    if (mZoom) {
        zoomOff();
    }
    const KLImagePtr image = KLImageCache::imageWithURL(url);
    if (!image) {
        mImageOK = false;
        return;
    }
    setImage(image, forward);
}

void KLLayerView::setImage(const KLImagePtr& image, bool forward)
{
    mImageOK = true;
    fitRootLayer();
    if (mMovieActive) {
        mCurrentImage = image;
        mCurrentLayer->setOpacity(1.0);
        resetLayer(mCurrentLayer);
        displayLayer(mCurrentLayer);
        prepareCopies();
        removeMovie();
        mRemoveMovieLayer = true;
        return;
    }
    if (mCurrentImage) {
        swapImageLayers();
        resetLayer(mPreviousLayer);
    }
    mCurrentImage = image;
    resetLayer(mCurrentLayer);
    displayLayer(mCurrentLayer);
    // Before the transition begins, so that the time it takes is not the transition's.
    prepareCopies();
    if (mPreviousImage && !mTransitionInProgress) {
        transition(mPreviousLayer, mCurrentLayer, forward);
    } else {
        mPreviousLayer->setOpacity(0.0);
        mCurrentLayer->setOpacity(1.0);
    }
}

void KLLayerView::clearImage()
{
    mCurrentImage = nullptr;
    mCurrentLayer->setOpacity(0.0);
    mCurrentLayer->setContents(QImage());
    mPreviousImage = nullptr;
    mPreviousLayer->setOpacity(0.0);
    mPreviousLayer->setContents(QImage());
    prepareCopies();
    if (mMovieActive) {
        removeMovie();
        mRemoveMovieLayer = false;
    }
}

void KLLayerView::refresh()
{
    updateFitMode();
    // A slide whose file is gone stays as it is: a window that changes its size is no reason to lose it.
    if (mCurrentImage && access(mCurrentImage->mURL().path().constData(), F_OK) == 0) {
        mCurrentImage->refresh();
    }
    displayLayer(mCurrentLayer);
}

void KLLayerView::updateFitMode()
{
    if (mMovieActive) {
        mAVPlayerView->setFrame(rectForMovie(mAVPlayer));
    } else {
        mCurrentLayer->setFrame(rectForImage(mCurrentImage));
    }
}

QRectF KLLayerView::rectForLayer(const LayerPtr& layer) const
{
    if (layer == mCurrentLayer) {
        return rectForImage(mCurrentImage);
    }
    if (layer == mPreviousLayer) {
        return rectForImage(mPreviousImage);
    }
    throw AssertionFailure("KLLayerView", 200, "Unhandled layer in rectForLayer");
}

QRectF KLLayerView::rectForImage(const KLImagePtr& image) const
{
    if (!image && fitModeOf(mDefaults) != FitMode::Stretch) {
        return {};
    }
    return frameFor(image ? image->uprightSize() : QSizeF());
}

QRectF KLLayerView::frameFor(QSizeF picture) const
{
    return frameIn(size(), picture, fitModeOf(mDefaults));
}

FrameRule KLLayerView::frameRule() const
{
    return frameRuleFor(area(), mDefaults);
}

FrameRule KLLayerView::frameRuleFor(const ViewArea& area, const UserDefaults& defaults)
{
    return {area.size, area.pixelsPerPoint, fitModeOf(defaults)};
}

void KLLayerView::resetLayer(const LayerPtr& layer)
{
    layer->setTransform(LayerTransform());
    if (imageOfLayer(layer)) {
        layer->setFrame(rectForLayer(layer));
    }
}

void KLLayerView::put(const LayerPtr& layer, const LayerPtr& above)
{
    layer->removeFromSuperlayer();
    mBackgroundLayer->insertSublayerAbove(layer, *above);
}

void KLLayerView::swapImageLayers()
{
    std::swap(mPreviousLayer, mCurrentLayer);
    mPreviousImage = mCurrentImage;
}

void KLLayerView::displayLayer(const LayerPtr& layer)
{
    if (layer == mCursorLayer) {
        displayCursor();
    } else if (const KLImagePtr image = imageOfLayer(layer)) {
        layer->setContents(image->getCGImage());
    }
}

KLImagePtr KLLayerView::imageOfLayer(const LayerPtr& layer) const
{
    if (layer == mCurrentLayer) {
        return mCurrentImage;
    }
    return layer == mPreviousLayer ? mPreviousImage : nullptr;
}

void KLLayerView::animationDidStart(const AnimationPtr& animation)
{
    if (animation != mDriftAnimation) {
        mTransitionInProgress = true;
    }
}

void KLLayerView::animationDidStop(const AnimationPtr& animation, bool /*finished*/)
{
    mTransitionInProgress = false;
    mPreviousLayer->setOpacity(0.0);
    if (animation == mDriftAnimation) {
        mDriftAnimation = nullptr;
    }
    if (mRemoveMovieLayer) {
        hideMovieView();
        mRemoveMovieLayer = false;
    }
    Q_EMIT animationEnded();
}

ViewArea KLLayerView::area() const
{
    return {QSizeF(size()), devicePixelRatioF()};
}

void KLLayerView::prepareCopies()
{
    const ViewArea viewArea = area();
    std::vector<ReducedCopies::Wanted> wanted;
    for (const LayerPtr& layer : {mCurrentLayer, mPreviousLayer}) {
        const auto pixels = pixelRect(layer->frame(), viewArea);
        const KLImagePtr image = imageOfLayer(layer);
        wanted.push_back({layer->contents(), pixels ? pixels->size() : QSize(), image ? image->reduced() : QImage()});
    }
    mCopies.setWanted(wanted, picturesIn(presentation(*mBackgroundLayer, mCompositor->now())));
}

DrawList KLLayerView::prepareFrame()
{
    if (const QScreen* display = screen()) {
        mCompositor->setRefreshRate(display->refreshRate()); // the window may have moved
    }
    fitRootLayer();
    prepareCopies();
    DrawList items = presentation(*mBackgroundLayer, mCompositor->now());
    if (mCursorOverlay && !mCursorOverlay->isHidden()) {
        const qint64 cursor = mCursorLayer->contents().cacheKey();
        std::erase_if(items, [=](const DrawItem& item) { return item.picture.cacheKey() == cursor; });
    }
    return items;
}

void KLLayerView::paintEvent(QPaintEvent* /*event*/)
{
    if (!mLayerSurface) {
        QPainter painter(this);
        mRenderer.paint(painter, prepareFrame(), area());
    }
}

void KLLayerView::fitRootLayer()
{
    mBackgroundLayer->setFrame(QRectF(QPointF(), size()));
}

void KLLayerView::resizeEvent(QResizeEvent* /*event*/)
{
    fitRootLayer();
    if (mLayerSurface) {
        mLayerSurface->setGeometry(rect());
    }
}

} // namespace frameflow
