#include "Filters.h"

#include "Bands.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace frameflow {

namespace {

struct FilterRow
{
    QLatin1String name;
    TransitionFilter filter;
};

constexpr std::array filterTable{
    FilterRow{QLatin1String("CIBarsSwipeTransition"), TransitionFilter::BarsSwipe},
    FilterRow{QLatin1String("CIModTransition"), TransitionFilter::Mod},
    FilterRow{QLatin1String("CISwipeTransition"), TransitionFilter::Swipe},
};

quint16 asShare(double value)
{
    return static_cast<quint16>(std::lround(std::clamp(value, 0.0, 1.0) * FilterShares::whole));
}

// The steps in which an opening is counted: so many that a soft edge has one for each share.
constexpr double stepsOfOpening = FilterShares::whole / filters::modSoftness;

// The ring of holes at a distance from the middle, and how far it is from the ring's inner to its outer border.
float ringAt(float distance)
{
    using namespace filters;
    return static_cast<float>(modCompression / modRadius) * std::log1p(distance / static_cast<float>(modCompression));
}

// How large its hole is when it reaches a point, from 0 in the hole's middle to 1 in the farthest corner of its cell.
float sizeOfHoleAt(float x, float y, float ring)
{
    using namespace filters;
    const float outwards = 2 * (ring - std::floor(ring + 0.5F));
    const float turn = std::atan2(y, x) * static_cast<float>(modSectors / (2 * std::numbers::pi))
        + static_cast<float>(modTwist) * ring;
    // The hole in the middle is alone, and passes into the ring around it.
    const float around = (2 * (turn - std::floor(turn)) - 1) * std::min(2 * ring, 1.0F);
    return std::sqrt((outwards * outwards + around * around) / 2);
}

} // namespace

std::optional<TransitionFilter> transitionFilter(const QString& name)
{
    const auto row = std::find_if(
        filterTable.begin(), filterTable.end(), [&](const FilterRow& candidate) { return name == candidate.name; });
    return row == filterTable.end() ? std::nullopt : std::optional(row->filter);
}

void FilterShares::prepare(
    TransitionFilter filter, double progress, const QRectF& extent, const ViewArea& area, Bands& bands)
{
    mFilter = filter;
    switch (filter) {
    case TransitionFilter::BarsSwipe:
        prepareBars(progress, area);
        break;
    case TransitionFilter::Swipe:
        prepareSwipe(progress, extent, area);
        break;
    case TransitionFilter::Mod:
        prepareMod(area, bands);
        mModLevel = static_cast<int>(std::lround(
            (1 + filters::modSoftness) * (1 + filters::modSpread) * std::clamp(progress, 0.0, 1.0) * stepsOfOpening));
        break;
    }
}

void FilterShares::prepareBars(double progress, const ViewArea& area)
{
    using namespace filters;
    const int width = area.pixels().width();
    const double scale = area.pixelsPerPoint;
    const double travel = progress * (barWidth + barOffset);
    mRow.resize(width);
    for (int x = 0; x < width; ++x) {
        const double fromRight = area.size.width() - (x + 0.5) / scale;
        const double bar = std::floor(fromRight / barWidth);
        const double lag = barOffset * std::clamp(bar * barWidth / area.size.width(), 0.0, 1.0);
        // The edge is as soft as a pixel is wide.
        mRow[x] = asShare((travel - lag - (fromRight - bar * barWidth)) * scale + 0.5);
    }
}

void FilterShares::prepareSwipe(double progress, const QRectF& extent, const ViewArea& area)
{
    using namespace filters;
    const QRectF swept = extent.isEmpty() ? QRectF(QPointF(), area.size) : extent;
    const int width = area.pixels().width();
    const double edge = swept.right() - progress * (swept.width() + swipeWidth);
    mRow.resize(width);
    for (int x = 0; x < width; ++x) {
        const double passed = std::clamp(((x + 0.5) / area.pixelsPerPoint - edge) / swipeWidth, 0.0, 1.0);
        mRow[x] = asShare(passed * passed * (3 - 2 * passed));
    }
}

void FilterShares::prepareMod(const ViewArea& area, Bands& bands)
{
    using namespace filters;
    const QSize pixels = area.pixels();
    if (mOpeningPixels == pixels && mOpeningScale == area.pixelsPerPoint) {
        return;
    }
    mOpeningPixels = pixels;
    mOpeningScale = area.pixelsPerPoint;
    const int columns = pixels.width();
    const int rows = (pixels.height() + 1) / 2;
    mOpening.resize(static_cast<size_t>(columns) * static_cast<size_t>(rows));
    const auto scale = static_cast<float>(area.pixelsPerPoint);
    const QPointF corner = QPointF(pixels.width(), pixels.height()) / (2 * area.pixelsPerPoint);
    const float outermost = ringAt(static_cast<float>(std::hypot(corner.x(), corner.y())));
    bands.forEach(rows, [&](int first, int last) {
        for (int row = first; row < last; ++row) {
            const float y = (static_cast<float>(row) + 0.5F - static_cast<float>(pixels.height()) / 2) / scale;
            quint16* const out = mOpening.data() + static_cast<size_t>(row) * static_cast<size_t>(columns);
            for (int column = 0; column < columns; ++column) {
                const float x = (static_cast<float>(column) + 0.5F - static_cast<float>(pixels.width()) / 2) / scale;
                const float ring = ringAt(std::sqrt(x * x + y * y));
                const float opening
                    = sizeOfHoleAt(x, y, ring) + static_cast<float>((1 + modSoftness) * modSpread) * ring / outermost;
                out[column] = static_cast<quint16>(std::lround(opening * static_cast<float>(stepsOfOpening)));
            }
        }
    });
}

const quint16* FilterShares::row(int y, std::vector<quint16>& room) const
{
    if (mFilter != TransitionFilter::Mod) {
        return mRow.data();
    }
    const int width = mOpeningPixels.width();
    const bool isUpper = y < (mOpeningPixels.height() + 1) / 2;
    const auto half = static_cast<size_t>(isUpper ? y : mOpeningPixels.height() - 1 - y);
    const quint16* const opening = mOpening.data() + half * static_cast<size_t>(width);
    const auto share = [&](quint16 opened) { return static_cast<quint16>(std::clamp(mModLevel - opened, 0, whole)); };
    if (isUpper) {
        std::transform(opening, opening + width, room.begin(), share);
    } else {
        std::transform(opening, opening + width, room.rbegin(), share);
    }
    return room.data();
}

} // namespace frameflow
