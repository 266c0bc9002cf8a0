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

struct SharedBitmap
{
    FileDescriptor memory;
    BitmapLayout layout;
};

// ---- For a decoder

// From then on largeBitmap() makes its bitmaps, from a size at which that pays, in shared memory of this process.
void makeLargeBitmapsShareable();

// Gives the pixels away in memory that nobody can change any more. Pixels that lie in shared memory already, with
// nobody else holding the image, are not copied. Nothing when there is no memory.
std::optional<SharedBitmap> sealed(QImage&& image);

// ---- For the program

// The pixels, read-only, without a copy; unmapped with the last image that shares them. Nothing unless the memory has
// exactly all seals that keep it from changing and is large enough for a layout that makes sense.
std::optional<QImage> mapSealed(const FileDescriptor& memory, const BitmapLayout& layout);

} // namespace frameflow
