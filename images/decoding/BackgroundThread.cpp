#include "BackgroundThread.h"

#include <csignal>
#include <system_error>
#include <utility>

#include <pthread.h>

namespace frameflow {

std::optional<std::thread> backgroundThread(const char* name, std::function<void()> work)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::optional<std::thread> thread;
    try {
        thread.emplace([name, work = std::move(work)] {
            pthread_setname_np(pthread_self(), name);
            work();
        });
    } catch (const std::system_error&) {
        thread.reset();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

} // namespace frameflow
