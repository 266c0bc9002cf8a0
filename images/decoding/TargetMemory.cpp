#include "TargetMemory.h"

#include "LargeBitmap.h"

#include <utility>

namespace frameflow {

namespace {

thread_local TargetMemory* target = nullptr;

} // namespace

TargetMemory::TargetMemory(MemoryRange range) : mRange(range)
{
    target = this;
}

TargetMemory::~TargetMemory()
{
    target = nullptr;
}

bool TargetMemory::suits(qint64 bytes) const
{
    return bytes > 0 && bytes <= mRange.size && bytes >= mRange.size / 2;
}

bool TargetMemory::holds(const QImage& image) const
{
    return !image.isNull() && image.constBits() == mRange.start;
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

qint64 placeBehind(qint64 bytes)
{
    constexpr qint64 cacheLine = 64;
    return (bytes + cacheLine - 1) / cacheLine * cacheLine;
}

QImage bitmapBehind(const QImage& first, QSize size)
{
    if (target == nullptr || !target->holds(first) || size.isEmpty()) {
        return {};
    }
    const qint64 line = qint64(size.width()) * 4;
    const qint64 place = placeBehind(first.sizeInBytes());
    if (place + line * size.height() > target->mRange.size) {
        return {};
    }
    return {target->mRange.start + place, size.width(), size.height(), qsizetype(line), first.format()};
}

} // namespace frameflow
