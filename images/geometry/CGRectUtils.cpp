#include "CGRectUtils.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace frameflow {

namespace {

struct Scale
{
    double width;
    double height;
};

double wholePixels(double length)
{
    constexpr auto largest = static_cast<double>(std::numeric_limits<quint64>::max());
    return length > 0 ? std::min(std::trunc(length), largest) : 0;
}

QSizeF wholePixels(QSizeF size)
{
    return {wholePixels(size.width()), wholePixels(size.height())};
}

Scale scaleTo(QSizeF size, QSizeF target)
{
    return {target.width() / size.width(), target.height() / size.height()};
}

QRectF withFullHeight(QSizeF size, QSizeF target, double scale)
{
    const double width = scale * size.width();
    return {(target.width() - width) * 0.5, 0, width, target.height()};
}

QRectF withFullWidth(QSizeF size, QSizeF target, double scale)
{
    const double height = scale * size.height();
    return {0, (target.height() - height) * 0.5, target.width(), height};
}

} // namespace

QRectF CGRectUtils::rectToFitSize(QSizeF size, QSizeF inScreen, bool expand)
{
    const QSizeF picture = wholePixels(size);
    if (picture.width() <= inScreen.width() && picture.height() <= inScreen.height() && !expand) {
        return {(inScreen.width() - picture.width()) * 0.5, (inScreen.height() - picture.height()) * 0.5,
            picture.width(), picture.height()};
    }
    const Scale scale = scaleTo(picture, inScreen);
    return scale.width > scale.height ? withFullHeight(picture, inScreen, scale.height)
                                      : withFullWidth(picture, inScreen, scale.width);
}

QRectF CGRectUtils::rectToFillSize(QSizeF size, QSizeF inScreen)
{
    const QSizeF picture = wholePixels(size);
    const Scale scale = scaleTo(picture, inScreen);
    return scale.width > scale.height ? withFullWidth(picture, inScreen, scale.width)
                                      : withFullHeight(picture, inScreen, scale.height);
}

} // namespace frameflow
