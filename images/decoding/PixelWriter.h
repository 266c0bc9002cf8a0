#pragma once

#include "FileContents.h"

#include <QImage>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace frameflow {

// Writes the lines of a bitmap into memory while the ones below them are still being decoded, on a thread of its own:
// bringing in fresh memory takes a good part of the time that decoding does.
class PixelWriter
{
public:
    // The memory outlives the writer and the bitmap is not moved meanwhile. Null where no thread can be had.
    static std::unique_ptr<PixelWriter> start(int memory, const QImage& bitmap);
    // Waits for the lines that have been told.
    ~PixelWriter();
    PixelWriter(const PixelWriter&) = delete;
    PixelWriter& operator=(const PixelWriter&) = delete;

    // The first so many lines will not change any more.
    void advance(int lines);
    // Waits until all lines that were told are written. False when they are not all lines of the bitmap, or there is no
    // memory.
    bool finish();
    bool isOf(const QImage& bitmap) const { return bitmap.constBits() == mPixels; }

private:
    PixelWriter(int memory, const QImage& bitmap);
    void work();

    const int mMemory;
    const uchar* const mPixels;
    const qint64 mBytesPerLine;
    const int mHeight;
    std::thread mThread;

    std::mutex mMutex; // for what follows
    std::condition_variable mChanged;
    int mReady = 0; // lines
    bool mIsEnding = false;
    bool mHasFailed = false;
};

} // namespace frameflow
