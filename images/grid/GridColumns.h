#pragma once

#include <QtGlobal>

namespace frameflow {

// Between two cells of the grid, in logical pixels, in both directions.
constexpr int gridSpacing = 24;

// The columns of the grid, all of the same width. Lengths are logical pixels.
struct GridColumns
{
    int count = 1;
    int width = 0; // without the spacing

    friend bool operator==(const GridColumns&, const GridColumns&) = default;
};

// As many columns as fill a window of that width, each at least one and a half times as wide as a row is high; one, as
// wide as that, where there is no room for it. Any numbers.
GridColumns columnsForWidth(double windowWidth, double rowHeight);

// Zero without files. There is at least one column.
qint64 rowsFor(size_t files, int columns);

} // namespace frameflow
