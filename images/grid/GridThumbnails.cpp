#include "GridThumbnails.h"

#include "KLThumbnailCache.h"
#include "MainThread.h"

#include <utility>

namespace frameflow {

GridThumbnails::GridThumbnails(
    DecoderPool& pool, Clock& clock, std::function<void(const FileUrl& url, const QImage& picture)> arrived)
    : mClock(clock), mArrived(std::make_shared<const Arrived>(std::move(arrived))), mLoader(pool, *mArrived),
      mRest(clock)
{
}

void GridThumbnails::setVisible(const std::vector<FileUrl>& missing, const std::vector<FileUrl>& coming,
    std::function<std::vector<FileUrl>()> around)
{
    std::vector<FileUrl> soon = missing;
    soon.insert(soon.end(), coming.begin(), coming.end());
    KLThumbnailCache::instance().prepare(
        soon, [weak = std::weak_ptr(mArrived)](const FileUrl& url, const QImage& picture) {
            postToMainThread([weak, url, picture] {
                if (const auto arrived = weak.lock()) {
                    (*arrived)(url, picture);
                }
            });
        });
    // A decoder is given up for one that takes long, and the grid rests.
    mLoader.setWanted(missing, ThumbnailLoader::Begun::Finished);
    mRest.start(mClock.now() + restingTime, [this, wanted = missing, around = std::move(around)]() mutable {
        const std::vector<FileUrl> others = around();
        wanted.insert(wanted.end(), others.begin(), others.end());
        mLoader.setWanted(wanted);
    });
}

void GridThumbnails::giveUp()
{
    mRest.stop();
    mLoader.setWanted({});
    KLThumbnailCache::instance().prepare({});
}

} // namespace frameflow
