#include "OpenPanel.h"

#include "FileTypes.h"

#include <QDialogButtonBox>
#include <QFileSystemModel>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QSet>
#include <QSortFilterProxyModel>
#include <QSplitter>
#include <QTreeView>

namespace frameflow {

namespace {

class DisplayableFilter : public QSortFilterProxyModel
{
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

protected:
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override
    {
        const auto* files = qobject_cast<QFileSystemModel*>(sourceModel());
        const QModelIndex index = files->index(row, 0, parent);
        return files->isDir(index) || mediaKindForName(files->fileName(index).toUtf8()) != MediaKind::None;
    }

    bool lessThan(const QModelIndex& left, const QModelIndex& right) const override
    {
        const auto* files = qobject_cast<QFileSystemModel*>(sourceModel());
        if (files->isDir(left) != files->isDir(right)) {
            return files->isDir(left);
        }
        return QSortFilterProxyModel::lessThan(left, right);
    }
};

// Moves the dialog's rows down by one and puts the sentence above them.
void addAbove(QGridLayout* grid, QLabel* message)
{
    struct Cell
    {
        QLayoutItem* item;
        int row, column, rows, columns;
    };
    QList<Cell> cells;
    while (grid->count() > 0) {
        Cell cell{};
        grid->getItemPosition(0, &cell.row, &cell.column, &cell.rows, &cell.columns);
        cell.item = grid->takeAt(0);
        cells.append(cell);
    }
    const int columns = grid->columnCount();
    for (const Cell& cell : cells) {
        grid->addItem(cell.item, cell.row + 1, cell.column, cell.rows, cell.columns);
    }
    grid->addWidget(message, 0, 0, 1, columns);
}

} // namespace

OpenPanel::OpenPanel(const QUrl& folder, QWidget* parent)
    : QFileDialog(parent, tr("Open")), mMessage(new QLabel(tr("Choose a folder or some files to display."), this))
{
    setObjectName(QStringLiteral("OpenPanel"));
    mMessage->setObjectName(QStringLiteral("message"));
    mMessage->setTextFormat(Qt::PlainText);
    // The desktop's own dialogs choose either files or folders; this panel offers both.
    setOption(QFileDialog::DontUseNativeDialog);
    setFileMode(QFileDialog::ExistingFiles);
    setProxyModel(new DisplayableFilter(this));
    setDirectoryUrl(folder);
    if (auto* grid = qobject_cast<QGridLayout*>(layout())) {
        addAbove(grid, mMessage);
    }
    // Everything listed can be shown: there is nothing to filter by.
    for (const char* name : {"fileTypeLabel", "fileTypeCombo"}) {
        if (auto* widget = findChild<QWidget*>(QString::fromLatin1(name))) {
            widget->hide();
        }
    }
    useOwnOpenButton();
    const QSize room = screen()->availableSize() * 9 / 10;
    resize(QSize(860, 540).boundedTo(room));
    // Wide enough for the names of the usual places.
    if (auto* splitter = findChild<QSplitter*>(QStringLiteral("splitter"))) {
        splitter->setSizes({180, width() - 180});
    }
}

// The dialog's own button is off whenever no file is chosen; here the folder in view can be opened as well.
void OpenPanel::useOwnOpenButton()
{
    auto* buttons = findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"));
    if (buttons == nullptr) {
        return;
    }
    auto* open = buttons->addButton(tr("&Open"), QDialogButtonBox::ActionRole);
    open->setObjectName(QStringLiteral("openButton"));
    open->setDefault(true);
    connect(open, &QPushButton::clicked, this, &OpenPanel::accept);
    // Last, because a button that is added shows all the others.
    if (auto* own = buttons->button(QDialogButtonBox::Open)) {
        own->hide();
        own->setDefault(false);
        own->setAutoDefault(false);
    }
}

QStringList OpenPanel::namesIn(const QString& text)
{
    const QString trimmed = text.trimmed();
    if (!trimmed.startsWith(QLatin1Char('"'))) {
        return trimmed.isEmpty() ? QStringList() : QStringList{trimmed};
    }
    QStringList names;
    const auto parts = trimmed.split(QLatin1Char('"'));
    for (qsizetype i = 1; i < parts.size(); i += 2) {
        if (!parts.at(i).isEmpty()) {
            names.append(parts.at(i));
        }
    }
    return names;
}

QStringList OpenPanel::typedNames() const
{
    const auto* field = findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    return field != nullptr ? namesIn(field->text()) : QStringList();
}

QStringList OpenPanel::selectedPaths() const
{
    const auto* list = findChild<QAbstractItemView*>(QStringLiteral("listView"));
    QStringList paths;
    if (list != nullptr && list->selectionModel() != nullptr) {
        for (const QModelIndex& index : list->selectionModel()->selectedIndexes()) {
            if (index.column() == 0) {
                paths.append(index.data(QFileSystemModel::FilePathRole).toString());
            }
        }
    }
    return paths;
}

void OpenPanel::accept()
{
    const QDir folder = directory();
    QStringList paths = selectedPaths();
    // The dialog writes the names of the selected files into the field. Another text there was typed, and holds.
    QSet<QString> written;
    for (const QString& path : paths) {
        if (QFileInfo(path).isFile()) {
            written.insert(QFileInfo(path).fileName());
        }
    }
    const QStringList typed = typedNames();
    if (!typed.isEmpty() && QSet<QString>(typed.begin(), typed.end()) != written) {
        paths.clear();
        for (const QString& name : typed) {
            const QString path = QDir::cleanPath(folder.absoluteFilePath(name));
            if (!QFileInfo::exists(path)) {
                mMessage->setText(tr("“%1” was not found.").arg(name));
                return;
            }
            paths.append(path);
        }
    }
    if (paths.isEmpty()) {
        paths.append(folder.absolutePath());
    }
    for (const QString& path : paths) {
        mChosen.append(FileUrl::fromPath(path));
    }
    done(QDialog::Accepted);
}

void OpenPanel::done(int result)
{
    if (result == QDialog::Rejected) {
        mChosen.clear();
    }
    QFileDialog::done(result); // tells the owner, who reads the choice
}

} // namespace frameflow
