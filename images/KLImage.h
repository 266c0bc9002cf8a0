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
    // Null when the file cannot be decoded. Blocks while the file is read and decoded.
    static KLImagePtr imageWithURL(const FileUrl& url);
    // Around a picture that is in memory already; its URL is absent. Null for a null picture.
    static KLImagePtr imageWithImage(const QImage& image);

    static bool isMovieURL(const FileUrl& url);
    // A picture of at most 300 pixels on its longer side, upright; null when none can be made. Any thread; blocks.
    static QImage thumbNailFromURL(const FileUrl& url);
    static QImage imageThumbFromURL(const FileUrl& url);

    // The upright size of the picture in the file in pixels, also where a huge picture's bitmap is a reduced one; 0
    // without a bitmap.
    quint32 width() const;
    quint32 height() const;
    bool turnedImage() const;
    QTransform getTransform() const;
    // The bitmap; null when loading failed.
    QImage getCGImage() const;
    const FileUrl& mURL() const;

    void loadFromURL(const FileUrl& url);
    // Decodes again from the URL.
    void refresh();

    QRectF rectToFitScreen(QSizeF screen, bool expand) const;
    QRectF rectToFillScreen(QSizeF screen) const;
    static QRectF rectToFitSize(QSizeF size, QSizeF inSize, bool expand);
};

} // namespace frameflow
