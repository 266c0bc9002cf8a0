#pragma once

#include "MovieEngine.h"
#include "MpvLibrary.h"

#include <condition_variable>
#include <thread>

namespace frameflow {

// The thread that draws the frames of one movie, when each is due, at the size that is wanted now.
class MovieDrawing
{
public:
    // The frames outlive it. "Drawn" is called after each frame, on the thread that draws.
    MovieDrawing(FrameExchange& frames, FrameTurn turn, std::function<void()> drawn);
    ~MovieDrawing();
    MovieDrawing(const MovieDrawing&) = delete;
    MovieDrawing& operator=(const MovieDrawing&) = delete;

    // Before the movie is loaded. False when it cannot draw.
    bool start(const MpvLibrary& mpv, mpv_handle* handle);
    // Before the handle is destroyed; by the same thread as start().
    void stop();
    // The last frame stays: there will be none any more.
    void freeze();

    // Any thread. Whether it is another one than before.
    bool setTarget(const MovieTarget& target);

private:
    struct Work
    {
        bool hasUpdate = false; // the library has something to say
        bool hasTarget = false; // what was drawn last is to be drawn anew
        MovieTarget target;
    };

    void run();
    std::optional<Work> next();
    void draw(const Work& work);
    bool render(FramePicture& picture);
    void passOver();
    bool hasFrameNow() const;

    FrameExchange& mFrames;
    const FrameTurn mTurn;
    const std::function<void()> mDrawn;
    const MpvLibrary* mMpv = nullptr;
    mpv_render_context* mContext = nullptr;
    std::thread mThread;
    FramePicture mUnturned; // for the thread that draws
    bool mHasFrame = false; // likewise: there is one that can be drawn anew

    std::mutex mMutex; // for what follows
    std::condition_variable mChanged;
    Work mWork;
    bool mIsFrozen = false;
    bool mIsStopping = false;
};

} // namespace frameflow
