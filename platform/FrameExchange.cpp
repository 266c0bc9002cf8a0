#include "FrameExchange.h"

#include <algorithm>

namespace frameflow {

namespace {

// So many pixels square are turned at a time, for they fit the fastest memory.
constexpr int tile = 32;

// The picture's quarter turns, tile by tile; "place" says where in the other picture a pixel goes.
template <typename Place>
void drawTiles(const FramePicture& from, Place place)
{
    for (int top = 0; top < from.height(); top += tile) {
        for (int left = 0; left < from.width(); left += tile) {
            const int bottom = std::min(top + tile, from.height());
            const int right = std::min(left + tile, from.width());
            for (int y = top; y < bottom; ++y) {
                const quint32* const line = from.line(y);
                for (int x = left; x < right; ++x) {
                    *place(x, y) = line[x];
                }
            }
        }
    }
}

} // namespace

bool FramePicture::resize(int width, int height)
{
    constexpr int longest = 1 << 15;
    if (width < 1 || height < 1 || width > longest || height > longest) {
        return false;
    }
    const qsizetype bytesPerLine = (qsizetype(width) * 4 + alignment - 1) / alignment * alignment;
    const qsizetype bytes = bytesPerLine * height;
    if (bytes > mCapacity || bytes < mCapacity / 4) {
        mBytes.reset(static_cast<uchar*>(std::aligned_alloc(alignment, static_cast<size_t>(bytes))));
        mCapacity = mBytes ? bytes : 0;
    }
    mWidth = mBytes ? width : 0;
    mHeight = mBytes ? height : 0;
    mBytesPerLine = bytesPerLine;
    return mBytes != nullptr;
}

void drawTurned(const FramePicture& from, int degrees, FramePicture& to)
{
    const int lastX = from.width() - 1;
    const int lastY = from.height() - 1;
    switch (degrees) {
    case 90:
        drawTiles(from, [&](int x, int y) { return to.line(x) + (lastY - y); });
        break;
    case 180:
        drawTiles(from, [&](int x, int y) { return to.line(lastY - y) + (lastX - x); });
        break;
    default:
        drawTiles(from, [&](int x, int y) { return to.line(lastX - x) + y; });
        break;
    }
}

FramePicture* FrameExchange::begin(int width, int height)
{
    const std::lock_guard lock(mMutex);
    mIsFresh = false; // nobody has looked at it yet, and a newer one is about to come
    FramePicture& picture = mPictures.at(1 - mShown);
    return picture.resize(width, height) ? &picture : nullptr;
}

void FrameExchange::publish()
{
    const std::lock_guard lock(mMutex);
    mIsFresh = true;
    ++mCount;
}

const FramePicture* FrameExchange::newest()
{
    const std::lock_guard lock(mMutex);
    if (mIsFresh) {
        mShown = 1 - mShown;
        mIsFresh = false;
    }
    const FramePicture& picture = mPictures.at(mShown);
    return picture.width() > 0 ? &picture : nullptr;
}

quint64 FrameExchange::count() const
{
    const std::lock_guard lock(mMutex);
    return mCount;
}

} // namespace frameflow
