#pragma once

#include "XServer.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

namespace frameflow::e2e {

// Asks a window again and again, as window managers do, whether its program still answers: the answer comes from the
// thread that draws it and takes its keys. Does so on a thread of its own, from the first question to the end of this
// object; the window is to stay there as long.
class WindowPings
{
public:
    // Fails the program (qFatal) when there is no X server.
    explicit WindowPings(WindowId window);
    ~WindowPings();
    WindowPings(const WindowPings&) = delete;
    WindowPings& operator=(const WindowPings&) = delete;

    // The longest that the program has taken for an answer, or takes for one that is outstanding.
    std::chrono::milliseconds longest() const { return std::chrono::milliseconds(mLongest); }
    int answers() const { return mAnswers; }

private:
    class Connection;
    void run();

    std::unique_ptr<Connection> mConnection;
    std::atomic<bool> mIsEnding = false;
    std::atomic<qint64> mLongest = 0; // milliseconds
    std::atomic<int> mAnswers = 0;
    std::thread mThread;
};

} // namespace frameflow::e2e
