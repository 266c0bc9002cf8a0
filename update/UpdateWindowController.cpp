#include "UpdateWindowController.h"

#include "AboveActiveWindow.h"
#include "BoundCheckBox.h"
#include "OpenWith.h"
#include "PrintableText.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"
#include "WebAddresses.h"
#include "ui_UpdateWindow.h"

#include <QEvent>
#include <QWindow>

namespace frameflow {

UpdateWindowController::UpdateWindowController(UserDefaults& defaults, Clock& clock)
    : mDefaults(defaults), mClock(clock), mUi(std::make_unique<Ui::UpdateWindow>()),
      mWindow(std::make_unique<QDialog>()), mTimer(clock)
{
    mUi->setupUi(mWindow.get());
    bindCheckBox(mUi->autoUpdateCheckbox, defaults, keys::autoCheckNewVersion, WhenAbsent::On);
    connect(mUi->gotoDownload, &QPushButton::clicked, this, &UpdateWindowController::gotoDownload);
    connect(mUi->ignore, &QPushButton::clicked, this, &UpdateWindowController::ignore);
    connect(mUi->cancel, &QPushButton::clicked, this, &UpdateWindowController::cancel);
    connect(mWindow.get(), &QDialog::finished, this, &UpdateWindowController::windowWillClose);
}

UpdateWindowController::~UpdateWindowController() = default;

void UpdateWindowController::showWindow(TakesKeyboard keyboard)
{
    windowDidLoad();
    mWindow->setAttribute(Qt::WA_ShowWithoutActivating, keyboard == TakesKeyboard::No);
    putAboveActiveWindow(mWindow.get());
    if (keyboard == TakesKeyboard::No) {
        // A window manager gives what stands above the window with the keyboard the keyboard when it appears, whatever
        // it asks for.
        mWindow->winId(); // there is a handle from here on
        mWindow->windowHandle()->setFlag(Qt::WindowDoesNotAcceptFocus, true);
        mWindow->windowHandle()->installEventFilter(this);
    }
    mWindow->show();
    mWindow->raise();
    if (keyboard == TakesKeyboard::Yes) {
        mWindow->activateWindow();
    }
}

// Once it is there, whoever clicks on it may have the keyboard go to it.
bool UpdateWindowController::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Expose && watched == mWindow->windowHandle()) {
        watched->removeEventFilter(this);
        mWindow->windowHandle()->setFlag(Qt::WindowDoesNotAcceptFocus, false);
    }
    return QObject::eventFilter(watched, event);
}

void UpdateWindowController::windowDidLoad()
{
    mTimer.start(mClock.now() + std::chrono::seconds(60), [this] { myTimerFireMethod(); });
    mUi->versionLabel->setText(
        tr("Found v%1, you have v%2.").arg(printable(mUpdateVersion), printable(mCurrentVersion)));
}

void UpdateWindowController::myTimerFireMethod()
{
    mWindow->close();
}

void UpdateWindowController::gotoDownload()
{
    openInBrowser(webAddresses::downloadPage);
    mWindow->close();
}

void UpdateWindowController::ignore()
{
    mDefaults.setValue(keys::ignoreVersion, mUpdateVersion);
    mWindow->close();
}

void UpdateWindowController::cancel()
{
    mWindow->close();
}

void UpdateWindowController::windowWillClose()
{
    mTimer.stop();
    Q_EMIT closed();
    deleteLater();
}

QLabel* UpdateWindowController::versionLabel() const
{
    return mUi->versionLabel;
}

QCheckBox* UpdateWindowController::autoUpdateCheckbox() const
{
    return mUi->autoUpdateCheckbox;
}

} // namespace frameflow
