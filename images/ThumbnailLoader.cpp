#include "ThumbnailLoader.h"

#include "DecoderPool.h"
#include "KLImage.h"
#include "KLThumbnailCache.h"
#include "MainThread.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <deque>
#include <thread>
#include <utility>

namespace frameflow {

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
