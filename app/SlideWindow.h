#pragma once

#include <QKeyEvent>
#include <QMenuBar>
#include <QPointer>
#include <QWidget>

class QScreen;
class QVariantAnimation;

namespace frameflow {

// The window of a show: full screen on one display, with the menu bar out of sight until the pointer reaches the top
// edge, or a normal window with the menu bar in it. Keys that nothing else takes, and the person's wish to close it,
// are reported and not acted on. The first click into the inactive window counts, as everywhere on this platform.
class SlideWindow : public QWidget
{
    Q_OBJECT

public:
    // Takes ownership of both. The view fills the window, or what the menu bar leaves of it.
    SlideWindow(QWidget* view, QMenuBar* menuBar);

    void showFullScreenOn(QScreen* screen);
    // The same for a window that is full screen already; it stays where it is among others, and who has the keyboard
    // keeps it.
    void cover(QScreen* screen);
    // Whether it fills that display, as far as the window manager has told.
    bool covers(const QScreen* screen) const;
    // The rectangle is the window's without its decoration, in global coordinates; the window manager has the last word
    // on the position.
    void showAsWindow(const QRect& geometry);
    bool isWindowMode() const { return mWindowMode; }

    // Out of sight over the slide until the mouse really moves.
    void hidePointerUntilMouseMoves();

Q_SIGNALS:
    void keyUnhandled(QKeyEvent* event);
    void resized();
    void closeRequested();
    // The keyboard is, or is no longer, the window's.
    void becameKey();
    void resignedKey();

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void moveTo(QScreen* screen);
    void layOut();
    void pointerMoved(const QPoint& global, Qt::MouseButtons held = Qt::NoButton);
    void revealMenuBar(bool revealed);
    bool isMenuInUse() const;
    void keepFrameInPlace();

    QWidget* mView;
    QMenuBar* mMenuBar;
    QVariantAnimation* mReveal;
    bool mWindowMode = false;
    bool mMenuBarRevealed = false;
    bool mPointerHidden = false;
    QPoint mPointerAtHiding;
    // Where the outer frame is to stand once the window manager has told the size of its decoration; null otherwise.
    QRect mPendingFrame;
};

} // namespace frameflow
