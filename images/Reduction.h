#pragma once

#include <QImage>
#include <QSize>

#include <functional>

namespace frameflow {

// The device pixels that an upright picture of that size is to be shown on; empty where that does not matter. Holds
// all that it needs by value, so that any thread can ask it.
using FrameRule = std::function<QSize(QSize picture)>;

// Whether a picture drawn on so many pixels is to be reduced first: only where both its sides shrink.
bool needsReduction(QSize picture, QSize pixels);

// As it is drawn without conversion: RGB32 or ARGB32_Premultiplied.
QImage inDrawableFormat(const QImage& picture);

// Smoothly reduced, in a drawable format. Any thread; takes a core for tens of milliseconds. Null without memory.
QImage reducedTo(const QImage& picture, QSize pixels);

} // namespace frameflow
