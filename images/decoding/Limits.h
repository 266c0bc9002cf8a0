#pragma once

#include <QSize>

namespace frameflow {

// The most pixels that a bitmap is held with; a larger picture is reduced to this.
constexpr qint64 mostPixelsHeld = 64'000'000;

// The longer side of a thumbnail, at most, in pixels.
constexpr int thumbnailSide = 300;

// The most bytes of memory for pictures that a decoder keeps in its address space from request to request.
constexpr qint64 mostBytesKeptMapped = qint64(2) << 30;

// The share of this machine's memory that one file may take, where its own size or its many parts account for it: what
// is read of it whole, and the frames that a movie's codec keeps.
qint64 mostBytesOfMachine();

// The most bytes that decoding one picture may take, from the memory of this machine; never more than 1.25 GiB.
qint64 mostBytesForDecoding();

// Whether a bitmap of that size is one that may be made while decoding. False for an empty size, and for one with a
// side of more than a million pixels, which is nobody's picture.
bool canDecode(QSize size, int bytesPerPixel);

// Whether a picture of that size may be reduced while it is read, line by line, where no bitmap of it may be made: its
// lines must not be too long, nor all of it take longer than a decoder may work. The bytes are those of a pixel in the
// file's own depth. False for an empty size.
bool canDecodeInStrips(QSize size, int bytesPerPixel);

// With how many pixels a picture of that size is held whose file has so many bytes: fewer where the file says next to
// nothing of each, so that a small file never takes much memory. Honest files of its type have a byte for at most so
// many pixels.
qint64 mostPixelsOf(QSize size, qint64 fileBytes, qint64 pixelsOfAByte);

// The largest size of the same shape whose longer side is at most that many pixels (0: any) and that has at most
// mostPixels pixels. Never larger than the given size, no side below 1.
QSize heldSize(QSize size, int longestSide, qint64 mostPixels = mostPixelsHeld);

} // namespace frameflow
