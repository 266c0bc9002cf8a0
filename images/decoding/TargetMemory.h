#pragma once

#include "FileContents.h"
#include "PixelWriter.h"

#include <QImage>

#include <memory>

namespace frameflow {

// How many times the size of its picture memory may have. In one folder there are sizes of all kinds, and fresh pages
// take as long as decoding: one that is half as large as the one before still goes to the same place.
inline constexpr qint64 mostTimesLarger = 2;

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
    // Where nothing can be decoded straight into the memory, it is written to while decoding goes on: that of the
    // descriptor, which outlives this object, or where that does not suit, or is -1, some that is made for it.
    explicit TargetMemory(MemoryRange range, int descriptor = -1);
    ~TargetMemory();
    TargetMemory(const TargetMemory&) = delete;
    TargetMemory& operator=(const TargetMemory&) = delete;

    // Whether a bitmap of so many bytes may lie there: one that is much smaller would waste what is shared.
    bool suits(qint64 bytes) const;
    bool holds(const QImage& image) const;
    // Whether all lines of that bitmap have been written to the memory of the descriptor, or else to the memory of its
    // own that this then gives away. Waits for the last of them.
    bool wasWritten(const QImage& bitmap, FileDescriptor& own);

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
    friend PixelWriter* writerFor(const QImage& bitmap);
    friend void dropWritten();
    MemoryRange mRange;
    int mDescriptor;
    FileDescriptor mOwn; // not open while the writer uses the descriptor
    std::unique_ptr<PixelWriter> mWriter;
    bool mIsTaken = false;
    bool mIsKept = false;
};

// As largeBitmap(), but in this thread's target memory where there is one that suits and holds no other image.
QImage targetBitmap(QSize size, QImage::Format format);

// Takes the lines of a large bitmap to where they are handed over, as they are decoded. Null where that is of no use:
// without a target memory, for a bitmap that lies there, and for one that is not the last one of its picture.
PixelWriter* writerFor(const QImage& bitmap);
// What it has taken is not the picture's last word.
void dropWritten();

// One for a smaller copy, in the same format: behind the first where that lies in the target memory, for as long as it
// is there, else in memory of its own. Null where there is no room for it.
QImage bitmapBehind(const QImage& first, QSize size);

// Where that begins, in bytes behind the start of the first.
qint64 placeBehind(qint64 bytes);

} // namespace frameflow
