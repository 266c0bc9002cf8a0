#pragma once

#include "Ffmpeg.h"

#include <QByteArray>

#include <chrono>

namespace frameflow {

// What reading one movie may take. Whatever reaches it, the movie counts as ended there.
struct MovieLimits
{
    std::chrono::milliseconds processorTime{6'000};
    std::chrono::milliseconds wallTime{20'000};
    int packets = 1'000'000; // read for one frame, those of other streams included
    qint64 bytesInQueue = qint64(128) << 20; // of packets that wait for decoding
};

// The bytes of a movie file, which FFmpeg reads through this and nothing else. For the thread that makes it.
class MovieInput
{
public:
    // The descriptor must stay open as long.
    MovieInput(int descriptor, const MovieLimits& limits);
    MovieInput(const MovieInput&) = delete;
    MovieInput& operator=(const MovieInput&) = delete;

    // Null when there is no memory.
    AVIOContext* context() const { return mContext.get(); }
    // From the file's start; shorter where the file is.
    QByteArray readAt(qint64 offset, qsizetype length) const;
    bool isUsedUp() const;

private:
    static int read(void* opaque, uint8_t* buffer, int size);
    static int64_t seek(void* opaque, int64_t offset, int whence);

    int mDescriptor;
    qint64 mOffset = 0;
    std::chrono::nanoseconds mProcessorEnd;
    std::chrono::steady_clock::time_point mWallEnd;
    FfmpegPtr<AVIOContext> mContext;
};

} // namespace frameflow
