#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace frameflow {

// Spreads work on the rows of a picture over the cores, on threads of its own, which sleep in between. One caller at a
// time.
class Bands
{
public:
    Bands();
    ~Bands();
    Bands(const Bands&) = delete;
    Bands& operator=(const Bands&) = delete;

    // Calls the work for bands of rows, from first up to but not including last, that together make up all rows; on
    // several threads at once, this one among them. Returns when all of it is done. The work must not throw.
    void forEach(int rows, const std::function<void(int first, int last)>& work);

private:
    class Job;

    void startHelpers();
    void help();

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::shared_ptr<Job> mJob; // the last one
    bool mEnding = false;
    std::vector<std::thread> mHelpers; // none until there is work
    bool mHasStarted = false;
};

} // namespace frameflow
