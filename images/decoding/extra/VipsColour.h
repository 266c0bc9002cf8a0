#pragma once

#include "VipsImages.h"

namespace frameflow {

// Whether the sample values of a type have a range of their own, unknown until they are read.
enum class SampleRange
{
    OfFormat,
    OfPicture,
    Inverted, // the largest value means nothing of it
};

// The picture with four channels of 8 bits, in sRGB: red, green, blue and alpha, 255 where it has none.
VipsImagePtr inScreenColours(VipsImagePtr image, SampleRange range);

} // namespace frameflow
