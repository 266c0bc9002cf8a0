#include "DecoderPool.h"
#include "KLGridWindowController.h"
#include "SlideController.h"

namespace frameflow {

void SlideController::ShowGridScreen()
{
    inTurn([this] {
        if (mFileSequence.count() == 0 || isEnding()) {
            return;
        }
        if (!mGridController) {
            makeGrid();
        }
        mActivation.windowsChange();
        mGridController->adjustColumns();
        mGridController->showWindow();
    });
}

void SlideController::makeGrid()
{
    mGridController = std::make_unique<KLGridWindowController>(mSharedUserDefaults, mClock, DecoderPool::instance());
    mGridController->setMyFileSequence(&mFileSequence);
    mGridController->setDelegate(this);
    mGridController->setMenuBar(mainMenu().makeMenuBar());
    mainMenu().addKeysTo(mGridController->window());
    connect(mGridController.get(), &KLGridWindowController::openSelected, this, &SlideController::openSelected);
    connect(mGridController.get(), &KLGridWindowController::closed, this, [this] {
        mActivation.windowsChange();
        scheduleVisibilityCheck();
    });
}

void SlideController::hideGrid()
{
    if (mGridController) {
        mActivation.windowsChange();
        mGridController->hideWindow();
    }
}

void SlideController::refitGrid()
{
    if (mGridController) {
        mGridController->adjustColumns();
    }
}

void SlideController::updateGrid()
{
    if (mGridController) {
        mGridController->sequenceChanged();
        mGridController->currentSlideChanged();
    }
    updateControls();
}

void SlideController::gotoImageIndex(size_t index)
{
    inTurn([this, index, url = mFileSequence.URLAtIndex(index)] { goToFile(url, index); });
}

// The file may stand elsewhere by now, when it was chosen while a slide was being waited for.
void SlideController::goToFile(const FileUrl& url, size_t index)
{
    checkMovie();
    const size_t before = mFileSequence.currentIndex();
    const auto place = url.isEmpty() ? std::nullopt : mFileSequence.indexOf(url, index);
    if (place && !mFileSequence.gotoIndex(*place).isEmpty()) {
        openImageURL(url, before < *place);
    }
    if (mScreenWindow) {
        mActivation.windowsChange();
        mScreenWindow->setWindowState(mScreenWindow->windowState() & ~Qt::WindowMinimized);
        mScreenWindow->raise();
        mScreenWindow->activateWindow();
    }
}

} // namespace frameflow
