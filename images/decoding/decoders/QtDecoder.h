#pragma once

#include "ContentType.h"
#include "DecodedPicture.h"

namespace frameflow {

// Has Qt refuse bitmaps that take more than decoding may; to be called before every use of QImageReader.
void limitQtAllocations();

// Whether Qt has a reader for the type.
bool isQtType(ContentType type);

// The first picture of a file (of an icon the largest), not turned and in the file's own colours, reduced while it is
// decoded where the type allows that.
DecodedPicture decodeWithQt(const QByteArray& contents, ContentType type, int longestSide);

} // namespace frameflow
