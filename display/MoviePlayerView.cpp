#include "MoviePlayerView.h"

#include "Clock.h"
#include "MovieControls.h"
#include "SoundPicture.h"

#include <QCursor>
#include <QKeyEvent>
#include <QPaintEvent>
#include <QPainter>

#include <utility>

namespace frameflow {

MoviePlayerView::MoviePlayerView(const QRectF& frame, Clock& clock, QWidget* parent)
    : QWidget(parent), mClock(clock), mFrame(frame)
{
    setObjectName(QStringLiteral("MoviePlayerView"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    parent->setMouseTracking(true);
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
    if (mControls && !isHidden()) {
        mControls->setPlayer(mPlayer);
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
    const QRect covered((QPointF(pos()) * scale).toPoint(), QSize(qRound(width() * scale), qRound(height() * scale)));
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

// ---- Its controls

void MoviePlayerView::setControlsStyle(MovieControlsStyle style)
{
    delete mControls;
    if (style == MovieControlsStyle::Floating) {
        mControls = new MovieControls(mClock, parentWidget());
        mControls->setPlayer(isVisible() ? mPlayer : nullptr);
        connect(mControls, &MovieControls::concealed, this, &MoviePlayerView::controlsHidden);
    }
}

MovieControls* MoviePlayerView::controls() const
{
    return mControls;
}

void MoviePlayerView::lowerBelowSiblings()
{
    lower();
    if (mControls) {
        mControls->raise();
    }
}

void MoviePlayerView::showEvent(QShowEvent* /*event*/)
{
    mPointer = QCursor::pos();
    if (mControls) {
        mControls->setPlayer(mPlayer);
    }
}

void MoviePlayerView::hideEvent(QHideEvent* event)
{
    if (mControls && !event->spontaneous()) {
        mControls->setPlayer(nullptr);
    }
}

// What happens to the slide view while the movie is on it.
bool MoviePlayerView::eventFilter(QObject* object, QEvent* event)
{
    if (!mControls || isHidden() || object != parentWidget()) {
        return QWidget::eventFilter(object, event);
    }
    switch (event->type()) {
    case QEvent::MouseMove: {
        const QPoint before = std::exchange(mPointer, static_cast<QMouseEvent*>(event)->globalPosition().toPoint());
        if (mPointer != before) {
            mControls->reveal();
        }
        break;
    }
    case QEvent::Resize:
        place();
        mControls->place();
        break;
    case QEvent::KeyPress:
        return keyPressed(*static_cast<QKeyEvent*>(event));
    default:
        break;
    }
    return QWidget::eventFilter(object, event);
}

// Tab leads to the controls. True for a key that is not to go any further.
bool MoviePlayerView::keyPressed(const QKeyEvent& event)
{
    if (event.key() == Qt::Key_Tab && event.modifiers() == Qt::NoModifier) {
        mControls->focusFirst();
        return true;
    }
    if (event.key() == Qt::Key_Backtab) {
        mControls->focusLast();
        return true;
    }
    return false;
}

} // namespace frameflow
