#pragma once

#include "MpvLibrary.h"

#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace frameflow {

// Between the thread of an engine, which makes and ends the player, and the one that draws its frames with OpenGL,
// which makes and ends what draws them in between.
class OpenGLHandover
{
public:
    // "Changed" is called on any thread when there is something to draw, or to begin with.
    explicit OpenGLHandover(std::function<void()> changed) : mChanged(std::move(changed)) { }

    // For the engine's thread. Waits until the other one has begun to draw; false when that is not to happen any more.
    bool offer(const MpvLibrary& mpv, mpv_handle* handle);
    // Nothing plays any more: waits until the other one has ended.
    void takeBack();
    // The last frame stays: there will be none any more.
    void freeze();

    // Any thread: nobody waits for offers from now on.
    void withdraw();
    // How often there was something to draw. Any thread.
    quint64 count() const;
    bool isFrozen() const;

    // For the thread that draws, with its OpenGL context current. Null when there is nothing to draw with.
    mpv_render_context* context(void* (*find)(void* context, const char* name), void* argument);
    // Whether drawing could not begin: it never will.
    bool hasFailed() const;
    // Of what was offered.
    const MpvLibrary& library() const { return *mMpv; }
    // Whether end() would wait for nothing. Else it waits for the player to put its output away, which may wait in vain
    // for a frame to be drawn meanwhile.
    bool canEnd() const;
    // Called besides on any thread whenever something changes, until the end; it must not call back.
    void setWatcher(std::function<void()> watcher);
    // Until there have been more than so many things to draw, or it can end; so long at most.
    void waitForChange(quint64 count, std::chrono::milliseconds atMost);
    void end();

private:
    void noteChange();

    const std::function<void()> mChanged;
    mutable std::mutex mMutex; // for what follows
    std::condition_variable mMoved;
    const MpvLibrary* mMpv = nullptr;
    mpv_handle* mHandle = nullptr; // while it is offered
    mpv_render_context* mContext = nullptr;
    quint64 mCount = 0;
    std::function<void()> mWatcher; // empty for none
    bool mIsWithdrawn = false;
    bool mIsLeft = false; // by the engine
    bool mHasFailed = false;
    bool mIsFrozen = false;
};

} // namespace frameflow
