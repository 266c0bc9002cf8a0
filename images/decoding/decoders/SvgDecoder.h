#pragma once

#include "DecodedPicture.h"

namespace frameflow {

// A drawing, plain or compressed, at its natural size or reduced to the side wanted. What it refers to outside itself
// is left out. Text needs a QGuiApplication.
DecodedPicture decodeSvg(const QByteArray& contents, int longestSide);

} // namespace frameflow
