#include "Animation.h"

namespace frameflow {

AnimationPtr makeAnimation(PropertyChange change, Duration duration, Curve curve, AnimationDelegate* delegate)
{
    return std::make_shared<const Animation>(Animation{change, duration, curve, delegate});
}

AnimationPtr makeAnimation(const TransitionEffect& effect, Duration duration, AnimationDelegate* delegate)
{
    return std::make_shared<const Animation>(Animation{effect, duration, Curve::Linear, delegate});
}

std::optional<double> AnimationRun::progressAt(TimePoint now) const
{
    if (now >= end()) {
        return std::nullopt;
    }
    const double fraction = secondsFromDuration(now - begin) / secondsFromDuration(duration);
    return curveValue(animation->curve, fraction);
}

} // namespace frameflow
