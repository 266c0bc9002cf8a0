#include "KLImage.h"
#include "KLImageCache.h"
#include "KLThumbnailCache.h"
#include "MainThread.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "SlideTiming.h"
#include "StartWindow.h"

#include <utility>

namespace frameflow {

namespace {

// How long the window may be without an answer while files that cannot be shown are stepped over.
constexpr Duration longestStepping = std::chrono::milliseconds(30);

} // namespace

// ---- The timer

void SlideController::startTimer()
{
    mTimerExists = true;
    mTimer.start(mClock.now() + slideDuration(mSlideTime), [this] { myTimerFireMethod(); });
}

void SlideController::resetTimer()
{
    if (mTimerExists) {
        startTimer();
    }
}

void SlideController::myTimerFireMethod()
{
    resetTimer();
    next();
}

void SlideController::Start()
{
    if (mTimerExists) {
        return;
    }
    mSlideTime = mSharedUserDefaults.floatValue(keys::slideInterval);
    startTimer();
}

void SlideController::Stop()
{
    mTimer.stop();
    mTimerExists = false;
}

void SlideController::Play()
{
    if (mTimerExists) {
        Stop();
    } else {
        Start();
    }
}

void SlideController::slideIntervalChanged()
{
    const Duration before = slideDuration(mSlideTime);
    mSlideTime = mSharedUserDefaults.floatValue(keys::slideInterval);
    if (!mTimerExists) {
        return;
    }
    if (const auto deadline = retimed(mClock.now(), mTimer.deadline(), before, slideDuration(mSlideTime))) {
        mTimer.moveTo(*deadline);
    } else {
        myTimerFireMethod();
    }
}

void SlideController::delayNextImage()
{
    if (mTimerExists) {
        mTimer.moveTo(postponed(mClock.now(), mTimer.deadline()));
    }
}

// ---- Stepping

void SlideController::firstSlide()
{
    const FileUrl url = mFileSequence.first();
    if (!url.isEmpty()) {
        resetTimer();
        openImageURL(url, false);
    }
}

void SlideController::nextSlide()
{
    resetTimer();
    next();
}

void SlideController::previousSlide()
{
    resetTimer();
    previous();
}

void SlideController::next()
{
    if (mFullScreenView != nullptr && mFullScreenView->isBusy()) {
        return;
    }
    if (const auto url = nextURL()) {
        openImageURL(*url, true);
    }
}

// The file that a step forward shows. Absent at the end of the sequence, where the end mode has been carried out. What
// a running collection has found so far has no end yet.
std::optional<FileUrl> SlideController::nextURL()
{
    const FileUrl url = mHintsScreenShown ? mFileSequence.current() : mFileSequence.next();
    if (!url.isEmpty()) {
        return url;
    }
    if (mSharedUserDefaults.stringValue(keys::endMode) == keys::endModeClose && !mFileSequence.isCollecting()) {
        endSlideShow();
    }
    return std::nullopt;
}

void SlideController::previous()
{
    if (mFullScreenView != nullptr && mFullScreenView->isBusy()) {
        return;
    }
    const FileUrl url = mHintsScreenShown ? mFileSequence.current() : mFileSequence.previous();
    if (!url.isEmpty()) {
        openImageURL(url, false);
    }
}

void SlideController::reloadCurrent()
{
    if (mFullScreenView != nullptr && mFullScreenView->isBusy()) {
        return;
    }
    const FileUrl url = mFileSequence.current();
    if (!url.isEmpty()) {
        openImageURL(url, true);
    }
}

bool SlideController::isMovieURL(const FileUrl& url)
{
    return KLImage::isMovieURL(url);
}

// ---- Putting a file on screen

void SlideController::openImageURL(const FileUrl& url, bool forward)
{
    showFirstOf({url, forward, {}});
}

// Files that cannot be shown are stepped over, one after another. A folder may hold a hundred thousand of them: after a
// while the rest waits for the next turn of the event loop, and whatever is opened meanwhile takes its place.
void SlideController::showFirstOf(Candidate candidate)
{
    const int opening = ++mOpening;
    mSteppingOver = false;
    const TimePoint begun = mClock.now();
    while (!present(candidate.url, candidate.forward)) {
        if (!isMovieURL(candidate.url)) {
            dropUnloadable(candidate.url);
        } else if (candidate.firstSkipped.isEmpty()) {
            // Stepped over but kept: without a player nothing is known against the file.
            candidate.firstSkipped = candidate.url;
        } else if (candidate.firstSkipped == candidate.url) {
            break; // a whole round without a slide
        }
        const auto next = nextURL();
        if (!next) {
            break;
        }
        candidate.url = *next;
        candidate.forward = true;
        if (mClock.now() - begun > longestStepping) {
            mSteppingOver = true;
            postToMainThread([this, candidate, opening, alive = std::weak_ptr(mAlive)] {
                if (alive.lock() && mOpening == opening) {
                    showFirstOf(candidate);
                }
            });
            return;
        }
    }
    endEmptyShow();
}

// A show in which nothing can be shown ends, unless something may still come: from a running collection, or from the
// files that have not been tried yet.
void SlideController::endEmptyShow()
{
    const bool moreToCome = mFileSequence.isCollecting() || mSteppingOver || mAutoPlayPending;
    if (mFullScreenView != nullptr && !mFullScreenView->currentImage() && !moreToCome) {
        mNothingFound = true;
        endSlideShow();
    }
}

// False when the file cannot be shown.
bool SlideController::present(const FileUrl& url, bool forward)
{
    mHintsScreenShown = false;
    mImageURL = url;
    if (mScreenWindow) {
        mScreenWindow->hidePointerUntilMouseMoves();
    }
    if (mFullScreenView == nullptr || !mScreenWindow->isVisible()) {
        goFullScreen(mCurrentScreen);
        mScreenWindow->hidePointerUntilMouseMoves();
    }
    if (url.isEmpty()) {
        return true;
    }
    mScreenWindow->setWindowTitle(QString::fromUtf8(url.fileName()).simplified());
    if (isMovieURL(url)) {
        return false;
    }
    mFullScreenView->setImageWithURL(url, forward);
    const TimePoint now = mClock.now();
    if (mLastSlideChange) {
        mLastSlideTime = secondsFromDuration(now - *mLastSlideChange);
    }
    mLastSlideChange = now;
    return mFullScreenView->ImageOK();
}

void SlideController::dropUnloadable(const FileUrl& url)
{
    mFileSequence.remove(url);
    mImageURL = {};
    mFileSequence.stepBackAfterRemoval();
}

// ---- The end of a show

void SlideController::endSlideShow()
{
    Stop();
    if (mFullScreenView != nullptr) {
        mFullScreenView->clearImage();
    }
    mImageURL = {};
    mHintsScreenShown = false;
    ++mOpening;
    mSteppingOver = false;
    mAutoPlayPending = false;
    mFileSequence.abandonCollections();
    exitFullScreen();
    ++mPendingClears;
    mFileSequence.clearOn(mDispatchQueue, [this] {
        --mPendingClears;
        scheduleVisibilityCheck();
    });
    KLImageCache::purge();
    KLThumbnailCache::purge();
}

// ---- What the sequence found

void SlideController::firstFileFound()
{
    // From the event loop: a small folder is in order by then, and its first picture is the only one to be decoded.
    mAutoPlayPending = true;
    postToMainThread([this, alive = std::weak_ptr(mAlive)] {
        if (!alive.lock() || !std::exchange(mAutoPlayPending, false)) {
            return;
        }
        // The walk through the folder rests while the picture is decoded, and until its window is likely to be on the
        // screen: on a machine with few cores it would take them from both.
        mFileSequence.giveWay(std::chrono::milliseconds(250));
        autoPlay();
        mFileSequence.giveWay(std::chrono::milliseconds(50));
    });
}

void SlideController::newFilesFound()
{
    const bool nothingOnScreen = mImageURL.isEmpty();
    const bool asSoonAsPossible = !mTimerExists && mSharedUserDefaults.boolValue(keys::showNewItemsASAP);
    if (nothingOnScreen || asSoonAsPossible) {
        next();
        autoPlay();
    }
}

void SlideController::currentFileChanged()
{
    reloadCurrent();
}

void SlideController::autoPlay()
{
    const FileUrl current = mFileSequence.current();
    if (current.isEmpty()) {
        return;
    }
    if (mSharedUserDefaults.boolValue(keys::hintsShown) || hintPicture().isEmpty()) {
        openImageURL(current, true);
    } else {
        ShowHintScreen();
    }
    if (mStartWindow && mScreenWindow) {
        mActivation.windowsChange();
        mStartWindow->hide();
    }
    if (mSharedUserDefaults.boolValue(keys::autoStart) && !mTimerExists) {
        Play();
    }
}

} // namespace frameflow
