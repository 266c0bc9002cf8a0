#pragma once

#include "TestFiles.h"

#include <QColor>
#include <QImage>
#include <QSize>
#include <QStringList>

#include <optional>

namespace frameflow {

// The colours of a picture's quarters, in the order upper left, upper right, lower left, lower right, each as a
// letter: R, G, B and Y, or K where it is none of these within the tolerance.
QByteArray quarters(const QImage& image, int tolerance);

constexpr QSize quartersSize(80, 48);
// Red, green, blue and yellow quarters: as stored, "RGBY".
QImage quartersPicture(QSize size = quartersSize);
// Quarters of the colours that the letters name, in the order of quarters().
QImage quartersOf(const QByteArray& colours, QSize size);
// What a picture stored as "RGBY" looks like when it is turned as an EXIF orientation asks.
QByteArray uprightQuarters(int orientation);

// Whether no channel differs by more than the tolerance.
bool isNear(QRgb a, QRgb b, int tolerance);

QByteArray encoded(const QImage& image, const char* format, int quality = 95);

// An EXIF block with an orientation, of TIFF's signed type where it is negative, and a stored thumbnail.
QByteArray exifBlock(std::optional<int> orientation, const QByteArray& thumbnailJpeg = {}, bool adobeRgb = false);
// A JPEG with that block behind its first marker.
QByteArray withExif(const QByteArray& jpeg, const QByteArray& exif);

// A camera raw file with one 16-bit sample for each pixel of quartersPicture() behind a Bayer filter, with an embedded
// JPEG where one is given.
QByteArray cameraRaw(QSize size, int orientation, const QByteArray& preview = {});

// Whether the program could be started, and succeeded. Tells what it said when not.
bool runTool(const QString& program, const QStringList& arguments);

} // namespace frameflow
