#include "AdPattern.h"
#include "Bookmark.h"
#include "MainThread.h"
#include "SettingsKeys.h"
#include "SlideController.h"

#include <limits>

namespace frameflow {

// ---- Ads among the slides

void SlideController::openAddfolder()
{
    const QByteArray bookmark = mSharedUserDefaults.dataValue(keys::addFolder);
    if (!mSharedUserDefaults.boolValue(keys::showAdds) || bookmark.isEmpty()) {
        return;
    }
    abandonAddFolder();
    mAddOpening = CancelToken();
    // Elsewhere: a folder on a disk that does not answer holds up the ads alone.
    mAddQueue.async([this, bookmark, opening = mAddOpening, alive = std::weak_ptr(mAlive)] {
        const auto resolved = resolveBookmark(bookmark);
        if (!resolved) {
            return; // the ads stay as they were
        }
        postToMainThread([this, folder = resolved->folder, opening, alive] {
            if (alive.lock() && !opening.isCancelled()) {
                collectAds(folder);
            }
        });
    });
}

void SlideController::collectAds(const FileUrl& folder)
{
    mSecurityScopedAddURL = folder;
    if (!mAddSequence) {
        mAddSequence = std::make_unique<FileSequence>(mSharedUserDefaults, mClock);
        mAddSequence->setGate([this](WaitingLine::Job job) { gate(std::move(job)); });
    }
    mAddSequence->abandonCollections();
    CollectionRequest request;
    request.adder = CollectionRequest::Adder::Url;
    request.entries = {folder};
    request.clearFirst = true;
    mAddSequence->collect(mAddQueue, request, [this] { updateReadAhead(); });
}

// A folder that is still being looked for is not opened any more.
void SlideController::abandonAddFolder()
{
    mAddOpening.cancel();
    mAddQueue.abandonRunning();
}

void SlideController::closeAddFolder()
{
    abandonAddFolder();
    mSecurityScopedAddURL = {};
    if (mAddSequence) {
        mAddSequence->abandonCollections();
        mAddSequence->clearOn(mAddQueue);
    }
}

// The ad that the next step forward shows; none when it is a slide's turn, which is counted.
FileUrl SlideController::nextAd()
{
    if (!mSharedUserDefaults.boolValue(keys::showAdds) || !mAddSequence) {
        return {};
    }
    if (mAddCounter < mSharedUserDefaults.integerValue(keys::addInterval)) {
        ++mAddCounter;
        return {};
    }
    // One that is due while they are being collected comes as soon as they are known.
    if (mAddSequence->isCollecting()) {
        return {};
    }
    mAddCounter = 0;
    return mAddSequence->next();
}

// ---- What comes next

// In the order in which they are likely to be wanted. Nothing of it moves a cursor.
std::vector<FileUrl> SlideController::comingFiles() const
{
    const bool goesRound = mSharedUserDefaults.stringValue(keys::endMode) == keys::endModeRewind;
    const auto left = [goesRound](const FileSequence& sequence) {
        const auto count = static_cast<qint64>(sequence.count());
        const auto index = static_cast<qint64>(sequence.currentIndex());
        return goesRound && count > 0 ? std::numeric_limits<qint64>::max() : std::max<qint64>(count - 1 - index, 0);
    };
    AdPattern ads;
    ads.isOn = mAddSequence && !mAddSequence->isCollecting() && mSharedUserDefaults.boolValue(keys::showAdds);
    if (ads.isOn) {
        ads.interval = mSharedUserDefaults.integerValue(keys::addInterval);
        ads.counter = mAddCounter;
        ads.adsLeft = left(*mAddSequence);
    }
    const qint64 slidesLeft = left(mFileSequence);
    std::vector<FileUrl> files;
    if (mHintsScreenShown) {
        files.push_back(mFileSequence.current()); // the hint stands for the slide that it covers
    }
    for (const ComingStep& step : ads.comingSteps(2)) {
        if (step.isAd) {
            files.push_back(mAddSequence->atOffset(step.offset));
        } else if (step.offset <= slidesLeft) {
            files.push_back(mFileSequence.atOffset(step.offset));
        }
    }
    if (!mHintsScreenShown) {
        files.push_back(mFileSequence.atOffset(-1));
    }
    return files;
}

} // namespace frameflow
