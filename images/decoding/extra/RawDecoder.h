#pragma once

#include "ExtraDecoders.h"

namespace frameflow {

bool readRawHeader(const QByteArray& contents, RawHeader* header);

// The picture made from the sensor's values, not turned; at half its size where that suffices for the side wanted.
DecodedPicture developRaw(const QByteArray& contents, int longestSide);

} // namespace frameflow
