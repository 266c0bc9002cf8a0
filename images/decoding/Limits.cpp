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

qint64 mostBytesForDecoding()
{
    // A quarter: two pictures may be decoded at a time, and each is copied once when it is turned.
    static const qint64 bytes = memoryOfMachine() / 4;
    return bytes;
}

bool canDecode(QSize size, int bytesPerPixel)
{
    return !size.isEmpty() && qint64(size.width()) * size.height() <= mostBytesForDecoding() / bytesPerPixel;
}

QSize heldSize(QSize size, int longestSide)
{
    const double width = size.width();
    const double height = size.height();
    double scale = 1;
    if (longestSide > 0) {
        scale = std::min(scale, longestSide / std::max(width, height));
    }
    scale = std::min(scale, std::sqrt(mostPixelsHeld / (width * height)));
    if (scale >= 1) {
        return size;
    }
    // Rounding up could exceed the pixels allowed; the longer side of a thumbnail is exact all the same.
    const auto side = [&](double length) {
        const double scaled = longestSide > 0 ? std::round(length * scale) : std::floor(length * scale);
        return std::max(1, static_cast<int>(scaled));
    };
    return {side(width), side(height)};
}

} // namespace frameflow
