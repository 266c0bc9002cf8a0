#include "Decode.h"

#include "AreaReduction.h"
#include "Colour.h"
#include "ContentType.h"
#include "ExtraDecoders.h"
#include "FileContents.h"
#include "FileTypes.h"
#include "JpegDecoder.h"
#include "Limits.h"
#include "Metadata.h"
#include "Orientation.h"
#include "QtDecoder.h"
#include "SvgDecoder.h"
#include "TargetMemory.h"

#include <QColorSpace>

#include <new>
#include <optional>
#include <utility>

namespace frameflow {

namespace {

// A preview stands for its camera raw picture when it has this share of its width and height.
constexpr double previewShare = 0.9;

DecodedPicture decodeWithExtra(const QByteArray& contents, ContentType type, int longestSide)
{
    const ExtraDecoders* const extra = extraDecoders();
    if (extra == nullptr) {
        return DecodedPicture::failed(DecodeError::NeedsExtraDecoders);
    }
    return extra->decodeWithVips != nullptr ? extra->decodeWithVips(contents, type, longestSide)
                                            : DecodedPicture::failed(DecodeError::NotAPicture);
}

bool needsExtra(const QByteArray& contents, ContentType type)
{
    return type != ContentType::Svg && (!isQtType(type) || isMisreadByQt(contents, type));
}

// Whatever profile the file has, its colours have been converted.
DecodedPicture convertedWithExtra(const QByteArray& contents, ContentType type, int longestSide)
{
    DecodedPicture picture = decodeWithExtra(contents, type, longestSide);
    picture.pixels.setColorSpace(QColorSpace::SRgb);
    return picture;
}

DecodedPicture decodeByContents(const QByteArray& contents, ContentType type, const DecodeRequest& request)
{
    const int longestSide = request.longestSide;
    if (type == ContentType::Svg) {
        return decodeSvg(contents, longestSide);
    }
    if (needsExtra(contents, type)) {
        return decodeWithExtra(contents, type, longestSide);
    }
    if (type == ContentType::Jpeg && longestSide == 0) {
        if (auto jpeg = decodeJpeg(contents, request)) {
            return *std::move(jpeg);
        }
    }
    DecodedPicture picture = decodeWithQt(contents, type, longestSide);
    // TIFF is a box for many codecs and layouts, of which each library reads some. What is too large for a bitmap
    // libvips may reduce while it reads it.
    const bool isUnread = picture.error == DecodeError::Damaged && type == ContentType::Tiff;
    const bool isTooLarge
        = picture.error == DecodeError::TooLarge && (type == ContentType::Tiff || type == ContentType::Png);
    return isUnread || isTooLarge ? convertedWithExtra(contents, type, longestSide) : picture;
}

bool isLargeEnough(QSize preview, QSize raw, int longestSide)
{
    const QSize wide = preview.width() < preview.height() ? preview.transposed() : preview;
    if (longestSide > 0 && wide.width() >= longestSide) {
        return true;
    }
    const QSize rawWide = raw.width() < raw.height() ? raw.transposed() : raw;
    return wide.width() >= previewShare * rawWide.width() && wide.height() >= previewShare * rawWide.height();
}

// Nothing when it is no camera raw file after all. Only the extra decoders can tell.
std::optional<DecodedPicture> decodeRaw(const QByteArray& contents, int longestSide)
{
    const ExtraDecoders* const extra = extraDecoders();
    if (extra == nullptr) {
        return DecodedPicture::failed(DecodeError::NeedsExtraDecoders);
    }
    RawHeader header;
    if (extra->readRawHeader == nullptr || !extra->readRawHeader(contents, &header)) {
        return std::nullopt;
    }
    DecodedPicture picture;
    if (contentType(header.preview, {}) == ContentType::Jpeg) {
        picture = decodeWithQt(header.preview, ContentType::Jpeg, longestSide);
    }
    if (picture.pixels.isNull() || !isLargeEnough(picture.size, header.size, longestSide)) {
        picture = extra->developRaw(contents, longestSide);
    }
    picture.orientation = header.orientation;
    return picture;
}

// The types whose codecs turn the picture themselves.
bool isTurnedByCodec(ContentType type)
{
    return type == ContentType::Heif || type == ContentType::JpegXl;
}

// The one in the size that it is shown in.
void addCopy(DecodedPicture& picture, const FrameRule& frame)
{
    const QSize bitmap = picture.pixels.size();
    const QSize size = frame.reductionOf(picture.size, bitmap);
    if (!AreaReduction::isPossible(bitmap, size)) {
        return;
    }
    picture.reduced = bitmapBehind(picture.pixels, size);
    if (!picture.reduced.isNull()) {
        AreaReduction(bitmap, size)
            .advance(picture.pixels.constBits(), picture.pixels.bytesPerLine(), bitmap.height(), picture.reduced);
    }
}

// Reduces, converts the colours and turns, each only where it is needed, and makes the copy that is not there yet.
void finish(DecodedPicture& picture, const DecodeRequest& request, qint64 mostPixels, const QByteArray& profile)
{
    const QSize held = heldSize(picture.pixels.size(), request.longestSide, mostPixels);
    if (held != picture.pixels.size()) {
        if (picture.pixels.hasAlphaChannel()) {
            picture.pixels.convertTo(QImage::Format_ARGB32_Premultiplied);
        }
        picture.pixels = picture.pixels.scaled(held, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    if (!isInScreenColours(picture.pixels, profile)) {
        picture.reduced = QImage();
        dropWritten();
    }
    picture.pixels = toScreenColours(std::move(picture.pixels), profile);
    if (request.turn == Turn::Upright && picture.orientation != 1) {
        QImage upright
            = turnedUpright(picture.pixels, orientationTransform(picture.pixels.size(), picture.orientation));
        if (!upright.isNull()) {
            picture.reduced = QImage();
            picture.pixels = std::move(upright);
            picture.size = turnedSize(picture.size, picture.orientation);
            picture.orientation = 1;
        }
    }
    if (picture.pixels.isNull()) {
        picture = DecodedPicture::failed(DecodeError::TooLarge);
    } else if (picture.reduced.isNull() && picture.orientation == 1) {
        addCopy(picture, request.frame);
    }
}

DecodedPicture decodeOther(
    const QByteArray& contents, ContentType type, const DecodeRequest& request, QByteArray& profile)
{
    const int longestSide = request.longestSide;
    if (type == ContentType::Unknown) {
        return DecodedPicture::failed(DecodeError::NotAPicture);
    }
    if (extraDecoders() == nullptr && needsExtra(contents, type)) {
        return DecodedPicture::failed(DecodeError::NeedsExtraDecoders);
    }
    const auto stored = longestSide > 0 ? StoredThumbnail::Read : StoredThumbnail::Skip;
    const Metadata metadata = isTurnedByCodec(type) ? Metadata() : readMetadata(contents, stored, longestSide);
    DecodedPicture picture = DecodedPicture::failed(DecodeError::NotAPicture);
    if (contentType(metadata.thumbnail, {}) == ContentType::Jpeg) {
        picture = decodeWithQt(metadata.thumbnail, ContentType::Jpeg, longestSide);
    }
    if (picture.pixels.isNull() && request.isHeld && !isTurnedByCodec(type)) {
        return DecodedPicture::failed(DecodeError::NoThumbnail);
    }
    const int orientation = validOrientation(metadata.orientation);
    if (picture.pixels.isNull()) {
        const bool isToBeTurned = request.turn == Turn::Upright && orientation != 1;
        // What is still to be turned lies elsewhere before, and has no copy.
        const TargetMemory::Kept kept(isToBeTurned);
        DecodeRequest asStored = request;
        asStored.frame = isToBeTurned ? FrameRule() : request.frame;
        picture = decodeByContents(contents, type, asStored);
    }
    picture.orientation = orientation;
    // Qt leaves out of PNG the profiles that it cannot apply itself.
    if (type == ContentType::Png) {
        profile = metadata.profile;
    }
    if (metadata.isAdobeRgb && type == ContentType::Jpeg && !isMisreadByQt(contents, type)
        && picture.pixels.colorSpace().iccProfile().isEmpty()) {
        picture.pixels.setColorSpace(QColorSpace::AdobeRgb);
    }
    return picture;
}

DecodedPicture decodeContents(const QByteArray& contents, const DecodeRequest& request)
{
    const ContentType type = contentType(contents, request.fileName);
    std::optional<DecodedPicture> picture;
    QByteArray profile;
    if (type == ContentType::CameraRaw || isRawName(request.fileName)) {
        picture = decodeRaw(contents, request.longestSide);
        // What other decoders find in a damaged camera raw file is its small preview.
        if (!picture && (type == ContentType::CameraRaw || type == ContentType::Tiff)) {
            return DecodedPicture::failed(DecodeError::Damaged);
        }
    }
    if (!picture) {
        picture = decodeOther(contents, type, request, profile);
    }
    if (picture->error == DecodeError::None) {
        const qint64 mostPixels = mostPixelsOf(picture->size, contents.size(), pixelsOfAByte(type));
        finish(*picture, request, mostPixels, profile);
    }
    return *picture;
}

DecodedPicture decodeMovie(int descriptor, const DecodeRequest& request)
{
    const ExtraDecoders* const extra = extraDecoders();
    if (extra == nullptr) {
        return DecodedPicture::failed(DecodeError::NeedsExtraDecoders);
    }
    const auto decode = request.wanted == Wanted::MovieFrame ? extra->decodeMovieFrame : extra->probeMovie;
    return decode != nullptr ? decode(descriptor, request) : DecodedPicture::failed(DecodeError::NotAPicture);
}

} // namespace

DecodedPicture decodePicture(int descriptor, const DecodeRequest& request)
{
    try {
        if (request.wanted != Wanted::Picture) {
            return decodeMovie(descriptor, request);
        }
        DecodeError error = DecodeError::None;
        const auto contents = readContents(descriptor, &error);
        return contents ? decodeContents(*contents, request) : DecodedPicture::failed(error);
    } catch (const std::bad_alloc&) {
        return DecodedPicture::failed(DecodeError::TooLarge);
    }
}

} // namespace frameflow
