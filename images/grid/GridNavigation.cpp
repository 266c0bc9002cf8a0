#include "GridNavigation.h"

#include <algorithm>

namespace frameflow {

namespace {

qint64 sideways(qint64 from, qint64 files, qint64 steps)
{
    return std::clamp<qint64>(from + steps, 0, files - 1);
}

qint64 rowsOn(qint64 from, const GridNavigation& grid, qint64 rows)
{
    const qint64 lastRow = (grid.files - 1) / grid.columns;
    const qint64 row = std::clamp<qint64>(from / grid.columns + rows, 0, lastRow);
    return std::min(row * grid.columns + from % grid.columns, grid.files - 1);
}

} // namespace

std::optional<qint64> selectionAfterKey(int key, std::optional<qint64> selected, const GridNavigation& grid)
{
    const bool moves = key == Qt::Key_Left || key == Qt::Key_Right || key == Qt::Key_Up || key == Qt::Key_Down
        || key == Qt::Key_PageUp || key == Qt::Key_PageDown;
    if (grid.files == 0) {
        return std::nullopt;
    }
    if (moves && !selected) {
        return std::clamp<qint64>(grid.firstInView, 0, grid.files - 1);
    }
    const qint64 from = selected.value_or(0);
    const qint64 forward = grid.isMirrored ? -1 : 1;
    switch (key) {
    case Qt::Key_Left:
        return sideways(from, grid.files, -forward);
    case Qt::Key_Right:
        return sideways(from, grid.files, forward);
    case Qt::Key_Up:
        return rowsOn(from, grid, -1);
    case Qt::Key_Down:
        return rowsOn(from, grid, 1);
    case Qt::Key_PageUp:
        return rowsOn(from, grid, -grid.rowsOnPage);
    case Qt::Key_PageDown:
        return rowsOn(from, grid, grid.rowsOnPage);
    case Qt::Key_Home:
        return 0;
    case Qt::Key_End:
        return grid.files - 1;
    default:
        return std::nullopt;
    }
}

} // namespace frameflow
