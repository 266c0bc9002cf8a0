#pragma once

#include "ExtraDecoders.h"

namespace frameflow {

// Has libvips load its parts; done by the first decoding otherwise.
void prepareVips();

// The first picture of a file, not turned unless the type's own codec does it, in sRGB, reduced as far as the limits
// and the side wanted ask.
DecodedPicture decodeWithVips(const QByteArray& contents, ContentType type, int longestSide);

} // namespace frameflow
