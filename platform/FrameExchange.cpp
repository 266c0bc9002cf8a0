#include "FrameExchange.h"

#include <algorithm>

namespace frameflow {

namespace {

// So many pixels square are turned at a time, for they fit the fastest memory.
constexpr int tile = 32;

// Where the pixels of a picture go in another one, counted in pixels of that one's lines, gaps included.
struct Way
{
    qsizetype first; // of the one at the upper left
    qsizetype across; // from there to the next one in its line
    qsizetype down;
};

Way wayOf(FrameTurn turn, qsizetype lastX, qsizetype lastY, qsizetype line)
{
    Way way{0, 1, line};
    switch (turn.degrees) {
    case 90:
        way = {lastY, line, -1};
        break;
    case 180:
        way = {lastY * line + lastX, -1, -line};
        break;
    case 270:
        way = {lastX * line, -line, 1};
        break;
    default:
        break;
    }
    return turn.isMirrored ? Way{way.first + lastX * way.across, -way.across, way.down} : way;
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

void drawTurned(const FramePicture& from, FrameTurn turn, FramePicture& to)
{
    const qsizetype line = to.bytesPerLine() / qsizetype(sizeof(quint32));
    const Way way = wayOf(turn, from.width() - 1, from.height() - 1, line);
    quint32* const pixels = to.line(0);
    for (int top = 0; top < from.height(); top += tile) {
        for (int left = 0; left < from.width(); left += tile) {
            const int bottom = std::min(top + tile, from.height());
            const int right = std::min(left + tile, from.width());
            for (int y = top; y < bottom; ++y) {
                const quint32* const source = from.line(y);
                qsizetype at = way.first + y * way.down + left * way.across;
                for (int x = left; x < right; ++x, at += way.across) {
                    pixels[at] = source[x];
                }
            }
        }
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
