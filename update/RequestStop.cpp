#include "RequestStop.h"

#include <sys/socket.h>
#include <unistd.h>

namespace frameflow {

void RequestStop::stop()
{
    const std::lock_guard lock(mMutex);
    mIsStopped = true;
    for (const int socket : mSockets) {
        shutdown(socket, SHUT_RDWR);
    }
}

int RequestStop::openSocket(int family, int type, int protocol)
{
    const std::lock_guard lock(mMutex);
    if (mIsStopped) {
        return -1;
    }
    // Programs that are started meanwhile, the decoders, are not to have it.
    const int opened = socket(family, type | SOCK_CLOEXEC, protocol);
    if (opened >= 0) {
        mSockets.push_back(opened);
    }
    return opened;
}

int RequestStop::closeSocket(int socket)
{
    const std::lock_guard lock(mMutex);
    std::erase(mSockets, socket);
    return close(socket);
}

} // namespace frameflow
