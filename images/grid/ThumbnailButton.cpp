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
    // A line of one around it: filling costs a fraction of stroking.
    for (const QRect& side : {QRect(0, 0, width(), 1), QRect(0, height() - 1, width(), 1), QRect(0, 0, 1, height()),
             QRect(width() - 1, 0, 1, height())}) {
        painter.fillRect(side, Qt::black);
    }
}

} // namespace frameflow
