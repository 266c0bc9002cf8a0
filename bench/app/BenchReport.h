#pragma once

#include <QRgb>

#include <optional>
#include <vector>

namespace frameflow::bench {

// In milliseconds, of what did not happen; beyond every limit.
constexpr double never = 1e9;

// Of no values: never.
double median(std::vector<double> values);
double percentile95(std::vector<double> values);

// Whether a pixel of a JPEG shows a plain colour of the picture that was compressed.
bool isColour(QRgb pixel, QRgb colour);

// The figures of a benchmark, printed as they come: lines "name|figure|reference|ratio|limit".
class BenchReport
{
public:
    // The limit is of the ratio, or of the figure itself where the reference is 0. Without one it is for information.
    void add(const char* name, double figure, double reference, std::optional<double> limit = {});
    bool isWithinLimits() const { return mIsWithinLimits; }

private:
    bool mIsWithinLimits = true;
};

} // namespace frameflow::bench
