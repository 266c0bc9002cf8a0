#pragma once

#include <QImage>

namespace frameflow {

// The picture in sRGB with 8 bits a channel, as RGB32 when every pixel is opaque, else as ARGB32_Premultiplied;
// converted from its colour space, or from the ICC profile given where it has none, when that is another one. A profile
// that makes no sense counts as sRGB. Null when there is no memory.
QImage toScreenColours(QImage image, const QByteArray& profile = {});

// Whether that leaves the colours as they are.
bool isInScreenColours(const QImage& image, const QByteArray& profile);

} // namespace frameflow
