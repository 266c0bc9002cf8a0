#include "Limits.h"

#include <algorithm>
#include <cmath>

#include <unistd.h>

namespace frameflow {

namespace {

// Where the machine does not tell.
constexpr qint64 assumedMemory = qint64(4) << 30;

qint64 memoryOfMachine()
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    return pages > 0 && pageSize > 0 ? qint64(pages) * pageSize : assumedMemory;
}

} // namespace

qint64 mostBytesOfMachine()
{
    // A quarter: two pictures may be decoded at a time, and each is copied once when it is turned.
    static const qint64 bytes = memoryOfMachine() / 4;
    return bytes;
}

qint64 mostBytesForDecoding()
{
    // Nowhere more than the largest cameras' raw pictures take, so that a small file is as harmless on a large machine
    // as on any other.
    constexpr qint64 anywhere = qint64(1280) << 20;
    return std::min(mostBytesOfMachine(), anywhere);
}

bool canDecode(QSize size, int bytesPerPixel)
{
    constexpr int longest = 1'000'000; // as libpng has it
    return !size.isEmpty() && size.width() <= longest && size.height() <= longest
        && qint64(size.width()) * size.height() <= mostBytesForDecoding() / bytesPerPixel;
}

bool canDecodeInStrips(QSize size, int bytesPerPixel)
{
    // Some hundreds of lines are in memory at a time.
    constexpr int longest = 100'000;
    // As PNG, a gigapixel of three bytes each takes 9 to 15 of the 20 seconds that a decoder has.
    constexpr qint64 mostBytes = 3'300'000'000;
    return !size.isEmpty() && size.width() <= longest && size.height() <= longest
        && qint64(size.width()) * size.height() * bytesPerPixel <= mostBytes;
}

qint64 mostPixelsOf(QSize size, qint64 fileBytes, qint64 pixelsOfAByte)
{
    // Screens have 33 million pixels at most, and what is shown there is to be seen as it is, however little there is.
    constexpr qint64 largestScreen = 40'000'000;
    constexpr qint64 mostPixelsOfLittle = 24'000'000;
    const qint64 pixels = qint64(size.width()) * size.height();
    return pixels > largestScreen && fileBytes < pixels / pixelsOfAByte ? mostPixelsOfLittle : mostPixelsHeld;
}

QSize heldSize(QSize size, int longestSide, qint64 mostPixels)
{
    const double width = size.width();
    const double height = size.height();
    double scale = 1;
    if (longestSide > 0) {
        scale = std::min(scale, longestSide / std::max(width, height));
    }
    scale = std::min(scale, std::sqrt(static_cast<double>(mostPixels) / (width * height)));
    if (scale >= 1) {
        return size;
    }
    // The longer side of a thumbnail is exact.
    const auto side = [&](double length) {
        const double scaled = longestSide > 0 ? std::round(length * scale) : std::floor(length * scale);
        return std::max(1, static_cast<int>(scaled));
    };
    QSize held(side(width), side(height));
    // Rounding up, or a side that cannot get any smaller, could exceed the pixels allowed.
    int& longer = width > height ? held.rwidth() : held.rheight();
    longer = static_cast<int>(std::min<qint64>(longer, mostPixels / std::min(held.width(), held.height())));
    return held;
}

} // namespace frameflow
