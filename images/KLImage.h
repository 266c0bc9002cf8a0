#pragma once

#include "FileContents.h"
#include "FileUrl.h"
#include "FrameRule.h"

#include <QImage>
#include <QRectF>
#include <QSizeF>
#include <QTransform>
#include <QVariantMap>

#include <memory>

namespace frameflow {

class KLImage;
struct DecodedFile;
struct DecodeJob;
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

    // Null when the file cannot be decoded. Takes what has been decoded ahead, else blocks while that is done.
    static KLImagePtr imageWithURL(const FileUrl& url);
    // Around what a decoder answered; null when that is no picture.
    static KLImagePtr imageWithDecoded(const FileUrl& url, DecodedFile&& file);
    // Around a picture that is in memory already; its URL is absent. Null for a null picture.
    static KLImagePtr imageWithImage(const QImage& image);

    static bool isMovieURL(const FileUrl& url);
    // A picture of at most 300 pixels on its longer side, upright; null when none can be made. Any thread; blocks.
    static QImage thumbNailFromURL(const FileUrl& url);
    static QImage imageThumbFromURL(const FileUrl& url);
    static QImage videoThumbFromURL(const FileUrl& url);
    // What a decoder is to be asked for a thumbnail of that file, as a movie or as a still picture.
    static DecodeJob thumbnailJob(const FileUrl& url);
    // The size that a thumbnail of the upright picture has.
    QSize thumbnailSize() const;
    // The smaller of its bitmaps that such a thumbnail can be made of; null where it is not upright.
    QImage thumbnailSource() const;

    // The EXIF orientation, 1 to 8, that stands under "Orientation" in a picture's properties.
    static int orientation(const QVariantMap& properties);
    // What turns that bitmap upright, in its pixels with y up.
    static QTransform imageTransform(const QVariantMap& properties, const QImage& image);

    // The upright size of the picture in the file in pixels, also where a huge picture's bitmap is a reduced one; 0
    // without a bitmap. Of a bitmap that is not upright yet, the size as it lies.
    quint32 width() const;
    quint32 height() const;
    // The two as the picture is to be looked at, turned where its bitmap is not yet.
    QSizeF uprightSize() const;
    bool turnedImage() const { return mOrientation >= 5; }
    QTransform getTransform() const { return mTransform; }
    // The bitmap, RGB32 or ARGB32_Premultiplied; null when loading failed.
    QImage getCGImage() const { return mCGImage; }
    // The bitmap as it was last prepared for being shown; null where it was not.
    const QImage& reduced() const { return mReduced; }
    void setReduced(const QImage& reduced) { mReduced = reduced; }
    // Whether it can be drawn on the pixels of that rule without being reduced first.
    bool isPreparedFor(const FrameRule& frame) const;
    // The size of the reduced copy that the rule asks for; empty when the bitmap itself is to be drawn.
    QSize reductionFor(const FrameRule& frame) const;
    // Of the file at the time when it was decoded; absent for what was not read from a file.
    std::optional<FileStamp> stamp() const { return mStamp; }
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
    void take(const FileUrl& url, DecodedFile&& file);
    QImage mCGImage;
    QImage mReduced;
    QTransform mTransform{0, 0, 0, 0, 0, 0};
    int mOrientation = 0;
    FileUrl mUrl;
    QVariantMap mMetaData;
    QSize mSize;
    std::optional<FileStamp> mStamp;
};

} // namespace frameflow
