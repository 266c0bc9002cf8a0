#include "Orientation.h"

#include "TargetMemory.h"

#include <algorithm>
#include <array>

namespace frameflow {

namespace {

constexpr int upright = 1;

// One row of the table of transforms; the translations are multiples of the bitmap's width and height.
struct Row
{
    int a, b, c, d;
    int txWidths, txHeights;
    int tyWidths, tyHeights;
};

constexpr std::array<Row, 8> rows{{
    {1, 0, 0, 1, 0, 0, 0, 0},
    {-1, 0, 0, 1, 1, 0, 0, 0},
    {-1, 0, 0, -1, 1, 0, 0, 1},
    {1, 0, 0, -1, 0, 0, 0, 1},
    {0, -1, -1, 0, 0, 1, 1, 0},
    {0, -1, 1, 0, 0, 0, 1, 0},
    {0, 1, 1, 0, 0, 0, 0, 0},
    {0, 1, -1, 0, 0, 1, 0, 0},
}};

// Small enough that the lines of a tile stay in the first-level cache while it is read across them.
constexpr int tile = 32;

struct Source
{
    const uchar* first; // the pixel that becomes the upper left one
    qsizetype across; // bytes to the pixel that becomes its right neighbour
    qsizetype down; // and to the one that becomes its lower neighbour
};

Source sourceOf(const QImage& image, const QTransform& transform)
{
    const int a = qRound(transform.m11());
    const int b = qRound(transform.m12());
    const int c = qRound(transform.m21());
    const int d = qRound(transform.m22());
    // A turn by quarters is undone by its transpose; y points down in memory.
    const qsizetype pixel = 4;
    const qsizetype line = image.bytesPerLine();
    Source source{};
    source.across = a * pixel - c * line;
    source.down = -b * pixel + d * line;
    const bool startsRight = a < 0 || b > 0;
    const bool startsBelow = d < 0 || c > 0;
    source.first = image.constBits() + (startsRight ? (image.width() - 1) * pixel : 0)
        + (startsBelow ? (image.height() - 1) * line : 0);
    return source;
}

} // namespace

int validOrientation(qint64 number)
{
    return number >= 1 && number <= 8 ? static_cast<int>(number) : upright;
}

QSize turnedSize(QSize size, int orientation)
{
    return isTurned(orientation) ? size.transposed() : size;
}

QTransform orientationTransform(QSize bitmap, int orientation)
{
    const Row& row = rows.at(validOrientation(orientation) - 1);
    const double width = static_cast<float>(bitmap.width());
    const double height = static_cast<float>(bitmap.height());
    return {static_cast<double>(row.a), static_cast<double>(row.b), static_cast<double>(row.c),
        static_cast<double>(row.d), row.txWidths * width + row.txHeights * height,
        row.tyWidths * width + row.tyHeights * height};
}

QImage turnedUpright(const QImage& image, const QTransform& transform)
{
    if (image.depth() != 32) {
        return {};
    }
    const bool turned = qRound(transform.m11()) == 0;
    QImage result = targetBitmap(turned ? image.size().transposed() : image.size(), image.format());
    if (result.isNull()) {
        return {};
    }
    const Source source = sourceOf(image, transform);
    uchar* const target = result.bits();
    const qsizetype line = result.bytesPerLine();
    for (int top = 0; top < result.height(); top += tile) {
        const int bottom = std::min(top + tile, result.height());
        for (int left = 0; left < result.width(); left += tile) {
            const int right = std::min(left + tile, result.width());
            for (int y = top; y < bottom; ++y) {
                const uchar* from = source.first + left * source.across + y * source.down;
                auto* to = reinterpret_cast<quint32*>(target + y * line) + left;
                for (int x = left; x < right; ++x, from += source.across) {
                    *to++ = *reinterpret_cast<const quint32*>(from);
                }
            }
        }
    }
    return result;
}

} // namespace frameflow
