#include "ThumbnailButton.h"

#include <QPainter>

namespace frameflow {

ThumbnailButton::ThumbnailButton(QWidget* parent) : QAbstractButton(parent)
{
    setFocusPolicy(Qt::NoFocus);
}

void ThumbnailButton::setImage(const QImage& image)
{
    mImage = image;
    // What is behind a picture that hides it need not be drawn.
    setAttribute(Qt::WA_OpaquePaintEvent, !image.isNull() && !image.hasAlphaChannel());
    update();
}

void ThumbnailButton::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    if (!mImage.isNull()) {
        // Straight from the thumbnail to the pixels of the screen, whatever its density.
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(rect(), mImage);
    }
    if (isDown()) {
        painter.fillRect(rect(), QColor(0, 0, 0, 70));
    }
    painter.setPen(QPen(Qt::black, 1.0));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
}

} // namespace frameflow
