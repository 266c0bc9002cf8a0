#include "AdPattern.h"

namespace frameflow {

std::vector<ComingStep> AdPattern::comingSteps(int count) const
{
    std::vector<ComingStep> steps;
    qint64 slides = 0;
    qint64 ads = 0;
    qint64 sinceAd = counter;
    while (static_cast<int>(steps.size()) < count) {
        const bool isDue = isOn && sinceAd >= interval;
        if (isDue) {
            sinceAd = 0;
        } else {
            ++sinceAd;
        }
        const bool isAd = isDue && ads < adsLeft;
        steps.push_back({isAd, isAd ? ++ads : ++slides});
    }
    return steps;
}

} // namespace frameflow
