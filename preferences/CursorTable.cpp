#include "CursorTable.h"

#include "PreferenceController.h"

#include <QApplication>
#include <QIcon>
#include <QPainter>

namespace frameflow {

namespace {

constexpr int tileSize = 46;
constexpr int pictureSize = 38;
constexpr int margin = 3;
constexpr QRgb tileColour = 0xFF3A4150;

} // namespace

CursorTable::CursorTable(const PreferenceController& source, QObject* parent)
    : QAbstractTableModel(parent), mSource(source)
{
}

QString CursorTable::columnIdentifier(int column)
{
    return column == 0 ? QStringLiteral("check") : QStringLiteral("image");
}

int CursorTable::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : mSource.numberOfRowsInTableView();
}

int CursorTable::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant CursorTable::data(const QModelIndex& index, int role) const
{
    QVariant value = mSource.tableView(columnIdentifier(index.column()), index.row());
    if (role == Qt::DecorationRole) {
        return value;
    }
    const bool isName = role == Qt::DisplayRole || role == Qt::AccessibleTextRole;
    return isName && value.isValid() ? mSource.cursorTitle(index.row()) : QVariant();
}

QSize CursorPainter::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& /*index*/) const
{
    const int height = std::max(tileSize, option.fontMetrics.height());
    return {tileSize + 160, height + 2 * margin};
}

void CursorPainter::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem row = option;
    initStyleOption(&row, index);
    const QIcon picture = row.icon;
    row.icon = QIcon();
    row.features &= ~QStyleOptionViewItem::HasDecoration;
    QRect tile(0, 0, tileSize, tileSize);
    tile.moveTop(option.rect.top() + (option.rect.height() - tileSize) / 2);
    tile.moveLeft(option.rect.left() + 2 * margin);
    tile = QStyle::visualRect(option.direction, option.rect, tile);
    // The name, the selection and the focus as the style draws them, the name beside the picture.
    const QStyle* style = option.widget != nullptr ? option.widget->style() : QApplication::style();
    const QString name = row.text;
    row.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &row, painter, option.widget);

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(QColor(tileColour));
    painter->drawRoundedRect(tile, 6, 6);
    QRect inner(0, 0, pictureSize, pictureSize);
    inner.moveCenter(tile.center());
    picture.paint(painter, inner);
    const bool isSelected = option.state.testFlag(QStyle::State_Selected);
    const auto group = option.state.testFlag(QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;
    painter->setPen(option.palette.color(group, isSelected ? QPalette::HighlightedText : QPalette::Text));
    const QRect text
        = QStyle::visualRect(option.direction, option.rect, option.rect.adjusted(tileSize + 5 * margin, 0, -margin, 0));
    painter->drawText(text,
        static_cast<int>(QStyle::visualAlignment(option.direction, Qt::AlignLeft | Qt::AlignVCenter)),
        painter->fontMetrics().elidedText(name, Qt::ElideRight, text.width()));
    painter->restore();
}

} // namespace frameflow
