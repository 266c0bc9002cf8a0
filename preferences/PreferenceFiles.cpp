#include "ApplicationPanel.h"
#include "Bookmark.h"
#include "MainThread.h"
#include "PreferenceController.h"
#include "PrintableText.h"
#include "SettingsKeys.h"
#include "ui_Preferences.h"

#include <QDialog>
#include <QFileDialog>
#include <QFileInfo>
#include <QStandardPaths>

#include <utility>

namespace frameflow {

namespace {

QString nameWithoutExtension(const QString& path)
{
    return printable(QFileInfo(path).completeBaseName());
}

// The last component of a folder's path, without extension; a leading dot begins none.
QString folderName(const FileUrl& folder)
{
    const QByteArrayView name = folder.fileName();
    const QByteArrayView extension = folder.extension();
    return printable(QString::fromUtf8(extension.isEmpty() ? name : name.chopped(extension.size() + 1)));
}

QString asToolTip(const QString& text)
{
    return printable(text).toHtmlEscaped();
}

} // namespace

template <typename Work, typename Then>
void PreferenceController::lookUp(Work work, Then then)
{
    mQueue.async([work = std::move(work), then = std::move(then), alive = std::weak_ptr(mAlive)] {
        postToMainThread([answer = work(), then, alive] {
            if (alive.lock()) {
                then(answer);
            }
        });
    });
}

// ---- Applications that open a file of the show

void PreferenceController::updateOpenInAppLabels()
{
    showEditor(mMovieEditor);
    showEditor(mImageEditor);
}

void PreferenceController::showEditor(Editor& editor)
{
    const QString path = mDefaults.stringValue(editor.key);
    QLabel* note = editor.note;
    if (path.isEmpty()) {
        editor.shownPath.clear();
        editor.label->setText(tr("Default Application"));
        editor.label->setToolTip({});
        note->hide();
        return;
    }
    if (std::exchange(editor.shownPath, path) != path) {
        editor.label->setText(nameWithoutExtension(path));
        editor.label->setToolTip(asToolTip(path));
        note->hide();
    }
    lookUp([path] { return applicationAt(path); },
        [this, &editor, path](const auto& application) { editorLookedUp(editor, path, application); });
}

void PreferenceController::editorLookedUp(
    Editor& editor, const QString& path, const std::optional<Application>& application)
{
    if (editor.shownPath != path) {
        return; // another one has been chosen since
    }
    const QString name = application ? printable(application->name) : nameWithoutExtension(path);
    editor.label->setText(name);
    editor.note->setText(
        application ? QString() : tr("“%1” is not installed. Choose another one, or use the default.").arg(name));
    editor.note->setVisible(!application);
}

void PreferenceController::chooseImageApp()
{
    if (!mApplicationPanel) {
        mChoosingImageApp = true;
    }
    chooseApplication();
}

void PreferenceController::chooseMovieApp()
{
    if (!mApplicationPanel) {
        mChoosingImageApp = false;
    }
    chooseApplication();
}

void PreferenceController::resetImageApp()
{
    mDefaults.removeValue(keys::imageEditorPath);
    updateOpenInAppLabels();
}

void PreferenceController::resetMovieApp()
{
    mDefaults.removeValue(keys::movieEditorPath);
    updateOpenInAppLabels();
}

bool PreferenceController::panel(const Application& application) const
{
    return canOpen(application, mChoosingImageApp ? OpenedKind::Images : OpenedKind::Movies);
}

ApplicationPanel* PreferenceController::applicationPanel() const
{
    return mApplicationPanel;
}

void PreferenceController::chooseApplication()
{
    if (mApplicationPanel) {
        mApplicationPanel->raise();
        mApplicationPanel->activateWindow();
        return;
    }
    // Where a panel of the desktop is to begin; put back when it has closed.
    mNavLastRootDirectory = mDefaults.value(keys::navLastRootDirectory);
    mDefaults.setValue(keys::navLastRootDirectory, QStringLiteral("/Applications"));
    const OpenedKind kind = mChoosingImageApp ? OpenedKind::Images : OpenedKind::Movies;
    mApplicationPanel = new ApplicationPanel(kind, mWindow.get());
    mApplicationPanel->setAttribute(Qt::WA_DeleteOnClose);
    connect(mApplicationPanel, &QDialog::finished, this, [this](int result) {
        if (result == QDialog::Accepted) {
            applicationChosen();
        }
        putNavLastRootDirectoryBack();
        mApplicationPanel = nullptr;
    });
    mApplicationPanel->open();
    lookUp([kind] { return ApplicationPanel::entriesFrom(installedApplications(), kind); },
        [panel = mApplicationPanel](const auto& entries) {
            if (panel) {
                panel->setEntries(entries);
            }
        });
}

void PreferenceController::putNavLastRootDirectoryBack()
{
    if (mNavLastRootDirectory.isValid()) {
        mDefaults.setValue(keys::navLastRootDirectory, mNavLastRootDirectory);
    } else {
        mDefaults.removeValue(keys::navLastRootDirectory);
    }
}

void PreferenceController::applicationChosen()
{
    const QString path = mApplicationPanel->chosenPath();
    if (!path.isEmpty()) {
        mDefaults.setValue(mChoosingImageApp ? keys::imageEditorPath : keys::movieEditorPath, path);
        updateOpenInAppLabels();
    }
}

// ---- The ad folder

QFileDialog* PreferenceController::folderPanel() const
{
    return mFolderPanel;
}

void PreferenceController::chooseAddFolder()
{
    if (mFolderPanel) {
        mFolderPanel->raise();
        mFolderPanel->activateWindow();
        return;
    }
    const QString present = mUi->addFolderLabel->property("folder").toString();
    mFolderPanel = new QFileDialog(mWindow.get(), tr("Choose an Ad Folder."),
        present.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::PicturesLocation) : present);
    mFolderPanel->setAttribute(Qt::WA_DeleteOnClose);
    mFolderPanel->setObjectName(QStringLiteral("AddFolderPanel"));
    mFolderPanel->setFileMode(QFileDialog::Directory);
    mFolderPanel->setOption(QFileDialog::ShowDirsOnly);
    mFolderPanel->setOption(QFileDialog::DontUseNativeDialog);
    mFolderPanel->setLabelText(QFileDialog::Accept, tr("&Choose"));
    connect(mFolderPanel, &QFileDialog::finished, this, [this](int result) {
        const QStringList chosen = mFolderPanel->selectedFiles();
        mFolderPanel = nullptr;
        if (result == QDialog::Accepted && chosen.size() == 1) {
            addFolderChosen(FileUrl::fromPath(chosen.first()));
        }
    });
    mFolderPanel->open();
}

void PreferenceController::addFolderChosen(const FileUrl& folder)
{
    lookUp([folder] { return bookmarkForFolder(folder); },
        [this, folder](const QByteArray& bookmark) {
            if (bookmark.isEmpty()) {
                mDefaults.removeValue(keys::addFolder);
                mUi->addFolderNote->setText(
                    tr("“%1” cannot be used as ad folder. Choose another one.").arg(folderName(folder)));
                mUi->addFolderNote->show();
                return;
            }
            mDefaults.setValue(keys::addFolder, bookmark);
            mUi->addFolderLabel->setText(folderName(folder));
            showAddFolder();
        });
}

void PreferenceController::showAddFolder()
{
    const QByteArray bookmark = mDefaults.dataValue(keys::addFolder);
    const auto show = [this, bookmark](const std::optional<ResolvedBookmark>& resolved) {
        if (mDefaults.dataValue(keys::addFolder) != bookmark) {
            return; // another one has been chosen since
        }
        const QString path = resolved ? resolved->folder.displayPath() : QString();
        mUi->addFolderLabel->setText(resolved ? folderName(resolved->folder) : mNoAddFolder);
        mUi->addFolderLabel->setToolTip(asToolTip(path));
        mUi->addFolderLabel->setProperty("folder", path);
        mIsAddFolderMissing = !resolved && !bookmark.isEmpty();
        updateAddFolderNote();
    };
    if (bookmark.isEmpty()) {
        show({});
    } else {
        lookUp([bookmark] { return resolveBookmark(bookmark); }, show);
    }
}

} // namespace frameflow
