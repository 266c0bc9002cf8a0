#pragma once

#include "Clock.h"
#include "ThumbnailLoader.h"

#include <functional>
#include <memory>
#include <vector>

namespace frameflow {

// Decides which thumbnails are made for a grid that is scrolled: those in view at once, and when it has come to rest
// those around it. Main thread only.
class GridThumbnails
{
public:
    // For how long the same files must have been in view before others are made ready.
    static constexpr Duration restingTime = std::chrono::milliseconds(150);
    // For how long, while the grid does not rest, what has begun keeps the place of what is in view.
    static constexpr Duration longestLeniency = std::chrono::milliseconds(500);

    // All outlive this. "Arrived" as ThumbnailLoader has it.
    GridThumbnails(
        DecoderPool& pool, Clock& clock, std::function<void(const FileUrl& url, const QImage& picture)> arrived);

    // The files in view that have no picture yet, in their order, those of them and of what comes next whose pictures
    // are to be uncompressed if there are any, and what answers those around them when it is time to ask. What is not
    // among them any more is given up.
    void setVisible(const std::vector<FileUrl>& missing, const std::vector<FileUrl>& soon,
        std::function<std::vector<FileUrl>()> around);
    void giveUp();
    // What could not be made is tried again.
    void forgetFailures() { mLoader.forgetFailures(); }
    bool isIdle() const { return mLoader.isIdle() && !mRest.isActive(); }

private:
    using Arrived = std::function<void(const FileUrl& url, const QImage& picture)>;

    void prepare(const std::vector<FileUrl>& files);
    void setWanted(const std::vector<FileUrl>& files, ThumbnailLoader::Begun begun);

    Clock& mClock;
    const std::shared_ptr<const Arrived> mArrived;
    std::vector<FileUrl> mMissing;
    TimePoint mGivenUp{}; // what had begun
    ThumbnailLoader mLoader;
    OneShotTimer mRest;
};

} // namespace frameflow
