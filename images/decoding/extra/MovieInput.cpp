#include "MovieInput.h"

#include <cerrno>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

constexpr int bufferSize = 64 * 1024;

// FFmpeg decodes in the thread that calls it.
std::chrono::nanoseconds processorTime()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

ssize_t readOnce(int descriptor, void* buffer, size_t size, qint64 offset)
{
    ssize_t count = 0;
    do {
        count = pread(descriptor, buffer, size, offset);
    } while (count < 0 && errno == EINTR);
    return count;
}

} // namespace

MovieInput::MovieInput(int descriptor, const MovieLimits& limits)
    : mDescriptor(descriptor), mProcessorEnd(processorTime() + limits.processorTime),
      mWallEnd(std::chrono::steady_clock::now() + limits.wallTime)
{
    auto* const buffer = static_cast<uint8_t*>(av_malloc(bufferSize));
    if (buffer == nullptr) {
        return;
    }
    mContext.reset(avio_alloc_context(buffer, bufferSize, 0, this, &MovieInput::read, nullptr, &MovieInput::seek));
    if (!mContext) {
        av_free(buffer);
    }
}

QByteArray MovieInput::readAt(qint64 offset, qsizetype length) const
{
    QByteArray bytes(length, Qt::Uninitialized);
    qsizetype had = 0;
    while (had < length) {
        const ssize_t count = readOnce(mDescriptor, bytes.data() + had, length - had, offset + had);
        if (count <= 0) {
            break;
        }
        had += count;
    }
    bytes.truncate(had);
    return bytes;
}

bool MovieInput::isUsedUp() const
{
    return processorTime() > mProcessorEnd || std::chrono::steady_clock::now() > mWallEnd;
}

int MovieInput::read(void* opaque, uint8_t* buffer, int size)
{
    auto* const input = static_cast<MovieInput*>(opaque);
    if (input->isUsedUp()) {
        return AVERROR_EXIT;
    }
    const ssize_t count = readOnce(input->mDescriptor, buffer, size, input->mOffset);
    if (count < 0) {
        return AVERROR(errno);
    }
    if (count == 0) {
        return AVERROR_EOF;
    }
    input->mOffset += count;
    return static_cast<int>(count);
}

int64_t MovieInput::seek(void* opaque, int64_t offset, int whence)
{
    auto* const input = static_cast<MovieInput*>(opaque);
    struct stat status = {};
    if (fstat(input->mDescriptor, &status) != 0) {
        return AVERROR(errno);
    }
    const int origin = whence & ~AVSEEK_FORCE;
    if (origin == AVSEEK_SIZE) {
        return status.st_size;
    }
    const int64_t base = origin == SEEK_CUR ? input->mOffset : origin == SEEK_END ? status.st_size : 0;
    int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0) {
        return AVERROR(EINVAL);
    }
    input->mOffset = target;
    return target;
}

} // namespace frameflow
