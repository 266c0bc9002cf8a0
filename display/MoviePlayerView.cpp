#include "MoviePlayerView.h"

#include "Clock.h"
#include "MovieControls.h"
#include "MovieSurface.h"
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

MoviePlayerView::~MoviePlayerView()
{
    delete mSurface; // it asks for what is painted here
}

void MoviePlayerView::setPlayer(const MoviePlayerPtr& player)
{
    if (mPlayer) {
        mPlayer->disconnect(this);
    }
    const bool isAnother = std::exchange(mPlayer, player) != player;
    if (mPlayer) {
        connect(mPlayer.get(), &MoviePlayer::frameChanged, this, [this] {
            if (mPlayer->output() == MovieOutput::OpenGL) {
                mSurface->noteFrame();
            } else {
                update();
            }
        });
        setAccessibleName(QString::fromUtf8(mPlayer->url().fileName()));
    }
    if (isAnother) {
        useSurface();
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

void MoviePlayerView::useSurface()
{
    if (mPlayer && mHasOpenGLFailed && mPlayer->output() == MovieOutput::OpenGL) {
        mPlayer->changeOutput(MovieOutput::Raster, {});
    }
    const bool isUsed = mPlayer && mPlayer->output() == MovieOutput::OpenGL;
    if (isUsed && mSurface == nullptr) {
        mSurface = new MovieSurface([this](QSize pixels) { return movieAsSeen(pixels); }, this);
        connect(mSurface, &MovieSurface::lost, this,
            [this](const QImage& last) { changeOutput(MovieOutput::OpenGL, last); });
        connect(mSurface, &MovieSurface::failed, this, [this] {
            mHasOpenGLFailed = true;
            changeOutput(MovieOutput::Raster, {});
        });
    }
    if (mSurface != nullptr) {
        mSurface->setDrawing(isUsed ? mPlayer->drawWithOpenGL() : nullptr);
        mSurface->setVisible(isUsed);
    }
}

void MoviePlayerView::changeOutput(MovieOutput output, const QImage& last)
{
    if (mPlayer && mPlayer->output() == MovieOutput::OpenGL) {
        mPlayer->changeOutput(output, last);
        useSurface();
        update();
    }
}

void MoviePlayerView::endDrawing()
{
    if (mSurface != nullptr) {
        mSurface->setDrawing(nullptr);
    }
}

// Puts the widget where its frame is to be, and has the movie drawn in that size.
void MoviePlayerView::place()
{
    const ViewArea viewArea = area();
    mFramePixels = pixelRect(mFrame, viewArea).value_or(QRect());
    mVisiblePixels = mFramePixels & QRect(QPoint(), viewArea.pixels());
    setGeometry((widgetRect(mFrame, viewArea.size.height()) & QRectF(parentWidget()->rect())).toAlignedRect());
    placeSurface();
    if (mPlayer) {
        mPlayer->setTarget(
            {mVisiblePixels.width(), mVisiblePixels.height(), mVisiblePixels.size() != mFramePixels.size()});
    }
    update();
}

// On the very pixels of the movie, as far as points allow it.
void MoviePlayerView::placeSurface()
{
    if (mSurface != nullptr) {
        const QTransform toPoints = QTransform::fromScale(1 / devicePixelRatioF(), 1 / devicePixelRatioF());
        const QRectF seen = toPoints.mapRect(QRectF(mVisiblePixels)).translated(-pos());
        // A movie too thin to be seen is played all the same.
        const QRect points = seen.toAlignedRect();
        mSurface->setGeometry(QRect(points.topLeft(), points.size().expandedTo({1, 1})));
    }
}

void MoviePlayerView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    if (!mPlayer || mPlayer->output() == MovieOutput::OpenGL) {
        painter.fillRect(event->rect(), Qt::black);
    } else if (mPlayer->hasVideo()) {
        // In device pixels of the parent.
        const double scale = devicePixelRatioF();
        painter.translate(-QPointF(pos()));
        painter.scale(1 / scale, 1 / scale);
        const QRect covered(
            (QPointF(pos()) * scale).toPoint(), QSize(qRound(width() * scale), qRound(height() * scale)));
        if (!mVisiblePixels.contains(covered)) {
            painter.fillRect(covered, Qt::black);
        }
        paintMovie(painter);
    } else {
        paintSoundPicture(painter, QSizeF(size()), mPlayer->picture() ? mPlayer->picture()->getCGImage() : QImage(),
            QString::fromUtf8(mPlayer->url().fileName()));
    }
}

QImage MoviePlayerView::movieAsSeen(QSize pixels) const
{
    QImage picture(pixels, QImage::Format_RGB32);
    picture.fill(Qt::black);
    if (mPlayer && !mVisiblePixels.isEmpty() && !picture.isNull()) {
        QPainter painter(&picture);
        painter.scale(static_cast<double>(pixels.width()) / mVisiblePixels.width(),
            static_cast<double>(pixels.height()) / mVisiblePixels.height());
        painter.translate(-mVisiblePixels.topLeft());
        paintMovie(painter);
    }
    return picture;
}

// The painter is in device pixels of the parent.
void MoviePlayerView::paintMovie(QPainter& painter) const
{
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
