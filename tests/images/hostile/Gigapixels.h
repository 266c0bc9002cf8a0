#pragma once

#include "HostileFiles.h"

#include <QSize>

namespace frameflow {

// Honest pictures of more than a thousand million pixels, in files of few bytes: a JPEG that is grey, a PNG whose upper
// left and lower right quarters are white and the others black, and a TIFF that is its negative.
constexpr QSize gigapixelSize(32000, 32000);
HostileFiles gigapixelPictures();

// One whose upper left and lower right quarters are orange and the others blue, of a colour table; too large for a
// bitmap of its own, but soon read.
constexpr QSize tablePictureSize(20000, 18000);
HostileFile largeTablePicture();

} // namespace frameflow
