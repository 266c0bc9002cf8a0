#include "AboveActiveWindow.h"
#include "ChooseScreenWindow.h"
#include "ControlPanel.h"
#include "KLGridWindowController.h"
#include "KLImageCache.h"
#include "KLThumbnailCache.h"
#include "MainThread.h"
#include "NothingFound.h"
#include "OpenPanel.h"
#include "PreferenceController.h"
#include "PropertyList.h"
#include "ReadAhead.h"
#include "RectText.h"
#include "ScreenChoice.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "UpdateWindowController.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>

#include <utility>

namespace frameflow {

namespace {

QVariantMap defaultsFromResources()
{
    QFile file(QStringLiteral(":/frameflow/UserDefaults.plist"));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return readPropertyList(file.readAll()).value_or(QVariant()).toMap();
}

// After this long displays, the toolkit and the window manager have settled, most times.
constexpr std::chrono::milliseconds screenTime(250);
constexpr int screenLooks = 6;

// Longer than any folder takes whose disk answers.
constexpr Duration silenceBeforeWelcome = std::chrono::seconds(2);

} // namespace

SlideController::SlideController(
    UserDefaults& defaults, Clock& clock, const QString& resourceFolder, const UpdateServer& updateServer)
    : mSharedUserDefaults(defaults), mClock(clock), mResourceFolder(resourceFolder),
      mActivation(clock, [this] { inTurn([this] { applicationWillBecomeActive(); }); }), mUpdateServer(updateServer),
      mCurrentScreen(QGuiApplication::primaryScreen()),
      mFileDrops([this](const QList<FileUrl>& files) { openDropped(files); }), mRetry(clock), mTimer(clock),
      mHoldingBack(clock), mSilence(clock), mDisplaySleep(QStringLiteral("Viewing Slideshow")),
      mDispatchQueue("com.quillory.filesequence"), mFileSequence(defaults, clock),
      mAddQueue("com.quillory.addsequence"), mLaunchQueue("com.quillory.launching"), mDiskQueue("com.quillory.disk"),
      mRecentFolders(defaults)
{
    mFileSequence.setDelegate(this);
    mFileSequence.setGate([this](WaitingLine::Job job) { gate(std::move(job)); });
}

SlideController::~SlideController()
{
    mFileSequence.setDelegate(nullptr);
    mFileSequence.abandonCollections();
    abandonAddFolder();
    cancelWait();
    mLaunchQueue.abandonRunning();
    mDiskQueue.abandonRunning();
    delete mOpenPanel;
    delete mAbout;
    mPreferenceController.reset();
    delete mUpdateAlert;
    delete mUpdateWindow;
    if (mRecentsMenuItem) {
        delete mRecentsMenuItem->menu();
    }
    forgetMovie();
    detachScreenWindow().reset(); // with what draws a movie on it, which the player library waits for
    KLImageCache::purge();
    ReadAhead::instance().purge();
    KLThumbnailCache::purge();
    // What the player library still does should not meet the end of the program.
    MovieEngine::waitForThreads(std::chrono::seconds(1));
}

void SlideController::awakeFromNib()
{
    mSharedUserDefaults.registerDefaults(defaultsFromResources());
    mLastSlideTime = mSharedUserDefaults.floatValue(keys::slideInterval);
    mIntervalObservation
        = mSharedUserDefaults.observe(keys::slideInterval, [this](const QString&) { slideIntervalChanged(); });
    checkForUpdateWhenDue();
    mHasRecentsMenu = mRecentFolders.load();
    restoreScreen();
    connect(qApp, &QGuiApplication::applicationStateChanged, this,
        [this](Qt::ApplicationState state) { mActivation.setActive(state == Qt::ApplicationActive); });
    const auto screens = QGuiApplication::screens();
    for (QScreen* const screen : screens) {
        watchScreen(screen);
    }
    connect(qApp, &QGuiApplication::screenAdded, this, &SlideController::watchScreen);
    connect(qApp, &QGuiApplication::screenAdded, this, &SlideController::followScreen);
    connect(qApp, &QGuiApplication::screenRemoved, this, &SlideController::screenRemoved);
    mScreenTimer.setSingleShot(true);
    connect(&mScreenTimer, &QTimer::timeout, this, &SlideController::lookAtScreens);
}

void SlideController::applicationDidFinishLaunching()
{
    mStartedByHand = true;
    if (mFileSequence.count() == 0) {
        if (mSharedUserDefaults.boolValue(keys::openLastUsedFolder)) {
            recentPaths(); // the first of those that are still there
            openRecentFolderAtIndex(0);
        } else if (mSharedUserDefaults.boolValueOrTrue(keys::showWelcome)) {
            ShowWelcomeScreen();
        }
    }
    scheduleVisibilityCheck();
}

void SlideController::applicationOpenFiles(const QList<FileUrl>& files)
{
    collect(CollectionRequest::Adder::Files, files);
    rememberRecentFolders(files);
}

void SlideController::applicationWillBecomeActive()
{
    if (mFileSequence.isCollecting()) {
        return;
    }
    if (!hasCurrentFile()) {
        if (mSharedUserDefaults.boolValueOrTrue(keys::showWelcome)) {
            ShowWelcomeScreen();
        }
        return;
    }
    const QRect frame = mCurrentScreen ? mCurrentScreen->geometry() : QRect();
    if (!mScreenWindow || mWindowMode || frame != mFullScreenFrame) {
        closeScreenWindow();
        goFullScreen(mCurrentScreen);
        openImageURL(mFileSequence.current(), true);
    }
}

QString SlideController::getVersionString()
{
    return QCoreApplication::applicationVersion();
}

// ---- Collecting what is to be shown

void SlideController::collect(CollectionRequest::Adder adder, const QList<FileUrl>& entries)
{
    CollectionRequest request;
    request.adder = adder;
    request.entries = entries;
    // What a person picked in the open panel is kept whole; all else is thinned, and begins anew with its first.
    const bool showFirst = adder != CollectionRequest::Adder::Urls;
    request.sortAfterwards = request.removeDuplicatesAfterwards = showFirst;
    mLastOpened = entries;
    mIsSilent = false;
    mSilence.start(mClock.now() + silenceBeforeWelcome, [this] { collectionIsSilent(); });
    mFileSequence.collect(mDispatchQueue, request, [this, showFirst] {
        // The hint stands for the slide that it covers: it stays, and the show will begin with the first of the order.
        // So does a show that is about to begin.
        const bool hintStands = mHintsScreenShown || (mAwaited && mAwaited->isHint);
        if (hintStands || mAutoPlayPending) {
            mFirstOfOrderIsKnown = showFirst && mAutoPlayPending;
            mFileSequence.first();
        } else if (showFirst) {
            showFirstOfOrder();
        }
        collectionFinished();
    });
}

// A disk may be slow or not answer at all. Nobody is to be left without a window, nor with one that cannot be closed.
void SlideController::collectionIsSilent()
{
    if (!mFileSequence.isCollecting() || mFileSequence.count() > 0) {
        return;
    }
    mIsSilent = true;
    if (isAnyWindowVisible()) {
        return;
    }
    if (mSharedUserDefaults.boolValueOrTrue(keys::showWelcome)) {
        ShowWelcomeScreen();
    } else {
        openMenu();
    }
}

void SlideController::collectionFinished()
{
    mSilence.stop();
    mIsSilent = false;
    mNothingFound = mFileSequence.count() == 0;
    if (mNothingFound) {
        comeToFront(frontWindow());
    }
    if (mWelcomeController && mNothingFound) {
        loadWelcomeMessage(mLastOpened);
    }
    if (mAutoPlayPending) {
        inTurn([this] { startShow(); });
    }
    endEmptyShow();
    updateReadAhead();
    updateGrid();
    scheduleVisibilityCheck();
}

bool SlideController::hasCurrentFile() const
{
    return mPendingClears == 0 && !mFileSequence.current().isEmpty();
}

// ---- Displays and windows

void SlideController::ShowChooseScreen()
{
    if (!mChooseScreenWindow) {
        mChooseScreenWindow = std::make_unique<ChooseScreenWindow>(mainMenu());
        connect(mChooseScreenWindow.get(), &ChooseScreenWindow::chosen, this, &SlideController::ChangeScreen);
        connect(
            mChooseScreenWindow.get(), &ChooseScreenWindow::closed, this, &SlideController::scheduleVisibilityCheck);
    }
    mChooseScreenWindow->show();
    mChooseScreenWindow->raise();
    mChooseScreenWindow->activateWindow();
}

void SlideController::ChangeScreen()
{
    inTurn([this] { showOnChosenScreen(); });
}

void SlideController::showOnChosenScreen()
{
    if (!mChooseScreenWindow) {
        return;
    }
    mCurrentScreen = mChooseScreenWindow->screen();
    mActivation.windowsChange();
    mChooseScreenWindow->hide();
    if (mScreenWindow && hasCurrentFile()) {
        closeScreenWindow();
        goFullScreen(mCurrentScreen);
        openImageURL(mFileSequence.current(), true);
    }
    postToMainThread([this, alive = std::weak_ptr(mAlive)] {
        if (alive.lock()) {
            saveScreen();
        }
    });
    scheduleVisibilityCheck();
}

void SlideController::ShowWelcomeScreen()
{
    if (!mWelcomeController) {
        mWelcomeController = std::make_unique<WelcomeController>(mSharedUserDefaults);
        mWelcomeController->setMenuBar(mainMenu().makeMenuBar());
        mainMenu().addKeysTo(mWelcomeController->window());
        connect(mWelcomeController.get(), &WelcomeController::closed, this, [this] {
            if (!isAnyWindowVisible() && (mIsSilent || !mFileSequence.isCollecting())) {
                quit();
            }
        });
    }
    mActivation.windowsChange();
    hideGrid();
    showRecentFolders();
    mWelcomeController->setDelegate(this);
    loadWelcomeMessage(std::exchange(mNothingFound, false) ? mLastOpened : QList<FileUrl>());
    mWelcomeController->showWindow();
    comeToFront(mWelcomeController->window());
    mWelcomeController->loadVersionText(tr("Version %1").arg(getVersionString()));
    offerHeldUpdate();
}

void SlideController::loadWelcomeMessage(const QList<FileUrl>& opened)
{
    const auto [title, text, toolTip] = welcomeMessage(opened, mWelcomeController->window()->fontMetrics());
    mWelcomeController->loadMessage(title, text, toolTip);
}

FileUrl SlideController::hintPicture() const
{
    const QString path = mResourceFolder + QStringLiteral("/hint screen.png");
    return QFileInfo::exists(path) ? FileUrl::fromPath(path) : FileUrl();
}

void SlideController::ShowHintScreen()
{
    inTurn([this] {
        mSharedUserDefaults.setValue(keys::hintsShown, true);
        Candidate hint{hintPicture(), true};
        hint.isHint = true;
        show(hint);
    });
}

void SlideController::goFullScreen(QScreen* screen)
{
    mActivation.windowsChange();
    if (!mScreenWindow) {
        makeScreenWindow();
    }
    mWindowMode = false;
    mFullScreenFrame = screen != nullptr ? screen->geometry() : QRect();
    mScreenWindow->showFullScreenOn(screen);
    comeToFront(mScreenWindow.get());
    keepControlsAbove();
    if (mUpdateWindow) {
        // It came before the show, which would cover it until it goes.
        putAbove(mUpdateWindow->window(), mScreenWindow.get());
        mUpdateWindow->window()->raise();
    }
}

void SlideController::makeScreenWindow()
{
    mFullScreenView = new KLLayerView(mSharedUserDefaults, mClock);
    mFullScreenView->setDelegate(this);
    mFullScreenView->setMovieLoudness(mMovieLoudness);
    mScreenWindow = std::make_unique<SlideWindow>(mFullScreenView, mainMenu().makeMenuBar());
    mScreenWindow->setWindowTitle(QGuiApplication::applicationDisplayName());
    mainMenu().addKeysTo(mScreenWindow.get());
    mainMenu().addSlideKeysTo(mFullScreenView);
    connect(mScreenWindow.get(), &SlideWindow::keyUnhandled, this, &SlideController::keyDown);
    connect(mScreenWindow.get(), &SlideWindow::becameKey, this, &SlideController::preventSleep);
    connect(mScreenWindow.get(), &SlideWindow::becameKey, this, &SlideController::offerHeldUpdate);
    connect(mScreenWindow.get(), &SlideWindow::resignedKey, this, &SlideController::allowSleep);
    connect(mScreenWindow.get(), &SlideWindow::closeRequested, this, &SlideController::cancel);
    connect(mScreenWindow.get(), &SlideWindow::resized, this, &SlideController::viewResized);
    connect(
        mFullScreenView, &KLLayerView::pointerRested, mScreenWindow.get(), &SlideWindow::hidePointerUntilMouseMoves);
    // Later: the other animations of the transition end in the same moment.
    connect(
        mFullScreenView, &KLLayerView::animationEnded, this, [this] { transitionEnded(); }, Qt::QueuedConnection);
}

std::unique_ptr<SlideWindow> SlideController::detachScreenWindow()
{
    if (!mScreenWindow) {
        return nullptr;
    }
    mActivation.windowsChange();
    mScreenWindow->hide();
    mScreenWindow->disconnect(this);
    mFullScreenView->setDelegate(nullptr);
    if (const MoviePlayerPtr& player = mFullScreenView->moviePlayer()) {
        player->close(); // the window lives on for a moment
    }
    mFullScreenView->disconnect(this);
    mFullScreenView = nullptr;
    mLabel = nullptr; // goes with its view, but not at once
    std::unique_ptr<SlideWindow> window = std::move(mScreenWindow);
    allowSleep();
    return window;
}

void SlideController::closeScreenWindow()
{
    if (mScreenWindow) {
        // One of the window's own events may have led here.
        detachScreenWindow().release()->deleteLater();
    }
}

void SlideController::exitFullScreen()
{
    closeScreenWindow();
    hideGrid();
    mWindowMode = false;
    scheduleVisibilityCheck();
}

void SlideController::WindowMode()
{
    if (!mScreenWindow) {
        return;
    }
    mWindowMode = true;
    mActivation.windowsChange();
    mScreenWindow->showAsWindow(mCurrentScreen ? windowModeFrame(mCurrentScreen->geometry()) : QRect());
}

void SlideController::FullScreen()
{
    if (!mScreenWindow) {
        return;
    }
    mWindowMode = false;
    if (mScreenWindow->screen() != mCurrentScreen) {
        mCurrentScreen = mScreenWindow->screen();
        postToMainThread([this, alive = std::weak_ptr(mAlive)] {
            if (alive.lock()) {
                saveScreen();
            }
        });
    }
    mActivation.windowsChange();
    mFullScreenFrame = mCurrentScreen ? mCurrentScreen->geometry() : QRect();
    mScreenWindow->showFullScreenOn(mCurrentScreen);
}

void SlideController::saveScreen()
{
    mSharedUserDefaults.setValue(
        keys::screenRectFrame, textFromRect(mCurrentScreen ? QRectF(mCurrentScreen->geometry()) : QRectF()));
}

void SlideController::restoreScreen()
{
    const auto screens = QGuiApplication::screens();
    std::vector<QRect> frames;
    for (const QScreen* screen : screens) {
        frames.push_back(screen->geometry());
    }
    const auto index = rememberedScreen(frames, mSharedUserDefaults.stringValue(keys::screenRectFrame));
    mCurrentScreen = index ? screens.at(static_cast<qsizetype>(*index)) : QGuiApplication::primaryScreen();
}

// Displays move when one beside them comes or goes, and a window manager may leave the show where its own was.
void SlideController::watchScreen(QScreen* screen)
{
    connect(screen, &QScreen::geometryChanged, this, &SlideController::followScreen);
}

// Later: the toolkit and the window manager have their own opinions first, and most managers move the show themselves.
void SlideController::followScreen()
{
    mScreenLooks = screenLooks;
    mScreenTimer.start(screenTime);
}

// A show on a display that is unplugged goes on on the main one.
void SlideController::screenRemoved(QScreen* screen)
{
    if (mCurrentScreen == screen || !mCurrentScreen) {
        mCurrentScreen = QGuiApplication::primaryScreen();
    }
    followScreen();
}

void SlideController::lookAtScreens()
{
    const bool isFullScreen = mScreenWindow && !mWindowMode && !mScreenWindow->isMinimized();
    if (isFullScreen && mCurrentScreen && !mScreenWindow->covers(mCurrentScreen)) {
        coverScreen();
    }
    bringWindowsIntoSight();
    // What was asked for may come out otherwise.
    if (--mScreenLooks > 0) {
        mScreenTimer.start(screenTime);
    }
}

// Neither the keyboard nor what stands above the show changes by it.
void SlideController::coverScreen()
{
    QWidget* const active = QApplication::activeWindow();
    mFullScreenFrame = mCurrentScreen->geometry();
    mScreenWindow->cover(mCurrentScreen);
    if (active != nullptr && active != mScreenWindow.get()) {
        active->raise();
        active->activateWindow();
    }
    keepControlsAbove();
}

// ---- No program without a window

void SlideController::scheduleVisibilityCheck()
{
    postToMainThread([this, alive = std::weak_ptr(mAlive)] {
        if (alive.lock()) {
            checkVisibility();
        }
    });
}

void SlideController::checkVisibility()
{
    // Queued jobs count as work: their end leads here again.
    if (isAnyWindowVisible() || mFileSequence.isCollecting() || mPendingClears > 0) {
        return;
    }
    const bool byHand = std::exchange(mStartedByHand, false);
    if (mSharedUserDefaults.boolValueOrTrue(keys::showWelcome)) {
        ShowWelcomeScreen();
    } else if (byHand) {
        openMenu();
    } else {
        quit();
    }
}

} // namespace frameflow
