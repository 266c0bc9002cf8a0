#include "MovieColour.h"

#include "LargeBitmap.h"

#include <QRgba64>

#include <algorithm>
#include <cmath>

namespace frameflow {

namespace {

constexpr int samples = 4096;
constexpr int bitsBelowSample = 4; // of 16

// In candela per square metre, as recommended for the making of programmes: white on paper, and the brightest that is
// counted on.
constexpr double paperWhite = 203;
constexpr double brightestLight = 1000;

// Light up to here stays as it is; what is brighter is compressed.
constexpr float kneeOfCompression = 0.5F;

constexpr ColourConversion::Matrix fromBt2020{
    1.6605F, -0.5876F, -0.0728F, -0.1246F, 1.1329F, -0.0083F, -0.0182F, -0.1006F, 1.1187F};
constexpr ColourConversion::Matrix fromDisplayP3{
    1.2249F, -0.2247F, 0.0F, -0.0420F, 1.0420F, 0.0F, -0.0197F, -0.0786F, 1.0979F};
constexpr ColourConversion::Matrix unchanged{1, 0, 0, 0, 1, 0, 0, 0, 1};

// The perceptual quantizer of SMPTE ST 2084.
double lightOfQuantizer(double sample)
{
    constexpr double m1 = 2610.0 / 16384;
    constexpr double m2 = 2523.0 / 4096 * 128;
    constexpr double c1 = 3424.0 / 4096;
    constexpr double c2 = 2413.0 / 4096 * 32;
    constexpr double c3 = 2392.0 / 4096 * 32;
    constexpr double brightest = 10000;
    const double root = std::pow(sample, 1 / m2);
    return brightest * std::pow(std::max(root - c1, 0.0) / (c2 - c3 * root), 1 / m1) / paperWhite;
}

// Hybrid log-gamma of BT.2100, shown at its usual brightness; the gamma of the display is taken of each channel alone.
double lightOfHybrid(double sample)
{
    constexpr double a = 0.17883277;
    constexpr double b = 0.28466892;
    constexpr double c = 0.55991073;
    constexpr double displayGamma = 1.2;
    const double scene = sample <= 0.5 ? sample * sample / 3 : (std::exp((sample - c) / a) + b) / 12;
    return brightestLight * std::pow(scene, displayGamma) / paperWhite;
}

double lightOfSrgb(double sample)
{
    return sample <= 0.04045 ? sample / 12.92 : std::pow((sample + 0.055) / 1.055, 2.4);
}

template <typename Function>
std::vector<float> table(Function function)
{
    std::vector<float> values(samples);
    for (int i = 0; i < samples; ++i) {
        values[i] = static_cast<float>(function(static_cast<double>(i) / (samples - 1)));
    }
    return values;
}

// The sRGB value for light from 0 to 1.
const std::vector<uchar>& srgbOfLight()
{
    static const std::vector<uchar> values = [] {
        std::vector<uchar> made(samples);
        for (int i = 0; i < samples; ++i) {
            const double light = static_cast<double>(i) / (samples - 1);
            const double value = light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
            made[i] = static_cast<uchar>(std::lround(value * 255));
        }
        return made;
    }();
    return values;
}

// What light is multiplied by whose strongest channel is that bright.
float compression(float strongest, float brightest)
{
    if (brightest <= 1 || strongest <= kneeOfCompression) {
        return 1;
    }
    const float room = 1 - kneeOfCompression;
    const float most = (brightest - kneeOfCompression) / room;
    const float over = (std::min(strongest, brightest) - kneeOfCompression) / room;
    const float kept = over * (1 + over / (most * most)) / (1 + over);
    return (kneeOfCompression + room * kept) / strongest;
}

uchar screenValue(float light)
{
    return srgbOfLight()[std::lround(std::clamp(light, 0.0F, 1.0F) * (samples - 1))];
}

} // namespace

ColourConversion::ColourConversion(std::vector<float> lightOfSample, const Matrix& toSrgb, float brightest)
    : mLightOfSample(std::move(lightOfSample)), mToSrgb(toSrgb), mBrightest(brightest)
{
}

QImage ColourConversion::toScreen(const QImage& image) const
{
    QImage result = largeBitmap(image.size(), QImage::Format_RGB32);
    if (result.isNull()) {
        return result;
    }
    const Matrix& m = mToSrgb;
    for (int y = 0; y < image.height(); ++y) {
        const auto* const from = reinterpret_cast<const QRgba64*>(image.constScanLine(y));
        auto* const to = reinterpret_cast<QRgb*>(result.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const float r = mLightOfSample[from[x].red() >> bitsBelowSample];
            const float g = mLightOfSample[from[x].green() >> bitsBelowSample];
            const float b = mLightOfSample[from[x].blue() >> bitsBelowSample];
            const float red = m[0] * r + m[1] * g + m[2] * b;
            const float green = m[3] * r + m[4] * g + m[5] * b;
            const float blue = m[6] * r + m[7] * g + m[8] * b;
            const float scale = compression(std::max({red, green, blue}), mBrightest);
            to[x] = qRgb(screenValue(red * scale), screenValue(green * scale), screenValue(blue * scale));
        }
    }
    return result;
}

ColourConversion colourConversionFor(const AVFrame& frame)
{
    constexpr auto brightest = static_cast<float>(brightestLight / paperWhite);
    const int primaries = numberOf(frame.color_primaries);
    const int curve = numberOf(frame.color_trc);
    const bool isNarrow = primaries == AVCOL_PRI_BT709;
    const ColourConversion::Matrix& ofBright = isNarrow ? unchanged : fromBt2020;
    if (curve == AVCOL_TRC_SMPTE2084) {
        return {table(lightOfQuantizer), ofBright, brightest};
    }
    if (curve == AVCOL_TRC_ARIB_STD_B67) {
        return {table(lightOfHybrid), ofBright, brightest};
    }
    switch (primaries) {
    case AVCOL_PRI_BT2020:
        return {table(lightOfSrgb), fromBt2020, 1};
    case AVCOL_PRI_SMPTE431:
    case AVCOL_PRI_SMPTE432:
        return {table(lightOfSrgb), fromDisplayP3, 1};
    default:
        return {};
    }
}

} // namespace frameflow
