// jumping_clock: loaded before a program's libraries, lets a test move the clocks that show the time of day, as setting
// them does, and as waking up from sleep does with the one that counts the time asleep as well. $JUMPING_CLOCK is a
// file with two numbers of nanoseconds by which these are off; whoever reads a clock finds them there.

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

struct Offsets
{
    std::atomic<long> ofDay;
    std::atomic<long> withSleep;
};

const Offsets* offsets()
{
    static const Offsets* const mapped = [] {
        const char* const path = std::getenv("JUMPING_CLOCK");
        const int file = path != nullptr ? open(path, O_RDONLY | O_CLOEXEC) : -1;
        void* const memory = file >= 0 ? mmap(nullptr, sizeof(Offsets), PROT_READ, MAP_SHARED, file, 0) : MAP_FAILED;
        if (file >= 0) {
            close(file);
        }
        return memory != MAP_FAILED ? static_cast<const Offsets*>(memory) : nullptr;
    }();
    return mapped;
}

long offsetOf(clockid_t clock)
{
    if (offsets() == nullptr) {
        return 0;
    }
    switch (clock) {
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
    case CLOCK_TAI:
        return offsets()->ofDay;
    case CLOCK_BOOTTIME:
        return offsets()->withSleep;
    default:
        return 0;
    }
}

constexpr long second = 1'000'000'000;

timespec later(const timespec& time, long nanoseconds)
{
    const long sum = time.tv_nsec + nanoseconds % second;
    timespec result{time.tv_sec + nanoseconds / second, sum};
    if (sum < 0 || sum >= second) {
        result.tv_sec += sum < 0 ? -1 : 1;
        result.tv_nsec += sum < 0 ? second : -second;
    }
    return result;
}

bool isBefore(const timespec& a, const timespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

} // namespace

// The names of their parameters are no names for others.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

int clock_gettime(clockid_t clock, timespec* time)
{
    const long failed = syscall(SYS_clock_gettime, clock, time);
    if (failed == 0) {
        *time = later(*time, offsetOf(clock));
    }
    return static_cast<int>(failed);
}

int gettimeofday(timeval* time, void*)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return 0;
}

time_t time(time_t* place)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (place != nullptr) {
        *place = now.tv_sec;
    }
    return now.tv_sec;
}

// Who waits until a time of day waits longer when it is set back, and is woken when it is set past it.
int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* end)
{
    using Wait = int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*);
    static auto* const wait = reinterpret_cast<Wait*>(dlsym(RTLD_NEXT, "pthread_cond_clockwait"));
    if (clock != CLOCK_REALTIME) {
        return wait(condition, mutex, clock, end);
    }
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (!isBefore(now, *end)) {
        return ETIMEDOUT;
    }
    timespec moment{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &moment);
    constexpr long step = 2'000'000;
    const timespec next = later(now, step);
    const bool isWhole = !isBefore(next, *end);
    const long left = (end->tv_sec - now.tv_sec) * second + end->tv_nsec - now.tv_nsec;
    moment = later(moment, isWhole ? left : step);
    const int result = wait(condition, mutex, CLOCK_MONOTONIC, &moment);
    // Woken for nothing, as may happen to everybody: what was signalled since the step ended would be missed here.
    return result == ETIMEDOUT && !isWhole ? 0 : result;
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* end)
{
    constexpr unsigned countsMonotonic = 2; // in the library's own record of the condition
    const bool isMonotonic = (condition->__data.__wrefs & countsMonotonic) != 0;
    return pthread_cond_clockwait(condition, mutex, isMonotonic ? CLOCK_MONOTONIC : CLOCK_REALTIME, end);
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
