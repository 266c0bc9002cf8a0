#include "Reduction.h"

#include "AreaReduction.h"

namespace frameflow {

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
    if (!AreaReduction::isPossible(picture.size(), pixels)) {
        return inDrawableFormat(picture.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    }
    const QImage source = inDrawableFormat(picture);
    QImage reduced(pixels, source.format());
    if (source.isNull() || reduced.isNull()) {
        return {};
    }
    AreaReduction(source.size(), pixels).advance(source.constBits(), source.bytesPerLine(), source.height(), reduced);
    return reduced;
}

} // namespace frameflow
