#include "OpenGLHandover.h"

#include <array>
#include <utility>

#include <mpv/render_gl.h>

namespace frameflow {

bool OpenGLHandover::offer(const MpvLibrary& mpv, mpv_handle* handle)
{
    {
        const std::lock_guard lock(mMutex);
        mMpv = &mpv;
        mHandle = handle;
    }
    noteChange();
    std::unique_lock lock(mMutex);
    mMoved.wait(lock, [this] { return mContext != nullptr || mIsWithdrawn || mHasFailed; });
    return mContext != nullptr && !mIsWithdrawn;
}

void OpenGLHandover::takeBack()
{
    std::unique_lock lock(mMutex);
    mHandle = nullptr;
    mIsLeft = true;
    mMoved.notify_all();
    if (mWatcher) {
        mWatcher();
    }
    mMoved.wait(lock, [this] { return mContext == nullptr; });
}

void OpenGLHandover::freeze()
{
    const std::lock_guard lock(mMutex);
    mIsFrozen = true;
}

void OpenGLHandover::withdraw()
{
    const std::lock_guard lock(mMutex);
    mIsWithdrawn = true;
    mMoved.notify_all();
}

quint64 OpenGLHandover::count() const
{
    const std::lock_guard lock(mMutex);
    return mCount;
}

bool OpenGLHandover::isFrozen() const
{
    const std::lock_guard lock(mMutex);
    return mIsFrozen;
}

void OpenGLHandover::noteChange()
{
    {
        const std::lock_guard lock(mMutex);
        ++mCount;
        mMoved.notify_all();
        if (mWatcher) {
            mWatcher();
        }
    }
    mChanged();
}

mpv_render_context* OpenGLHandover::context(void* (*find)(void* context, const char* name), void* argument)
{
    mpv_render_context* made = nullptr;
    {
        // Held meanwhile, so that the handle stays.
        const std::lock_guard lock(mMutex);
        if (mContext != nullptr || mHandle == nullptr || mIsWithdrawn || mHasFailed) {
            return mContext;
        }
        mpv_opengl_init_params functions{find, argument};
        std::array<char, 7> kind{MPV_RENDER_API_TYPE_OPENGL};
        std::array parameters{mpv_render_param{MPV_RENDER_PARAM_API_TYPE, kind.data()},
            mpv_render_param{MPV_RENDER_PARAM_OPENGL_INIT_PARAMS, &functions}, mpv_render_param{}};
        mHasFailed = mMpv->renderContextCreate(&made, mHandle, parameters.data()) < 0;
        mContext = mHasFailed ? nullptr : made;
        mMoved.notify_all();
        if (mHasFailed) {
            return nullptr;
        }
    }
    // Called back at once, for what has come before.
    mMpv->renderContextSetUpdateCallback(
        made, [](void* self) { static_cast<OpenGLHandover*>(self)->noteChange(); }, this);
    return made;
}

bool OpenGLHandover::hasFailed() const
{
    const std::lock_guard lock(mMutex);
    return mHasFailed;
}

bool OpenGLHandover::canEnd() const
{
    const std::lock_guard lock(mMutex);
    return mContext == nullptr || mIsLeft;
}

void OpenGLHandover::setWatcher(std::function<void()> watcher)
{
    const std::lock_guard lock(mMutex);
    mWatcher = std::move(watcher);
}

void OpenGLHandover::waitForChange(quint64 count, std::chrono::milliseconds atMost)
{
    std::unique_lock lock(mMutex);
    mMoved.wait_for(lock, atMost, [&] { return mContext == nullptr || mIsLeft || mCount != count; });
}

void OpenGLHandover::end()
{
    mpv_render_context* ended = nullptr;
    {
        const std::lock_guard lock(mMutex);
        mIsWithdrawn = true;
        mWatcher = nullptr;
        mMoved.notify_all();
        ended = mContext;
    }
    if (ended == nullptr) {
        return;
    }
    // Calls back until it is gone: nothing is held meanwhile.
    mMpv->renderContextFree(ended);
    const std::lock_guard lock(mMutex);
    mContext = nullptr;
    mMoved.notify_all();
}

} // namespace frameflow
