#include "ThumbnailLoader.h"

#include "DecoderPool.h"
#include "KLImage.h"
#include "KLThumbnailCache.h"
#include "MainThread.h"
#include "ReadAhead.h"
#include "Reduction.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <deque>
#include <optional>
#include <thread>
#include <utility>

namespace frameflow {

namespace {

// What a thumbnail can be made of without decoding the file again.
struct HeldPicture
{
    QImage source;
    QSize size; // of the thumbnail
    std::optional<FileStamp> stamp;
};

std::optional<HeldPicture> heldPicture(const FileUrl& url)
{
    const KLImagePtr image = KLImage::isMovieURL(url) ? nullptr : ReadAhead::instance().held(url);
    const QImage source = image ? image->thumbnailSource() : QImage();
    return source.isNull() ? std::nullopt : std::optional(HeldPicture{source, image->thumbnailSize(), image->stamp()});
}

// Null where there is none, and where the file holds none and is no longer the one that was decoded.
QImage thumbnailOf(const std::optional<HeldPicture>& held, const DecodedFile& file)
{
    if (!held || file.picture.error != DecodeError::NoThumbnail) {
        return file.picture.pixels;
    }
    if (file.stamp != held->stamp) {
        return {};
    }
    // Not the memory itself, which is the whole picture's.
    return held->size == held->source.size() ? held->source.copy() : reducedTo(held->source, held->size);
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
    bool isIdle() const { return mWaiting.empty() && mRunning.isEmpty(); }

private:
    void beginMore();
    void begin(const FileUrl& url);
    void decode(const FileUrl& url, const std::optional<HeldPicture>& held);
    void done(const FileUrl& url, const QImage& picture);

    DecoderPool& mPool;
    std::function<void(const FileUrl&, const QImage&)> mArrived;
    std::deque<FileUrl> mWaiting;
    QHash<FileUrl, DecoderPool::Ticket> mRunning;
    QSet<FileUrl> mWanted;
    QSet<FileUrl> mFailed; // among those wanted
    // Twice as many as work at a time: the next one is there when one is done, and few are begun in an old order.
    const qsizetype mMostRunning = 2 * std::max<qsizetype>(1, std::thread::hardware_concurrency());
};

void ThumbnailLoader::State::setWanted(const std::vector<FileUrl>& files, Begun begun)
{
    mWanted = QSet<FileUrl>(files.begin(), files.end());
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
        const bool isNew = !url.isEmpty() && !seen.contains(url) && !mRunning.contains(url) && !mFailed.contains(url);
        if (isNew && !KLThumbnailCache::hasImageWithURL(url)) {
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
    for (const auto& ticket : std::as_const(mRunning)) {
        ticket.cancel();
    }
    mRunning.clear();
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
    decode(url, heldPicture(url));
}

void ThumbnailLoader::State::decode(const FileUrl& url, const std::optional<HeldPicture>& held)
{
    DecodeJob job = KLImage::thumbnailJob(url);
    job.request.isHeld = held.has_value();
    mRunning[url] = mPool.decode(job, [weak = weak_from_this(), url, held](DecodedFile&& file) {
        if (file.picture.error == DecodeError::Cancelled) {
            return;
        }
        // Here, on a thread of the pool, a core is free for it.
        const QImage picture = thumbnailOf(held, file);
        const bool isStillToBeMade = held && picture.isNull() && file.picture.error == DecodeError::NoThumbnail;
        postToMainThread([weak, url, picture, isStillToBeMade] {
            const auto self = weak.lock();
            if (self && !isStillToBeMade) {
                self->done(url, picture);
            } else if (self && self->mRunning.contains(url)) {
                self->decode(url, {});
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
    } else {
        KLThumbnailCache::instance().addImage(std::make_shared<const KLThumbnail>(url, picture));
    }
    beginMore();
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
