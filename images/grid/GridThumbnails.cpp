#include "GridThumbnails.h"

#include <utility>

namespace frameflow {

GridThumbnails::GridThumbnails(
    DecoderPool& pool, Clock& clock, std::function<void(const FileUrl& url, const QImage& picture)> arrived)
    : mClock(clock), mLoader(pool, std::move(arrived)), mRest(clock)
{
}

void GridThumbnails::setVisible(std::vector<FileUrl> missing, std::function<std::vector<FileUrl>()> around)
{
    mLoader.setWanted(missing);
    mRest.start(mClock.now() + restingTime, [this, wanted = std::move(missing), around = std::move(around)]() mutable {
        const std::vector<FileUrl> others = around();
        wanted.insert(wanted.end(), others.begin(), others.end());
        mLoader.setWanted(wanted);
    });
}

void GridThumbnails::giveUp()
{
    mRest.stop();
    mLoader.setWanted({});
}

} // namespace frameflow
