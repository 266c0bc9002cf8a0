#include "CursorOverlay.h"

#include <QPainter>

namespace frameflow {

CursorOverlay::CursorOverlay(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("CursorOverlay"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    hide();
}

void CursorOverlay::showPicture(const QImage& picture, QPoint at)
{
    mPicture = picture;
    mAt = at;
    // Widgets stand on points: the least ones that hold all of the picture's pixels.
    const double scale = devicePixelRatioF();
    const QRectF points(QPointF(at) / scale, QSizeF(picture.size()) / scale);
    setGeometry(points.toAlignedRect());
    raise();
    show();
    update();
}

void CursorOverlay::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    const double scale = devicePixelRatioF();
    painter.translate(-QPointF(pos()));
    painter.scale(1 / scale, 1 / scale);
    painter.drawImage(mAt, mPicture);
}

} // namespace frameflow
