#pragma once

#include <QImage>

#include <array>
#include <cmath>

namespace frameflow {

// The titles under which an animated transition is stored, with how long it takes.
struct TransitionRow
{
    const char* title;
    double seconds;
};

inline constexpr std::array transitionRows{TransitionRow{"Cross Fade", 1}, TransitionRow{"Fast Cross Fade", 0.2},
    TransitionRow{"Flip", 1}, TransitionRow{"Rotate Left Right", 2}, TransitionRow{"Rotate Left", 2},
    TransitionRow{"Shrink", 1}, TransitionRow{"Expand", 1}, TransitionRow{"Slide", 1.4},
    TransitionRow{"Bar Swipe", 0.6}, TransitionRow{"Mod", 0.7}, TransitionRow{"Swipe", 0.4},
    TransitionRow{"Test", 0.4}};

// Gentle slopes with some steps, as photographs have them.
inline QImage gentlePicture(QSize size, double phase)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const auto wave
                = [&](double a, double b) { return static_cast<int>(117 + 100 * std::sin(x * a + y * b + phase)); };
            const int step = (x / 61 + y / 47) % 2 * 20;
            line[x] = qRgb(wave(0.11, 0.03) + step, wave(0.02, -0.14) + step, wave(-0.07, 0.08));
        }
    }
    return image;
}

} // namespace frameflow
