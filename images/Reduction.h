#pragma once

#include <QImage>
#include <QSize>

namespace frameflow {

// As it is drawn without conversion: RGB32 or ARGB32_Premultiplied.
QImage inDrawableFormat(const QImage& picture);

// Smoothly reduced, in a drawable format. Any thread; takes a core for tens of milliseconds. Null without memory.
QImage reducedTo(const QImage& picture, QSize pixels);

} // namespace frameflow
