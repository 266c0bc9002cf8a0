#include "Rest.h"

#include <algorithm>
#include <thread>

namespace frameflow {

void Rest::take(const CancelToken& cancel) const
{
    using std::chrono::steady_clock;
    // In short pieces: the end may be moved meanwhile, and cancelling must not wait for it.
    constexpr steady_clock::duration piece = std::chrono::milliseconds(3);
    while (!cancel.isCancelled()) {
        const steady_clock::duration left(mUntil->load() - now());
        if (left <= steady_clock::duration::zero()) {
            return;
        }
        std::this_thread::sleep_for(std::min(left, piece));
    }
}

} // namespace frameflow
