#pragma once

#include <QImage>

namespace frameflow {

// An uninitialised bitmap whose memory, when there is much of it, comes in large pages: having the small ones brought
// in one after the other costs a third of what decoding a photograph into them does. Null when there is no memory.
QImage largeBitmap(QSize size, QImage::Format format);

// The same pixels in another format, without another bitmap where they may be changed in place, else in a large one.
// Runs in the calling thread alone. Null when there is no memory.
QImage inFormat(QImage image, QImage::Format format);

} // namespace frameflow
