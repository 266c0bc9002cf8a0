#include "Enlargement.h"

#include "Reduction.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace frameflow {

namespace {

constexpr uint fractions = 256;

// Where a device pixel lies between two of the picture's.
struct Between
{
    int first;
    int second;
    uint share; // of the second, in 256ths
};

std::vector<Between> places(int from, int count, double begin, double length, int pictureLength)
{
    std::vector<Between> result;
    result.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        const double middle = (from + i + 0.5 - begin) / length * pictureLength - 0.5;
        const double place = std::clamp(middle, 0.0, pictureLength - 1.0);
        const int first = static_cast<int>(place);
        const auto share = static_cast<uint>(std::lround((place - first) * fractions));
        result.push_back({first, std::min(first + 1, pictureLength - 1), share});
    }
    return result;
}

// Two channels at a time, each with room for what it is multiplied with.
QRgb mixed(QRgb first, QRgb second, uint share)
{
    constexpr uint channels = 0x00ff00ff;
    constexpr uint halves = 0x00800080;
    const uint rest = fractions - share;
    const uint low = ((first & channels) * rest + (second & channels) * share + halves) >> 8U & channels;
    const uint high = ((first >> 8U & channels) * rest + (second >> 8U & channels) * share + halves) & ~channels;
    return low | high;
}

const QRgb* line(const QImage& picture, int y)
{
    return reinterpret_cast<const QRgb*>(picture.constScanLine(y));
}

} // namespace

QImage enlarged(const QImage& picture, const QRectF& rect, const QRect& part)
{
    std::vector<Between> columns = places(part.x(), part.width(), rect.x(), rect.width(), picture.width());
    const std::vector<Between> rows = places(part.y(), part.height(), rect.y(), rect.height(), picture.height());
    if (columns.empty() || rows.empty()) {
        return {};
    }
    const int left = columns.front().first;
    const int top = rows.front().first;
    // Few pixels, most often; only they need to be of a format that can be drawn.
    const QImage seen
        = inDrawableFormat(picture.copy(QRect(QPoint(left, top), QPoint(columns.back().second, rows.back().second))));
    QImage result(part.size(), seen.format());
    if (seen.isNull() || result.isNull()) {
        return {};
    }
    for (Between& column : columns) {
        column.first -= left;
        column.second -= left;
    }
    std::vector<QRgb> row(static_cast<size_t>(seen.width()));
    for (int y = 0; y < result.height(); ++y) {
        const Between& place = rows[static_cast<size_t>(y)];
        const QRgb* const above = line(seen, place.first - top);
        const QRgb* const below = line(seen, place.second - top);
        for (size_t x = 0; x < row.size(); ++x) {
            row[x] = mixed(above[x], below[x], place.share);
        }
        auto* const out = reinterpret_cast<QRgb*>(result.scanLine(y));
        std::transform(columns.begin(), columns.end(), out, [&](const Between& column) {
            return mixed(row[static_cast<size_t>(column.first)], row[static_cast<size_t>(column.second)], column.share);
        });
    }
    return result;
}

} // namespace frameflow
