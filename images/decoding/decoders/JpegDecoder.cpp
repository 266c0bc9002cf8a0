#include "JpegDecoder.h"

#include "AreaReduction.h"
#include "Colour.h"
#include "Limits.h"
#include "TargetMemory.h"

#include <QColorSpace>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace frameflow {

namespace {

constexpr int bytesPerPixel = 4;
constexpr int linesAtOnce = 16; // of a block; the decompressor gives fewer
constexpr auto outputOrder = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? JCS_EXT_BGRX : JCS_EXT_XRGB;

// The library's way of failing: back to where the guarded calls began. Between there and here stands nothing that
// would have to be destroyed.
struct Failure
{
    jpeg_error_mgr manager; // the first member: the library knows this alone
    std::jmp_buf place;
};

void fail(j_common_ptr state)
{
    std::longjmp(reinterpret_cast<Failure*>(state->err)->place, 1); // NOLINT(cert-err52-cpp): see above
}

void keepSilent(j_common_ptr /*state*/) { }
void ignoreWarning(j_common_ptr /*state*/, int /*level*/) { }

class Decompressor
{
public:
    Decompressor()
    {
        mState.err = jpeg_std_error(&mFailure.manager);
        mFailure.manager.error_exit = fail;
        mFailure.manager.output_message = keepSilent;
        mFailure.manager.emit_message = ignoreWarning;
    }
    ~Decompressor() { jpeg_destroy_decompress(&mState); }
    Decompressor(const Decompressor&) = delete;
    Decompressor& operator=(const Decompressor&) = delete;

    bool readHeader(const QByteArray& contents)
    {
        return guarded([&] {
            jpeg_create_decompress(&mState);
            jpeg_mem_src(&mState, reinterpret_cast<const uchar*>(contents.constData()),
                static_cast<unsigned long>(contents.size()));
            jpeg_save_markers(&mState, JPEG_APP0 + 2, 0xffff);
            jpeg_read_header(&mState, TRUE);
        });
    }
    QSize size() const { return {static_cast<int>(mState.image_width), static_cast<int>(mState.image_height)}; }
    bool isGrey() const { return mState.jpeg_color_space == JCS_GRAYSCALE; }
    bool isUsual() const
    {
        return mState.data_precision == 8
            && (isGrey() || mState.jpeg_color_space == JCS_YCbCr || mState.jpeg_color_space == JCS_RGB);
    }
    QByteArray profile()
    {
        JOCTET* bytes = nullptr;
        unsigned length = 0;
        guarded([&] { jpeg_read_icc_profile(&mState, &bytes, &length); });
        QByteArray result(reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(length));
        std::free(bytes); // NOLINT(cppcoreguidelines-no-malloc): the library's
        return result;
    }
    bool begin()
    {
        return guarded([&] {
            mState.out_color_space = outputOrder;
            jpeg_start_decompress(&mState);
        });
    }
    // Some more lines of the bitmap; false when the rest cannot be decoded.
    bool readLines(uchar* bits, qsizetype bytesPerLine)
    {
        std::array<JSAMPROW, linesAtOnce> lines{};
        const int first = linesRead();
        const int count = std::min(linesAtOnce, size().height() - first);
        for (int i = 0; i < count; ++i) {
            lines[i] = bits + (first + i) * bytesPerLine;
        }
        return guarded([&] {
            while (linesRead() < first + count) {
                jpeg_read_scanlines(&mState, lines.data() + (linesRead() - first), first + count - linesRead());
            }
        });
    }
    int linesRead() const { return static_cast<int>(mState.output_scanline); }

private:
    template <typename Calls>
    bool guarded(Calls calls)
    {
        if (setjmp(mFailure.place) != 0) { // NOLINT(cert-err52-cpp): the library knows no other way
            return false;
        }
        calls();
        return true;
    }

    Failure mFailure{};
    jpeg_decompress_struct mState{};
};

// In these colours nothing is left to be converted.
bool isSeenAsStored(const QByteArray& profile)
{
    QImage pixel(1, 1, QImage::Format_RGB32);
    if (!profile.isEmpty()) {
        pixel.setColorSpace(QColorSpace::fromIccProfile(profile));
    }
    return isInScreenColours(pixel, {});
}

} // namespace

std::optional<DecodedPicture> decodeJpeg(const QByteArray& contents, const DecodeRequest& request)
{
    Decompressor decompressor;
    if (!decompressor.readHeader(contents) || !decompressor.isUsual()) {
        return std::nullopt;
    }
    const QSize size = decompressor.size();
    const QByteArray profile = decompressor.profile();
    const bool isHeldWhole = !size.isEmpty() && heldSize(size, 0) == size && canDecode(size, bytesPerPixel);
    if (!isHeldWhole || (decompressor.isGrey() && !profile.isEmpty())) {
        return std::nullopt;
    }
    DecodedPicture picture;
    picture.size = size;
    picture.pixels = targetBitmap(size, QImage::Format_RGB32);
    if (picture.pixels.isNull()) {
        return DecodedPicture::failed(DecodeError::TooLarge);
    }
    std::optional<AreaReduction> reduction;
    if (const QSize reduced = request.frame.reductionOf(size, size); AreaReduction::isPossible(size, reduced)) {
        picture.reduced = bitmapBehind(picture.pixels, reduced);
        if (!picture.reduced.isNull()) {
            reduction.emplace(size, reduced);
        }
    }
    PixelWriter* const writer = isSeenAsStored(profile) ? writerFor(picture.pixels) : nullptr;
    uchar* const bits = picture.pixels.bits();
    const qsizetype bytesPerLine = picture.pixels.bytesPerLine();
    bool isGood = decompressor.begin();
    while (isGood && decompressor.linesRead() < size.height()) {
        isGood = decompressor.readLines(bits, bytesPerLine);
        if (isGood && reduction) {
            reduction->advance(bits, bytesPerLine, decompressor.linesRead(), picture.reduced);
        }
        if (isGood && writer != nullptr) {
            writer->advance(decompressor.linesRead());
        }
    }
    if (!isGood) {
        dropWritten();
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    if (!profile.isEmpty()) {
        picture.pixels.setColorSpace(QColorSpace::fromIccProfile(profile));
    }
    return picture;
}

} // namespace frameflow
