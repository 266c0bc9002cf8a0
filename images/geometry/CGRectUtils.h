#pragma once

#include <QRectF>
#include <QSizeF>

namespace frameflow {

// Where a picture of a given size stands in a target area. Pure arithmetic in the target's own coordinates, in any
// unit; results are not rounded. A picture's size counts without its fraction, a negative one as zero.
class CGRectUtils
{
public:
    // The largest centred rectangle of the picture's shape inside the target. Without expand, a picture that fits as it
    // is keeps its size. A picture of size zero gives what floating-point division gives.
    static QRectF rectToFitSize(QSizeF size, QSizeF inScreen, bool expand);
    // The smallest centred rectangle of the picture's shape that covers the target.
    static QRectF rectToFillSize(QSizeF size, QSizeF inScreen);
};

} // namespace frameflow
