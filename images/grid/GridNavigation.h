#pragma once

#include <qnamespace.h>

#include <optional>

namespace frameflow {

// What the keys that move the selection depend on.
struct GridNavigation
{
    qint64 files = 0;
    int columns = 1;
    qint64 rowsOnPage = 1;
    qint64 firstInView = 0; // index of the first file in view
    bool isMirrored = false; // the first column is the rightmost
};

// Where a key (Qt::Key) leads the selection; absent for one that moves nothing. Sideways from file to file, to the next
// row too; up and down within a column, at the end to the last file of a row that is not full; without a selection to
// the first file in view.
std::optional<qint64> selectionAfterKey(int key, std::optional<qint64> selected, const GridNavigation& grid);

} // namespace frameflow
