#include "MoviePlayerView.h"

#include "Clock.h"
#include "SoundPicture.h"

#include <QEvent>
#include <QPaintEvent>
#include <QPainter>

namespace frameflow {

MoviePlayerView::MoviePlayerView(const QRectF& frame, Clock& clock, QWidget* parent)
    : QWidget(parent), mClock(clock), mFrame(frame)
{
    setObjectName(QStringLiteral("MoviePlayerView"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    parent->installEventFilter(this);
    place();
}

MoviePlayerView::~MoviePlayerView() = default;

void MoviePlayerView::setPlayer(const MoviePlayerPtr& player)
{
    if (mPlayer) {
        mPlayer->disconnect(this);
    }
    mPlayer = player;
    if (mPlayer) {
        connect(mPlayer.get(), &MoviePlayer::frameChanged, this, [this] { update(); });
        setAccessibleName(QString::fromUtf8(mPlayer->url().fileName()));
    }
    place();
    update();
}

void MoviePlayerView::setFrame(const QRectF& frame)
{
    mFrame = frame;
    place();
}

ViewArea MoviePlayerView::area() const
{
    return {QSizeF(parentWidget()->size()), devicePixelRatioF()};
}

// Puts the widget where its frame is to be, and has the movie drawn in that size.
void MoviePlayerView::place()
{
    const ViewArea viewArea = area();
    mFramePixels = pixelRect(mFrame, viewArea).value_or(QRect());
    mVisiblePixels = mFramePixels & QRect(QPoint(), viewArea.pixels());
    setGeometry((widgetRect(mFrame, viewArea.size.height()) & QRectF(parentWidget()->rect())).toAlignedRect());
    if (mPlayer) {
        mPlayer->setTarget(
            {mVisiblePixels.width(), mVisiblePixels.height(), mVisiblePixels.size() != mFramePixels.size()});
    }
    update();
}

void MoviePlayerView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    if (!mPlayer) {
        painter.fillRect(event->rect(), Qt::black);
    } else if (mPlayer->hasVideo()) {
        paintMovie(painter);
    } else {
        paintSoundPicture(painter, QSizeF(size()), mPlayer->picture() ? mPlayer->picture()->getCGImage() : QImage(),
            QString::fromUtf8(mPlayer->url().fileName()));
    }
}

void MoviePlayerView::paintMovie(QPainter& painter) const
{
    // In device pixels of the parent.
    const double scale = devicePixelRatioF();
    painter.translate(-QPointF(pos()));
    painter.scale(1 / scale, 1 / scale);
    const QRect covered(
        (QPointF(pos()) * scale).toPoint(), QSize(qRound(width() * scale), qRound(height() * scale)));
    if (!mVisiblePixels.contains(covered)) {
        painter.fillRect(covered, Qt::black);
    }
    const QImage frame = mPlayer->frame();
    if (!frame.isNull()) {
        // Of another size until the first one of a new size comes.
        painter.setRenderHint(QPainter::SmoothPixmapTransform, frame.size() != mVisiblePixels.size());
        painter.drawImage(mVisiblePixels, frame);
    } else if (const KLImagePtr& first = mPlayer->picture()) {
        const bool isReduced = first->reduced().size() == mFramePixels.size();
        const QImage picture = isReduced ? first->reduced() : first->getCGImage();
        painter.setRenderHint(QPainter::SmoothPixmapTransform, picture.size() != mFramePixels.size());
        painter.drawImage(mFramePixels, picture);
    }
}

void MoviePlayerView::setControlsStyle(MovieControlsStyle /*style*/)
{
}

void MoviePlayerView::lowerBelowSiblings()
{
    lower();
}

} // namespace frameflow
