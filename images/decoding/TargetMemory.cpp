#include "TargetMemory.h"

#include "LargeBitmap.h"
#include "SharedBitmap.h"

#include <utility>

namespace frameflow {

namespace {

thread_local TargetMemory* target = nullptr;

} // namespace

TargetMemory::TargetMemory(MemoryRange range, int descriptor) : mRange(range), mDescriptor(descriptor)
{
    target = this;
}

TargetMemory::~TargetMemory()
{
    mWriter.reset(); // it works on the memory
    target = nullptr;
}

bool TargetMemory::suits(qint64 bytes) const
{
    return bytes > 0 && bytes <= mRange.size && bytes >= mRange.size / mostTimesLarger;
}

bool TargetMemory::holds(const QImage& image) const
{
    return !image.isNull() && image.constBits() == mRange.start;
}

bool TargetMemory::wasWritten(const QImage& bitmap, FileDescriptor& own)
{
    const std::unique_ptr<PixelWriter> writer = std::move(mWriter);
    if (!writer || !writer->isOf(bitmap) || !writer->finish()) {
        return false;
    }
    own = std::move(mOwn);
    return true;
}

TargetMemory::Kept::Kept(bool isKept) : mWasKept(target != nullptr && target->mIsKept)
{
    if (target != nullptr && isKept) {
        target->mIsKept = true;
    }
}

TargetMemory::Kept::~Kept()
{
    if (target != nullptr) {
        target->mIsKept = mWasKept;
    }
}

QImage targetBitmap(QSize size, QImage::Format format)
{
    const bool is32Bits = QImage::toPixelFormat(format).bitsPerPixel() == 32;
    const qint64 line = qint64(size.width()) * 4;
    TargetMemory* const memory = target;
    if (memory == nullptr || memory->mRange.start == nullptr || memory->mIsTaken || memory->mIsKept || !is32Bits
        || size.isEmpty() || !memory->suits(line * size.height())) {
        return largeBitmap(size, format);
    }
    const auto letGo = [](void* info) {
        // Of an image that outlives its decoding nobody is to know any more.
        if (info == target) {
            target->mIsTaken = false;
        }
    };
    QImage image(memory->mRange.start, size.width(), size.height(), qsizetype(line), format, letGo, memory);
    if (image.isNull()) {
        return largeBitmap(size, format);
    }
    memory->mIsTaken = true;
    return image;
}

PixelWriter* writerFor(const QImage& bitmap)
{
    // Smaller ones are written in no time.
    constexpr qint64 leastBytes = qint64(8) << 20;
    if (target == nullptr || target->mIsKept || target->holds(bitmap) || bitmap.sizeInBytes() < leastBytes) {
        return nullptr;
    }
    target->mWriter.reset();
    const bool isGiven = target->mDescriptor >= 0 && target->suits(bitmap.sizeInBytes());
    target->mOwn = isGiven ? FileDescriptor() : emptySharedMemory();
    const int memory = isGiven ? target->mDescriptor : target->mOwn.number();
    target->mWriter = memory >= 0 ? PixelWriter::start(memory, bitmap) : nullptr;
    return target->mWriter.get();
}

void dropWritten()
{
    if (target != nullptr) {
        target->mWriter.reset();
    }
}

qint64 placeBehind(qint64 bytes)
{
    constexpr qint64 cacheLine = 64;
    return (bytes + cacheLine - 1) / cacheLine * cacheLine;
}

QImage bitmapBehind(const QImage& first, QSize size)
{
    if (target == nullptr || !target->holds(first) || size.isEmpty()) {
        return {size, first.format()};
    }
    const qint64 line = qint64(size.width()) * 4;
    const qint64 place = placeBehind(first.sizeInBytes());
    if (place + line * size.height() > target->mRange.size) {
        return {};
    }
    return {target->mRange.start + place, size.width(), size.height(), qsizetype(line), first.format()};
}

} // namespace frameflow
