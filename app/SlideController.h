#pragma once

#include "ActionTable.h"
#include "ActivationMonitor.h"
#include "BackgroundCheck.h"
#include "CancelToken.h"
#include "Clock.h"
#include "DisplaySleep.h"
#include "FileDrops.h"
#include "FileSequence.h"
#include "KLImageGridDelegate.h"
#include "KLLayerView.h"
#include "LaunchToken.h"
#include "MainMenu.h"
#include "OpenPanel.h"
#include "PreferenceDelegate.h"
#include "RecentFolders.h"
#include "SerialQueue.h"
#include "SlideKeys.h"
#include "SlideLabel.h"
#include "SlideWindow.h"
#include "UserDefaults.h"
#include "WaitingLine.h"
#include "WelcomeController.h"

#include <QPointer>
#include <QScreen>
#include <QTimer>

#include <memory>
#include <optional>

class QMessageBox;

namespace frameflow {

class ChooseScreenWindow;
class ControlPanel;
class KLGridWindowController;
class PreferenceController;
class UpdateWindowController;

// The one controller of the program: it owns the sequence, the windows, the timer and the background queue, and
// translates between them. Main thread only.
class SlideController final : public QObject,
                              public FileSequenceDelegate,
                              public KLImageDisplayDelegate,
                              public KLImageGridDelegate,
                              public PreferenceDelegate,
                              public WelcomeControllerDelegate
{
    Q_OBJECT

public:
    // Both references must outlive the controller. The resource folder holds the hint picture.
    SlideController(
        UserDefaults& defaults, Clock& clock, const QString& resourceFolder, const UpdateServer& updateServer = {});
    ~SlideController() override;

    // Start-up, in this order: awakeFromNib, then one of the other two.
    void awakeFromNib();
    void applicationDidFinishLaunching();
    // Adds files and folders handed over by the system to what is shown. Absolute paths.
    void applicationOpenFiles(const QList<FileUrl>& files);
    void applicationWillBecomeActive();
    // Asked for by the desktop or by a later start of the program, which has given the right to come to the front. With
    // nothing on screen yet, the first of them is the start.
    void applicationActivate(const LaunchToken& token);
    void applicationOpen(const QList<FileUrl>& files, const LaunchToken& token);
    // By the id of its action. False when there is no such command, or none for others to give.
    bool applicationPerform(const QByteArray& command, const LaunchToken& token);
    // Files and folders that were dropped on a window: as if they had been chosen in the open panel.
    void openDropped(const QList<FileUrl>& files);
    // A minimised one counts.
    static bool isAnyWindowVisible();
    static QString getVersionString();

    // Displays and windows.
    void ShowChooseScreen();
    void ChangeScreen();
    void ShowWelcomeScreen();
    void ShowHintScreen();
    void ShowGridScreen();
    void gotoImageIndex(size_t index) override;
    void goFullScreen(QScreen* screen);
    void exitFullScreen();
    void WindowMode();
    void FullScreen();
    void saveScreen();
    void restoreScreen();

    // Playback.
    void Start();
    void Stop();
    void Play();
    void delayNextImage() override;
    void firstSlide();
    void nextSlide();
    void previousSlide();
    void next();
    void previous();
    void reloadCurrent();
    void openImageURL(const FileUrl& url, bool forward);
    void endSlideShow();
    void firstFileFound() override;
    void newFilesFound() override;
    void currentFileChanged() override;
    void autoPlay();
    void openAddfolder();
    void preventSleep();
    void allowSleep();
    static bool isMovieURL(const FileUrl& url);
    // Pauses the movie on screen and lets go of it, which lets the show go on that it has held up; false when there is
    // none.
    bool checkMovie();

    // Commands.
    void openMenu();
    void openSelected() override { openMenu(); }
    void cancel() { endSlideShow(); }
    void ZoomIn();
    void ZoomOne();
    void ZoomOff();
    void ShrinkToFit();
    void ZoomToFit();
    void FillScreen();
    void Stretch();
    void CopyFilePath();
    void ShowFilePath();
    void ShowFileName();
    void ShowControls();
    void trashSlide();
    void openSlide();
    void shuffle();
    void sortOrderChanged() override;
    void keyDown(QKeyEvent* event);
    void updateInfoDisplayForURL(const FileUrl& url);
    void showAbout();
    void ShowPreferences();
    void showHelp();
    void quit();

    // Recent folders. Nothing is remembered but a single folder.
    void rememberRecentFolders(const QList<FileUrl>& paths);
    void rememberRecentURLs(const QList<FileUrl>& urls);
    void rememberRecentFolder(const FileUrl& path);
    // Newest first. Those that are gone leave the list.
    QList<FileUrl> recentPaths();
    void updateRecentMenu();
    void OpenRecentFolder(QAction* item);
    void recentSelected(qsizetype index) override;
    // Does nothing for an index out of range, and for a folder that is gone.
    void openRecentFolderAtIndex(qsizetype index);
    void ClearRecentsMenu();

    // Newer versions. The check that a person asks for holds everything up until the server has answered.
    void CheckUpdate();
    // What a check has found out: its result as checkForUpdate answers it, whether a person asked, the server's
    // version.
    void updateAvailable(int result, bool manual, const QString& version);

    // What a person would see, for tests and for the parts of the program that report it.
    FileSequence& fileSequence() { return mFileSequence; }
    // Null until ads have been opened.
    const FileSequence* addSequence() const { return mAddSequence.get(); }
    // Made when it is first asked for, which the first window does: the decoder of the first slide is at work by then.
    MainMenu& mainMenu();
    SlideWindow* screenWindow() const { return mScreenWindow.get(); }
    KLLayerView* slideView() const { return mFullScreenView; }
    // Null until it was first shown.
    WelcomeController* welcomeController() const { return mWelcomeController.get(); }
    // Null until there has been a list of recent folders.
    QAction* recentsMenuItem();
    // The recent folder that is open; empty for none.
    const FileUrl& securityScopedResourceURL() const { return mSecurityScopedResourceURL; }
    // Null until the controls have been shown for the first time.
    ControlPanel* controlWindow() const { return mControlWindow.get(); }
    ChooseScreenWindow* chooseScreenWindow() const { return mChooseScreenWindow.get(); }
    // Null until the preferences have been shown.
    PreferenceController* preferenceController() const { return mPreferenceController.get(); }
    // Null until the thumbnails have been shown for the first time.
    KLGridWindowController* gridController() const { return mGridController.get(); }
    OpenPanel* openPanel() const { return mOpenPanel; }
    // Null while there is none on screen.
    QMessageBox* updateAlert() const;
    UpdateWindowController* updateWindow() const;
    // Whether the automatic check is waiting for its answer.
    bool isCheckingForUpdate() const { return mUpdateCheck != nullptr; }
    // The path or name over the slide; null while there is none.
    SlideLabel* label() const { return mLabel; }
    const FileUrl& imageURL() const { return mImageURL; }
    QScreen* currentScreen() const { return mCurrentScreen; }
    bool timerRuns() const { return mTimerExists; }
    // When the next slide comes; meaningful while the timer runs.
    TimePoint nextSlideChange() const { return mTimer.deadline(); }
    bool isWindowMode() const { return mWindowMode; }
    bool hintsScreenShown() const { return mHintsScreenShown; }
    double lastSlideTime() const { return mLastSlideTime; }
    // Or for its turn, as commands do that came meanwhile.
    bool isWaitingForSlide() const { return isWaiting() || !mWaitingLine.isEmpty(); }
    const MoviePlayerPtr& movie() const { return mMovie; }
    bool movieIsPlaying() const { return mMovieIsPlaying; }
    // Whether the show goes on when the movie has ended; meaningful while there is one.
    bool wasPlaying() const { return mWasPlaying; }

private:
    void startTimer();
    void resetTimer();
    void myTimerFireMethod();
    void slideIntervalChanged();
    void showFirstOfOrder();
    void stepForward();
    void stepBack();
    void beginShow();
    void startShow();

    // A file to be put on screen; when it cannot be shown, those after it.
    struct Candidate
    {
        FileUrl url;
        bool forward = true;
        bool isHint = false;
        bool isAd = false;
        bool isLabelled = true; // not where the window is made for it
        bool wasWaitedFor = false;
        bool isNewVersion = false; // of what is on screen
        FileUrl firstSkipped = {}; // the first that was stepped over and kept
    };
    std::optional<Candidate> nextCandidate();
    void open(const Candidate& candidate);
    void show(Candidate candidate);
    void prepareWindow(Candidate& candidate);
    void decodeForScreen(const FileUrl& url);
    void proceed();
    bool stepOver();
    bool present(const Candidate& candidate);
    void slideAppeared(const Candidate& candidate);
    void dropUnloadable(const Candidate& candidate);
    void endEmptyShow();

    void collectAds(const FileUrl& folder);
    void abandonAddFolder();
    void closeAddFolder();
    // False when the file stays, or when its volume does not answer: it may go later.
    bool moveToTrashSoon(const FileUrl& url);
    void movedToTrashLate(const FileUrl& url);
    FileUrl nextAd();
    std::vector<FileUrl> comingFiles() const;
    // Whether there is a slide on the view, a picture or a movie.
    bool hasSlide() const;

    // Movies. False when the file cannot be played.
    bool showMovie(const Candidate& candidate);
    void movieDidEnd(const MoviePlayerPtr& player);
    void movieDidFail(const MoviePlayerPtr& player);
    void afterMovie();
    void watchMovie(const MoviePlayerPtr& player);
    void movieWentOn(const MoviePlayerPtr& player);
    void forgetMovie();

    // While a slide is being decoded for the screen the old one stays, and whatever else would read or change sequence,
    // cursor or view waits.
    bool isWaiting() const { return mAwaited.has_value(); }
    // Whether it is the first slide of a show.
    bool isBeginning() const { return isWaiting() && mFullScreenView != nullptr && !hasSlide(); }
    // Whether a show has ended whose files are still in the sequence.
    bool isEnding() const { return mPendingClears > 0; }
    // Runs the job now, or when no slide is being waited for any more.
    void inTurn(WaitingLine::Job job, WaitingLine::From from = WaitingLine::From::Person);
    void gate(WaitingLine::Job job);
    void serveWaitingLine();
    void serveNext();
    void cancelWait();
    bool mustWaitForTransition(const Candidate& candidate) const;
    void transitionEnded();
    void updateReadAhead();
    void viewResized();
    void reloadIfChanged(const KLImagePtr& image);

    void makeGrid();
    void hideGrid();
    // The columns anew, and the cells.
    void refitGrid();
    // What may have changed in the sequence, or the current slide, reaches the thumbnails.
    void updateGrid();
    void goToFile(const FileUrl& url, size_t index);

    void collect(CollectionRequest::Adder adder, const QList<FileUrl>& entries);
    void collectionFinished();
    void collectionIsSilent();
    bool hasCurrentFile() const;

    void makeScreenWindow();
    // The slide window, hidden and with nobody left who hears it; null for none.
    std::unique_ptr<SlideWindow> detachScreenWindow();
    void closeScreenWindow();
    void showOnChosenScreen();
    void watchScreen(QScreen* screen);
    void screenRemoved(QScreen* screen);
    void followScreen();
    void lookAtScreens();
    void coverScreen();
    void bringWindowsIntoSight();
    FileUrl hintPicture() const;
    void scheduleVisibilityCheck();
    void checkVisibility();

    // The one that stands for the program; null when none is visible.
    QWidget* frontWindow() const;
    // Once for each wish.
    void comeToFront(QWidget* window);

    CommandState commandState() const;
    void connectActions();
    void perform(const ActionRow& row);
    void slideKeyPressed(const SlideKey& key);
    void validateMenuItems();
    void setFitMode(const QString& mode);
    void openChosen(const QList<FileUrl>& chosen);
    // Shows the one label, in place of the other, or none.
    void toggleLabel(const QString& key, const QString& otherKey);
    // The file that commands are about: the slide, also while an ad stands in its place. Empty for none.
    FileUrl currentFile() const { return hasCurrentFile() ? mFileSequence.current() : FileUrl(); }
    void updateControls();
    void keepControlsAbove();
    // False also when the disk does not answer.
    bool answersAsFolder(const QString& path);
    void openPanelFinished(const QList<FileUrl>& chosen, const QUrl& folder);

    void recentFoldersChanged();
    void showRecentFolders();
    void fillRecentMenu(const QStringList& paths);
    QStringList recentPathTexts();
    void loadWelcomeMessage(const QList<FileUrl>& opened);

    void checkForUpdateWhenDue();
    void showUpdateAlert(int result);
    void offerUpdate(const QString& version, bool manual);
    void offerHeldUpdate();
    void rememberUpdateCheck();

    UserDefaults& mSharedUserDefaults;
    Clock& mClock;
    const QString mResourceFolder;
    std::unique_ptr<MainMenu> mMainMenu;
    ActivationMonitor mActivation;
    UserDefaults::Observation mIntervalObservation;

    std::unique_ptr<WelcomeController> mWelcomeController;
    std::unique_ptr<ChooseScreenWindow> mChooseScreenWindow;
    std::unique_ptr<ControlPanel> mControlWindow; // made when it is first shown
    std::unique_ptr<PreferenceController> mPreferenceController;
    QPointer<OpenPanel> mOpenPanel;
    QPointer<QMessageBox> mAbout;
    const UpdateServer mUpdateServer;
    std::unique_ptr<BackgroundCheck> mUpdateCheck; // while it is under way
    QPointer<QMessageBox> mUpdateAlert;
    QPointer<UpdateWindowController> mUpdateWindow; // keeps itself alive
    QString mHeldOffer; // a version that is offered when a show that is about to begin has its first slide
    std::unique_ptr<SlideWindow> mScreenWindow;
    KLLayerView* mFullScreenView = nullptr; // owned by mScreenWindow
    QPointer<SlideLabel> mLabel; // owned by mFullScreenView
    QPointer<QScreen> mCurrentScreen;
    QTimer mScreenTimer; // after displays have changed
    int mScreenLooks = 0; // that are left
    QRect mFullScreenFrame; // the display's frame at the last goFullScreen
    bool mWindowMode = false;
    bool mStartedByHand = false;
    std::optional<LaunchToken> mLaunchToken; // for the window that comes next
    FileDrops mFileDrops;

    FileUrl mImageURL;
    bool mHintsScreenShown = false;
    bool mAutoPlayPending = false; // the first file was found, and is shown in the next turn of the event loop
    bool mFirstOfOrderIsKnown = false; // before that turn
    std::optional<Candidate> mAwaited; // absent while no slide is being waited for
    WaitingLine mWaitingLine;
    bool mIsServing = false; // a job of the line
    bool mIsServePosted = false; // to the event loop
    FileUrl mJustPresented; // in this turn of the event loop
    MoviePlayerPtr mMovie; // on screen; null for none
    const std::shared_ptr<MovieLoudness> mMovieLoudness = std::make_shared<MovieLoudness>();
    bool mMovieIsPlaying = false;
    bool mWasPlaying = false; // the timer ran when the movie came
    std::weak_ptr<MoviePlayer> mEndedMovie; // the last one to come to its end
    MoviePlayerPtr mEndedWhileBusy; // its end is acted on when the view is not busy any more
    std::vector<FileUrl> mFailedMovies; // since the last slide that was shown to its end
    OneShotTimer mRetry;
    OneShotTimer mTimer;
    OneShotTimer mHoldingBack; // of the first picture of a show, until the order of a small folder is known
    OneShotTimer mSilence; // of a collection that has found nothing yet
    bool mIsSilent = false;
    bool mTimerExists = false;
    double mSlideTime = 0;
    double mLastSlideTime = 0;
    std::optional<TimePoint> mLastSlideChange;
    DisplaySleep mDisplaySleep;

    SerialQueue mDispatchQueue;
    FileSequence mFileSequence;
    std::unique_ptr<KLGridWindowController> mGridController;
    SerialQueue mAddQueue;
    SerialQueue mLaunchQueue; // other programs are started there: the desktop may not answer
    SerialQueue mDiskQueue; // what a person waits for, but no longer than a moment: a disk may not answer
    QList<FileUrl> mGoingToTrash; // whose volume has not answered yet
    std::unique_ptr<FileSequence> mAddSequence; // made when ads are first opened
    CancelToken mAddOpening; // of the folder that is being looked for
    FileUrl mSecurityScopedAddURL;
    qint64 mAddCounter = 0; // slides since the last ad
    RecentFolders mRecentFolders;
    bool mHasRecentsMenu = false;
    QPointer<QAction> mRecentsMenuItem; // owned by its menu
    FileUrl mSecurityScopedResourceURL;
    QList<FileUrl> mLastOpened;
    bool mNothingFound = false; // in what was opened last
    int mPendingClears = 0;
    // Gone with the controller, so that what was posted to the event loop finds out.
    std::shared_ptr<bool> mAlive = std::make_shared<bool>(true);
};

} // namespace frameflow
