#include "MovieOpenGL.h"

#include "OpenGLHandover.h"

#include <array>
#include <chrono>
#include <utility>

#include <mpv/render_gl.h>

namespace frameflow {

MovieOpenGL::MovieOpenGL(std::shared_ptr<OpenGLHandover> handover) : mHandover(std::move(handover)) { }

MovieOpenGL::~MovieOpenGL()
{
    mHandover->end();
}

// What there is to draw.
MovieOpenGL::Drawn MovieOpenGL::prepare(const Functions& functions)
{
    if (mHandover->isFrozen()) {
        return mHasFrame ? Drawn::Kept : Drawn::Nothing;
    }
    mContext = mHandover->context(functions.find, functions.argument);
    if (mContext == nullptr) {
        return mHandover->hasFailed() ? Drawn::Failed : Drawn::Nothing;
    }
    const MpvLibrary& mpv = mHandover->library();
    mIsDue = (mpv.renderContextUpdate(mContext) & MPV_RENDER_UPDATE_FRAME) != 0 || mIsDue;
    if (mIsDue && !mHasFrame) {
        mpv_render_frame_info info = {};
        mpv.renderContextGetInfo(mContext, {MPV_RENDER_PARAM_NEXT_FRAME_INFO, &info});
        mHasFrame = (info.flags & MPV_RENDER_FRAME_INFO_PRESENT) != 0; // else it would be black
    }
    return mHasFrame ? Drawn::Frame : Drawn::Nothing;
}

MovieOpenGL::Drawn MovieOpenGL::draw(const Functions& functions, int framebuffer, int width, int height)
{
    const Drawn there = prepare(functions);
    if (there != Drawn::Frame) {
        return there;
    }
    mWidth = width;
    mHeight = height;
    return render(framebuffer, false) ? Drawn::Frame : Drawn::Nothing;
}

MovieOpenGL::Drawn MovieOpenGL::passOver(const Functions& functions)
{
    const Drawn there = prepare(functions);
    if (there == Drawn::Frame && mIsDue) {
        render(0, true);
    }
    return there;
}

bool MovieOpenGL::canEnd() const
{
    return mHandover->canEnd();
}

void MovieOpenGL::setWatcher(std::function<void()> watcher)
{
    mHandover->setWatcher(std::move(watcher));
}

void MovieOpenGL::prepareEnd(const Functions& functions)
{
    using Clock = std::chrono::steady_clock;
    const auto latest = Clock::now() + std::chrono::milliseconds(300);
    while (!canEnd() && Clock::now() < latest) {
        const quint64 count = mHandover->count();
        passOver(functions);
        mHandover->waitForChange(count, std::chrono::milliseconds(50));
    }
}

bool MovieOpenGL::render(int framebuffer, bool skips)
{
    mIsDue = false;
    mpv_opengl_fbo target{framebuffer, mWidth, mHeight, 0};
    int isUpsideDown = 1; // the first line of a framebuffer is the lowest
    int waits = 0;
    int skipped = skips ? 1 : 0;
    std::array parameters{mpv_render_param{MPV_RENDER_PARAM_OPENGL_FBO, &target},
        mpv_render_param{MPV_RENDER_PARAM_FLIP_Y, &isUpsideDown},
        mpv_render_param{MPV_RENDER_PARAM_SKIP_RENDERING, &skipped},
        mpv_render_param{MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &waits}, mpv_render_param{}};
    return mHandover->library().renderContextRender(mContext, parameters.data()) >= 0;
}

} // namespace frameflow
