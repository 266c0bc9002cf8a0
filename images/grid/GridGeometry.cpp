#include "GridGeometry.h"

#include <algorithm>

namespace frameflow {

int GridGeometry::left(int column) const
{
    const int margin = std::max(0, (view.width() - contentWidth()) / 2);
    const int place = isMirrored ? columns.count - 1 - column : column;
    return margin + place * (columns.width + gridSpacing) + gridSpacing / 2;
}

QRect GridGeometry::cellRect(GridPlace place, qint64 top) const
{
    const qint64 y = place.row * rowStep() + gridSpacing / 2 - top;
    return {left(place.column), static_cast<int>(y), columns.width, rowHeight};
}

GridRows GridGeometry::visibleRows(qint64 top) const
{
    if (view.height() <= 0) {
        return {};
    }
    const qint64 bottom = std::max<qint64>(0, top + view.height() - 1);
    return {std::max<qint64>(0, top) / rowStep(), std::min(rows - 1, bottom / rowStep())};
}

std::optional<GridPlace> GridGeometry::placeAt(QPoint point, qint64 top) const
{
    const qint64 y = top + point.y();
    const int columnStep = columns.width + gridSpacing;
    const int x = point.x() - std::max(0, (view.width() - contentWidth()) / 2);
    if (y < 0 || y >= contentHeight() || x < 0 || x >= contentWidth()) {
        return std::nullopt;
    }
    const int place = x / columnStep;
    return GridPlace{y / rowStep(), isMirrored ? columns.count - 1 - place : place};
}

qint64 GridGeometry::topToShow(qint64 row, qint64 top) const
{
    const qint64 rowTop = row * rowStep();
    if (rowTop < top || view.height() < rowStep()) {
        return rowTop;
    }
    return std::max(top, rowTop + rowStep() - view.height());
}

} // namespace frameflow
