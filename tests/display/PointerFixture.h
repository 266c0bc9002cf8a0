#pragma once

#include "ViewFixture.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QWheelEvent>

namespace frameflow {

// Whether the system's pointer is hidden.
inline bool isPointerHidden()
{
    const QCursor* cursor = QGuiApplication::overrideCursor();
    return cursor != nullptr && cursor->shape() == Qt::BlankCursor;
}

struct CountingDelegate final : public KLImageDisplayDelegate
{
    void delayNextImage() override { ++delays; }
    int delays = 0;
};

// A view with a delegate, and a mouse that leaves the machine's own alone.
struct PointerFixture : public ViewFixture
{
    explicit PointerFixture(QSize size = QSize(200, 100)) : ViewFixture(size)
    {
        clock.advance(std::chrono::hours(++shows)); // the last postponement is the program's, not the view's
        defaults.setValue(keys::cursor, QStringLiteral("Arrow"));
        setTransition(QStringLiteral("None"));
        view->setDelegate(&delegate);
    }

    void send(QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons buttons,
        Qt::KeyboardModifiers modifiers = {}) const
    {
        QMouseEvent event(type, at, at, at, button, buttons, modifiers);
        QCoreApplication::sendEvent(view.get(), &event);
    }
    void press(QPointF at, Qt::KeyboardModifiers modifiers = {}) const
    {
        send(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton, modifiers);
    }
    void drag(QPointF to, Qt::KeyboardModifiers modifiers = {}) const
    {
        send(QEvent::MouseMove, to, Qt::NoButton, Qt::LeftButton, modifiers);
    }
    void release(QPointF at) const { send(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton); }
    void leave() const
    {
        QEvent event(QEvent::Leave);
        QCoreApplication::sendEvent(view.get(), &event);
    }
    void turnWheel(double turns) const
    {
        QWheelEvent event(QPointF(10, 10), QPointF(10, 10), {}, QPoint(0, qRound(turns * 120)), Qt::NoButton, {},
            Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(view.get(), &event);
    }
    void endZoom()
    {
        view->compositor().deliverPending();
        clock.advance(std::chrono::seconds(2));
        view->compositor().deliverPending();
    }

    QRectF cursorFrame() const { return view->cursorLayer()->frame(); }
    QPointF slidePosition() const { return view->currentLayer()->position(); }

    CountingDelegate delegate;

    static inline int shows = 0;
};

} // namespace frameflow
