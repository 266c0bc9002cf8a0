#include "VipsColour.h"

#include <utility>

namespace frameflow {

namespace {

constexpr int depth = 8;

// From the darkest sample to the brightest.
VipsImagePtr stretched(const VipsImagePtr& image)
{
    const auto inMemory = VipsImagePtr(vips_image_copy_memory(image.get()));
    return applied(inMemory, vips_scale);
}

VipsImagePtr withModel(const VipsImagePtr& image)
{
    if (!image) {
        return nullptr;
    }
    const VipsInterpretation model = vips_image_guess_interpretation(image.get());
    if (model != VIPS_INTERPRETATION_MULTIBAND && model != VIPS_INTERPRETATION_MATRIX) {
        return applied(image, vips_copy, "interpretation", model);
    }
    const bool isGrey = vips_image_get_bands(image.get()) < 3;
    return applied(image, vips_copy, "interpretation", isGrey ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB);
}

VipsImagePtr toSrgb(const VipsImagePtr& image)
{
    if (image && vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME) != 0) {
        auto converted = applied(
            image, vips_icc_transform, "srgb", "embedded", TRUE, "depth", depth, "black_point_compensation", TRUE);
        if (converted) {
            return converted;
        }
        vips_error_clear();
    }
    return applied(image, vips_colourspace, VIPS_INTERPRETATION_sRGB);
}

} // namespace

VipsImagePtr inScreenColours(VipsImagePtr image, SampleRange range)
{
    if (!image) {
        return nullptr;
    }
    if (range == SampleRange::OfPicture && vips_image_get_format(image.get()) != VIPS_FORMAT_UCHAR) {
        image = stretched(image);
        if (!image) {
            return nullptr;
        }
    }
    if (range == SampleRange::Inverted) {
        image = applied(image, vips_invert);
        if (!image) {
            return nullptr;
        }
    }
    if (vips_image_get_coding(image.get()) == VIPS_CODING_RAD) {
        image = applied(image, vips_rad2float);
    }
    image = toSrgb(withModel(image));
    image = applied(image, vips_cast_uchar);
    if (!image) {
        return nullptr;
    }
    constexpr int channels = 4;
    constexpr double opaque = 255;
    const int bands = vips_image_get_bands(image.get());
    if (bands == channels - 1) {
        return applied(image, vips_bandjoin_const1, opaque);
    }
    return bands < channels ? nullptr : applied(image, vips_extract_band, 0, "n", channels);
}

} // namespace frameflow
