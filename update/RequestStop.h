#pragma once

#include <atomic>
#include <mutex>
#include <vector>

namespace frameflow {

// Ends a request from outside: what waits on one of its connections fails at once, what waits for the name of its host
// within a second or so. Stays stopped. Any thread.
class RequestStop
{
public:
    void stop();
    bool isStopped() const { return mIsStopped; }

    // Whoever makes the request opens and closes its sockets here. -1 when stopped, and when there is none to be had.
    int openSocket(int family, int type, int protocol);
    int closeSocket(int socket);

private:
    std::atomic<bool> mIsStopped{false};
    std::mutex mMutex;
    std::vector<int> mSockets;
};

} // namespace frameflow
