#include "Decode.h"

#include "Colour.h"
#include "ContentType.h"
#include "FileContents.h"
#include "FileTypes.h"
#include "Limits.h"
#include "Metadata.h"
#include "Orientation.h"
#include "QtDecoder.h"

#include <QColorSpace>

#include <new>

namespace frameflow {

namespace {

DecodedPicture decodeByContents(const QByteArray& contents, ContentType type, int longestSide)
{
    if (type == ContentType::Unknown) {
        return DecodedPicture::failed(DecodeError::NotAPicture);
    }
    if (isQtType(type)) {
        return decodeWithQt(contents, type, longestSide);
    }
    return DecodedPicture::failed(DecodeError::NotAPicture);
}

// Reduces, converts the colours and turns, each only where it is needed.
void finish(DecodedPicture& picture, const DecodeRequest& request)
{
    const QSize held = heldSize(picture.pixels.size(), request.longestSide);
    if (held != picture.pixels.size()) {
        if (picture.pixels.hasAlphaChannel()) {
            picture.pixels.convertTo(QImage::Format_ARGB32_Premultiplied);
        }
        picture.pixels = picture.pixels.scaled(held, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    picture.pixels = toScreenColours(std::move(picture.pixels));
    if (request.turn == Turn::Upright && picture.orientation != 1) {
        QImage upright
            = turnedUpright(picture.pixels, orientationTransform(picture.pixels.size(), picture.orientation));
        if (!upright.isNull()) {
            picture.pixels = std::move(upright);
            picture.size = turnedSize(picture.size, picture.orientation);
            picture.orientation = 1;
        }
    }
    if (picture.pixels.isNull()) {
        picture = DecodedPicture::failed(DecodeError::TooLarge);
    }
}

DecodedPicture decodeContents(const QByteArray& contents, const DecodeRequest& request)
{
    const ContentType type = contentType(contents, request.fileName);
    const Metadata metadata = readMetadata(contents, StoredThumbnail::Skip, 0);
    DecodedPicture picture = decodeByContents(contents, type, request.longestSide);
    if (picture.error != DecodeError::None) {
        return picture;
    }
    picture.orientation = validOrientation(metadata.orientation);
    finish(picture, request);
    return picture;
}

} // namespace

DecodedPicture decodePicture(int descriptor, const DecodeRequest& request)
{
    try {
        DecodeError error = DecodeError::None;
        const auto contents = readContents(descriptor, &error);
        return contents ? decodeContents(*contents, request) : DecodedPicture::failed(error);
    } catch (const std::bad_alloc&) {
        return DecodedPicture::failed(DecodeError::TooLarge);
    }
}

} // namespace frameflow
