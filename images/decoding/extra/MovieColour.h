#pragma once

#include "Ffmpeg.h"

#include <QImage>

#include <array>
#include <vector>

namespace frameflow {

// From the colours of a movie to those of the screen, for the movies where these differ much: of wide colours, or of a
// brightness beyond white, which is compressed.
class ColourConversion
{
public:
    using Matrix = std::array<float, 9>; // row by row

    // None is needed.
    ColourConversion() = default;
    // Light for each of the sample values 0 to 4095, 1 for white; the matrix from its primaries to those of sRGB.
    // Light beyond the brightest is cut off; none is compressed where that is 1.
    ColourConversion(std::vector<float> lightOfSample, const Matrix& toSrgb, float brightest);

    bool isNeeded() const { return !mLightOfSample.empty(); }
    // From RGBX64 to RGB32. Null when there is no memory.
    QImage toScreen(const QImage& image) const;

private:
    std::vector<float> mLightOfSample;
    Matrix mToSrgb{};
    float mBrightest = 1;
};

ColourConversion colourConversionFor(const AVFrame& frame);

} // namespace frameflow
