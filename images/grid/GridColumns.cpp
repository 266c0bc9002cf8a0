#include "GridColumns.h"

#include <algorithm>
#include <cmath>

namespace frameflow {

GridColumns columnsForWidth(double windowWidth, double rowHeight)
{
    const double available = windowWidth - gridSpacing;
    const double step = rowHeight * 1.5;
    const double fitting = std::trunc(std::max(available / step, 0.0));
    if (!(fitting >= 1)) {
        return {1, static_cast<int>(step) - gridSpacing};
    }
    return {static_cast<int>(fitting), static_cast<int>(available / fitting - 0.5) - gridSpacing};
}

qint64 rowsFor(size_t files, int columns)
{
    const auto count = static_cast<qint64>(files);
    return count / columns + (count % columns > 0 ? 1 : 0);
}

} // namespace frameflow
