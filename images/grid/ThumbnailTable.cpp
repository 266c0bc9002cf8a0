#include "ThumbnailTable.h"

#include "GridNavigation.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <limits>
#include <utility>

namespace frameflow {

namespace {

constexpr size_t mostSpareCells = 100;
// How far the mark of the selected cell reaches out of it.
constexpr int selectionMargin = 8;

int toScrollBar(qint64 length)
{
    return static_cast<int>(std::clamp<qint64>(length, 0, std::numeric_limits<int>::max()));
}

} // namespace

ThumbnailTable::ThumbnailTable(QWidget* parent) : QAbstractScrollArea(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setFrameShape(QFrame::NoFrame);
}

void ThumbnailTable::setDataSource(DataSource source)
{
    mSource = std::move(source);
}

void ThumbnailTable::setRowHeight(int height)
{
    mGeometry.rowHeight = height;
    verticalScrollBar()->setSingleStep(mGeometry.rowStep() / 3); // a notch of the wheel is three of them: a row
    horizontalScrollBar()->setSingleStep(mGeometry.rowStep() / 3);
}

// ---- Cells

void ThumbnailTable::setColumns(const GridColumns& columns)
{
    if (columns == mGeometry.columns) {
        return;
    }
    const qint64 firstRow = mTop / mGeometry.rowStep();
    const qint64 firstIndex = firstRow * mGeometry.columns.count;
    const qint64 offset = mTop - firstRow * mGeometry.rowStep();
    for (QWidget* cell : std::exchange(mCells, {})) {
        mRecycled.push_back(cell);
    }
    mGeometry.columns = columns;
    mTop = firstIndex / columns.count * mGeometry.rowStep() + offset;
    updateRanges();
}

void ThumbnailTable::reload()
{
    updateRanges();
    for (QWidget* cell : std::exchange(mCells, {})) {
        mRecycled.push_back(cell);
    }
    // Taken from the end: most cells are filled again where they are.
    std::sort(mRecycled.begin(), mRecycled.end(),
        [](const QWidget* a, const QWidget* b) { return std::pair(a->y(), a->x()) > std::pair(b->y(), b->x()); });
    layOutCells();
    viewport()->update();
}

QWidget* ThumbnailTable::takeSpareCell()
{
    for (auto* cells : {&mRecycled, &mSpare}) {
        if (!cells->empty()) {
            QWidget* const cell = cells->back();
            cells->pop_back();
            return cell;
        }
    }
    return nullptr;
}

std::vector<QWidget*> ThumbnailTable::visibleCells() const
{
    std::vector<std::pair<qint64, QWidget*>> inOrder;
    inOrder.reserve(static_cast<size_t>(mCells.size()));
    for (auto cell = mCells.begin(); cell != mCells.end(); ++cell) {
        inOrder.emplace_back(cell.key(), cell.value());
    }
    std::sort(inOrder.begin(), inOrder.end());
    std::vector<QWidget*> cells;
    cells.reserve(inOrder.size());
    for (const auto& cell : inOrder) {
        cells.push_back(cell.second);
    }
    return cells;
}

// The scroll bars, and what is in view, from the number of rows and the room.
void ThumbnailTable::updateRanges()
{
    const bool wasPlacing = std::exchange(mIsPlacing, true);
    mGeometry.rows = mSource.numberOfRows ? mSource.numberOfRows() : 0;
    mGeometry.isMirrored = isRightToLeft();
    mGeometry.view = viewport()->size();
    horizontalScrollBar()->setRange(0, toScrollBar(qint64(mGeometry.contentWidth()) - mGeometry.view.width()));
    verticalScrollBar()->setRange(0, toScrollBar(mGeometry.contentHeight() - mGeometry.view.height()));
    mGeometry.view = viewport()->size(); // the bars may have come or gone
    horizontalScrollBar()->setPageStep(mGeometry.view.width());
    verticalScrollBar()->setPageStep(mGeometry.view.height());
    verticalScrollBar()->setValue(toScrollBar(mTop));
    mTop = verticalScrollBar()->value();
    mIsPlacing = wasPlacing;
}

void ThumbnailTable::layOutCells()
{
    const GridRows rows = visibleRows();
    const int columns = mGeometry.columns.count;
    bool changed = !mRecycled.empty();
    for (auto cell = mCells.begin(); cell != mCells.end();) {
        if (rows.contains(cell.key() / columns)) {
            ++cell;
        } else {
            mRecycled.push_back(cell.value());
            cell = mCells.erase(cell);
            changed = true;
        }
    }
    const int shift = horizontalScrollBar()->value();
    for (qint64 row = rows.first; row <= rows.last; ++row) {
        for (int column = 0; column < columns; ++column) {
            QWidget*& cell = mCells[row * columns + column];
            const QRect place = mGeometry.cellRect({row, column}, mTop).translated(-shift, 0);
            if (cell != nullptr) {
                cell->setGeometry(place);
                continue;
            }
            changed = true;
            cell = mSource.viewFor(column, row);
            if (cell->parentWidget() != viewport()) {
                cell->setParent(viewport());
            }
            cell->setGeometry(place);
            cell->show();
        }
    }
    trimSpare();
    if (changed) {
        Q_EMIT visibleCellsChanged();
    }
}

void ThumbnailTable::trimSpare()
{
    for (QWidget* cell : std::exchange(mRecycled, {})) {
        if (mSpare.size() < mostSpareCells) {
            cell->hide();
            mSpare.push_back(cell);
        } else {
            cell->hide();
            cell->deleteLater(); // it may be what was clicked
        }
    }
}

// ---- Selection

void ThumbnailTable::select(std::optional<size_t> index)
{
    if (index == mSelected) {
        return;
    }
    viewport()->update(selectionRect());
    mSelected = index;
    viewport()->update(selectionRect());
    tellAccessibility();
}

void ThumbnailTable::moveSelection(size_t index)
{
    select(index);
    Q_EMIT selectionMoved(index);
}

void ThumbnailTable::scrollTo(size_t index)
{
    const auto row = static_cast<qint64>(index) / mGeometry.columns.count;
    verticalScrollBar()->setValue(toScrollBar(mGeometry.topToShow(row, mTop)));
}

void ThumbnailTable::scrollToMiddle(size_t index)
{
    const auto row = static_cast<qint64>(index) / mGeometry.columns.count;
    const qint64 room = (mGeometry.view.height() - mGeometry.rowStep()) / 2;
    verticalScrollBar()->setValue(toScrollBar(row * mGeometry.rowStep() - room));
    mInMiddle = index;
}

bool ThumbnailTable::isInView(size_t index) const
{
    return visibleRows().contains(static_cast<qint64>(index) / mGeometry.columns.count);
}

std::optional<size_t> ThumbnailTable::indexAt(QPoint point) const
{
    const auto place = mGeometry.placeAt(point + QPoint(horizontalScrollBar()->value(), 0), mTop);
    if (!place) {
        return std::nullopt;
    }
    const auto index = static_cast<size_t>(place->row * mGeometry.columns.count + place->column);
    return index < mSource.numberOfFiles() ? std::optional(index) : std::nullopt;
}

QRect ThumbnailTable::selectionRect() const
{
    if (!mSelected || !isInView(*mSelected)) {
        return {};
    }
    const auto index = static_cast<qint64>(*mSelected);
    const GridPlace place{index / mGeometry.columns.count, static_cast<int>(index % mGeometry.columns.count)};
    return mGeometry.cellRect(place, mTop)
        .translated(-horizontalScrollBar()->value(), 0)
        .adjusted(-selectionMargin, -selectionMargin, selectionMargin, selectionMargin);
}

// The cells are not focused one by one; who looks at the screen by ear is told all the same.
void ThumbnailTable::tellAccessibility()
{
    QWidget* const cell = mSelected ? mCells.value(static_cast<qint64>(*mSelected)) : nullptr;
    if (cell != nullptr && hasFocus()) {
        QAccessibleEvent event(cell, QAccessible::Focus);
        QAccessible::updateAccessibility(&event);
    }
}

// ---- Events

void ThumbnailTable::paintEvent(QPaintEvent* /*event*/)
{
    const QRect mark = selectionRect();
    if (mark.isNull()) {
        return;
    }
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor colour = palette().color(hasFocus() ? QPalette::Active : QPalette::Inactive, QPalette::Highlight);
    QColor inside = colour;
    inside.setAlphaF(0.35F);
    painter.setPen(QPen(colour, 3));
    painter.setBrush(inside);
    painter.drawRoundedRect(QRectF(mark).adjusted(1.5, 1.5, -1.5, -1.5), 8, 8);
}

void ThumbnailTable::resizeEvent(QResizeEvent* event)
{
    QAbstractScrollArea::resizeEvent(event);
    updateRanges();
    if (mInMiddle) {
        scrollToMiddle(*mInMiddle);
    }
    layOutCells();
    viewport()->update();
}

void ThumbnailTable::scrollContentsBy(int dx, int dy)
{
    if (mIsPlacing) {
        return; // whoever changes the bars lays out the cells afterwards
    }
    mInMiddle.reset();
    mTop = verticalScrollBar()->value();
    viewport()->scroll(dx, dy);
    layOutCells();
}

void ThumbnailTable::keyPressEvent(QKeyEvent* event)
{
    const auto files = static_cast<qint64>(mSource.numberOfFiles ? mSource.numberOfFiles() : 0);
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    const bool opens = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter || event->key() == Qt::Key_Space;
    const GridNavigation grid{files, mGeometry.columns.count,
        std::max(1, mGeometry.view.height() / mGeometry.rowStep()), visibleRows().first * mGeometry.columns.count,
        isRightToLeft()};
    const auto index = isPlain ? selectionAfterKey(event->key(), selected(), grid) : std::nullopt;
    if (index) {
        moveSelection(static_cast<size_t>(*index));
        scrollTo(static_cast<size_t>(*index));
    } else if (isPlain && opens && mSelected && files > 0) {
        if (!event->isAutoRepeat()) {
            Q_EMIT opened(*mSelected);
        }
    } else {
        event->ignore();
    }
}

void ThumbnailTable::mousePressEvent(QMouseEvent* event)
{
    const auto index = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && index) {
        moveSelection(*index);
    }
}

void ThumbnailTable::mouseDoubleClickEvent(QMouseEvent* event)
{
    const auto index = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && index) {
        Q_EMIT opened(*index);
    }
}

void ThumbnailTable::changeEvent(QEvent* event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange) {
        updateRanges();
        layOutCells();
        viewport()->update();
    }
}

void ThumbnailTable::focusInEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update(selectionRect());
    tellAccessibility();
}

void ThumbnailTable::focusOutEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update(selectionRect());
}

QSize ThumbnailTable::viewportSizeHint() const
{
    return {mGeometry.contentWidth(), 2 * mGeometry.rowStep()};
}

} // namespace frameflow
