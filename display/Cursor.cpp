#include "Clock.h"
#include "Coordinates.h"
#include "CursorOverlay.h"
#include "CursorPicture.h"
#include "KLLayerView.h"
#include "LayerSurface.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"

#include <QGuiApplication>

#include <algorithm>
#include <cmath>
#include <optional>

namespace frameflow {

namespace {

constexpr double smallestCursor = 0.2;
constexpr double largestCursor = 1.0;
constexpr double cursorZoomOfATurn = 0.5;
constexpr Duration leastDelay = std::chrono::seconds(1);

// The system has one pointer and the program one show, however many views there have been.
bool isMouseHidden = false;
std::optional<TimePoint> lastDelay;

double wholeLength(double length)
{
    return std::max(0.0, std::trunc(length));
}

} // namespace

void KLLayerView::updateCursor()
{
    const QString name = mDefaults.stringValue(keys::cursor);
    if (mCursorImage && mCursorImage->name() == name) {
        return;
    }
    mCursorImage = CursorPicture::named(name);
    mCursorLayer->setAnchorPoint({0, 0});
    mCursorLayer->setContents(QImage());
    displayLayer(mCursorLayer);
}

QRectF KLLayerView::cursorRect() const
{
    const QSizeF picture = mCursorImage ? mCursorImage->size() : QSizeF();
    return {0, 0, wholeLength(picture.width() * mCursorZoom), wholeLength(picture.height() * mCursorZoom)};
}

void KLLayerView::positionCursor()
{
    mCursorLayer->setBounds(cursorRect());
    const QPointF root = mBackgroundLayer->frame().topLeft();
    mCursorLayer->setPosition(mCursorPoint - root - QPointF(0, mCursorLayer->bounds().height()));
    displayLayer(mCursorLayer);
}

void KLLayerView::hideMouse()
{
    if (!isMouseHidden) {
        QGuiApplication::setOverrideCursor(Qt::BlankCursor);
        isMouseHidden = true;
    }
}

void KLLayerView::showMouse()
{
    if (isMouseHidden) {
        QGuiApplication::restoreOverrideCursor();
        isMouseHidden = false;
    }
}

void KLLayerView::delaySlideShow()
{
    const TimePoint now = mClock.now();
    if (lastDelay && now >= *lastDelay && now - *lastDelay <= leastDelay) {
        return;
    }
    if (mDelegate != nullptr) {
        mDelegate->delayNextImage();
    }
    lastDelay = now;
}

void KLLayerView::scrollWheel(double turns)
{
    mCursorZoom = std::clamp(mCursorZoom - cursorZoomOfATurn * turns, smallestCursor, largestCursor);
    mCursorLayer->setBounds(cursorRect());
    displayLayer(mCursorLayer);
}

void KLLayerView::concealCursor()
{
    mIsPointing = false;
    showMouse();
    mCursorLayer->setOpacity(0.0);
    displayLayer(mCursorLayer);
}

// Drawn for the very pixels that it stands on.
void KLLayerView::displayCursor()
{
    const QRectF frame = mCursorLayer->frame();
    const auto pixels = pixelRect(frame, area());
    if (mCursorImage && pixels && mCursorLayer->contents().size() != pixels->size()) {
        mCursorLayer->setContents(mCursorImage->image(pixels->size()));
    }
    const bool isShown = mIsPointing && mCursorImage && pixels;
    if (isShown && isCovered(widgetRect(frame, height()).toAlignedRect())) {
        if (!mCursorOverlay) {
            mCursorOverlay = new CursorOverlay(this);
        }
        mCursorOverlay->showPicture(mCursorLayer->contents(), pixels->topLeft());
    } else if (mCursorOverlay) {
        mCursorOverlay->hide();
    }
}

// Whether a widget stands on the layers there.
bool KLLayerView::isCovered(const QRect& part) const
{
    const auto widgets = findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
    return std::any_of(widgets.begin(), widgets.end(), [&](const QWidget* widget) {
        const bool drawsLayers = widget == mLayerSurface || widget == mCursorOverlay;
        return !drawsLayers && widget->isVisibleTo(this) && widget->geometry().intersects(part);
    });
}

} // namespace frameflow
