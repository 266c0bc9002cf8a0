#pragma once

#include <QImage>
#include <QSize>

#include <vector>

namespace frameflow {

// Reduces pixels of four bytes by the mean of the area that each new one covers, with every share of a pixel in 128ths.
// Takes the lines as they come, so that a picture can be reduced while its lines are still in the processor's cache.
// Runs in the calling thread alone.
class AreaReduction
{
public:
    // No side grows, or shrinks to less than 1/mostTimes.
    static constexpr int mostTimes = 64;
    static bool isPossible(QSize from, QSize to);

    AreaReduction(QSize from, QSize to);

    // The first so many lines are there: makes all new ones that need no others. The two images have the sizes given
    // above and lie in memory of their own; "to" is not shared.
    void advance(const uchar* pixels, qsizetype bytesPerLine, int lines, QImage& to);

private:
    // What one new pixel covers along an axis.
    struct Span
    {
        int first;
        int count;
        size_t shares; // the place of its first one
    };
    struct Axis
    {
        Axis(int from, int to);
        std::vector<Span> spans;
        std::vector<qint16> shares; // of 128; a span begins at an even place
    };

    Axis mAcross;
    Axis mDown;
    std::vector<qint16> mLine; // the mean over the lines of a span, in 128ths
    int mBytes; // in a line
    int mNext = 0; // new line to be made
};

} // namespace frameflow
