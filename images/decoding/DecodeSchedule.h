#pragma once

#include "Clock.h"
#include "DecodePace.h"
#include "DecoderPool.h"

#include <optional>
#include <span>
#include <vector>

namespace frameflow {

enum class Attempt
{
    First,
    Alone, // once more, after its decoder was lost
};

// A decode that occupies a worker.
struct RunningDecode
{
    quint64 number = 0; // in the order of coming
    Urgency urgency = Urgency::Asked;
    Attempt attempt = Attempt::First;
    TimePoint begun{};
};

// The first in line of those that wait.
struct WaitingDecodes
{
    std::optional<Urgency> first; // most urgent of the first attempts
    std::optional<Urgency> alone; // most urgent of the second ones
    TimePoint aloneSince{}; // it has waited
};

// Says what begins next and which of the running decodes stand still meanwhile. A function of its arguments but for the
// pace. No locks.
class DecodeSchedule
{
public:
    // A second attempt has the pool to itself for this long; what a decode needs the memory or the cores for has
    // happened by then, and a hopeless file must not keep the others from being read.
    static constexpr Duration aloneSpan = std::chrono::seconds(2);
    // It waits no longer than this for the running ones to end, and has them suspended then.
    static constexpr Duration alonePatience = std::chrono::seconds(1);

    explicit DecodeSchedule(int atOnce) : mAtOnce(atOnce), mPace(atOnce) { }

    // One more than run at once, so that there is always one for what is asked for.
    int workers() const { return mAtOnce + 1; }
    DecodePace& pace() { return mPace; }

    struct Decision
    {
        std::optional<Attempt> begin; // the first in line of these
        std::optional<TimePoint> lookAgain; // when time alone may change the decision
    };
    Decision decide(const WaitingDecodes& waiting, std::span<const RunningDecode> running, TimePoint now) const;

    struct Suspension
    {
        std::vector<bool> suspended; // for each running one
        std::optional<TimePoint> until; // when time alone changes it
    };
    Suspension suspension(std::span<const RunningDecode> running, TimePoint now) const;

private:
    Decision decideAlone(const WaitingDecodes& waiting, std::span<const RunningDecode> running, TimePoint now) const;
    Decision decideFirst(Urgency urgency, std::span<const RunningDecode> running, TimePoint now) const;

    int mAtOnce;
    DecodePace mPace;
};

} // namespace frameflow
