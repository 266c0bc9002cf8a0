#pragma once

#include <QList>
#include <QRect>
#include <QRectF>

#include <optional>

namespace frameflow {

// The frame of a window as it was stored, brought to where a person can reach it: no larger than the largest display,
// and on one of them. Absent where nothing usable was stored. Global coordinates; there is at least one display.
std::optional<QRect> reachableFrame(const QRectF& stored, const QList<QRect>& displays);

} // namespace frameflow
