#include "RawDecoder.h"

#include "LargeBitmap.h"
#include "Limits.h"

#include <algorithm>
#include <array>
#include <memory>

#include <libraw/libraw.h>

namespace frameflow {

namespace {

constexpr qint64 megabyte = 1 << 20;

// LibRaw's flip: 1 mirrors left-right, 2 top-bottom, 4 swaps rows with columns.
constexpr std::array orientationOfFlip{1, 2, 4, 3, 5, 8, 6, 7};

// The object is too large for the stack of a thread. Null when LibRaw does not know the file.
std::unique_ptr<LibRaw> openRaw(const QByteArray& contents)
{
    auto raw = std::make_unique<LibRaw>();
    raw->imgdata.params.max_raw_memory_mb
        = static_cast<unsigned>(std::clamp<qint64>(mostBytesForDecoding() / megabyte, 1, 1 << 20));
    // It only reads, whatever the signature says.
    auto* const bytes = const_cast<char*>(contents.constData()); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    if (raw->open_buffer(bytes, contents.size()) != LIBRAW_SUCCESS) {
        return nullptr;
    }
    return raw;
}

QSize sizeOf(const LibRaw& raw)
{
    return {raw.imgdata.sizes.width, raw.imgdata.sizes.height};
}

QImage imageFrom(const libraw_processed_image_t& processed)
{
    const qsizetype line = qsizetype(processed.width) * processed.colors;
    const bool isPlain = processed.type == LIBRAW_IMAGE_BITMAP && processed.bits == 8
        && (processed.colors == 3 || processed.colors == 1)
        && qsizetype(processed.data_size) >= line * processed.height;
    if (!isPlain) {
        return {};
    }
    const auto format = processed.colors == 3 ? QImage::Format_RGB888 : QImage::Format_Grayscale8;
    return inFormat(QImage(processed.data, processed.width, processed.height, line, format), QImage::Format_RGB32);
}

} // namespace

bool readRawHeader(const QByteArray& contents, RawHeader* header)
{
    const auto raw = openRaw(contents);
    if (!raw) {
        return false;
    }
    header->size = sizeOf(*raw);
    header->orientation = orientationOfFlip.at(raw->imgdata.sizes.flip & 7);
    const libraw_thumbnail_t& thumbnail = raw->imgdata.thumbnail;
    if (raw->unpack_thumb() == LIBRAW_SUCCESS && thumbnail.tformat == LIBRAW_THUMBNAIL_JPEG) {
        header->preview = QByteArray(thumbnail.thumb, static_cast<qsizetype>(thumbnail.tlength));
    }
    return true;
}

DecodedPicture developRaw(const QByteArray& contents, int longestSide)
{
    const auto raw = openRaw(contents);
    if (!raw) {
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    // Four samples of two bytes for each pixel while it is developed.
    constexpr int bytesPerPixel = 8;
    DecodedPicture picture;
    picture.size = sizeOf(*raw);
    if (!canDecode(picture.size, bytesPerPixel)) {
        return DecodedPicture::failed(DecodeError::TooLarge);
    }
    auto& parameters = raw->imgdata.params;
    parameters.user_flip = 0;
    parameters.use_camera_wb = 1;
    parameters.output_color = 1; // sRGB
    parameters.output_bps = 8;
    const QSize held = heldSize(picture.size, longestSide);
    parameters.half_size = held.width() * 2 <= picture.size.width() && held.height() * 2 <= picture.size.height();
    if (raw->unpack() != LIBRAW_SUCCESS || raw->dcraw_process() != LIBRAW_SUCCESS) {
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    const std::unique_ptr<libraw_processed_image_t, decltype(&LibRaw::dcraw_clear_mem)> processed(
        raw->dcraw_make_mem_image(), &LibRaw::dcraw_clear_mem);
    picture.pixels = processed ? imageFrom(*processed) : QImage();
    return picture.pixels.isNull() ? DecodedPicture::failed(DecodeError::Damaged) : picture;
}

} // namespace frameflow
