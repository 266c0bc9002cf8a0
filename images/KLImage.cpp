#include "KLImage.h"

#include "CGRectUtils.h"
#include "DecoderPool.h"
#include "FileContents.h"
#include "FileTypes.h"
#include "Limits.h"
#include "Orientation.h"
#include "ReadAhead.h"

#include <utility>

namespace frameflow {

namespace {

const QString& orientationKey()
{
    static const QString key = QStringLiteral("Orientation");
    return key;
}

QImage in32Bits(const QImage& image)
{
    return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
}

// Whether the file was no picture to begin with, rather than one that could not be decoded.
bool cannotBeOpened(DecodeError error)
{
    return error == DecodeError::Unreadable || error == DecodeError::NotAPicture;
}

} // namespace

KLImage::KLImage(const FileUrl& url, const QImage& bitmap, int orientation)
    : mCGImage(in32Bits(bitmap)), mOrientation(validOrientation(orientation)), mUrl(url), mSize(bitmap.size())
{
    mTransform = orientationTransform(mCGImage.size(), mOrientation);
}

KLImagePtr KLImage::imageWithURL(const FileUrl& url)
{
    return ReadAhead::instance().take(url);
}

KLImagePtr KLImage::imageWithDecoded(const FileUrl& url, DecodedFile&& file)
{
    auto image = std::make_shared<KLImage>();
    image->take(url, std::move(file));
    return image->mCGImage.isNull() ? nullptr : image;
}

KLImagePtr KLImage::imageWithImage(const QImage& image)
{
    if (image.isNull()) {
        return nullptr;
    }
    auto result = std::make_shared<KLImage>();
    result->mCGImage = in32Bits(image);
    result->mSize = image.size();
    return result;
}

bool KLImage::isMovieURL(const FileUrl& url)
{
    if (url.isEmpty()) {
        return false;
    }
    const QByteArrayView extension = url.extension();
    if (extension == "gif" || extension == "GIF") {
        return false;
    }
    return mediaKindForName(url.fileName()) == MediaKind::Movie;
}

QImage KLImage::thumbNailFromURL(const FileUrl& url)
{
    return isMovieURL(url) ? videoThumbFromURL(url) : imageThumbFromURL(url);
}

QImage KLImage::imageThumbFromURL(const FileUrl& url)
{
    DecodeJob job = thumbnailJob(url);
    job.request.wanted = Wanted::Picture;
    return DecoderPool::instance().decodeAndWait(job).picture.pixels;
}

QImage KLImage::videoThumbFromURL(const FileUrl& url)
{
    DecodeJob job = thumbnailJob(url);
    job.request.wanted = Wanted::MovieFrame;
    return DecoderPool::instance().decodeAndWait(job).picture.pixels;
}

DecodeJob KLImage::thumbnailJob(const FileUrl& url)
{
    DecodeJob job;
    job.url = url;
    job.request.wanted = isMovieURL(url) ? Wanted::MovieFrame : Wanted::Picture;
    job.request.fileName = url.fileName().toByteArray();
    job.request.longestSide = thumbnailSide;
    job.urgency = Urgency::Thumbnail;
    return job;
}

QSize KLImage::thumbnailSize() const
{
    return heldSize(uprightSize().toSize(), thumbnailSide);
}

QImage KLImage::thumbnailSource() const
{
    if (mCGImage.isNull() || !mTransform.isIdentity()) {
        return {};
    }
    // A copy of a copy is as good where the first is large enough, which may have another shape.
    constexpr int leastTimes = 2;
    const QSize least = leastTimes * thumbnailSize();
    return mReduced.width() >= least.width() && mReduced.height() >= least.height() ? mReduced : mCGImage;
}

int KLImage::orientation(const QVariantMap& properties)
{
    return validOrientation(properties.value(orientationKey()).toLongLong());
}

QTransform KLImage::imageTransform(const QVariantMap& properties, const QImage& image)
{
    return orientationTransform(image.size(), orientation(properties));
}

quint32 KLImage::width() const
{
    return mCGImage.isNull() ? 0 : static_cast<quint32>(mSize.width());
}

quint32 KLImage::height() const
{
    return mCGImage.isNull() ? 0 : static_cast<quint32>(mSize.height());
}

void KLImage::loadFromURL(const FileUrl& url)
{
    mTransform = QTransform();
    mOrientation = 1;
    DecodeJob job;
    job.url = url;
    job.request.fileName = url.fileName().toByteArray();
    take(url, DecoderPool::instance().decodeAndWait(job));
}

void KLImage::take(const FileUrl& url, DecodedFile&& file)
{
    mTransform = QTransform();
    mOrientation = 1;
    DecodedPicture& picture = file.picture;
    if (!file.stamp || cannotBeOpened(picture.error)) {
        return;
    }
    mUrl = url;
    mStamp = file.stamp;
    mCGImage = std::move(picture.pixels);
    mReduced = std::move(picture.reduced);
    mSize = picture.size;
    mOrientation = picture.orientation;
    mTransform = orientationTransform(mCGImage.size(), mOrientation);
    loadImageWithTransform();
}

QSize KLImage::reductionFor(const FrameRule& frame) const
{
    return frame.reductionOf(uprightSize().toSize(), mCGImage.size());
}

bool KLImage::isPreparedFor(const FrameRule& frame) const
{
    const QSize pixels = reductionFor(frame);
    return pixels.isEmpty() || mReduced.size() == pixels;
}

void KLImage::refresh()
{
    if (mCGImage.isNull() || !mStamp || stampOf(mUrl) != mStamp) {
        mCGImage = QImage();
        mReduced = QImage();
        loadFromURL(mUrl);
    }
}

void KLImage::loadImageWithTransform()
{
    if (mTransform.isIdentity() || mCGImage.isNull()) {
        return;
    }
    QImage upright = turnedUpright(mCGImage, mTransform);
    if (upright.isNull()) {
        return;
    }
    mCGImage = std::move(upright);
    mReduced = QImage();
    mSize = turnedSize(mSize, mOrientation);
    mTransform = QTransform();
    mOrientation = 1;
}

QSizeF KLImage::uprightSize() const
{
    const QSizeF size(width(), height());
    return turnedImage() ? size.transposed() : size;
}

QRectF KLImage::rectToFitScreen(QSizeF screen, bool expand) const
{
    return rectToFitSize(uprightSize(), screen, expand);
}

QRectF KLImage::rectToFillScreen(QSizeF screen) const
{
    return CGRectUtils::rectToFillSize(uprightSize(), screen);
}

QRectF KLImage::rectToFitSize(QSizeF size, QSizeF inSize, bool expand)
{
    return CGRectUtils::rectToFitSize(size, inSize, expand);
}

} // namespace frameflow
