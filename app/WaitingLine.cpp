#include "WaitingLine.h"

#include <utility>

namespace frameflow {

WaitingLine::Job WaitingLine::takeFirst()
{
    Job job = std::move(mJobs.front().job);
    mJobs.pop_front();
    return job;
}

std::deque<WaitingLine::Job> WaitingLine::clear()
{
    std::deque<Job> kept;
    for (Waiting& waiting : std::exchange(mJobs, {})) {
        if (waiting.from == From::Sequence) {
            kept.push_back(std::move(waiting.job));
        }
    }
    return kept;
}

} // namespace frameflow
