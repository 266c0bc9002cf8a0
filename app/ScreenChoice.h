#pragma once

#include <QRect>
#include <QString>

#include <optional>
#include <vector>

namespace frameflow {

// Which of the attached displays (their frames in the platform's order) is the remembered one. Absent: take the main
// display, because only one is attached, none was remembered, or no frame equals the remembered one exactly.
std::optional<size_t> rememberedScreen(const std::vector<QRect>& frames, const QString& storedFrame);

// The frame of the window in window mode: half the display's width and height, at its lower left. In Qt's coordinates,
// y down; the sizes of the window manager's decoration are left out of account.
QRect windowModeFrame(const QRect& display);

} // namespace frameflow
