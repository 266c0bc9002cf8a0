#pragma once

#include <QtGlobal>

#include <vector>

namespace frameflow {

// One of the coming steps forward: to the slide, or the ad, so many places after the current one of its sequence.
struct ComingStep
{
    bool isAd = false;
    qint64 offset = 0;

    friend bool operator==(const ComingStep&, const ComingStep&) = default;
};

// Ads among slides: so many slides, one ad, so many slides, one ad. With an interval of zero or less an ad comes before
// every slide.
struct AdPattern
{
    bool isOn = false;
    qint64 interval = 0; // slides between two ads
    qint64 counter = 0; // slides since the last ad
    qint64 adsLeft = 0; // how often the ads can still be stepped on

    // Where the next steps forward lead, the nearest first. Nothing is moved or counted by it.
    std::vector<ComingStep> comingSteps(int count) const;
};

} // namespace frameflow
