#include "ThumbnailLoader.h"

#include "DecoderPool.h"
#include "FileContents.h"
#include "KLImage.h"
#include "KLThumbnailCache.h"
#include "Limits.h"
#include "MainThread.h"
#include "ReadAhead.h"
#include "Reduction.h"
#include "SerialQueue.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <deque>
#include <thread>
#include <utility>

namespace frameflow {

namespace {

// As thumbNailFromURL() makes it of the file. Null without memory.
QImage thumbnailOf(const QImage& picture, QSize size)
{
    const QSize held = heldSize(size, thumbnailSide);
    // Not the memory itself, which is the whole picture's.
    return held == picture.size() ? picture.copy() : reducedTo(picture, held);
}

} // namespace

class ThumbnailLoader::State : public std::enable_shared_from_this<State>
{
public:
    State(DecoderPool& pool, std::function<void(const FileUrl&, const QImage&)> arrived)
        : mPool(pool), mArrived(std::move(arrived))
    {
    }

    void setWanted(const std::vector<FileUrl>& files, Begun begun);
    void forgetFailures() { mFailed.clear(); }
    void giveUp();
    bool isIdle() const { return mWaiting.empty() && mRunning.isEmpty() && mReducing.isEmpty(); }

private:
    bool beginToReduce(const FileUrl& url);
    void reduced(const FileUrl& url, const QImage& picture);
    void beginMore();
    void begin(const FileUrl& url);
    void arrive(const FileUrl& url, const QImage& picture);
    void done(const FileUrl& url, const QImage& picture);

    DecoderPool& mPool;
    std::function<void(const FileUrl&, const QImage&)> mArrived;
    std::deque<FileUrl> mWaiting;
    QHash<FileUrl, DecoderPool::Ticket> mRunning;
    QSet<FileUrl> mWanted;
    QSet<FileUrl> mFailed; // among those wanted
    QSet<FileUrl> mReducing; // from what is held decoded; there are few of them
    // Twice as many as work at a time: the next one is there when one is done, and few are begun in an old order.
    const qsizetype mMostRunning = 2 * std::max<qsizetype>(1, std::thread::hardware_concurrency());
    SerialQueue mQueue{
        "thumbnails"}; // of what is held decoded: a file system that does not answer holds up nothing else
};

void ThumbnailLoader::State::setWanted(const std::vector<FileUrl>& files, Begun begun)
{
    mWanted = QSet<FileUrl>(files.begin(), files.end());
    mReducing.intersect(mWanted);
    for (auto running = mRunning.begin(); running != mRunning.end();) {
        const DecoderPool::Ticket ticket = running.value();
        if (mWanted.contains(running.key()) || (begun == Begun::Finished && !ticket.cancelUnlessBegun())) {
            ++running;
        } else {
            ticket.cancel();
            running = mRunning.erase(running);
        }
    }
    mFailed.intersect(mWanted);
    mWaiting.clear();
    QSet<FileUrl> seen;
    for (const FileUrl& url : files) {
        const bool isUnderWay = mRunning.contains(url) || mReducing.contains(url) || seen.contains(url);
        const bool isNew = !url.isEmpty() && !isUnderWay && !mFailed.contains(url);
        if (isNew && !KLThumbnailCache::hasImageWithURL(url) && !beginToReduce(url)) {
            mWaiting.push_back(url);
            seen.insert(url);
        }
    }
    beginMore();
}

void ThumbnailLoader::State::giveUp()
{
    mWanted.clear();
    mWaiting.clear();
    mReducing.clear();
    mQueue.abandonRunning();
    for (const auto& ticket : std::as_const(mRunning)) {
        ticket.cancel();
    }
    mRunning.clear();
}

// False where the picture is not held decoded, or only its file can tell.
bool ThumbnailLoader::State::beginToReduce(const FileUrl& url)
{
    const KLImagePtr image = KLImage::isMovieURL(url) ? nullptr : ReadAhead::instance().held(url);
    const QImage source = image ? image->thumbnailSource() : QImage();
    if (source.isNull()) {
        return false;
    }
    mReducing.insert(url);
    mQueue.async([weak = weak_from_this(), url, source, size = image->uprightSize().toSize(), stamp = image->stamp()] {
        const bool isFresh = stampOf(url) == stamp;
        const QImage picture = isFresh ? thumbnailOf(source, size) : QImage();
        postToMainThread([weak, url, picture] {
            if (const auto self = weak.lock()) {
                self->reduced(url, picture);
            }
        });
    });
    return true;
}

void ThumbnailLoader::State::reduced(const FileUrl& url, const QImage& picture)
{
    if (!mReducing.remove(url)) {
        return; // nobody wants it any more
    }
    if (picture.isNull()) {
        mWaiting.push_front(url);
        beginMore();
    } else {
        arrive(url, picture);
    }
}

void ThumbnailLoader::State::beginMore()
{
    while (!mWaiting.empty() && mRunning.size() < mMostRunning) {
        const FileUrl url = mWaiting.front();
        mWaiting.pop_front();
        begin(url);
    }
}

void ThumbnailLoader::State::begin(const FileUrl& url)
{
    // Entered first: the answer finds it there however soon it comes.
    mRunning.insert(url, {});
    mRunning[url] = mPool.decode(KLImage::thumbnailJob(url), [weak = weak_from_this(), url](DecodedFile&& file) {
        if (file.picture.error == DecodeError::Cancelled) {
            return;
        }
        postToMainThread([weak, url, picture = file.picture.pixels] {
            if (const auto self = weak.lock()) {
                self->done(url, picture);
            }
        });
    });
}

void ThumbnailLoader::State::done(const FileUrl& url, const QImage& picture)
{
    if (!mRunning.remove(url)) {
        return; // nobody wants it any more
    }
    if (picture.isNull()) {
        if (mWanted.contains(url)) {
            mFailed.insert(url);
        }
    }
    beginMore();
    arrive(url, picture);
}

void ThumbnailLoader::State::arrive(const FileUrl& url, const QImage& picture)
{
    if (!picture.isNull()) {
        KLThumbnailCache::instance().addImage(std::make_shared<const KLThumbnail>(url, picture));
    }
    mArrived(url, picture);
}

ThumbnailLoader::ThumbnailLoader(
    DecoderPool& pool, std::function<void(const FileUrl& url, const QImage& picture)> arrived)
    : mState(std::make_shared<State>(pool, std::move(arrived)))
{
}

ThumbnailLoader::~ThumbnailLoader()
{
    mState->giveUp();
}

void ThumbnailLoader::setWanted(const std::vector<FileUrl>& files, Begun begun)
{
    mState->setWanted(files, begun);
}

void ThumbnailLoader::forgetFailures()
{
    mState->forgetFailures();
}

bool ThumbnailLoader::isIdle() const
{
    return mState->isIdle();
}

} // namespace frameflow
