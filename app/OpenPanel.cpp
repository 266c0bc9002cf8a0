#include "OpenPanel.h"

#include "FileTypes.h"

#include <QDialogButtonBox>
#include <QFileSystemModel>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSortFilterProxyModel>
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

} // namespace

OpenPanel::OpenPanel(const QUrl& folder, QWidget* parent) : QFileDialog(parent, tr("Open"))
{
    setObjectName(QStringLiteral("OpenPanel"));
    // The desktop's own dialogs choose either files or folders; this panel offers both.
    setOption(QFileDialog::DontUseNativeDialog);
    setFileMode(QFileDialog::ExistingFiles);
    setProxyModel(new DisplayableFilter(this));
    setDirectoryUrl(folder);
    setLabelText(QFileDialog::Accept, tr("Open"));
    if (auto* grid = qobject_cast<QGridLayout*>(layout())) {
        auto* message = new QLabel(tr("Choose a folder or some files to display."), this);
        message->setObjectName(QStringLiteral("message"));
        grid->addWidget(message, grid->rowCount(), 0, 1, grid->columnCount());
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
