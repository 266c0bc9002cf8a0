#pragma once

#include "Clock.h"
#include "DecoderKinds.h"
#include "DecoderPool.h"

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace frameflow {

// The decoder processes that have nothing to do, and the starting of new ones. Any thread, but a process ends with the
// thread that had it started.
class DecoderStore
{
public:
    explicit DecoderStore(const DecoderPool::Options& options) : mOptions(options) { }

    // One that waits, or a new one; null when none can be started, and for a while after that.
    std::unique_ptr<DecoderProcess> take(DecoderKind kind);
    // A new one in any case; null as above.
    std::unique_ptr<DecoderProcess> start(DecoderKind kind);
    // After losses: whether those of that kind end before they are asked for anything, as where a library is missing.
    // No file has a part in the answer. Takes a while if none of them has ever decoded one.
    bool areBroken(DecoderKind kind);
    // Keeps one that has decoded something for later, unless it is of no more use.
    void put(DecoderKind kind, std::unique_ptr<DecoderProcess> process);
    // Starts one to have it ready, unless one is.
    void prepare(DecoderKind kind, size_t count = 1);

    // Ends those that have had nothing to do for long, but for one of the common kind.
    void endIdle(TimePoint now);
    // When there is something to end; absent when there will not be.
    std::optional<TimePoint> nextEnd() const;
    void endAll();

    QList<pid_t> processes() const;

private:
    struct Idle
    {
        std::unique_ptr<DecoderProcess> process;
        TimePoint since;
    };
    struct Shelf
    {
        std::vector<Idle> idle; // the last one used at the end
        std::optional<TimePoint> failed; // the last start
        bool haveDecoded = false;
    };

    void keep(DecoderKind kind, std::unique_ptr<DecoderProcess> process);
    Shelf& shelf(DecoderKind kind) { return mShelves[static_cast<int>(kind)]; }
    // How many at the front of the shelf end at some time.
    static size_t endingCount(int shelf, size_t idle);

    DecoderPool::Options mOptions;
    mutable std::mutex mMutex;
    Shelf mShelves[2];
};

} // namespace frameflow
