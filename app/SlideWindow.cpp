#include "SlideWindow.h"

#include <QCloseEvent>
#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QVariantAnimation>
#include <QWindow>

namespace frameflow {

namespace {

// How long the menu bar takes to slide in or out, in milliseconds.
constexpr int revealTime = 120;
// After this long a window manager has put its decoration on a window, in milliseconds.
constexpr int decorationTime = 200;

} // namespace

SlideWindow::SlideWindow(QWidget* view, QMenuBar* menuBar)
    : mView(view), mMenuBar(menuBar), mReveal(new QVariantAnimation(this))
{
    setObjectName(QStringLiteral("SlideWindow"));
    setAttribute(Qt::WA_OpaquePaintEvent); // what the view leaves free is painted black
    setMinimumSize(160, 120);

    mView->setParent(this);
    mView->setFocusPolicy(Qt::StrongFocus);
    mView->setMouseTracking(true);
    mView->installEventFilter(this);
    mView->setFocus();

    // A bar of a window that covers the display: never handed to a panel of the desktop.
    mMenuBar->setNativeMenuBar(false);
    mMenuBar->setParent(this);
    mMenuBar->setAutoFillBackground(true);
    mMenuBar->installEventFilter(this);
    mMenuBar->raise();
    for (QAction* action : mMenuBar->actions()) {
        if (action->menu() != nullptr) {
            connect(action->menu(), &QMenu::aboutToShow, this, [this] { revealMenuBar(true); });
            connect(
                action->menu(), &QMenu::aboutToHide, this, [this] { pointerMoved(QCursor::pos()); },
                Qt::QueuedConnection);
        }
    }

    mReveal->setDuration(revealTime);
    mReveal->setStartValue(0.0);
    mReveal->setEndValue(1.0);
    connect(mReveal, &QVariantAnimation::valueChanged, this, [this] { layOut(); });
}

void SlideWindow::showFullScreenOn(QScreen* screen)
{
    mWindowMode = false;
    mPendingFrame = {};
    mMenuBarRevealed = false;
    mReveal->stop();
    mReveal->setDirection(QAbstractAnimation::Forward);
    mReveal->setCurrentTime(0);
    if (screen != nullptr) {
        moveTo(screen);
    }
    showFullScreen();
    layOut();
    raise();
    activateWindow();
    mView->setFocus();
}

void SlideWindow::moveTo(QScreen* screen)
{
    // A manager moves no window that is full screen.
    if (isFullScreen() && (this->screen() != screen || !covers(screen))) {
        setWindowState(windowState() & ~Qt::WindowFullScreen);
    }
    setScreen(screen);
    setGeometry(screen->geometry());
}

bool SlideWindow::covers(const QScreen* screen) const
{
    // What the window manager has said last; a widget hears of it later.
    const QWindow* window = windowHandle();
    const QRect place = window != nullptr ? window->geometry() : geometry();
    // Wayland tells nobody where a window stands.
    const bool isToldPlaces = !QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
    return place.size() == screen->size() && (place.topLeft() == screen->geometry().topLeft() || !isToldPlaces);
}

void SlideWindow::cover(QScreen* screen)
{
    moveTo(screen);
    setWindowState(windowState() | Qt::WindowFullScreen);
    layOut();
}

void SlideWindow::showAsWindow(const QRect& geometry)
{
    mWindowMode = true;
    mReveal->stop();
    showNormal();
    if (!geometry.isEmpty()) {
        setGeometry(geometry);
        mPendingFrame = geometry;
        // The decoration's size comes without an event that a widget sees.
        QTimer::singleShot(decorationTime, this, &SlideWindow::keepFrameInPlace);
    }
    layOut();
}

void SlideWindow::hidePointerUntilMouseMoves()
{
    mPointerHidden = true;
    mPointerAtHiding = QCursor::pos();
    mView->setCursor(Qt::BlankCursor);
}

bool SlideWindow::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() == QEvent::MouseMove) {
        const auto& mouse = *static_cast<QMouseEvent*>(event);
        pointerMoved(mouse.globalPosition().toPoint(), mouse.buttons());
    } else if (object == mMenuBar && event->type() == QEvent::Leave) {
        pointerMoved(QCursor::pos());
    }
    return QWidget::eventFilter(object, event);
}

void SlideWindow::keyPressEvent(QKeyEvent* event)
{
    event->ignore();
    Q_EMIT keyUnhandled(event);
}

void SlideWindow::paintEvent(QPaintEvent* event)
{
    QPainter(this).fillRect(event->rect(), Qt::black);
}

void SlideWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    layOut();
    keepFrameInPlace();
    Q_EMIT resized();
}

void SlideWindow::moveEvent(QMoveEvent* event)
{
    QWidget::moveEvent(event);
    keepFrameInPlace();
}

void SlideWindow::closeEvent(QCloseEvent* event)
{
    event->ignore();
    Q_EMIT closeRequested();
}

void SlideWindow::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange) {
        if (isActiveWindow()) {
            Q_EMIT becameKey();
        } else {
            Q_EMIT resignedKey();
        }
    }
}

void SlideWindow::layOut()
{
    const int barHeight = mMenuBar->sizeHint().height();
    if (mWindowMode) {
        mMenuBar->setGeometry(0, 0, width(), barHeight);
        mView->setGeometry(0, barHeight, width(), std::max(0, height() - barHeight));
        return;
    }
    // Out of sight rather than hidden: the mnemonics of a hidden bar would be dead.
    const double shown = mReveal->currentValue().toDouble();
    mMenuBar->setGeometry(0, qRound((shown - 1.0) * barHeight), width(), barHeight);
    mView->setGeometry(rect());
}

void SlideWindow::pointerMoved(const QPoint& global, Qt::MouseButtons held)
{
    if (mPointerHidden && global != mPointerAtHiding) {
        mPointerHidden = false;
        mView->unsetCursor();
    }
    // Whoever holds a button points at the slide.
    if (mWindowMode || isMenuInUse() || held != Qt::NoButton) {
        return;
    }
    const QPoint local = mapFromGlobal(global);
    const int reach = mMenuBarRevealed ? mMenuBar->sizeHint().height() : 1;
    revealMenuBar(rect().contains(local) && local.y() < reach);
}

void SlideWindow::revealMenuBar(bool revealed)
{
    if (mMenuBarRevealed == revealed) {
        return;
    }
    mMenuBarRevealed = revealed;
    if (mWindowMode) {
        return;
    }
    mReveal->setDirection(revealed ? QAbstractAnimation::Forward : QAbstractAnimation::Backward);
    if (mReveal->state() != QAbstractAnimation::Running) {
        mReveal->start();
    }
}

bool SlideWindow::isMenuInUse() const
{
    for (const QAction* action : mMenuBar->actions()) {
        if (action->menu() != nullptr && action->menu()->isVisible()) {
            return true;
        }
    }
    return false;
}

// The decoration is known only after the window manager has put it on; then the outer frame is moved so that its lower
// left corner stands where the window was to stand.
void SlideWindow::keepFrameInPlace()
{
    if (mPendingFrame.isNull() || !mWindowMode || isFullScreen() || frameGeometry() == geometry()) {
        return;
    }
    // Only while it stands where it was put: what a person moved stays there.
    const QRect wanted = std::exchange(mPendingFrame, QRect());
    if (geometry() == wanted || frameGeometry().topLeft() == wanted.topLeft()) {
        move(wanted.left(), wanted.top() + wanted.height() - frameGeometry().height());
    }
}

} // namespace frameflow
