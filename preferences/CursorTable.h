#pragma once

#include <QAbstractTableModel>
#include <QStyledItemDelegate>

namespace frameflow {

class PreferenceController;

// The rows of the pointer's pictures, as the controller answers them, for a view.
class CursorTable : public QAbstractTableModel
{
    Q_OBJECT

public:
    // The controller outlives it.
    CursorTable(const PreferenceController& source, QObject* parent);

    static QString columnIdentifier(int column);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    const PreferenceController& mSource;
};

// Paints a picture as it looks over a slide, which is dark more often than not, and its name beside it.
class CursorPainter : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

} // namespace frameflow
