#include "OpenPanel.h"

#include "FileTypes.h"

#include <QDialogButtonBox>
#include <QFileSystemModel>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
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

// The dialog's rows, moved down by one, and the sentence above them. The row of the type filter goes: everything listed
// can be shown.
void addMessage(QGridLayout* grid)
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
    auto* message = new QLabel(OpenPanel::tr("Choose a folder or some files to display."), grid->parentWidget());
    message->setObjectName(QStringLiteral("message"));
    grid->addWidget(message, 0, 0, 1, columns);
}

} // namespace

OpenPanel::OpenPanel(const QUrl& folder, QWidget* parent) : QFileDialog(parent, tr("Open"))
{
    setObjectName(QStringLiteral("OpenPanel"));
    // The desktop's own dialogs choose either files or folders; this panel offers both.
    setOption(QFileDialog::DontUseNativeDialog);
    setFileMode(QFileDialog::ExistingFiles);
    setProxyModel(new DisplayableFilter(this));
    setDirectoryUrl(QFileInfo::exists(folder.toLocalFile()) ? folder : QUrl::fromLocalFile(QDir::homePath()));
    setLabelText(QFileDialog::Accept, tr("Open"));
    if (auto* grid = qobject_cast<QGridLayout*>(layout())) {
        addMessage(grid);
    }
    for (const char* name : {"fileTypeLabel", "fileTypeCombo"}) {
        if (auto* widget = findChild<QWidget*>(QString::fromLatin1(name))) {
            widget->hide();
        }
    }
    resize(860, 540);
    // Wide enough for the names of the usual places.
    if (auto* splitter = findChild<QSplitter*>(QStringLiteral("splitter"))) {
        splitter->setSizes({180, width() - 180});
    }
}

QList<FileUrl> OpenPanel::chosenFiles() const
{
    return mChosen;
}

void OpenPanel::accept()
{
    // A typed name goes the dialog's own way, and so does a typed folder, which it enters.
    const auto* list = findChild<QAbstractItemView*>(QStringLiteral("listView"));
    const auto* tree = findChild<QTreeView*>(QStringLiteral("treeView"));
    const QAbstractItemView* view = tree != nullptr && tree->isVisible() ? tree : list;
    const auto* name = findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    const bool typing = name != nullptr && name->isModified();
    const auto selected = view != nullptr && !typing ? view->selectionModel()->selectedIndexes() : QModelIndexList();
    for (const QModelIndex& index : selected) {
        if (index.column() == 0) {
            mChosen.append(FileUrl::fromPath(index.data(QFileSystemModel::FilePathRole).toString()));
        }
    }
    if (!mChosen.isEmpty()) {
        done(QDialog::Accepted);
        return;
    }
    QFileDialog::accept();
}

void OpenPanel::done(int result)
{
    if (result == QDialog::Accepted && mChosen.isEmpty()) {
        for (const QString& file : selectedFiles()) {
            mChosen.append(FileUrl::fromPath(file));
        }
    }
    QFileDialog::done(result); // tells the owner, who reads the choice
}

} // namespace frameflow
