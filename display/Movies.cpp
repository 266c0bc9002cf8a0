#include "KLLayerView.h"
#include "LayerSurface.h"
#include "MovieControls.h"
#include "MoviePlayerView.h"

namespace frameflow {

void KLLayerView::showMovie(const MoviePlayerPtr& player, bool /*forward*/)
{
    if (mAVPlayer && mAVPlayer != player) {
        mAVPlayer->close();
    }
    mAVPlayer = player;
    mCurrentLayer->setOpacity(0.0);
    displayLayer(mCurrentLayer);
    if (!mAVPlayer) {
        hideMovieView(); // what it may still show is over
        if (mAVPlayerView) {
            mAVPlayerView->endDrawing();
        }
        return;
    }
    const QRectF frame = rectForMovie(mAVPlayer);
    if (!mAVPlayerView) {
        mAVPlayerView = new MoviePlayerView(frame, mClock, this);
        mAVPlayerView->setControlsStyle(MovieControlsStyle::Floating);
        mAVPlayerView->controls()->setLoudness(mMovieLoudness);
        setBottomInset(mBottomInset);
        connect(mAVPlayerView, &MoviePlayerView::controlsHidden, this, &KLLayerView::pointerRested);
    }
    mAVPlayerView->setFrame(frame);
    mAVPlayerView->setPlayer(mAVPlayer);
    mAVPlayerView->lowerBelowSiblings();
    if (mLayerSurface) {
        mLayerSurface->lower();
    }
    mAVPlayerView->show();
    if (!mMovieActive) {
        mMovieActive = true;
        resetLayer(mCurrentLayer);
        mZoom = false; // as the layer is now; while a movie is shown nothing else ends it
    }
    mAVPlayerView->player()->play();
    mRemoveMovieLayer = false;
}

void KLLayerView::setBottomInset(int height)
{
    mBottomInset = height;
    if (mAVPlayerView) {
        mAVPlayerView->controls()->setBottomInset(height);
    }
}

MovieOutput KLLayerView::movieOutput() const
{
    const bool hasFailed = mAVPlayerView && mAVPlayerView->hasOpenGLFailed();
    return mLayerSurface && !hasFailed ? MovieOutput::OpenGL : MovieOutput::Raster;
}

QRectF KLLayerView::rectForMovie(const MoviePlayerPtr& player) const
{
    const QSize natural = player ? player->naturalSize() : QSize();
    return natural.isEmpty() ? QRectF(QPointF(), size()) : frameFor(natural);
}

// Takes the player view off the slide view, and gives up what playing takes.
void KLLayerView::removeMovie()
{
    if (mAVPlayer) {
        mAVPlayer->pause();
    }
    hideMovieView();
    if (mAVPlayer) {
        mAVPlayer->close();
    }
    if (mAVPlayerView) {
        mAVPlayerView->endDrawing();
    }
    mMovieActive = false;
}

void KLLayerView::hideMovieView()
{
    if (mAVPlayerView) {
        mAVPlayerView->hide();
    }
}

} // namespace frameflow
