#pragma once

#include <QImage>

namespace frameflow {

// Where a large picture is to end up.
struct MemoryRange
{
    uchar* start = nullptr; // null where it cannot be decoded into, but written to later
    qint64 size = 0; // bytes; 0 where there is no such memory
};

// The memory for a picture, for as long as this object lives, on the thread that made it: what is decoded straight
// into it needs no copying. The range must outlive every image in it.
class TargetMemory
{
public:
    explicit TargetMemory(MemoryRange range);
    ~TargetMemory();
    TargetMemory(const TargetMemory&) = delete;
    TargetMemory& operator=(const TargetMemory&) = delete;

    // Whether a bitmap of so many bytes may lie there: one that is much smaller would waste what is shared.
    bool suits(qint64 bytes) const;
    bool holds(const QImage& image) const;

    // While it lives, the memory is kept from bitmaps that are not the last ones of their picture.
    class Kept
    {
    public:
        explicit Kept(bool isKept);
        ~Kept();
        Kept(const Kept&) = delete;
        Kept& operator=(const Kept&) = delete;

    private:
        bool mWasKept;
    };

private:
    friend QImage targetBitmap(QSize size, QImage::Format format);
    friend QImage bitmapBehind(const QImage& first, QSize size);
    MemoryRange mRange;
    bool mIsTaken = false;
    bool mIsKept = false;
};

// As largeBitmap(), but in this thread's target memory where there is one that suits and holds no other image.
QImage targetBitmap(QSize size, QImage::Format format);

// A smaller one behind a bitmap that lies in the target memory, in the same format, for as long as that one is there.
// Null where there is no room for it.
QImage bitmapBehind(const QImage& first, QSize size);

// Where that begins, in bytes behind the start of the first.
qint64 placeBehind(qint64 bytes);

} // namespace frameflow
