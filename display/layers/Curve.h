#pragma once

namespace frameflow {

// The pacing of an animation.
enum class Curve
{
    Linear,
    EaseIn,
    EaseOut,
    EaseInEaseOut,
};

// How far an animation has come, 0 to 1, when that fraction of its duration has passed. Fractions outside 0 to 1 count
// as the nearer end.
double curveValue(Curve curve, double fraction);

} // namespace frameflow
