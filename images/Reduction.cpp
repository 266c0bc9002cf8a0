#include "Reduction.h"

namespace frameflow {

bool needsReduction(QSize picture, QSize pixels)
{
    return pixels.width() < picture.width() && pixels.height() < picture.height();
}

QImage inDrawableFormat(const QImage& picture)
{
    if (picture.format() == QImage::Format_RGB32 || picture.format() == QImage::Format_ARGB32_Premultiplied) {
        return picture;
    }
    return picture.convertToFormat(
        picture.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
}

QImage reducedTo(const QImage& picture, QSize pixels)
{
    return inDrawableFormat(picture.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
}

} // namespace frameflow
