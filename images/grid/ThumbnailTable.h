#pragma once

#include "GridGeometry.h"

#include <QAbstractScrollArea>
#include <QHash>

#include <functional>
#include <optional>
#include <vector>

namespace frameflow {

// The grid itself: rows and columns of cells, of which only those in view exist, and a hundred spare ones at most. It
// knows no files. One cell is the selected one; the keyboard moves it. Main thread only.
class ThumbnailTable : public QAbstractScrollArea
{
    Q_OBJECT

public:
    struct DataSource
    {
        std::function<qint64()> numberOfRows;
        std::function<size_t()> numberOfFiles; // what the selection can be moved to
        // The cell for a place, filled: a new widget or one of takeSpareCell(). The table owns it and places it.
        std::function<QWidget*(int column, qint64 row)> viewFor;
    };

    explicit ThumbnailTable(QWidget* parent = nullptr);

    void setDataSource(DataSource source);
    void setRowHeight(int height);
    int rowHeight() const { return mGeometry.rowHeight; }

    // Keeps the first file in view in view. The cells are filled anew by the next reload.
    void setColumns(const GridColumns& columns);
    const GridColumns& columns() const { return mGeometry.columns; }
    int numberOfColumns() const { return mGeometry.columns.count; }
    qint64 numberOfRows() const { return mGeometry.rows; }

    // Asks for the number of rows and fills all cells in view again.
    void reload();
    // A cell that is not needed any more, to be filled again; null where there is none.
    QWidget* takeSpareCell();
    // In their order.
    std::vector<QWidget*> visibleCells() const;
    GridRows visibleRows() const { return mGeometry.visibleRows(mTop); }
    size_t spareCells() const { return mSpare.size(); }

    // Absent without a file.
    std::optional<size_t> selected() const { return mSelected; }
    void select(std::optional<size_t> index);
    void scrollTo(size_t index);
    // With the row in the middle of the view, also when that is resized, until it is scrolled otherwise.
    void scrollToMiddle(size_t index);
    bool isInView(size_t index) const;

Q_SIGNALS:
    // Others are in view, or the same with other contents.
    void visibleCellsChanged();
    // By the keyboard or the mouse.
    void selectionMoved(size_t index);
    void opened(size_t index);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    QSize viewportSizeHint() const override;

private:
    void updateRanges();
    void layOutCells();
    void trimSpare();
    void moveSelection(size_t index);
    std::optional<size_t> indexAt(QPoint point) const;
    QRect selectionRect() const;
    void tellAccessibility();

    DataSource mSource;
    GridGeometry mGeometry;
    qint64 mTop = 0; // of the content that is in view
    QHash<qint64, QWidget*> mCells; // by row and column in one number
    std::vector<QWidget*> mSpare; // hidden
    std::vector<QWidget*> mRecycled; // in the middle of a layout: still shown where they were
    std::optional<size_t> mSelected;
    std::optional<size_t> mInMiddle;
    bool mIsPlacing = false; // the scroll bars
};

} // namespace frameflow
