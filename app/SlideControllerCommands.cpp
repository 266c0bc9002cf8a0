#include "OpenPanel.h"
#include "PreferenceController.h"
#include "PrintableText.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "SlideKeys.h"

#include <QApplication>
#include <QDialog>
#include <QKeyEvent>
#include <QMessageBox>
#include <QStandardPaths>

namespace frameflow {

namespace {

QString nameWithoutExtension(const FileUrl& url)
{
    const QByteArrayView name = url.fileName();
    const QByteArrayView extension = url.extension();
    return QString::fromUtf8(extension.isEmpty() ? name : name.chopped(extension.size() + 1));
}

} // namespace

// ---- Actions

void SlideController::connectActions()
{
    for (const ActionRow& row : actionTable()) {
        QAction* action = mMainMenu.action(QString::fromLatin1(row.id));
        action->setShortcuts(row.keys);
        connect(action, &QAction::triggered, this, [this, row] { perform(row); });
    }
    mMainMenu.setRefresher([this] { validateMenuItems(); });
    validateMenuItems();
}

void SlideController::perform(const ActionRow& row)
{
    // A held key repeats as long as it is held: what it brings while a slide is being waited for is no further wish. So
    // nothing is left to be done when it is released.
    // Nor is a file for the Trash.
    const bool isHeld = mMainMenu.isKeyRepeated();
    if (isHeld
        && (row.whileWaiting == WhileWaiting::Refused || (isWaiting() && row.whileWaiting == WhileWaiting::Waits))) {
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
    state.fitMode = mSharedUserDefaults.stringValue(keys::imageFitMode);
    return state;
}

void SlideController::validateMenuItems()
{
    const CommandState state = commandState();
    for (const ActionRow& row : actionTable()) {
        const QString id = QString::fromLatin1(row.id);
        QAction* action = mMainMenu.action(id);
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

// Refused while a slide is being waited for, and during a transition: what a person means is what is on screen.
void SlideController::trashSlide()
{
    if (isWaiting() || (mFullScreenView != nullptr && mFullScreenView->isBusy())) {
        return;
    }
    checkMovie();
    const FileUrl url = mFileSequence.trash();
    if (!url.isEmpty()) {
        openImageURL(url, true);
    }
    updateGrid();
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

// ---- The file's path or name over the slide

void SlideController::updateInfoDisplayForURL(const FileUrl& url)
{
    const bool showsPath = mSharedUserDefaults.boolValue(keys::showFilePath);
    if (!showsPath && !mSharedUserDefaults.boolValue(keys::showFileName)) {
        if (mLabel) {
            mLabel->clear();
            mLabel->hide();
        }
        return;
    }
    if (!mLabel && mFullScreenView != nullptr) {
        mLabel = new SlideLabel(mFullScreenView);
        connect(mLabel, &SlideLabel::heightTaken, mFullScreenView, &KLLayerView::setBottomInset);
    }
    if (mLabel) {
        mLabel->showText(printable(showsPath ? url.displayPath() : nameWithoutExtension(url)));
    }
}

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
        mMainMenu.addKeysTo(mPreferenceController->window());
        connect(mPreferenceController.get(), &PreferenceController::closed, this, [this] {
            mActivation.windowsChange();
            scheduleVisibilityCheck();
        });
    }
    mActivation.windowsChange();
    mPreferenceController->showWindow();
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
            if (event->key() == Qt::Key_F11 && !mWindowMode) {
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
    mOpenPanel = new OpenPanel(last.isLocalFile() ? last : QUrl::fromLocalFile(pictures), QApplication::activeWindow());
    mOpenPanel->setAttribute(Qt::WA_DeleteOnClose);
    mActivation.windowsChange();
    connect(mOpenPanel, &QFileDialog::finished, this, [this](int result) {
        if (result == QDialog::Accepted) {
            openPanelFinished(mOpenPanel->chosenFiles(), mOpenPanel->directoryUrl());
        }
        mActivation.windowsChange();
        // Without a window manager nobody else gives the keyboard back.
        if (mScreenWindow) {
            mScreenWindow->activateWindow();
        }
        scheduleVisibilityCheck();
    });
    mOpenPanel->open();
}

void SlideController::openPanelFinished(const QList<FileUrl>& chosen, const QUrl& folder)
{
    Stop();
    endSlideShow();
    if (!chosen.isEmpty()) {
        collect(CollectionRequest::Adder::Urls, chosen);
        rememberRecentURLs(chosen);
    }
    mSharedUserDefaults.setValue(keys::lastUsedOpenDirectory, folder.toString(QUrl::FullyEncoded));
}

} // namespace frameflow
