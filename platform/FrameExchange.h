#pragma once

#include <QtGlobal>

#include <array>
#include <cstdlib>
#include <memory>
#include <mutex>

namespace frameflow {

// A picture in memory whose lines begin on 64 bytes: 32 bits a pixel, the highest eight unused.
class FramePicture
{
public:
    static constexpr int alignment = 64;

    // Makes room; false without memory, or for a size of nothing.
    bool resize(int width, int height);

    int width() const { return mWidth; }
    int height() const { return mHeight; }
    qsizetype bytesPerLine() const { return mBytesPerLine; }
    quint32* line(int y) { return reinterpret_cast<quint32*>(mBytes.get() + y * mBytesPerLine); }
    const quint32* line(int y) const { return reinterpret_cast<const quint32*>(mBytes.get() + y * mBytesPerLine); }
    uchar* bytes() { return mBytes.get(); }
    const uchar* bytes() const { return mBytes.get(); }

private:
    struct Free
    {
        void operator()(uchar* bytes) const { std::free(bytes); }
    };

    std::unique_ptr<uchar, Free> mBytes;
    qsizetype mCapacity = 0;
    qsizetype mBytesPerLine = 0;
    int mWidth = 0;
    int mHeight = 0;
};

// How a picture is to be turned so that it stands upright.
struct FrameTurn
{
    int degrees = 0; // clockwise: 0, 90, 180 or 270
    bool isMirrored = false; // left to right, before it is turned

    bool isNone() const { return degrees == 0 && !isMirrored; }
    // Whether width and height change places.
    bool isOnItsSide() const { return degrees % 180 != 0; }
};

// Draws the picture turned into one of the size that this makes.
void drawTurned(const FramePicture& from, FrameTurn turn, FramePicture& to);

// The frames of a movie on their way from the thread that draws them to the one that shows them. The newest wins: there
// are two pictures, and neither side ever waits for the other.
class FrameExchange
{
public:
    // For the thread that draws. The picture is its own until publish(); null without memory.
    FramePicture* begin(int width, int height);
    void publish();

    // For the thread that shows: the newest picture, which stays as it is until the next call. Null before the first.
    const FramePicture* newest();
    // How many have been published. Any thread.
    quint64 count() const;

private:
    mutable std::mutex mMutex;
    std::array<FramePicture, 2> mPictures;
    size_t mShown = 0; // the other one is drawn on
    bool mIsFresh = false; // the other one is newer
    quint64 mCount = 0;
};

} // namespace frameflow
