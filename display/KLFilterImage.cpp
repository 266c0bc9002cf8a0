#include "KLFilterImage.h"

#include <QPainter>

namespace frameflow {

namespace {

constexpr double longestSide = 32767; // pixels; what a QPainter can draw on

bool isDrawable(double side)
{
    return side >= 1 && side <= longestSide;
}

} // namespace

KLFilterImagePtr KLFilterImage::imageWithCGImage(const QImage& image, const QRectF& drawRect, const QRectF& imageRect)
{
    if (!isDrawable(imageRect.width()) || !isDrawable(imageRect.height())) {
        return nullptr;
    }
    QImage canvas(static_cast<int>(imageRect.width()), static_cast<int>(imageRect.height()), QImage::Format_RGB32);
    if (canvas.isNull()) {
        return nullptr;
    }
    canvas.fill(Qt::black);
    QPainter painter(&canvas);
    const QRectF place(
        drawRect.x(), canvas.height() - drawRect.y() - drawRect.height(), drawRect.width(), drawRect.height());
    constexpr QRectF countable(-longestSide, -longestSide, 2 * longestSide, 2 * longestSide);
    if (countable.contains(place)) { // not so for what is no number
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(place, image);
    }
    painter.end();
    KLFilterImagePtr result(new KLFilterImage);
    result->mCGImage = canvas;
    result->mCiImage = canvas;
    return result;
}

} // namespace frameflow
