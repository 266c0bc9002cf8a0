#include "ControlPanel.h"
#include "OpenPanel.h"
#include "OpenWith.h"
#include "PreferenceController.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "SlideKeys.h"
#include "WebAddresses.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QIcon>
#include <QKeyEvent>
#include <QMessageBox>
#include <QStandardPaths>

#include <atomic>
#include <memory>

namespace frameflow {

// ---- Actions

namespace {

QIcon windowIcon()
{
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64}) {
        icon.addFile(QStringLiteral(":/frameflow/icon/%1.png").arg(size), QSize(size, size));
    }
    return icon;
}

} // namespace

MainMenu& SlideController::mainMenu()
{
    if (!mMainMenu) {
        // Takes as long as the menus, and like them is not needed before there is a window.
        QGuiApplication::setWindowIcon(windowIcon());
        mMainMenu = std::make_unique<MainMenu>();
        connectActions();
        updateRecentMenu();
    }
    return *mMainMenu;
}

void SlideController::connectActions()
{
    for (const ActionRow& row : actionTable()) {
        QAction* action = mainMenu().action(QString::fromLatin1(row.id));
        action->setShortcuts(row.keys);
        action->setAutoRepeat(row.whileHeld == WhileHeld::Repeats);
        connect(action, &QAction::triggered, this, [this, row] { perform(row); });
    }
    mainMenu().setRefresher([this] { validateMenuItems(); });
    validateMenuItems();
}

void SlideController::perform(const ActionRow& row)
{
    // A held key repeats as long as it is held: what it brings while a slide is being waited for is no further wish. So
    // nothing is left to be done when it is released.
    if (mainMenu().isKeyRepeated() && isWaiting() && row.whileWaiting == WhileWaiting::Waits) {
        return;
    }
    if (row.whileWaiting == WhileWaiting::Waits) {
        inTurn([this, handler = row.handler] { (this->*handler)(); });
    } else if (row.whileWaiting == WhileWaiting::AtOnce || !isWaiting()) {
        (this->*row.handler)();
    }
}

CommandState SlideController::commandState() const
{
    CommandState state;
    state.slideCount = mFileSequence.count();
    state.timerRuns = mTimerExists;
    state.windowMode = mWindowMode;
    state.isWindowFullScreen = mScreenWindow && mScreenWindow->isFullScreen();
    state.controlsVisible = mControlWindow && mControlWindow->isVisible();
    state.showsFilePath = mSharedUserDefaults.boolValue(keys::showFilePath);
    state.showsFileName = mSharedUserDefaults.boolValue(keys::showFileName);
    state.fitMode = mSharedUserDefaults.stringValue(keys::imageFitMode);
    return state;
}

void SlideController::validateMenuItems()
{
    const CommandState state = commandState();
    for (const ActionRow& row : actionTable()) {
        const QString id = QString::fromLatin1(row.id);
        QAction* action = mainMenu().action(id);
        action->setEnabled(isEnabled(row.needs, state));
        if (action->isCheckable()) {
            action->setChecked(isChecked(id, state));
        }
        const QString title = changingTitle(id, state);
        if (!title.isEmpty()) {
            action->setText(title);
        }
    }
}

void SlideController::ZoomIn()
{
    inTurn([this] {
        delayNextImage();
        if (mFullScreenView != nullptr) {
            mFullScreenView->zoomIn();
        }
    });
}

void SlideController::ZoomOne()
{
    inTurn([this] {
        delayNextImage();
        if (mFullScreenView != nullptr) {
            mFullScreenView->zoomOne();
        }
    });
}

void SlideController::ZoomOff()
{
    inTurn([this] {
        if (mFullScreenView != nullptr) {
            mFullScreenView->zoomOff();
        }
    });
}

void SlideController::setFitMode(const QString& mode)
{
    inTurn([this, mode] {
        delayNextImage();
        mSharedUserDefaults.setValue(keys::imageFitMode, mode);
        if (mFullScreenView != nullptr) {
            mFullScreenView->updateFitMode();
            updateReadAhead();
        }
    });
}

void SlideController::ShrinkToFit()
{
    setFitMode(keys::fitModeFit);
}

void SlideController::ZoomToFit()
{
    setFitMode(keys::fitModeZoom);
}

void SlideController::FillScreen()
{
    setFitMode(keys::fitModeFill);
}

void SlideController::Stretch()
{
    setFitMode(keys::fitModeStretch);
}

void SlideController::shuffle()
{
    inTurn([this] {
        mFileSequence.shuffle();
        firstSlide();
        refitGrid();
    });
}

void SlideController::sortOrderChanged()
{
    inTurn([this] {
        mFileSequence.sort();
        firstSlide();
        refitGrid();
    });
}

// ---- Windows

void SlideController::showAbout()
{
    if (!mAbout) {
        mAbout = new QMessageBox(QMessageBox::NoIcon, tr("About Frameflow"),
            tr("<h2>Frameflow</h2><p>Version %1</p><p>A slideshow viewer for images and movies.</p>")
                .arg(getVersionString()),
            QMessageBox::Close, QApplication::activeWindow());
        mAbout->setAttribute(Qt::WA_DeleteOnClose);
        mAbout->setModal(false);
        connect(mAbout, &QObject::destroyed, this, &SlideController::scheduleVisibilityCheck);
    }
    mAbout->show();
    mAbout->raise();
    mAbout->activateWindow();
}

void SlideController::ShowPreferences()
{
    if (!mPreferenceController) {
        mPreferenceController = std::make_unique<PreferenceController>(mSharedUserDefaults, mClock);
        mPreferenceController->setDelegate(this);
        mainMenu().addKeysTo(mPreferenceController->window());
        connect(mPreferenceController.get(), &PreferenceController::closed, this, [this] {
            mActivation.windowsChange();
            scheduleVisibilityCheck();
        });
    }
    mActivation.windowsChange();
    mPreferenceController->showWindow();
}

void SlideController::ShowControls()
{
    mActivation.windowsChange();
    if (mControlWindow && mControlWindow->isVisible()) {
        mControlWindow->hide();
        return;
    }
    if (!mControlWindow) {
        mControlWindow = std::make_unique<ControlPanel>(mainMenu());
        connect(mControlWindow.get(), &ControlPanel::closed, this, [this] { mActivation.windowsChange(); });
    }
    const bool isShowVisible = mScreenWindow && mScreenWindow->isVisible();
    if (isShowVisible || mCurrentScreen) {
        mControlWindow->placeIn(isShowVisible ? mScreenWindow->geometry() : mCurrentScreen->availableGeometry());
    }
    mControlWindow->showAbove(mScreenWindow.get());
    updateControls();
}

// A window that has just come would cover them.
void SlideController::keepControlsAbove()
{
    if (mControlWindow && mControlWindow->isVisible()) {
        mControlWindow->showAbove(mScreenWindow.get());
    }
}

// What they say of the show is always true: unlike a menu they are seen all the time.
void SlideController::updateControls()
{
    if (mControlWindow && mControlWindow->isVisible()) {
        mControlWindow->setPlaying(mTimerExists);
        validateMenuItems();
    }
}

void SlideController::showHelp()
{
    mLaunchQueue.async([] { openInBrowser(webAddresses::helpPage); });
}

void SlideController::quit()
{
    // Not quit(): that asks every window to close, and gives up at the first that only hides, as the show's does.
    QCoreApplication::exit();
}

// ---- Keys

void SlideController::keyDown(QKeyEvent* event)
{
    // The key of a command that is not offered just now does nothing; in full screen, F11 leads back to the window.
    const QKeySequence pressed(event->keyCombination());
    for (const ActionRow& row : actionTable()) {
        if (row.keys.contains(pressed)) {
            if (event->key() == Qt::Key_F11 && !mWindowMode && !event->isAutoRepeat()) {
                WindowMode();
            }
            event->accept();
            return;
        }
    }
    if (const auto key = slideKey(*event)) {
        if (key->isSpace) {
            event->accept();
        }
        if (!isWaiting() || !event->isAutoRepeat()) {
            inTurn([this, key = *key] { slideKeyPressed(key); });
        }
    }
}

void SlideController::slideKeyPressed(const SlideKey& key)
{
    if (key.seconds) {
        mSharedUserDefaults.setValue(keys::slideInterval, static_cast<float>(*key.seconds));
        if (mMovie) {
            mWasPlaying = true; // the show goes on when the movie has ended
        } else {
            Start();
        }
    } else {
        Stop();
    }
    if (key.isSpace && mMovie) {
        if (mMovieIsPlaying) {
            mMovie->pause();
        } else {
            mMovie->play();
        }
    } else if (key.isSpace) {
        nextSlide();
    }
}

// ---- The open panel

void SlideController::openMenu()
{
    if (mOpenPanel) {
        mOpenPanel->raise();
        mOpenPanel->activateWindow();
        return;
    }
    const QUrl last(mSharedUserDefaults.stringValue(keys::lastUsedOpenDirectory));
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    const QString folder = last.isLocalFile() ? last.toLocalFile() : pictures;
    mOpenPanel = new OpenPanel(
        QUrl::fromLocalFile(answersAsFolder(folder) ? folder : QDir::homePath()), QApplication::activeWindow());
    mOpenPanel->setAttribute(Qt::WA_DeleteOnClose);
    mActivation.windowsChange();
    connect(
        mOpenPanel, &QFileDialog::finished, this, [this, before = QPointer(QApplication::activeWindow())](int result) {
            const bool isChosen = result == QDialog::Accepted;
            if (isChosen) {
                openPanelFinished(mOpenPanel->chosenFiles(), mOpenPanel->directoryUrl());
            }
            mActivation.windowsChange();
            // Without a window manager nobody else gives the keyboard back.
            if (!isChosen && before && before->isVisible()) {
                before->activateWindow();
            } else if (mScreenWindow) {
                mScreenWindow->activateWindow();
            }
            scheduleVisibilityCheck();
        });
    mOpenPanel->open();
}

// The panel looks at its folder while everything waits.
bool SlideController::answersAsFolder(const QString& path)
{
    const auto isFolder = std::make_shared<std::atomic<bool>>(false);
    mDiskQueue.runForAMoment([isFolder, path] { *isFolder = QFileInfo(path).isDir(); });
    return *isFolder;
}

void SlideController::openPanelFinished(const QList<FileUrl>& chosen, const QUrl& folder)
{
    openChosen(chosen);
    mSharedUserDefaults.setValue(keys::lastUsedOpenDirectory, folder.toString(QUrl::FullyEncoded));
}

} // namespace frameflow
