#include "KLLayerView.h"
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
    mAVPlayerView->show();
    if (!mMovieActive) {
        mMovieActive = true;
        resetLayer(mCurrentLayer);
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
        mAVPlayer->close();
    }
    hideMovieView();
    mMovieActive = false;
}

void KLLayerView::hideMovieView()
{
    if (mAVPlayerView) {
        mAVPlayerView->hide();
    }
}

} // namespace frameflow
