#pragma once

#include "Ffmpeg.h"

#include <QImage>
#include <QSize>

namespace frameflow {

// The EXIF orientation that stands for how a stream's frames are to be turned.
int orientationOf(const AVStream* stream);

// Whether a picture of an orientation is mirrored, left to right, and the degrees clockwise that it is turned by then.
bool isMirrored(int orientation);
int rotationOf(int orientation);

// The size that pixels of a shape give when they are shown as squares: the larger one of the two that do. Not turned.
QSize squareSize(QSize stored, AVRational pixelShape);

// The frame in sRGB, on black, of a size, as RGB32. Null when there is no memory, or the kind of pixels is unknown.
QImage pictureOf(const AVFrame& frame, QSize size);

} // namespace frameflow
