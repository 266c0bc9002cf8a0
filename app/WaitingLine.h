#pragma once

#include <deque>
#include <functional>

namespace frameflow {

// Commands and events that came while a slide was being waited for, in the order of their coming.
class WaitingLine
{
public:
    using Job = std::function<void()>;

    enum class From
    {
        Person, // a command; means nothing once the show has ended
        Sequence, // what the background found; never lost
    };

    void add(From from, Job job) { mJobs.push_back({from, std::move(job)}); }
    bool isEmpty() const { return mJobs.empty(); }
    // The line must not be empty.
    Job takeFirst();
    // Drops the commands, and answers what else there was.
    std::deque<Job> clear();

private:
    struct Waiting
    {
        From from;
        Job job;
    };

    std::deque<Waiting> mJobs;
};

} // namespace frameflow
