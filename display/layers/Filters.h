#pragma once

#include "Coordinates.h"

#include <QString>

#include <optional>
#include <vector>

namespace frameflow {

class Bands;

// The picture filters that lead from one drawing to another. Each gives every point of the view a share of the target,
// which grows from 0 to 1 as time passes.
enum class TransitionFilter
{
    BarsSwipe, // upright bars that all open from right to left, the right one first
    Mod, // holes in rings about the middle, warped around it, that grow together
    Swipe, // a soft edge that passes from right to left
};

// Absent for a name that is no filter's.
std::optional<TransitionFilter> transitionFilter(const QString& name);

// The measures of the filters, in points.
namespace filters {

constexpr double barWidth = 30;
constexpr double barOffset = 10; // how far the last bar to open lags behind the first

constexpr double modRadius = 150; // from the middle to the first gap between rings
constexpr double modCompression = 300; // the distance at which the rings are twice as far apart as in the middle
constexpr int modSectors = 8; // holes in a ring; even, so that the view looks the same upside down
constexpr double modTwist = 0.5; // how far each ring is turned against the one inside it, in holes
constexpr double modSoftness = 0.15; // of a hole's edge, as a part of its size
constexpr double modSpread = 0.8; // how much later the corners open than the middle, in openings of one hole

constexpr double swipeWidth = 300; // of the soft edge

} // namespace filters

// What a filter does to a view at one moment, in shares of 256. May be read by several threads at once.
class FilterShares
{
public:
    static constexpr int whole = 256;

    // The extent is the filter's in points; the view's area if it is empty.
    void prepare(TransitionFilter filter, double progress, const QRectF& extent, const ViewArea& area, Bands& bands);

    // The shares of one row of device pixels, counted from the upper edge. They stand in the room given, which has the
    // width of the view, or in this object, and hold until the room or this object changes.
    const quint16* row(int y, std::vector<quint16>& room) const;

private:
    void prepareBars(double progress, const ViewArea& area);
    void prepareSwipe(double progress, const QRectF& extent, const ViewArea& area);
    void prepareMod(const ViewArea& area, Bands& bands);

    TransitionFilter mFilter = TransitionFilter::Swipe;
    std::vector<quint16> mRow; // where all rows are alike
    // When each pixel of the upper half of the view opens, for "Mod".
    std::vector<quint16> mOpening;
    QSize mOpeningPixels; // of the whole view
    double mOpeningScale = 0;
    int mModLevel = 0;
};

} // namespace frameflow
