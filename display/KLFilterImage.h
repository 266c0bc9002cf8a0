#pragma once

#include <QImage>
#include <QRectF>

#include <memory>

namespace frameflow {

class KLFilterImage;
using KLFilterImagePtr = std::shared_ptr<KLFilterImage>;

// A picture set into a black canvas, as a filter takes it that works on the whole screen. Any thread.
class KLFilterImage
{
public:
    // The canvas has the size of imageRect in whole pixels; the picture is drawn, smoothly, into drawRect. Both
    // rectangles have their origin at the canvas's lower left, y up; a drawRect beyond all measure draws nothing. Null
    // for a canvas without a pixel, one that no filter could take, or without memory.
    static KLFilterImagePtr imageWithCGImage(const QImage& image, const QRectF& drawRect, const QRectF& imageRect);

    // RGB32.
    const QImage& cgImage() const { return mCGImage; }
    const QImage& mCIImage() const { return mCiImage; }
    void setMCIImage(const QImage& image) { mCiImage = image; }
    QRectF imageRect() const { return mImageRect; }

private:
    KLFilterImage() = default;

    QImage mCGImage;
    QImage mCiImage;
    QRectF mImageRect;
};

} // namespace frameflow
