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

void GridThumbnails::setVisible(
    const std::vector<FileUrl>& missing, const std::vector<FileUrl>& soon, std::function<std::vector<FileUrl>()> around)
{
    mMissing = missing;
    prepare(soon);
    // A decoder that is ended has to be replaced, which costs more than most thumbnails do.
    const bool isLenient = mClock.now() < mGivenUp + longestLeniency;
    setWanted(missing, isLenient ? ThumbnailLoader::Begun::Finished : ThumbnailLoader::Begun::GivenUp);
    mRest.start(mClock.now() + restingTime, [this, around = std::move(around)] {
        prepare(mMissing); // while it was scrolled, not all of them were
        std::vector<FileUrl> wanted = mMissing;
        const std::vector<FileUrl> others = around();
        wanted.insert(wanted.end(), others.begin(), others.end());
        setWanted(wanted, ThumbnailLoader::Begun::GivenUp);
    });
}

void GridThumbnails::giveUp()
{
    mRest.stop();
    mMissing.clear();
    prepare({});
    setWanted({}, ThumbnailLoader::Begun::GivenUp);
}

void GridThumbnails::prepare(const std::vector<FileUrl>& files)
{
    const auto ready = [this, weak = std::weak_ptr(mArrived)](const FileUrl& url, const QImage& picture) {
        postToMainThread([this, weak, url, picture] {
            const auto arrived = weak.lock();
            if (!arrived) {
                return; // nor is there anything else of this object
            }
            if (!picture.isNull()) {
                (*arrived)(url, picture);
            } else {
                setWanted(mMissing, ThumbnailLoader::Begun::Finished); // there was no memory, so it is made again
            }
        });
    };
    KLThumbnailCache::instance().prepare(files, ready);
}

void GridThumbnails::setWanted(const std::vector<FileUrl>& files, ThumbnailLoader::Begun begun)
{
    if (begun == ThumbnailLoader::Begun::GivenUp) {
        mGivenUp = mClock.now();
    }
    mLoader.setWanted(files, begun);
}

} // namespace frameflow
