#include "ChildProcess.h"

#include <csignal>
#include <ctime>
#include <mutex>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace frameflow {

namespace {

constexpr int childSocket = 3;
// How long a killed process is waited for: one that is stuck in the kernel ends only when that lets go of it.
constexpr int mostWaitMilliseconds = 200;

// True when there is nothing left to wait for.
bool reap(const FileDescriptor& lifeline)
{
    siginfo_t info = {};
    return waitid(P_PIDFD, static_cast<id_t>(lifeline.number()), &info, WEXITED | WNOHANG) != 0 || info.si_pid != 0;
}

// The killed processes that were still there when their owner had waited long enough.
class Stragglers
{
public:
    void add(FileDescriptor lifeline)
    {
        const std::lock_guard lock(mMutex);
        mLifelines.push_back(std::move(lifeline));
    }
    void reapEnded()
    {
        const std::lock_guard lock(mMutex);
        std::erase_if(mLifelines, reap);
    }

private:
    std::mutex mMutex;
    std::vector<FileDescriptor> mLifelines;
};

Stragglers& stragglers()
{
    static Stragglers instance;
    return instance;
}

// What a process is started with.
class SpawnPlan
{
public:
    explicit SpawnPlan(int socket)
    {
        posix_spawn_file_actions_init(&mActions);
        posix_spawn_file_actions_adddup2(&mActions, socket, childSocket);
        const int silent[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
        for (const int descriptor : silent) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
            // What a sanitizer finds is to be read.
            if (descriptor == STDERR_FILENO) {
                continue;
            }
#endif
            posix_spawn_file_actions_addopen(&mActions, descriptor, "/dev/null", O_RDWR, 0);
        }
        posix_spawn_file_actions_addclosefrom_np(&mActions, childSocket + 1);

        posix_spawnattr_init(&mAttributes);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&mAttributes, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&mAttributes, &signals);
        // A process group of its own: what a terminal's keys send is meant for the program, which ends its decoders.
        posix_spawnattr_setpgroup(&mAttributes, 0);
        posix_spawnattr_setflags(&mAttributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnPlan()
    {
        posix_spawn_file_actions_destroy(&mActions);
        posix_spawnattr_destroy(&mAttributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    std::optional<pid_t> run(const QByteArray& program, const QList<QByteArray>& arguments) const
    {
        QList<QByteArray> texts{program};
        texts += arguments;
        std::vector<char*> pointers;
        for (QByteArray& text : texts) {
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
        pid_t id = -1;
        if (posix_spawn(&id, program.constData(), &mActions, &mAttributes, pointers.data(), environ) != 0) {
            return std::nullopt;
        }
        return id;
    }

private:
    posix_spawn_file_actions_t mActions = {};
    posix_spawnattr_t mAttributes = {};
};

} // namespace

std::optional<ChildProcess> ChildProcess::start(const QByteArray& program, const QList<QByteArray>& arguments)
{
    stragglers().reapEnded();
    int ends[2] = {-1, -1};
    if (program.isEmpty() || socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        return std::nullopt;
    }
    FileDescriptor ours(ends[0]);
    const FileDescriptor theirs(ends[1]);
    const auto id = SpawnPlan(theirs.number()).run(program, arguments);
    if (!id) {
        return std::nullopt;
    }
    // By their numbers: the C library of Debian 12 declares these two in a way that C++ cannot call.
    FileDescriptor lifeline(static_cast<int>(syscall(SYS_pidfd_open, *id, 0)));
    if (!lifeline.isOpen()) {
        kill(*id, SIGKILL);
        waitpid(*id, nullptr, 0);
        return std::nullopt;
    }
    return ChildProcess(*id, std::move(lifeline), std::move(ours));
}

ChildProcess::ChildProcess(pid_t id, FileDescriptor lifeline, FileDescriptor socket)
    : mId(id), mLifeline(std::move(lifeline)), mSocket(std::move(socket))
{
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept = default;

ChildProcess::~ChildProcess()
{
    if (!mLifeline.isOpen()) {
        return;
    }
    signal(SIGKILL);
    pollfd ended{mLifeline.number(), POLLIN, 0};
    poll(&ended, 1, mostWaitMilliseconds);
    if (!reap(mLifeline)) {
        stragglers().add(std::move(mLifeline));
    }
}

void ChildProcess::signal(int number) const
{
    syscall(SYS_pidfd_send_signal, mLifeline.number(), number, nullptr, 0);
}

std::optional<Duration> ChildProcess::processorTime() const
{
    clockid_t clock = {};
    timespec time = {};
    if (clock_getcpuclockid(mId, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        return std::nullopt;
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace frameflow
