#pragma once

#include <QImage>
#include <QSize>
#include <QTransform>

namespace frameflow {

// The orientation that a file's number stands for: the number itself from 1 to 8, else 1.
int validOrientation(qint64 number);

// Whether a picture of this orientation lies on its side.
constexpr bool isTurned(int orientation)
{
    return orientation >= 5;
}

QSize turnedSize(QSize size, int orientation);

// Maps the stored pixels of a bitmap of that size into the upright picture, both with the origin at the lower left and
// y up; its six components are a, b, c, d, tx, ty.
QTransform orientationTransform(QSize bitmap, int orientation);

// A copy of a picture with 32 bits a pixel, drawn through one of the transforms above. Null when there is no memory.
QImage turnedUpright(const QImage& image, const QTransform& transform);

} // namespace frameflow
