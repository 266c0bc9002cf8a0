#pragma once

#include "GridColumns.h"

#include <QPoint>
#include <QRect>
#include <QSize>

#include <optional>

namespace frameflow {

struct GridPlace
{
    qint64 row = 0;
    int column = 0;

    friend bool operator==(const GridPlace&, const GridPlace&) = default;
};

// Which rows are to be seen; none where the last is before the first.
struct GridRows
{
    qint64 first = 0;
    qint64 last = -1;

    bool isEmpty() const { return last < first; }
    bool contains(qint64 row) const { return row >= first && row <= last; }
    friend bool operator==(const GridRows&, const GridRows&) = default;
};

// Where the cells of a grid are: plain arithmetic that keeps nothing for each file. Logical pixels; y is counted from
// the top of the first row, x from the left edge of the view.
struct GridGeometry
{
    GridColumns columns;
    qint64 rows = 0;
    int rowHeight = 0; // of a cell, without the spacing
    QSize view; // what is seen of the grid at a time
    bool isMirrored = false; // the first column is the rightmost

    int rowStep() const { return rowHeight + gridSpacing; }
    qint64 contentHeight() const { return rows * rowStep(); }
    int contentWidth() const { return columns.count * (columns.width + gridSpacing); }

    // The cell's left edge when nothing is scrolled to the side: the columns stand in the middle of a wider view.
    int left(int column) const;
    // The cell in a view whose upper edge is at that height of the content.
    QRect cellRect(GridPlace place, qint64 top) const;
    GridRows visibleRows(qint64 top) const;
    // The place in the content that a point of such a view is in, the cell's half of the spacing included; absent
    // beside the columns and below the rows.
    std::optional<GridPlace> placeAt(QPoint point, qint64 top) const;
    // How far the content must be scrolled from the top so that the row is whole in view.
    qint64 topToShow(qint64 row, qint64 top) const;
};

} // namespace frameflow
