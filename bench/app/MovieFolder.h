#pragma once

#include <QImage>
#include <QString>

namespace frameflow {

constexpr int movieFrames = 300;
constexpr int movieBits = 9; // of the number of a frame
constexpr int movieStripHeight = 16;

// A movie of ten seconds at 1920 by 1080 and 30 frames a second, H.264 at 8 Mbit/s: the pan over a painted landscape
// with the grain of film. The number of each frame stands in its uppermost lines, a stripe a bit, the lowest at the
// left. False when it cannot be written.
bool writeCountedMovie(const QString& samples, const QString& path);

// A second of the same in a smaller size, half of it sound.
bool writeShortMovie(const QString& path);

// The number in a strip of such a frame; negative where there is none.
int numberInStrip(const QImage& strip);

} // namespace frameflow
