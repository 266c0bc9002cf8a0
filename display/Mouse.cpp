#include "KLLayerView.h"

#include <QMouseEvent>
#include <QWheelEvent>

#include <utility>

namespace frameflow {

namespace {

// Either does: the first is the one that commands take here, the second is where other platforms have theirs.
bool holdsCommand(const QMouseEvent& event)
{
    return event.modifiers().testAnyFlags(Qt::ControlModifier | Qt::MetaModifier);
}

} // namespace

// ---- Events

void KLLayerView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        mouseDown(*event);
    } else {
        event->ignore();
    }
}

void KLLayerView::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons().testFlag(Qt::LeftButton)) {
        mouseDragged(*event);
    } else {
        event->ignore();
    }
}

// Goes on to the window in any case, which may want to know that modifiers have changed.
void KLLayerView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        mouseUp();
    }
    event->ignore();
}

void KLLayerView::leaveEvent(QEvent* /*event*/)
{
    mouseExited();
}

void KLLayerView::wheelEvent(QWheelEvent* event)
{
    scrollWheel(event->angleDelta().y() / double{QWheelEvent::DefaultDeltasPerStep});
}

// ---- What they mean

void KLLayerView::mouseDown(const QMouseEvent& event)
{
    delaySlideShow();
    mLastMousePoint = event.globalPosition();
    if (mZoom && holdsCommand(event)) {
        setCursor(Qt::ClosedHandCursor);
        return;
    }
    updateCursor();
    mCursorPoint = layerPoint(event);
    mMouseDownPoint = mCursorPoint;
    mIsPointing = true;
    mCursorLayer->setOpacity(1.0);
    positionCursor();
    hideMouse();
}

void KLLayerView::mouseDragged(const QMouseEvent& event)
{
    delaySlideShow();
    const QPointF before = std::exchange(mLastMousePoint, event.globalPosition());
    if (mZoom && holdsCommand(event)) {
        setCursor(Qt::ClosedHandCursor);
        showMouse();
        panX(mLastMousePoint.x() - before.x(), mLastMousePoint.y() - before.y());
        return;
    }
    setCursor(Qt::ArrowCursor);
    // There is always one pointer: the system's while the picture is not there, as after the view has been left.
    if (mIsPointing) {
        hideMouse();
    }
    mCursorPoint = layerPoint(event);
    positionCursor();
}

void KLLayerView::mouseUp()
{
    setCursor(Qt::ArrowCursor);
    concealCursor();
}

void KLLayerView::mouseExited()
{
    concealCursor();
}

QPointF KLLayerView::layerPoint(const QMouseEvent& event) const
{
    return {event.position().x(), height() - event.position().y()};
}

} // namespace frameflow
