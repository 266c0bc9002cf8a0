#include "PixelWriter.h"

#include "SharedBitmap.h"

#include <algorithm>
#include <system_error>

namespace frameflow {

std::unique_ptr<PixelWriter> PixelWriter::start(int memory, const QImage& bitmap)
{
    std::unique_ptr<PixelWriter> writer(new PixelWriter(memory, bitmap));
    try {
        writer->mThread = std::thread([raw = writer.get()] { raw->work(); });
    } catch (const std::system_error&) {
        return nullptr;
    }
    return writer;
}

PixelWriter::PixelWriter(int memory, const QImage& bitmap)
    : mMemory(memory), mPixels(bitmap.constBits()), mBytesPerLine(bitmap.bytesPerLine()), mHeight(bitmap.height())
{
}

PixelWriter::~PixelWriter()
{
    finish();
}

void PixelWriter::advance(int lines)
{
    // Fewer would cost more to tell of than to write.
    constexpr int fewest = 64;
    const std::lock_guard lock(mMutex);
    if (lines >= mHeight || lines - mReady >= fewest) {
        mReady = std::min(lines, mHeight);
        mChanged.notify_one();
    }
}

bool PixelWriter::finish()
{
    {
        const std::lock_guard lock(mMutex);
        mIsEnding = true;
        mChanged.notify_one();
    }
    if (mThread.joinable()) {
        mThread.join();
    }
    return mReady == mHeight && !mHasFailed;
}

void PixelWriter::work()
{
    int written = 0;
    std::unique_lock lock(mMutex);
    while (true) {
        mChanged.wait(lock, [&] { return mReady > written || mIsEnding; });
        const int ready = mReady;
        if (ready == written || mHasFailed) {
            return;
        }
        lock.unlock();
        const qint64 place = written * mBytesPerLine;
        const bool isWritten = writeBytes(mPixels + place, (ready - written) * mBytesPerLine, mMemory, place);
        lock.lock();
        mHasFailed = !isWritten;
        written = ready;
    }
}

} // namespace frameflow
