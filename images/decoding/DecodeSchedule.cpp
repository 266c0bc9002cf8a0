#include "DecodeSchedule.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace frameflow {

namespace {

bool isAlone(const RunningDecode& decode, TimePoint now)
{
    return decode.attempt == Attempt::Alone && now < decode.begun + DecodeSchedule::aloneSpan;
}

const RunningDecode* findAlone(std::span<const RunningDecode> running, TimePoint now)
{
    const auto found = std::find_if(running.begin(), running.end(), [&](const auto& one) { return isAlone(one, now); });
    return found == running.end() ? nullptr : &*found;
}

bool isAsked(const RunningDecode& decode)
{
    return decode.urgency == Urgency::Asked;
}

} // namespace

DecodeSchedule::Decision DecodeSchedule::decide(
    const WaitingDecodes& waiting, std::span<const RunningDecode> running, TimePoint now) const
{
    if (static_cast<int>(running.size()) >= workers()) {
        return {};
    }
    if (waiting.first == Urgency::Asked) {
        return {Attempt::First, {}};
    }
    if (const RunningDecode* const alone = findAlone(running, now)) {
        return {{}, alone->begun + aloneSpan};
    }
    if (waiting.alone) {
        return decideAlone(waiting, running, now);
    }
    return waiting.first ? decideFirst(*waiting.first, running, now) : Decision{};
}

DecodeSchedule::Decision DecodeSchedule::decideAlone(
    const WaitingDecodes& waiting, std::span<const RunningDecode> running, TimePoint now) const
{
    if (running.empty()) {
        return {Attempt::Alone, {}};
    }
    // It would be suspended at once.
    if (waiting.alone != Urgency::Asked && std::any_of(running.begin(), running.end(), isAsked)) {
        return {};
    }
    const TimePoint enough = waiting.aloneSince + alonePatience;
    return now < enough ? Decision{{}, enough} : Decision{Attempt::Alone, {}};
}

DecodeSchedule::Decision DecodeSchedule::decideFirst(
    Urgency urgency, std::span<const RunningDecode> running, TimePoint now) const
{
    if (static_cast<int>(running.size()) >= mAtOnce) {
        return {};
    }
    if (urgency == Urgency::Ahead) {
        std::optional<TimePoint> lastBegun;
        for (const RunningDecode& decode : running) {
            if (decode.urgency != Urgency::Thumbnail) {
                lastBegun = std::max(lastBegun.value_or(decode.begun), decode.begun);
            }
        }
        const TimePoint earliest = mPace.earliestBegin(lastBegun, now);
        if (earliest > now) {
            return {{}, earliest};
        }
    }
    return {Attempt::First, {}};
}

DecodeSchedule::Suspension DecodeSchedule::suspension(std::span<const RunningDecode> running, TimePoint now) const
{
    const RunningDecode* const alone = findAlone(running, now);
    const auto runsFreely
        = [&](const RunningDecode& decode) { return decode.urgency == Urgency::Asked && &decode != alone; };
    const auto free = std::count_if(running.begin(), running.end(), runsFreely);
    auto places = std::max<std::ptrdiff_t>(0, mAtOnce - free);
    if (alone != nullptr) {
        places = free == 0 ? 1 : 0;
    }

    std::vector<size_t> order(running.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        const auto rank
            = [&](const RunningDecode& one) { return std::tuple(&one != alone, one.urgency, one.begun, one.number); };
        return rank(running[a]) < rank(running[b]);
    });
    Suspension result{std::vector<bool>(running.size(), false), {}};
    for (const size_t index : order) {
        if (!runsFreely(running[index]) && places-- <= 0) {
            result.suspended[index] = true;
        }
    }
    if (alone != nullptr) {
        result.until = alone->begun + aloneSpan;
    }
    return result;
}

} // namespace frameflow
