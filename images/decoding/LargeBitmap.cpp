#include "LargeBitmap.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include <sys/mman.h>

namespace frameflow {

namespace {

constexpr size_t largePage = size_t(2) * 1024 * 1024;
// Below this the wasted part of the last page weighs more.
constexpr size_t leastLarge = 4 * largePage;

struct Mapping
{
    void* start;
    size_t length;
};

void unmap(void* info)
{
    const std::unique_ptr<Mapping> mapping(static_cast<Mapping*>(info));
    munmap(mapping->start, mapping->length);
}

} // namespace

QImage largeBitmap(QSize size, QImage::Format format)
{
    const int depth = QImage::toPixelFormat(format).bitsPerPixel();
    const size_t line = (size_t(size.width()) * depth + 31) / 32 * 4;
    const size_t length = line * size.height();
    if (size.isEmpty() || depth < 8 || length < leastLarge) {
        return {size, format};
    }
    // One page more than needed, so that an aligned start lies within.
    const size_t mapped = (length / largePage + 2) * largePage;
    void* const start = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (start == MAP_FAILED) {
        return {};
    }
    const size_t past = reinterpret_cast<quintptr>(start) % largePage;
    uchar* const aligned = static_cast<uchar*>(start) + (past == 0 ? 0 : largePage - past);
    madvise(aligned, mapped - largePage, MADV_HUGEPAGE);
    auto mapping = std::make_unique<Mapping>(Mapping{start, mapped});
    QImage image(aligned, size.width(), size.height(), static_cast<qsizetype>(line), format, unmap, mapping.get());
    if (image.isNull()) {
        unmap(mapping.release());
        return {};
    }
    static_cast<void>(mapping.release()); // the image unmaps it
    return image;
}

QImage inFormat(QImage image, QImage::Format format)
{
    if (image.isNull() || image.format() == format) {
        return image;
    }
    constexpr int fullDepth = 32;
    const bool isInPlace
        = image.isDetached() && image.depth() == fullDepth && QImage::toPixelFormat(format).bitsPerPixel() == fullDepth;
    QImage result = isInPlace ? QImage() : largeBitmap(image.size(), format);
    if (!isInPlace && result.isNull()) {
        return {};
    }
    const uchar* const from = image.constBits();
    uchar* const to = isInPlace ? image.bits() : result.bits();
    const qsizetype line = isInPlace ? image.bytesPerLine() : result.bytesPerLine();
    // Lines that stay in the cache, and too few for Qt to take threads of its own.
    constexpr int bandPixels = 32'000;
    const int bandHeight = std::max(1, bandPixels / image.width());
    for (int top = 0; top < image.height(); top += bandHeight) {
        const int height = std::min(bandHeight, image.height() - top);
        QImage band(from + top * image.bytesPerLine(), image.width(), height, image.bytesPerLine(), image.format());
        band.setColorTable(image.colorTable());
        const QImage converted = band.convertToFormat(format);
        const qsizetype length = qsizetype(image.width()) * converted.depth() / 8;
        for (int y = 0; y < height; ++y) {
            std::memcpy(to + (top + y) * line, converted.constScanLine(y), length);
        }
    }
    if (!isInPlace) {
        return result;
    }
    image.reinterpretAsFormat(format);
    return image;
}

} // namespace frameflow
