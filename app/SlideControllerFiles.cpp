#include "MainThread.h"
#include "OpenWith.h"
#include "PrintableText.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "Trash.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

#include <atomic>
#include <memory>

namespace frameflow {

namespace {

QString nameWithoutExtension(const FileUrl& url)
{
    const QByteArrayView name = url.fileName();
    const QByteArrayView extension = url.extension();
    return QString::fromUtf8(extension.isEmpty() ? name : name.chopped(extension.size() + 1));
}

} // namespace

// ---- What is done with the file of the slide

// As the bytes that it is made of: a path that is no text leads to its file as well.
void SlideController::CopyFilePath()
{
    inTurn([this] {
        const FileUrl url = currentFile();
        if (!url.isEmpty()) {
            auto* const path = new QMimeData;
            path->setData(QStringLiteral("text/plain"), url.path());
            QGuiApplication::clipboard()->setMimeData(path);
        }
    });
}

// Refused while a slide is being waited for, and during a transition: what a person means is what is on screen.
void SlideController::trashSlide()
{
    if (isWaiting() || !hasCurrentFile() || (mFullScreenView != nullptr && mFullScreenView->isBusy())) {
        return;
    }
    checkMovie();
    const FileUrl url = mFileSequence.trash([this](const FileUrl& file) { return moveToTrashSoon(file); });
    if (!url.isEmpty()) {
        openImageURL(url, true);
    }
    updateGrid();
}

bool SlideController::moveToTrashSoon(const FileUrl& url)
{
    if (mGoingToTrash.contains(url)) {
        return false;
    }
    enum class Move
    {
        UnderWay,
        Late, // nobody waits for it any more
        Failed,
        Done,
    };
    const auto move = std::make_shared<std::atomic<Move>>(Move::UnderWay);
    mDiskQueue.runForAMoment([this, url, move, alive = std::weak_ptr(mAlive)] {
        const auto end = moveToTrash(url) ? Move::Done : Move::Failed;
        if (move->exchange(end) == Move::Late) {
            postToMainThread([this, url, end, alive] {
                if (alive.lock()) {
                    mGoingToTrash.removeOne(url);
                    if (end == Move::Done) {
                        movedToTrashLate(url);
                    }
                }
            });
        }
    });
    auto end = Move::UnderWay;
    if (move->compare_exchange_strong(end, Move::Late)) {
        mGoingToTrash.append(url);
        return false;
    }
    return end == Move::Done;
}

// Whatever is on the screen by then.
void SlideController::movedToTrashLate(const FileUrl& url)
{
    inTurn([this, url] {
        if (isEnding() || !mFileSequence.indexOf(url, mFileSequence.currentIndex())) {
            return;
        }
        const bool wasCurrent = mFileSequence.current() == url;
        mFileSequence.removeTrashed(url);
        if (wasCurrent) {
            checkMovie();
            openImageURL(mFileSequence.current(), true);
        }
        updateGrid();
    });
}

void SlideController::openSlide()
{
    inTurn([this] {
        const FileUrl url = currentFile();
        if (url.isEmpty()) {
            return;
        }
        const QString& key = isMovieURL(url) ? keys::movieEditorPath : keys::imageEditorPath;
        mLaunchQueue.async([url, editor = mSharedUserDefaults.stringValue(key)] { openInEditor(url, editor); });
    });
}

// ---- The file's path or name over the slide

void SlideController::ShowFilePath()
{
    toggleLabel(keys::showFilePath, keys::showFileName);
}

void SlideController::ShowFileName()
{
    toggleLabel(keys::showFileName, keys::showFilePath);
}

void SlideController::toggleLabel(const QString& key, const QString& otherKey)
{
    inTurn([this, key, otherKey] {
        delayNextImage();
        const bool isWanted = !mSharedUserDefaults.boolValue(key);
        mSharedUserDefaults.setValue(key, isWanted);
        if (isWanted && mSharedUserDefaults.boolValue(otherKey)) {
            mSharedUserDefaults.setValue(otherKey, false);
        }
        updateInfoDisplayForURL(currentFile());
    });
}

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

} // namespace frameflow
