#pragma once

#include "HostileFiles.h"

#include <QSize>

namespace frameflow {

// Honest pictures of more than a thousand million pixels, in files of few bytes: a JPEG that is grey, a PNG whose upper
// left and lower right quarters are white and the others black, and a TIFF that is its negative.
constexpr QSize gigapixelSize(32000, 32000);
HostileFiles gigapixelPictures();

} // namespace frameflow
