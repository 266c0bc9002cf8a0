#include "DecoderMain.h"

#include "Confinement.h"
#include "DecoderService.h"

#include <QGuiApplication>
#include <QLoggingCategory>

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace frameflow {

namespace {

constexpr int requestSocket = 3;

bool isDecoderSocket(int socket)
{
    int type = 0;
    socklen_t length = sizeof(type);
    return getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &length) == 0 && type == SOCK_SEQPACKET;
}

// The kernel ends this process with its starter, unless that was gone before it was asked to.
bool endsWithStarter(pid_t starter)
{
    return prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == starter;
}

void isolate()
{
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    dup2(nothing, STDERR_FILENO); // where sanitizers tell what they find
#endif
    closefrom(requestSocket + 1);
    // What a terminal's keys send is meant for the program, which closes the socket when it ends.
    for (const int number : {SIGINT, SIGQUIT, SIGHUP}) {
        signal(number, SIG_IGN); // NOLINT(bugprone-signal-handler): ignored
    }
    signal(SIGPROF, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_DUMPABLE, 0);
    [[maybe_unused]] const int moved = chdir("/"); // an unmounted disk is not to wait for this process

    // No setting of a person reaches the libraries: plug-ins of their own, other formats, more threads.
    clearenv();
    qputenv("LC_ALL", "C.UTF-8");
    qputenv("OMP_NUM_THREADS", "1");
    qputenv("VIPS_CONCURRENCY", "1");
    qputenv("QT_QPA_PLATFORM", "minimal:enable_fonts");
}

// One file needs what the one before did. Having pages brought in again each time takes longer than reading it does.
void keepFreedMemory()
{
    constexpr int megabyte = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, 16 * megabyte);
    mallopt(M_TRIM_THRESHOLD, 16 * megabyte);
}

} // namespace

void runDecoder(int count, char** arguments, const ExtraDecoders* extra)
{
    const auto number = [&](int index) { return count > index ? std::strtoll(arguments[index], nullptr, 10) : 0; };
    if (!isDecoderSocket(requestSocket) || count < 4 || !endsWithStarter(static_cast<pid_t>(number(3)))) {
        _exit(1);
    }
    isolate();
    keepFreedMemory();
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    int noArguments = 1;
    const QGuiApplication application(noArguments, arguments);
    confine(number(1));
    useExtraDecoders(extra);
    if (extra != nullptr && extra->prepare != nullptr) {
        extra->prepare();
    }
    serveDecoding(requestSocket, std::chrono::seconds(number(2)));
    // Nothing is worth tidying up, and other threads may be in the middle of anything.
    _exit(0);
}

} // namespace frameflow
