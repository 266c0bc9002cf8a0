#include "MoviePicture.h"

#include "LargeBitmap.h"
#include "MovieColour.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace frameflow {

namespace {

// The filters of libswscale are no longer than this allows.
constexpr int mostReduced = 16;

struct Layout
{
    AVPixelFormat format;
    bool isFullRange;
};

// The formats whose names stand for the range as well are older than the mark for it.
Layout layoutOf(const AVFrame& frame)
{
    const bool isFull = numberOf(frame.color_range) == AVCOL_RANGE_JPEG;
    switch (frame.format) {
    case AV_PIX_FMT_YUVJ411P:
        return {AV_PIX_FMT_YUV411P, true};
    case AV_PIX_FMT_YUVJ420P:
        return {AV_PIX_FMT_YUV420P, true};
    case AV_PIX_FMT_YUVJ422P:
        return {AV_PIX_FMT_YUV422P, true};
    case AV_PIX_FMT_YUVJ440P:
        return {AV_PIX_FMT_YUV440P, true};
    case AV_PIX_FMT_YUVJ444P:
        return {AV_PIX_FMT_YUV444P, true};
    default:
        return {static_cast<AVPixelFormat>(frame.format), isFull};
    }
}

int matrixOf(const AVFrame& frame)
{
    switch (numberOf(frame.colorspace)) {
    case AVCOL_SPC_BT709:
        return SWS_CS_ITU709;
    case AVCOL_SPC_FCC:
        return SWS_CS_FCC;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
        return SWS_CS_ITU601;
    case AVCOL_SPC_SMPTE240M:
        return SWS_CS_SMPTE240M;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
        return SWS_CS_BT2020;
    default:
        // Larger than the television of its days: made for the newer one.
        return frame.width >= 1280 || frame.height > 576 ? SWS_CS_ITU709 : SWS_CS_ITU601;
    }
}

bool hasAlpha(AVPixelFormat format)
{
    const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
    return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

// The frame in red, green and blue, without regard to what these stand for.
QImage scaled(const AVFrame& frame, QSize size, QImage::Format format, AVPixelFormat pixels)
{
    const Layout layout = layoutOf(frame);
    const QSize made(std::max(size.width(), (frame.width + mostReduced - 1) / mostReduced),
        std::max(size.height(), (frame.height + mostReduced - 1) / mostReduced));
    if (sws_isSupportedInput(layout.format) == 0) {
        return {};
    }
    constexpr int flags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
    const FfmpegPtr<SwsContext> scaler(sws_getContext(frame.width, frame.height, layout.format, made.width(),
        made.height(), pixels, flags, nullptr, nullptr, nullptr));
    QImage image = scaler ? largeBitmap(made, format) : QImage();
    if (image.isNull()) {
        return {};
    }
    // Without effect where there is nothing to be converted.
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(matrixOf(frame)), layout.isFullRange ? 1 : 0,
        sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, one, one);
    uint8_t* const target[] = {image.bits(), nullptr, nullptr, nullptr};
    const int lines[] = {static_cast<int>(image.bytesPerLine()), 0, 0, 0};
    if (sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, target, lines) <= 0) {
        return {};
    }
    return made == size ? image : image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

QImage onBlack(QImage image)
{
    image.convertTo(QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < image.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(y));
        std::for_each(line, line + image.width(), [](QRgb& pixel) { pixel |= 0xff000000U; });
    }
    image.reinterpretAsFormat(QImage::Format_RGB32);
    return image;
}

} // namespace

int orientationOf(const AVStream* stream)
{
    size_t length = 0;
    const auto* const matrix
        = reinterpret_cast<const int32_t*>(av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &length));
    if (matrix == nullptr || length < 9 * sizeof(int32_t)) {
        return 1;
    }
    // Rows of the two unit vectors as they are shown, y down.
    const qint64 xx = matrix[0];
    const qint64 xy = matrix[1];
    const qint64 yx = matrix[3];
    const qint64 yy = matrix[4];
    if (std::abs(xx) + std::abs(yy) >= std::abs(xy) + std::abs(yx)) {
        return xx >= 0 ? (yy >= 0 ? 1 : 4) : (yy >= 0 ? 2 : 3);
    }
    return xy >= 0 ? (yx >= 0 ? 5 : 6) : (yx >= 0 ? 8 : 7);
}

bool isMirrored(int orientation)
{
    return orientation == 2 || orientation == 4 || orientation == 5 || orientation == 7;
}

int rotationOf(int orientation)
{
    switch (orientation) {
    case 3:
    case 4:
        return 180;
    case 6:
    case 7:
        return 90;
    case 5:
    case 8:
        return 270;
    default:
        return 0;
    }
}

QSize squareSize(QSize stored, AVRational pixelShape)
{
    if (pixelShape.num <= 0 || pixelShape.den <= 0) {
        return stored;
    }
    const double ratio = av_q2d(pixelShape);
    const auto stretched = [](int side, double by) {
        return static_cast<int>(std::min<double>(std::round(side * by), std::numeric_limits<int>::max()));
    };
    return ratio >= 1 ? QSize(stretched(stored.width(), ratio), stored.height())
                      : QSize(stored.width(), stretched(stored.height(), 1 / ratio));
}

QImage pictureOf(const AVFrame& frame, QSize size)
{
    const ColourConversion conversion = colourConversionFor(frame);
    if (conversion.isNeeded()) {
        const QImage wide = scaled(frame, size, QImage::Format_RGBX64, AV_PIX_FMT_RGBA64);
        return wide.isNull() ? QImage() : conversion.toScreen(wide);
    }
    // Eight bits a channel in one word, in the order of this machine.
    if (hasAlpha(static_cast<AVPixelFormat>(frame.format))) {
        QImage image = scaled(frame, size, QImage::Format_ARGB32, AV_PIX_FMT_RGB32);
        return image.isNull() ? image : onBlack(std::move(image));
    }
    return scaled(frame, size, QImage::Format_RGB32, AV_PIX_FMT_RGB32);
}

} // namespace frameflow
