#pragma once

#include "FileUrl.h"

#include <QImage>

#include <functional>
#include <memory>
#include <vector>

namespace frameflow {

class DecoderPool;

// Fills KLThumbnailCache with the thumbnails that are wanted, as many at once as there are cores. What is held decoded
// for being shown is not decoded again. Main thread only.
class ThumbnailLoader
{
public:
    // "Arrived" is called from the event loop for each file that was wanted and is done, with a null picture where none
    // can be made. It may destroy the loader. The pool outlives the loader.
    ThumbnailLoader(DecoderPool& pool, std::function<void(const FileUrl& url, const QImage& picture)> arrived);
    // Gives up what is left.
    ~ThumbnailLoader();
    ThumbnailLoader(const ThumbnailLoader&) = delete;
    ThumbnailLoader& operator=(const ThumbnailLoader&) = delete;

    // What becomes of what is being made and is not wanted any more.
    enum class Begun
    {
        GivenUp,
        Finished, // which costs less, unless it takes long
    };
    // What is wanted from now on, the most urgent first. What is cached, or was found to have no thumbnail since it
    // was wanted first, is passed over; what is not among them is given up.
    void setWanted(const std::vector<FileUrl>& files, Begun begun = Begun::GivenUp);
    // Lets those that were found to have no thumbnail be tried again when they are wanted next.
    void forgetFailures();
    // Whether all that is wanted has arrived.
    bool isIdle() const;

private:
    class State;
    std::shared_ptr<State> mState;
};

} // namespace frameflow
