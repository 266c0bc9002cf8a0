#include "MovieDrawing.h"

#include <array>
#include <system_error>
#include <utility>

#include <pthread.h>

namespace frameflow {

namespace {

mpv_render_param parameter(mpv_render_param_type type, void* value)
{
    return {type, value};
}

} // namespace

MovieDrawing::MovieDrawing(FrameExchange& frames, FrameTurn turn, std::function<void()> drawn)
    : mFrames(frames), mTurn(turn), mDrawn(std::move(drawn))
{
}

MovieDrawing::~MovieDrawing() = default;

bool MovieDrawing::start(const MpvLibrary& mpv, mpv_handle* handle)
{
    mMpv = &mpv;
    std::array<char, 3> kind{MPV_RENDER_API_TYPE_SW};
    std::array parameters{parameter(MPV_RENDER_PARAM_API_TYPE, kind.data()), mpv_render_param{}};
    if (mpv.renderContextCreate(&mContext, handle, parameters.data()) < 0) {
        mContext = nullptr;
        return false;
    }
    mpv.renderContextSetUpdateCallback(
        mContext,
        [](void* self) {
            auto& drawing = *static_cast<MovieDrawing*>(self);
            const std::lock_guard lock(drawing.mMutex);
            drawing.mWork.hasUpdate = true;
            drawing.mChanged.notify_one();
        },
        this);
    try {
        mThread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void MovieDrawing::stop()
{
    {
        const std::lock_guard lock(mMutex);
        mIsStopping = true;
        mChanged.notify_one();
    }
    if (mThread.joinable()) {
        mThread.join();
    }
    if (mContext != nullptr) {
        mMpv->renderContextFree(std::exchange(mContext, nullptr));
    }
}

void MovieDrawing::freeze()
{
    const std::lock_guard lock(mMutex);
    mIsFrozen = true;
}

bool MovieDrawing::setTarget(const MovieTarget& target)
{
    const std::lock_guard lock(mMutex);
    if (mWork.target == target) {
        return false;
    }
    mWork.target = target;
    mWork.hasTarget = true;
    mChanged.notify_one();
    return true;
}

void MovieDrawing::run()
{
    pthread_setname_np(pthread_self(), "movie frames");
    while (const auto work = next()) {
        draw(*work);
    }
}

// Waits for it; nothing when there will be none.
std::optional<MovieDrawing::Work> MovieDrawing::next()
{
    std::unique_lock lock(mMutex);
    mChanged.wait(lock, [this] { return mIsStopping || mWork.hasUpdate || (mWork.hasTarget && !mIsFrozen); });
    if (mIsStopping) {
        return std::nullopt;
    }
    const Work work = mWork;
    mWork.hasUpdate = mWork.hasTarget = false;
    return work;
}

void MovieDrawing::draw(const Work& work)
{
    const bool isUpdated = work.hasUpdate && (mMpv->renderContextUpdate(mContext) & MPV_RENDER_UPDATE_FRAME) != 0;
    if (isUpdated && !mHasFrame && !hasFrameNow()) {
        return; // it would be black
    }
    mHasFrame = mHasFrame || isUpdated;
    if (!isUpdated && !(work.hasTarget && mHasFrame)) {
        return;
    }
    {
        const std::lock_guard lock(mMutex);
        if (mIsFrozen) {
            return;
        }
    }
    FramePicture* const picture = mFrames.begin(work.target.width, work.target.height);
    if (picture == nullptr) {
        passOver();
    } else if (render(*picture)) {
        mFrames.publish();
        mDrawn();
    }
}

bool MovieDrawing::hasFrameNow() const
{
    mpv_render_frame_info info = {};
    mMpv->renderContextGetInfo(mContext, parameter(MPV_RENDER_PARAM_NEXT_FRAME_INFO, &info));
    return (info.flags & MPV_RENDER_FRAME_INFO_PRESENT) != 0;
}

bool MovieDrawing::render(FramePicture& picture)
{
    const int width = mTurn.isOnItsSide() ? picture.height() : picture.width();
    const int height = mTurn.isOnItsSide() ? picture.width() : picture.height();
    if (!mTurn.isNone() && !mUnturned.resize(width, height)) {
        return false;
    }
    FramePicture& drawn = mTurn.isNone() ? picture : mUnturned;
    std::array<int, 2> size{width, height};
    std::array<char, 5> format{"bgr0"}; // by the order of bytes
    auto bytesPerLine = static_cast<size_t>(drawn.bytesPerLine());
    int waits = 0;
    std::array parameters{parameter(MPV_RENDER_PARAM_SW_SIZE, size.data()),
        parameter(MPV_RENDER_PARAM_SW_FORMAT, format.data()), parameter(MPV_RENDER_PARAM_SW_STRIDE, &bytesPerLine),
        parameter(MPV_RENDER_PARAM_SW_POINTER, drawn.bytes()),
        parameter(MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &waits), mpv_render_param{}};
    if (mMpv->renderContextRender(mContext, parameters.data()) < 0) {
        return false;
    }
    if (!mTurn.isNone()) {
        drawTurned(drawn, mTurn, picture);
    }
    return true;
}

// The library waits for every frame to be drawn, or passed over.
void MovieDrawing::passOver()
{
    int skips = 1;
    int waits = 0;
    std::array<int, 2> size{1, 1};
    std::array<char, 5> format{"bgr0"};
    size_t bytesPerLine = FramePicture::alignment;
    FramePicture pixel;
    if (!pixel.resize(1, 1)) {
        return;
    }
    std::array parameters{parameter(MPV_RENDER_PARAM_SW_SIZE, size.data()),
        parameter(MPV_RENDER_PARAM_SW_FORMAT, format.data()), parameter(MPV_RENDER_PARAM_SW_STRIDE, &bytesPerLine),
        parameter(MPV_RENDER_PARAM_SW_POINTER, pixel.bytes()), parameter(MPV_RENDER_PARAM_SKIP_RENDERING, &skips),
        parameter(MPV_RENDER_PARAM_BLOCK_FOR_TARGET_TIME, &waits), mpv_render_param{}};
    mMpv->renderContextRender(mContext, parameters.data());
}

} // namespace frameflow
