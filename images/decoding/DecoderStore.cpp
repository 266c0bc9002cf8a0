#include "DecoderStore.h"

#include <algorithm>
#include <utility>

namespace frameflow {

namespace {

using namespace std::chrono_literals;

constexpr Duration idleSpan = 60s;
// What kept a process from being started may pass, as a shortage of processes does.
constexpr Duration startAgainAfter = 5s;
// One that cannot even begin ends sooner than this.
constexpr std::chrono::milliseconds brokenSpan = 1s;

TimePoint now()
{
    return std::chrono::steady_clock::now();
}

} // namespace

std::unique_ptr<DecoderProcess> DecoderStore::take(DecoderKind kind)
{
    std::vector<Idle> useless; // ended without the lock
    {
        const std::lock_guard lock(mMutex);
        auto& idle = shelf(kind).idle;
        while (!idle.empty()) {
            // In turn, so that each knows the memories that go round by the time when all of them are needed.
            Idle first = std::move(idle.front());
            idle.erase(idle.begin());
            if (first.process->isUsable()) {
                return std::move(first.process);
            }
            useless.push_back(std::move(first));
        }
    }
    return start(kind);
}

std::unique_ptr<DecoderProcess> DecoderStore::start(DecoderKind kind)
{
    {
        const std::lock_guard lock(mMutex);
        const auto failed = shelf(kind).failed;
        if (failed && now() < *failed + startAgainAfter) {
            return nullptr;
        }
    }
    const QByteArray& program = kind == DecoderKind::Common ? mOptions.commonDecoder : mOptions.extraDecoder;
    auto process = DecoderProcess::start(program, mOptions.limits);
    const std::lock_guard lock(mMutex);
    shelf(kind).failed = process ? std::nullopt : std::optional(now());
    return process;
}

bool DecoderStore::areBroken(DecoderKind kind)
{
    {
        const std::lock_guard lock(mMutex);
        if (shelf(kind).haveDecoded) {
            return false;
        }
    }
    auto process = start(kind);
    if (process && !process->endsWithin(brokenSpan)) {
        keep(kind, std::move(process));
        return false;
    }
    const std::lock_guard lock(mMutex);
    shelf(kind).failed = now();
    return true;
}

void DecoderStore::put(DecoderKind kind, std::unique_ptr<DecoderProcess> process)
{
    {
        const std::lock_guard lock(mMutex);
        shelf(kind).haveDecoded = true;
    }
    keep(kind, std::move(process));
}

void DecoderStore::keep(DecoderKind kind, std::unique_ptr<DecoderProcess> process)
{
    if (process && process->isUsable()) {
        const std::lock_guard lock(mMutex);
        shelf(kind).idle.push_back({std::move(process), now()});
    }
}

void DecoderStore::prepare(DecoderKind kind, size_t count)
{
    const auto missing = [&] {
        const std::lock_guard lock(mMutex);
        return count - std::min(count, shelf(kind).idle.size());
    };
    for (size_t left = missing(); left > 0; --left) {
        keep(kind, start(kind));
    }
}

size_t DecoderStore::endingCount(int shelf, size_t idle)
{
    const size_t kept = shelf == static_cast<int>(DecoderKind::Common) ? 1 : 0;
    return idle - std::min(idle, kept);
}

void DecoderStore::endIdle(TimePoint now)
{
    std::vector<Idle> ending; // ended without the lock, which is let go before it
    const std::lock_guard lock(mMutex);
    for (int i = 0; i < 2; ++i) {
        auto& idle = mShelves[i].idle;
        const auto candidates = idle.begin() + static_cast<std::ptrdiff_t>(endingCount(i, idle.size()));
        const auto end
            = std::find_if(idle.begin(), candidates, [&](const Idle& one) { return now < one.since + idleSpan; });
        std::move(idle.begin(), end, std::back_inserter(ending));
        idle.erase(idle.begin(), end);
    }
}

std::optional<TimePoint> DecoderStore::nextEnd() const
{
    const std::lock_guard lock(mMutex);
    std::optional<TimePoint> next;
    for (int i = 0; i < 2; ++i) {
        const auto& idle = mShelves[i].idle;
        if (endingCount(i, idle.size()) > 0) {
            const TimePoint end = idle.front().since + idleSpan;
            next = std::min(next.value_or(end), end);
        }
    }
    return next;
}

void DecoderStore::endAll()
{
    for (Shelf& one : mShelves) {
        std::vector<Idle> ending;
        {
            const std::lock_guard lock(mMutex);
            ending = std::move(one.idle);
            one.idle.clear();
        }
    }
}

QList<pid_t> DecoderStore::processes() const
{
    const std::lock_guard lock(mMutex);
    QList<pid_t> ids;
    for (const Shelf& one : mShelves) {
        for (const Idle& idle : one.idle) {
            ids.append(idle.process->processId());
        }
    }
    return ids;
}

} // namespace frameflow
