#pragma once

#include "Clock.h"

#include <QDialog>

#include <memory>

class QCheckBox;
class QLabel;

namespace Ui {
class UpdateWindow;
}

namespace frameflow {

class UserDefaults;

// The window that offers a newer version. Once its window is shown, the controller keeps itself alive until the window
// closes, and is deleted from the event loop then. Main thread only.
class UpdateWindowController final : public QObject
{
    Q_OBJECT

public:
    // Both references must outlive the controller.
    UpdateWindowController(UserDefaults& defaults, Clock& clock);
    ~UpdateWindowController() override;

    void setUpdateVersion(const QString& version) { mUpdateVersion = version; }
    void setCurrentVersion(const QString& version) { mCurrentVersion = version; }
    const QString& updateVersion() const { return mUpdateVersion; }
    const QString& currentVersion() const { return mCurrentVersion; }

    enum class TakesKeyboard
    {
        Yes,
        No, // nobody asked for the window: keys go on to what they went to
    };
    // Above the window that is active, without belonging to it. Both versions have been set.
    void showWindow(TakesKeyboard keyboard);

    void gotoDownload();
    void ignore();
    void cancel();

    QDialog* window() const { return mWindow.get(); }
    QLabel* versionLabel() const;
    QCheckBox* autoUpdateCheckbox() const;

Q_SIGNALS:
    // The window has closed.
    void closed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void windowDidLoad();
    void myTimerFireMethod();
    void windowWillClose();

    UserDefaults& mDefaults;
    Clock& mClock;
    std::unique_ptr<Ui::UpdateWindow> mUi;
    std::unique_ptr<QDialog> mWindow;
    QString mCurrentVersion;
    QString mUpdateVersion;
    OneShotTimer mTimer;
};

} // namespace frameflow
