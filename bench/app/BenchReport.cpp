#include "BenchReport.h"

#include <QByteArray>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace frameflow::bench {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? never : (values[values.size() / 2] + values[(values.size() - 1) / 2]) / 2;
}

double percentile95(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const auto rank = static_cast<size_t>(std::ceil(0.95 * static_cast<double>(values.size())));
    return values.empty() ? never : values[std::max<size_t>(rank, 1) - 1];
}

bool isColour(QRgb pixel, QRgb colour)
{
    constexpr int tolerance = 12;
    return std::abs(qRed(pixel) - qRed(colour)) <= tolerance && std::abs(qGreen(pixel) - qGreen(colour)) <= tolerance
        && std::abs(qBlue(pixel) - qBlue(colour)) <= tolerance;
}

void BenchReport::add(const char* name, double figure, double reference, std::optional<double> limit)
{
    const double ratio = reference > 0 ? figure / reference : figure;
    const QByteArray shownLimit = limit ? QByteArray::number(*limit) : QByteArray();
    const bool isWithin = figure < never && reference < never && (!limit || ratio <= *limit);
    mIsWithinLimits = mIsWithinLimits && isWithin;
    std::printf("%s|%.2f|%.2f|%.3f|%s\n", name, figure, reference, ratio, shownLimit.constData());
    std::fflush(stdout);
}

} // namespace frameflow::bench
