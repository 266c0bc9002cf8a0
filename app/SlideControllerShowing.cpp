#include "KLImageCache.h"
#include "MainThread.h"
#include "PrintableText.h"
#include "ReadAhead.h"
#include "SettingsKeys.h"
#include "SlideController.h"

#include <utility>

namespace frameflow {

// ---- Putting a file on screen

void SlideController::openImageURL(const FileUrl& url, bool forward)
{
    open({url, forward});
}

void SlideController::open(const Candidate& candidate)
{
    // What is on its way to the screen, or came there in this turn, is not presented twice.
    const FileUrl& url = candidate.url;
    const bool isOnItsWay = mAwaited && mAwaited->url == url;
    const bool isThere = !url.isEmpty() && url == mJustPresented && hasSlide();
    if (isOnItsWay || isThere) {
        return;
    }
    inTurn([this, candidate] { show(candidate); });
}

void SlideController::show(Candidate candidate)
{
    prepareWindow(candidate);
    if (!candidate.url.isEmpty()) {
        mAwaited = std::move(candidate);
        proceed();
    }
}

void SlideController::prepareWindow(Candidate& candidate)
{
    mHintsScreenShown = false;
    mImageURL = candidate.url;
    // The first of the order is opened for the second time by then.
    candidate.isLabelled = mFullScreenView != nullptr || (mFirstOfOrderIsKnown && !candidate.isHint);
    if (mScreenWindow) {
        mScreenWindow->hidePointerUntilMouseMoves();
    }
    if (mFullScreenView == nullptr || !mScreenWindow->isVisible()) {
        decodeForScreen(candidate.url);
        goFullScreen(mCurrentScreen);
        mScreenWindow->hidePointerUntilMouseMoves();
    }
}

// Before its window is there: that takes a while to make.
void SlideController::decodeForScreen(const FileUrl& url)
{
    if (mFullScreenView == nullptr && mCurrentScreen && !url.isEmpty()) {
        const ViewArea area{QSizeF(mCurrentScreen->geometry().size()), mCurrentScreen->devicePixelRatio()};
        ReadAhead::instance().setWanted({{url, KLLayerView::frameRuleFor(area, mSharedUserDefaults)}});
    }
}

// Puts the awaited file on screen when its picture is there; steps over those that have none.
void SlideController::proceed()
{
    while (mAwaited) {
        const AheadFile file{mAwaited->url, mFullScreenView->frameRule()};
        ReadAhead& readAhead = ReadAhead::instance();
        if (!readAhead.isReady(file)) {
            mAwaited->wasWaitedFor = true;
            if (isMovieURL(mAwaited->url)) {
                MovieEngine::prepare();
            }
            readAhead.ask(file, [this, alive = std::weak_ptr(mAlive)] {
                if (alive.lock()) {
                    proceed();
                }
            });
            updateReadAhead();
            return;
        }
        if (mustWaitForTransition(*mAwaited)) {
            mAwaited->wasWaitedFor = true;
            return;
        }
        if (isMovieURL(mAwaited->url) ? showMovie(*mAwaited) : present(*mAwaited)) {
            slideAppeared(*std::exchange(mAwaited, std::nullopt));
            break;
        }
        if (!stepOver()) {
            break;
        }
    }
    endEmptyShow();
    serveWaitingLine();
}

// A view in the middle of a transition takes no other picture. The one that it shows is none.
bool SlideController::mustWaitForTransition(const Candidate& candidate) const
{
    const KLImagePtr& image = mFullScreenView->currentImage();
    const bool isShown = image && image->mURL() == candidate.url && !mFullScreenView->isMovieActive();
    return mFullScreenView->isBusy() && (!isShown || candidate.isNewVersion);
}

void SlideController::transitionEnded()
{
    if (mFullScreenView == nullptr || mFullScreenView->isBusy()) {
        return;
    }
    if (const MoviePlayerPtr ended = std::exchange(mEndedWhileBusy, nullptr)) {
        movieDidEnd(ended);
    }
    proceed();
}

// On to the file after one that cannot be shown; false when there is none.
bool SlideController::stepOver()
{
    Candidate candidate = *mAwaited;
    if (!isMovieURL(candidate.url)) {
        dropUnloadable(candidate);
    } else if (candidate.firstSkipped.isEmpty()) {
        // Stepped over but kept: that there is no player for it says nothing against the file.
        candidate.firstSkipped = candidate.url;
    } else if (candidate.firstSkipped == candidate.url) {
        mAwaited.reset(); // a whole round without a slide
        return false;
    }
    auto next = nextCandidate();
    if (!next && mFullScreenView != nullptr && !hasSlide()) {
        // No slide stands on the screen on which a show could rest at its end.
        const FileUrl first = mFileSequence.first();
        next = first.isEmpty() ? std::nullopt : std::optional(Candidate{first});
    }
    if (!next) {
        mAwaited.reset();
        return false;
    }
    next->wasWaitedFor = candidate.wasWaitedFor;
    next->firstSkipped = candidate.firstSkipped;
    prepareWindow(*next);
    mAwaited = std::move(next);
    return true;
}

// A show in which nothing can be shown ends, unless something may still come: from a running collection, or from the
// files that have not been tried yet.
void SlideController::endEmptyShow()
{
    const bool moreToCome = mFileSequence.isCollecting() || isWaiting() || mAutoPlayPending || !mWaitingLine.isEmpty();
    if (mFullScreenView != nullptr && !hasSlide() && !moreToCome) {
        mNothingFound = true;
        endSlideShow();
    }
}

// False when the file cannot be shown.
bool SlideController::present(const Candidate& candidate)
{
    const bool isShownAlready = mFullScreenView->isBusy(); // else it would have waited
    mFullScreenView->setImageWithURL(candidate.url, candidate.forward);
    if (!isShownAlready && !mFullScreenView->ImageOK()) {
        return false;
    }
    mScreenWindow->setWindowTitle(printable(QString::fromUtf8(candidate.url.fileName()).simplified()));
    const TimePoint now = mClock.now();
    if (mLastSlideChange) {
        mLastSlideTime = secondsFromDuration(now - *mLastSlideChange);
    }
    mLastSlideChange = now;
    mFailedMovies.clear();
    if (mMovie && !mFullScreenView->isMovieActive()) {
        afterMovie(); // the picture has come in its place without a step
    }
    return true;
}

void SlideController::slideAppeared(const Candidate& candidate)
{
    mHintsScreenShown = candidate.isHint;
    if (candidate.isLabelled) {
        updateInfoDisplayForURL(candidate.url);
    }
    mJustPresented = candidate.url;
    postToMainThread([this, alive = std::weak_ptr(mAlive)] {
        if (alive.lock()) {
            mJustPresented = {};
        }
    });
    if (candidate.wasWaitedFor) {
        resetTimer(); // it is seen for its full time
        // The walk through a folder rests until the slide is likely to be on the screen: with few cores it would take
        // them from that.
        mFileSequence.giveWay(std::chrono::milliseconds(50));
    }
    updateReadAhead();
    offerHeldUpdate();
    updateGrid();
}

bool SlideController::hasSlide() const
{
    return mFullScreenView != nullptr && (mFullScreenView->currentImage() || mFullScreenView->isMovieActive());
}

// Puts the cursor where the next step leads to the file after it, and after the last one to the end.
void SlideController::dropUnloadable(const Candidate& candidate)
{
    FileSequence& sequence = candidate.isAd ? *mAddSequence : mFileSequence;
    const bool wasLast = sequence.current() == candidate.url && sequence.currentIndex() + 1 == sequence.count();
    sequence.removeUnloadable(candidate.url);
    mImageURL = {};
    if (wasLast) {
        sequence.previous();
    } else {
        sequence.stepBackAfterRemoval();
    }
    updateGrid();
}

// ---- Waiting for it

void SlideController::inTurn(WaitingLine::Job job, WaitingLine::From from)
{
    const bool isBehindOthers = !mIsServing && !mWaitingLine.isEmpty();
    if (isWaiting() || isBehindOthers) {
        mWaitingLine.add(from, std::move(job));
    } else {
        job();
    }
}

// Where what background work brings reaches the sequences.
void SlideController::gate(WaitingLine::Job job)
{
    const auto jobAndGrid = [this, job = std::move(job), alive = std::weak_ptr(mAlive)] {
        job();
        if (alive.lock()) {
            updateGrid();
        }
    };
    if (isBeginning()) {
        jobAndGrid(); // there is no slide yet that it could disturb, and the order may be known before there is one
    } else {
        inTurn(jobAndGrid, WaitingLine::From::Sequence);
    }
}

// Each in a turn of the event loop of its own, as if it came only now: the first may have begun a transition, in which
// the second is nothing.
void SlideController::serveWaitingLine()
{
    if (!isWaiting() && !mWaitingLine.isEmpty() && !std::exchange(mIsServePosted, true)) {
        postToMainThread([this, alive = std::weak_ptr(mAlive)] {
            if (alive.lock()) {
                mIsServePosted = false;
                serveNext();
            }
        });
    }
}

void SlideController::serveNext()
{
    if (isWaiting() || mWaitingLine.isEmpty()) {
        return;
    }
    const std::weak_ptr alive(mAlive);
    mIsServing = true;
    mWaitingLine.takeFirst()();
    if (!alive.expired()) {
        mIsServing = false;
        endEmptyShow();
        serveWaitingLine();
    }
}

void SlideController::cancelWait()
{
    mAwaited.reset();
    ReadAhead::instance().cancelAsked();
    for (const auto& job : mWaitingLine.clear()) {
        job();
    }
}

// ---- What comes next

void SlideController::updateReadAhead()
{
    std::vector<AheadFile> files;
    // Nothing comes before the first slide of a show.
    if (hasSlide()) {
        const FrameRule frame = mFullScreenView->frameRule();
        for (const FileUrl& url : comingFiles()) {
            if (!url.isEmpty()) {
                files.push_back({url, frame});
            }
        }
    }
    ReadAhead::instance().setWanted(files);
}

// ---- The size of the view

// Never waits: the slide is placed anew at once, and what else there is to do is done meanwhile.
void SlideController::viewResized()
{
    if (mFullScreenView == nullptr) {
        return;
    }
    mFullScreenView->updateFitMode();
    const KLImagePtr image = mFullScreenView->isMovieActive() ? nullptr : mFullScreenView->currentImage();
    if (image) {
        ReadAhead::instance().lookAt(image, [this, image, alive = std::weak_ptr(mAlive)] {
            if (alive.lock()) {
                inTurn([this, image] { reloadIfChanged(image); });
            }
        });
    }
}

// The file of a slide has changed since it was decoded.
void SlideController::reloadIfChanged(const KLImagePtr& image)
{
    const bool isShown = mFullScreenView != nullptr && !mFullScreenView->isMovieActive();
    if (isShown && mFullScreenView->currentImage() == image) {
        KLImageCache::removeImageWithURL(image->mURL());
        Candidate anew{image->mURL(), true};
        anew.isNewVersion = true;
        show(anew);
    }
}

} // namespace frameflow
