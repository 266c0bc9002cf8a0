#pragma once

#include "Applications.h"
#include "Bindings.h"
#include "PreferenceDelegate.h"
#include "SerialQueue.h"

#include <QIcon>
#include <QObject>
#include <QPointer>
#include <QVariantMap>

#include <memory>
#include <optional>

class QDialog;
class QFileDialog;
class QLabel;

namespace Ui {
class Preferences;
}

namespace frameflow {

class ApplicationPanel;
class Clock;
class CursorTable;
class ElidedLabel;
class FileUrl;
class TransitionPreview;

// Runs the preferences window: its controls show the settings, also when they change elsewhere, and store what a person
// chooses at once. Main thread only. What may block, the desktop's applications and folders, is looked at on a queue.
class PreferenceController : public QObject
{
    Q_OBJECT

public:
    // Settings and clock outlive it. The resources are a folder that holds "Cursors.plist" and, under "cursors", the
    // pictures that it names.
    PreferenceController(
        UserDefaults& defaults, Clock& clock, const QString& resources = QStringLiteral(":/frameflow"));
    ~PreferenceController() override;

    PreferenceDelegate* Delegate() const { return mDelegate; }
    // Not owned; null for none.
    void setDelegate(PreferenceDelegate* delegate) { mDelegate = delegate; }

    // Made with the controller, and kept.
    QDialog* window() const { return mWindow.get(); }
    // In front of all other windows, with the keyboard.
    void showWindow();

    void CursorChange();
    void TransitionChange();
    void switchSort();
    void switchEnd();
    // These show a panel; what is chosen there is stored when it closes. One panel at a time: another call brings it to
    // the front.
    void chooseImageApp();
    void chooseMovieApp();
    void chooseAddFolder();
    void resetImageApp();
    void resetMovieApp();
    // Shows the names of the two applications; the desktop's own once they have been looked up.
    void updateOpenInAppLabels();

    // Whether the panel that is open lets an application be chosen.
    bool panel(const Application& application) const;
    // Whether an edit of the seconds may end with that text.
    static bool control(const QString& text);

    int numberOfRowsInTableView() const { return static_cast<int>(mCursors.size()); }
    // A picture in the column "image", nothing in others. A row that is not there is an AssertionFailure.
    QVariant tableView(const QString& columnIdentifier, int rowIndex) const;
    // The name of the picture in a row, for people.
    QString cursorTitle(int rowIndex) const;
    // The row chosen last.
    qint64 activeCursor() const { return mActiveCursor; }

    // For tests: null while none is open.
    ApplicationPanel* applicationPanel() const;
    QFileDialog* folderPanel() const;
    const TransitionPreview& preview() const { return *mPreview; }

Q_SIGNALS:
    void closed();

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    // One of the two applications that open a file of the show.
    struct Editor
    {
        QString key;
        ElidedLabel* label = nullptr;
        QLabel* note = nullptr;
        QString shownPath; // whose name the label has
    };

    void windowDidLoad();
    void connectControls();
    void bindControls();
    void setupIntervalField();
    void setupTransitionMenu();
    void selectTransition();
    void setupOrderingMenu();
    void selectOrder();
    void selectEndMode();
    void loadCursors();
    void selectCursor();
    void chooseApplication();
    void applicationChosen();
    void putNavLastRootDirectoryBack();
    void showEditor(Editor& editor);
    void editorLookedUp(Editor& editor, const QString& path, const std::optional<Application>& application);
    void addFolderChosen(const FileUrl& folder);
    void showAddFolder();
    void updateAddFolderNote();

    // Runs the first on the queue, and the second with what it answers on the main thread, unless this is gone by then.
    template <typename Work, typename Then>
    void lookUp(Work work, Then then);

    UserDefaults& mDefaults;
    Clock& mClock;
    const QString mResources;
    std::unique_ptr<QDialog> mWindow;
    std::unique_ptr<Ui::Preferences> mUi;
    TransitionPreview* mPreview = nullptr; // in the window, as the next
    CursorTable* mCursorRows = nullptr;
    QVariantMap mFactoryCursors;
    std::vector<QIcon> mCursors;
    std::vector<QString> mCursorTitles; // of the same rows
    qint64 mActiveCursor = 0;
    bool mIsSelectingCursor = false; // not a person
    bool mChoosingImageApp = false;
    Editor mImageEditor;
    Editor mMovieEditor;
    QPointer<ApplicationPanel> mApplicationPanel;
    QVariant mNavLastRootDirectory; // as it was before that panel
    QPointer<QFileDialog> mFolderPanel;
    QString mNoAddFolder; // the label's text as laid out
    bool mIsAddFolderMissing = false;
    PreferenceDelegate* mDelegate = nullptr;
    Bindings mBindings;
    SerialQueue mQueue;
    // Gone with the controller, so that what was posted to the event loop finds out.
    std::shared_ptr<bool> mAlive = std::make_shared<bool>(true);
};

} // namespace frameflow
