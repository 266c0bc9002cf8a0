#pragma once

#include <QPointer>
#include <QStringList>
#include <QWidget>

#include <memory>

class QCheckBox;
class QLabel;
class QMenuBar;
class QPushButton;
class QTableView;

namespace Ui {
class Welcome;
}

namespace frameflow {

class UserDefaults;

// Who does what a person chooses in the welcome window.
class WelcomeControllerDelegate
{
public:
    virtual void openSelected() = 0;
    // The index of a row, as the table told it.
    virtual void recentSelected(qsizetype index) = 0;

protected:
    ~WelcomeControllerDelegate() = default;
};

// The window that stands on screen while there is nothing to show: the folders opened last, a button to open another
// one, the version. Raises AssertionFailure where it is used wrongly. Main thread only.
class WelcomeController final : public QObject
{
    Q_OBJECT

public:
    // The settings must outlive the controller.
    explicit WelcomeController(UserDefaults& defaults);
    ~WelcomeController() override;

    // Not owned; null for none.
    void setDelegate(WelcomeControllerDelegate* delegate) { mDelegate = delegate; }
    WelcomeControllerDelegate* delegate() const { return mDelegate; }
    // The paths of the folders, newest first, as a person may read them.
    void loadRecents(const QStringList& recents);
    const QStringList& mRecents() const { return mRecentPaths; }
    // One line, not empty.
    void loadVersionText(const QString& versionText);
    // What stands above the folders. The tool tip is that of the message.
    void loadMessage(const QString& title, const QString& message, const QString& toolTip);
    // Takes the bar over.
    void setMenuBar(QMenuBar* bar);
    // Brings the window to the front.
    void showWindow();

    void windowDidLoad();
    qsizetype numberOfRowsInTableView() const { return mRecentPaths.size(); }
    // The path in that row.
    QString tableView(qsizetype row) const;
    void openRecent(int clickedRow);
    void OpenFolder();
    void OpenAppStore();

    QWidget* window() const { return mWindow; }
    QTableView* mRecentsTableView() const;
    QLabel* mVersionText() const;
    QLabel* mTableDescriptionLabel() const;

Q_SIGNALS:
    // The person closed the window.
    void closed();

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    class Rows;

    void setUpTable();
    bool isSecondClick(const QEvent& event);
    void showRecents();

    WelcomeControllerDelegate* mDelegate = nullptr;
    QStringList mRecentPaths;
    std::unique_ptr<Ui::Welcome> mUi;
    QPointer<QWidget> mWindow; // owned
    std::unique_ptr<Rows> mRows;
    bool mIsClickedTwice = false; // the button is held for the second click
};

} // namespace frameflow
