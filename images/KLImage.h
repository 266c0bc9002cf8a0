#pragma once

#include "FileUrl.h"

#include <QImage>
#include <QRectF>
#include <QSizeF>
#include <QTransform>
#include <QVariantMap>

#include <memory>

namespace frameflow {

class KLImage;
using KLImagePtr = std::shared_ptr<KLImage>;

// A decoded still picture, upright, in sRGB with 8 bits a channel. Shared between the cache and the view; not to be
// refreshed while another thread reads it. Loading may run on any thread.
class KLImage
{
public:
    // Nothing loaded: no bitmap, no URL, every number zero.
    KLImage() = default;
    // Around a bitmap that was decoded elsewhere and still has that EXIF orientation.
    KLImage(const FileUrl& url, const QImage& bitmap, int orientation);

    // Null when the file cannot be decoded. Blocks while the file is read and decoded.
    static KLImagePtr imageWithURL(const FileUrl& url);
    // Around a picture that is in memory already; its URL is absent. Null for a null picture.
    static KLImagePtr imageWithImage(const QImage& image);

    static bool isMovieURL(const FileUrl& url);
    // A picture of at most 300 pixels on its longer side, upright; null when none can be made. Any thread; blocks.
    static QImage thumbNailFromURL(const FileUrl& url);
    static QImage imageThumbFromURL(const FileUrl& url);

    // The EXIF orientation, 1 to 8, that stands under "Orientation" in a picture's properties.
    static int orientation(const QVariantMap& properties);
    // What turns that bitmap upright, in its pixels with y up.
    static QTransform imageTransform(const QVariantMap& properties, const QImage& image);

    // The upright size of the picture in the file in pixels, also where a huge picture's bitmap is a reduced one; 0
    // without a bitmap. Of a bitmap that is not upright yet, the size as it lies.
    quint32 width() const;
    quint32 height() const;
    bool turnedImage() const { return mOrientation >= 5; }
    QTransform getTransform() const { return mTransform; }
    // The bitmap, RGB32 or ARGB32_Premultiplied; null when loading failed.
    QImage getCGImage() const { return mCGImage; }
    const FileUrl& mURL() const { return mUrl; }
    void setMURL(const FileUrl& url) { mUrl = url; }

    void loadFromURL(const FileUrl& url);
    // Decodes again from the URL when the file has changed since.
    void refresh();
    // Draws the bitmap upright where it is not; it stays as it is where there is no memory for that.
    void loadImageWithTransform();

    QRectF rectToFitScreen(QSizeF screen, bool expand) const;
    QRectF rectToFillScreen(QSizeF screen) const;
    static QRectF rectToFitSize(QSizeF size, QSizeF inSize, bool expand);

private:
    struct LoadedFile;

    QSizeF uprightSize() const;

    QImage mCGImage;
    QTransform mTransform{0, 0, 0, 0, 0, 0};
    int mOrientation = 0;
    FileUrl mUrl;
    QVariantMap mMetaData;
    QSize mSize;
    std::shared_ptr<const LoadedFile> mLoadedFile;
};

} // namespace frameflow
