#pragma once

#include "FileContents.h"

#include <QImage>

#include <optional>

namespace frameflow {

// How pixels lie in a piece of shared memory, from its start.
struct BitmapLayout
{
    qint32 width = 0;
    qint32 height = 0;
    qint64 bytesPerLine = 0;
    qint32 format = 0; // QImage::Format: RGB32 or ARGB32_Premultiplied
};

// The bytes from the first line to the end of the last; nothing when no bitmap that may be shown lies like that.
std::optional<qint64> bytesOf(const BitmapLayout& layout);

// Memory without a name, of no size yet, that may be sealed. Not open when there is none.
FileDescriptor emptySharedMemory();

BitmapLayout layoutOf(const QImage& image);

// False when not everything could be written to that place of the memory.
bool writeBytes(const uchar* bytes, qint64 count, int memory, qint64 place);
bool writePixels(const QImage& image, const FileDescriptor& memory, qint64 place = 0);

struct SharedBitmap
{
    FileDescriptor memory;
    BitmapLayout layout;
};

// For a decoder: the pixels of a bitmap in one of the two formats, and those of a smaller copy behind them, in memory
// that nobody can change any more. Nothing when there is no memory.
std::optional<SharedBitmap> sealed(const QImage& image, const QImage& copy = {});
// The same where the pixels lie in that memory already.
std::optional<SharedBitmap> sealedWith(FileDescriptor memory, const QImage& image, const QImage& copy);

// Whether the first so many bytes of shared memory have their pages, and need not be brought in to be looked at.
bool hasPages(int memory, qint64 bytes);

// For the program: the pixels, read-only, without a copy; unmapped with the last image that shares them. Nothing unless
// the memory has all seals that keep it from changing, is there in full, and is large enough for a layout that makes
// sense. Any thread.
std::optional<QImage> mapSealed(const FileDescriptor& memory, const BitmapLayout& layout);

struct BitmapWithCopy
{
    QImage pixels;
    QImage copy; // null where there is none
};

// The same with the copy of that size behind them, where it is not empty.
std::optional<BitmapWithCopy> mapSealedWithCopy(const FileDescriptor& memory, const BitmapLayout& layout, QSize copy);

} // namespace frameflow
