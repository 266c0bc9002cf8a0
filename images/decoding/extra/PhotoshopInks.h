#pragma once

#include <QByteArray>

namespace frameflow {

// The flattened picture of a Photoshop file of four inks as a TIFF around the same samples, in which, as in Photoshop,
// no ink is the largest value. Empty for every other file. ImageMagick, which reads the other kinds, loses the black.
QByteArray tiffOfPhotoshopInks(const QByteArray& contents);

} // namespace frameflow
