#pragma once

#include "ExtraDecoders.h"

namespace frameflow {

// The first picture of a file, not turned unless the type's own codec does it, in sRGB, reduced as far as the limits
// and the side wanted ask.
DecodedPicture decodeWithVips(const QByteArray& contents, ContentType type, int longestSide);

} // namespace frameflow
