#include "KLImage.h"

#include "CGRectUtils.h"
#include "Decode.h"
#include "FileContents.h"
#include "FileTypes.h"
#include "Orientation.h"

#include <utility>

namespace frameflow {

namespace {

constexpr int thumbnailSide = 300;

const QString& orientationKey()
{
    static const QString key = QStringLiteral("Orientation");
    return key;
}

QImage in32Bits(const QImage& image)
{
    return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
}

DecodedPicture decode(const FileDescriptor& file, const FileUrl& url, int longestSide)
{
    DecodeRequest request;
    request.fileName = url.fileName().toByteArray();
    request.longestSide = longestSide;
    return decodePicture(file.number(), request);
}

// Whether the file was no picture to begin with, rather than one that could not be decoded.
bool cannotBeOpened(DecodeError error)
{
    return error == DecodeError::Unreadable || error == DecodeError::NotAPicture;
}

} // namespace

struct KLImage::LoadedFile
{
    FileStamp stamp;
};

KLImage::KLImage(const FileUrl& url, const QImage& bitmap, int orientation)
    : mCGImage(in32Bits(bitmap)), mOrientation(validOrientation(orientation)), mUrl(url), mSize(bitmap.size())
{
    mTransform = orientationTransform(mCGImage.size(), mOrientation);
}

KLImagePtr KLImage::imageWithURL(const FileUrl& url)
{
    auto image = std::make_shared<KLImage>();
    image->loadFromURL(url);
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
    return isMovieURL(url) ? QImage() : imageThumbFromURL(url);
}

QImage KLImage::imageThumbFromURL(const FileUrl& url)
{
    const FileDescriptor file = openForDecoding(url);
    return file.isOpen() ? decode(file, url, thumbnailSide).pixels : QImage();
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
    const FileDescriptor file = openForDecoding(url);
    const auto stamp = file.isOpen() ? stampOf(file) : std::nullopt;
    if (!stamp) {
        return;
    }
    DecodedPicture picture = decode(file, url, 0);
    if (cannotBeOpened(picture.error)) {
        return;
    }
    mUrl = url;
    mLoadedFile = std::make_shared<LoadedFile>(LoadedFile{*stamp});
    mCGImage = std::move(picture.pixels);
    mSize = picture.size;
    mOrientation = picture.orientation;
    mTransform = orientationTransform(mCGImage.size(), mOrientation);
    loadImageWithTransform();
}

void KLImage::refresh()
{
    const auto stamp = stampOf(mUrl);
    if (!mCGImage.isNull() && mLoadedFile && stamp && *stamp == mLoadedFile->stamp) {
        return;
    }
    mCGImage = QImage();
    loadFromURL(mUrl);
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
