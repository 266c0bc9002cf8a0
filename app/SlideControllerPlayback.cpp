#include "KLImage.h"
#include "KLImageCache.h"
#include "KLThumbnailCache.h"
#include "MainThread.h"
#include "ReadAhead.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "SlideTiming.h"

#include <utility>

namespace frameflow {

namespace {

constexpr Duration smallFolderTime = std::chrono::milliseconds(6);

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
    // A slide that is being waited for gets its full time: the timer begins anew when it appears.
    if (!isWaiting()) {
        next();
    }
}

void SlideController::Start()
{
    if (mTimerExists) {
        return;
    }
    mSlideTime = mSharedUserDefaults.floatValue(keys::slideInterval);
    startTimer();
    updateControls();
}

void SlideController::Stop()
{
    mTimer.stop();
    mTimerExists = false;
    updateControls();
}

void SlideController::Play()
{
    if (mTimerExists) {
        Stop();
        mWasPlaying = false;
    } else if (mMovie) {
        mWasPlaying = !mWasPlaying;
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
    inTurn([this] {
        checkMovie();
        const FileUrl url = mFileSequence.first();
        if (!url.isEmpty()) {
            resetTimer();
            openImageURL(url, false);
        }
    });
}

// A picture that was found first, and is not there yet, makes way for the first one of the order.
void SlideController::showFirstOfOrder()
{
    if (isBeginning()) {
        const FileUrl url = mFileSequence.first();
        if (!url.isEmpty() && url != mAwaited->url) {
            mAwaited.reset();
            show({url, false});
        } else {
            mAwaited->isLabelled = true; // it is opened for the second time, as the first of the order
        }
    } else {
        firstSlide();
    }
}

void SlideController::nextSlide()
{
    inTurn([this] {
        resetTimer();
        next();
    });
}

void SlideController::previousSlide()
{
    inTurn([this] {
        resetTimer();
        previous();
    });
}

void SlideController::next()
{
    inTurn([this] { stepForward(); });
}

void SlideController::stepForward()
{
    if (mFullScreenView != nullptr && mFullScreenView->isBusy()) {
        return;
    }
    checkMovie();
    if (const auto candidate = nextCandidate()) {
        open(*candidate);
    }
}

// What a step forward shows. Absent at the end of the sequence, where the end mode has been carried out. What a running
// collection has found so far has no end yet.
std::optional<SlideController::Candidate> SlideController::nextCandidate()
{
    Candidate candidate;
    if (mHintsScreenShown) {
        candidate.url = mFileSequence.current();
    } else {
        candidate.url = nextAd();
        candidate.isAd = !candidate.url.isEmpty();
        if (!candidate.isAd) {
            candidate.url = mFileSequence.next();
        }
    }
    if (!candidate.url.isEmpty()) {
        return candidate;
    }
    if (mSharedUserDefaults.stringValue(keys::endMode) == keys::endModeClose && !mFileSequence.isCollecting()) {
        endSlideShow();
    }
    return std::nullopt;
}

void SlideController::previous()
{
    inTurn([this] { stepBack(); });
}

void SlideController::stepBack()
{
    if (mFullScreenView != nullptr && mFullScreenView->isBusy()) {
        return;
    }
    checkMovie();
    const FileUrl url = mHintsScreenShown ? mFileSequence.current() : mFileSequence.previous();
    if (!url.isEmpty()) {
        openImageURL(url, false);
    }
}

void SlideController::reloadCurrent()
{
    inTurn([this] {
        const bool isBusy = mFullScreenView != nullptr && mFullScreenView->isBusy();
        const FileUrl url = mFileSequence.current();
        if (!isBusy && !url.isEmpty()) {
            show({url, true});
        }
    });
}

bool SlideController::isMovieURL(const FileUrl& url)
{
    return KLImage::isMovieURL(url);
}

// ---- The end of a show

void SlideController::endSlideShow()
{
    Stop();
    forgetMovie();
    if (mFullScreenView != nullptr) {
        mFullScreenView->clearImage();
    }
    mImageURL = {};
    mHintsScreenShown = false;
    mAutoPlayPending = false;
    mFirstOfOrderIsKnown = false;
    mHoldingBack.stop();
    mSilence.stop();
    mIsSilent = false;
    mFileSequence.abandonCollections();
    ++mPendingClears; // from here on nothing that the background found opens a show again
    cancelWait();
    exitFullScreen();
    mFileSequence.clearOn(mDispatchQueue, [this] {
        --mPendingClears;
        updateControls();
        scheduleVisibilityCheck();
    });
    closeAddFolder();
    mSecurityScopedResourceURL = {};
    KLImageCache::purge();
    ReadAhead::instance().purge();
    KLThumbnailCache::purge();
}

// ---- What the sequence found

void SlideController::firstFileFound()
{
    // From the event loop: a small folder is in order by then, and its first picture is the only one to be decoded.
    mAutoPlayPending = true;
    mSilence.stop();
    mIsSilent = false;
    postToMainThread([this, alive = std::weak_ptr(mAlive)] {
        if (alive.lock() && mAutoPlayPending) {
            inTurn([this] { beginShow(); });
        }
    });
}

// A small folder is in order in a moment, and its first picture is the only one to be decoded. Nothing else is done
// until then: a window takes longer to make. The walk through a large one rests from then on: with few cores it would
// take them from the decoder.
void SlideController::beginShow()
{
    if (!mFileSequence.isCollecting()) {
        startShow();
    } else if (mAutoPlayPending && !mHoldingBack.isActive()) {
        mHoldingBack.start(mClock.now() + smallFolderTime, [this] {
            mFileSequence.giveWay(std::chrono::milliseconds(250));
            inTurn([this] { startShow(); });
        });
    }
}

void SlideController::startShow()
{
    mHoldingBack.stop();
    if (std::exchange(mAutoPlayPending, false)) {
        autoPlay();
        mFirstOfOrderIsKnown = false;
    }
}

void SlideController::newFilesFound()
{
    inTurn([this] {
        if (isEnding()) {
            return;
        }
        const bool nothingOnScreen = mImageURL.isEmpty();
        const bool asSoonAsPossible = !mTimerExists && mSharedUserDefaults.boolValue(keys::showNewItemsASAP);
        if (nothingOnScreen || asSoonAsPossible) {
            next();
            autoPlay();
        }
        refitGrid();
        updateReadAhead();
    });
}

void SlideController::currentFileChanged()
{
    inTurn([this] {
        if (!isEnding()) {
            reloadCurrent();
        }
    });
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
    if (mWelcomeController && mScreenWindow) {
        mActivation.windowsChange();
        mWelcomeController->window()->hide();
    }
    if (mSharedUserDefaults.boolValue(keys::autoStart) && !mTimerExists) {
        Play();
    }
    openAddfolder();
}

// ---- The display's sleep

void SlideController::preventSleep()
{
    mDisplaySleep.prevent();
}

void SlideController::allowSleep()
{
    mDisplaySleep.allow();
}

} // namespace frameflow
