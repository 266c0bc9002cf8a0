#include "AboveActiveWindow.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "UpdateWindowController.h"
#include "VersionText.h"

#include <QApplication>
#include <QMessageBox>

#include <utility>

namespace frameflow {

// ---- Newer versions

void SlideController::checkForUpdateWhenDue()
{
    const bool isDue
        = isUpdateCheckDue(mSharedUserDefaults.dateValue(keys::lastUpdateChecked), QDateTime::currentDateTimeUtc());
    if (!isDue || !mSharedUserDefaults.boolValueOrTrue(keys::autoCheckNewVersion) || mUpdateServer.isReserved()) {
        return;
    }
    mUpdateCheck
        = std::make_unique<BackgroundCheck>(getVersionString(), mUpdateServer, [this](const UpdateAnswer& answer) {
              // Its thread is of no more use. This is called from its own callback, which must not go with it.
              const std::unique_ptr<BackgroundCheck> done = std::move(mUpdateCheck);
              updateAvailable(answer.result, false, answer.version);
          });
}

void SlideController::CheckUpdate()
{
    const QString version = getVersionString();
    if (version.isEmpty()) {
        return;
    }
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    const UpdateAnswer answer = askForUpdate(version, mUpdateServer);
    QGuiApplication::restoreOverrideCursor();
    updateAvailable(answer.result, true, answer.version);
}

void SlideController::updateAvailable(int result, bool manual, const QString& version)
{
    if (result == 1) {
        const QVariant ignored = mSharedUserDefaults.value(keys::ignoreVersion);
        if (!ignored.isValid()
            || compareVersion(mSharedUserDefaults.stringValue(keys::ignoreVersion), version)
                == ComparisonResult::Ascending) {
            // A window that comes before the one of a show would be covered by it, or take the keyboard from it.
            const bool isShowAboutToBegin = !hasSlide() && (mFileSequence.isCollecting() || isWaiting());
            if (!manual && isShowAboutToBegin) {
                mHeldOffer = version;
            } else {
                offerUpdate(version, manual);
            }
        }
        rememberUpdateCheck();
    } else if (manual) {
        showUpdateAlert(result);
    } else if (result == 0) {
        rememberUpdateCheck();
    }
}

void SlideController::showUpdateAlert(int result)
{
    delete mUpdateAlert;
    const bool isCurrent = result == 0;
    mUpdateAlert = new QMessageBox(isCurrent ? QMessageBox::Information : QMessageBox::Warning,
        QGuiApplication::applicationDisplayName(),
        isCurrent ? tr("You have the most recent version.") : tr("Update check failed, try again later."),
        QMessageBox::Ok);
    mUpdateAlert->setObjectName(QStringLiteral("UpdateAlert"));
    mUpdateAlert->setAttribute(Qt::WA_DeleteOnClose);
    mUpdateAlert->setWindowModality(Qt::ApplicationModal);
    connect(mUpdateAlert, &QMessageBox::finished, this, [this, isCurrent] {
        if (isCurrent) {
            rememberUpdateCheck();
        }
        mActivation.windowsChange();
        scheduleVisibilityCheck();
    });
    mActivation.windowsChange();
    putAboveActiveWindow(mUpdateAlert);
    mUpdateAlert->show();
}

void SlideController::offerUpdate(const QString& version, bool manual)
{
    using TakesKeyboard = UpdateWindowController::TakesKeyboard;
    delete mUpdateWindow; // an older offer
    mUpdateWindow = new UpdateWindowController(mSharedUserDefaults, mClock);
    mUpdateWindow->setUpdateVersion(version);
    mUpdateWindow->setCurrentVersion(getVersionString());
    connect(mUpdateWindow, &UpdateWindowController::closed, this, [this] {
        mActivation.windowsChange();
        scheduleVisibilityCheck();
    });
    mActivation.windowsChange();
    if (mScreenWindow && mScreenWindow->isVisible()) {
        putAbove(mUpdateWindow->window(), mScreenWindow.get()); // which need not be the active one yet
    }
    mUpdateWindow->showWindow(manual ? TakesKeyboard::Yes : TakesKeyboard::No);
}

void SlideController::offerHeldUpdate()
{
    // A window manager may give the keyboard to what stands above a window that has not got it yet.
    const bool isShowBeginning = hasSlide() && !mScreenWindow->isActiveWindow();
    if (!mHeldOffer.isEmpty() && !isShowBeginning) {
        offerUpdate(std::exchange(mHeldOffer, QString()), false);
    }
}

void SlideController::rememberUpdateCheck()
{
    mSharedUserDefaults.setValue(keys::lastUpdateChecked, QDateTime::currentDateTimeUtc());
}

QMessageBox* SlideController::updateAlert() const
{
    return mUpdateAlert;
}

UpdateWindowController* SlideController::updateWindow() const
{
    return mUpdateWindow;
}

} // namespace frameflow
