#include "Confinement.h"

#include "TestFiles.h"

#include <QTest>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace frameflow;

namespace {

volatile std::sig_atomic_t signalled = 0;

// What an attempt comes to: 0 when it succeeds, else the number of the error.
using Attempt = std::function<int()>;

int errorOf(long result)
{
    return result < 0 ? errno : 0;
}

enum class Layers
{
    All,
    WithoutFileAccess,
    WithoutSystemCalls,
    None,
};

constexpr std::array allLayers{Layers::All, Layers::WithoutFileAccess, Layers::WithoutSystemCalls, Layers::None};

ConfinementOffer offerOf(Layers layers)
{
    ConfinementOffer offer = kernelOffer();
    if (layers == Layers::WithoutFileAccess || layers == Layers::None) {
        offer.fileAccessVersion = 0;
    }
    if (layers == Layers::WithoutSystemCalls || layers == Layers::None) {
        offer.systemCalls = false;
    }
    return offer;
}

constexpr qint64 someMemory = qint64(2) << 30;

struct Outcome
{
    int error = 0; // of the attempt
    int signal = 0; // that ended the process in its course
};

// Makes the attempt in a process of its own, confined before.
Outcome inside(const ConfinementOffer& offer, const Attempt& attempt, qint64 memory = someMemory)
{
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGABRT, SIG_DFL); // the test's own way to tell of one
        confine(memory, offer);
        _exit(attempt());
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        qFatal("no process to test with");
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 0, WIFSIGNALED(status) ? WTERMSIG(status) : 0};
}

int openError(const QByteArray& path, int flags)
{
    return errorOf(open(path.constData(), flags | O_CLOEXEC, 0600));
}

// A process made in spite of all must not go on with the test.
int afterFork(long child)
{
    if (child == 0) {
        _exit(0);
    }
    return errorOf(child);
}

} // namespace

Q_DECLARE_METATYPE(Attempt)
Q_DECLARE_METATYPE(Layers)

class ConfinementTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void everyLayerOfThisKernelHolds();
    void refused_data();
    void refused();
    void stillPossible_data();
    void stillPossible();
    void olderKernelsConfineTheirFiles_data();
    void olderKernelsConfineTheirFiles();
    void laterThreadsAreConfined();
    void memoryHasALimit();
    void withoutALimitMemoryIsFree();
    void pagesOfSharedMemoryStay();
    void starterAndOthersAreSafe();

private:
    void addRow(const char* name, bool byFileAccess, bool bySystemCalls, const Attempt& attempt) const;
    void addFileRows() const;
    void addChangeRows() const;
    void addNetworkRows() const;
    void addProcessRows() const;

    // Beside the test's own folder: nothing of a person's may be read, wherever it lies.
    TestFolder mFolder;
    QByteArray mPicture;
    int mReading = -1;
    int mServer = -1;
    sockaddr_un mAddress = {};
};

void ConfinementTest::initTestCase()
{
    mPicture = mFolder.addFile("home/picture.jpg", "contents");
    mFolder.addFile("home/removable");
    mFolder.addFolder("home/folder");
    // Some systems let only a parent look into its child.
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
    mReading = open(mPicture.constData(), O_RDONLY | O_CLOEXEC);
    QVERIFY(mReading >= 0);
    mServer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    mAddress.sun_family = AF_UNIX;
    const QByteArray path = mFolder.pathOf("s");
    QVERIFY(size_t(path.size()) < sizeof(mAddress.sun_path));
    std::copy(path.begin(), path.end(), std::begin(mAddress.sun_path));
    QCOMPARE(bind(mServer, reinterpret_cast<sockaddr*>(&mAddress), sizeof(mAddress)), 0);
    QCOMPARE(listen(mServer, 1), 0);
}

void ConfinementTest::cleanupTestCase()
{
    close(mReading);
    close(mServer);
}

// Both layers are in every kernel that this is developed on; where one is missing, the rows below show nothing of it.
void ConfinementTest::everyLayerOfThisKernelHolds()
{
    for (const Layers layers : allLayers) {
        const ConfinementOffer offer = offerOf(layers);
        const pid_t child = fork();
        if (child == 0) {
            const Confinement done = confine(someMemory, offer);
            const bool isRight = done.noNewPrivileges && done.fileAccess == (offer.fileAccessVersion > 0)
                && done.systemCalls == offer.systemCalls && prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1;
            _exit(isRight ? 0 : 1);
        }
        int status = -1;
        QCOMPARE(waitpid(child, &status, 0), child);
        QCOMPARE(status, 0);
    }
}

void ConfinementTest::addRow(const char* name, bool byFileAccess, bool bySystemCalls, const Attempt& attempt) const
{
    const ConfinementOffer kernel = kernelOffer();
    for (const Layers layers : allLayers) {
        const ConfinementOffer offer = offerOf(layers);
        const bool isRefused = (byFileAccess && offer.fileAccessVersion > 0) || (bySystemCalls && offer.systemCalls);
        const bool mayBe = (byFileAccess && kernel.fileAccessVersion > 0) || (bySystemCalls && kernel.systemCalls);
        const char* const words[] = {"all layers", "without file access", "without system calls", "no layer"};
        QTest::addRow("%s, %s", name, words[int(layers)]) << layers << attempt << (mayBe && isRefused);
    }
}

void ConfinementTest::addFileRows() const
{
    addRow("reading a picture at home", true, false, [this] { return openError(mPicture, O_RDONLY); });
    addRow("listing a folder at home", true, false,
        [this] { return openError(mFolder.pathOf("home"), O_RDONLY | O_DIRECTORY); });
    addRow("reading /etc/passwd", true, false, [] { return openError("/etc/passwd", O_RDONLY); });
    addRow("reading what another process is", true, false,
        [] { return openError("/proc/" + QByteArray::number(getppid()) + "/environ", O_RDONLY); });
    addRow("writing a picture", true, true, [this] { return openError(mPicture, O_WRONLY); });
    addRow("writing through both ways", true, true, [this] { return openError(mPicture, O_RDWR); });
    addRow("emptying a file", true, true, [this] { return openError(mPicture, O_RDONLY | O_TRUNC); });
    addRow("making a file at home", true, true,
        [this] { return openError(mFolder.pathOf("home/new"), O_RDONLY | O_CREAT); });
    addRow("making a file in /tmp", true, true, [] {
        const QByteArray path = "/tmp/frameflow-confinement-" + QByteArray::number(getpid());
        const int error = openError(path, O_WRONLY | O_CREAT | O_EXCL);
        unlink(path.constData());
        return error;
    });
    addRow(
        "a file without a name", true, true, [this] { return openError(mFolder.pathOf("home"), O_RDWR | O_TMPFILE); });
    addRow("opening in a new way", true, true, [this] {
        const quint64 how[] = {O_WRONLY, 0, 0};
        return errorOf(syscall(SYS_openat2, AT_FDCWD, mPicture.constData(), how, sizeof(how)));
    });
}

void ConfinementTest::addChangeRows() const
{
    const QByteArray folder = mFolder.pathOf("home/folder");
    const QByteArray other = mFolder.pathOf("home/other");
    addRow("renaming", true, true, [=, this] {
        const int error = errorOf(rename(mPicture.constData(), other.constData()));
        rename(other.constData(), mPicture.constData());
        return error;
    });
    addRow("removing a folder", true, true, [=] {
        const int error = errorOf(rmdir(folder.constData()));
        mkdir(folder.constData(), 0700);
        return error;
    });
    addRow("removing a file", true, true, [=, this] {
        const QByteArray path = mFolder.pathOf("home/removable");
        const int error = errorOf(unlink(path.constData()));
        openError(path, O_WRONLY | O_CREAT);
        return error;
    });
    addRow("making a folder", true, true, [=] {
        const int error = errorOf(mkdir(other.constData(), 0700));
        rmdir(other.constData());
        return error;
    });
    addRow("linking", true, true, [=] {
        const int error = errorOf(symlink("x", other.constData()));
        unlink(other.constData());
        return error;
    });
    addRow(
        "changing a file's mode by name", false, true, [this] { return errorOf(chmod(mPicture.constData(), 0600)); });
    addRow("changing the mode of a file that is open for reading", false, true,
        [this] { return errorOf(fchmod(mReading, 0600)); });
    addRow("changing its times", false, true, [this] { return errorOf(futimens(mReading, nullptr)); });
    addRow("cutting a file by name", kernelOffer().fileAccessVersion >= 3, true,
        [this] { return errorOf(truncate(mPicture.constData(), 8)); });
    addRow("keeping others from a file", false, true, [this] { return errorOf(fcntl(mReading, F_SETLEASE, F_RDLCK)); });
    addRow(
        "having others told of a file", false, true, [this] { return errorOf(fcntl(mReading, F_SETOWN, getppid())); });
}

void ConfinementTest::addNetworkRows() const
{
    addRow("an internet socket", false, true, [] { return errorOf(socket(AF_INET, SOCK_STREAM, 0)); });
    addRow("a local socket", false, true, [] { return errorOf(socket(AF_UNIX, SOCK_STREAM, 0)); });
    addRow("two sockets", false, true, [] {
        int ends[2] = {};
        return errorOf(socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    });
    addRow("connecting a socket that is there", false, true, [this] {
        return errorOf(::connect(mServer, reinterpret_cast<const sockaddr*>(&mAddress), sizeof(mAddress))) == EPERM
            ? EPERM
            : 0;
    });
    addRow("listening on a socket that is there", false, true, [this] { return errorOf(listen(mServer, 2)); });
    addRow("accepting from a socket that is there", false, true, [this] {
        fcntl(mServer, F_SETFL, O_NONBLOCK);
        return errorOf(accept(mServer, nullptr, nullptr)) == EPERM ? EPERM : 0;
    });
    addRow("shared memory of another kind", false, true,
        [] { return errorOf(shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600)); });
}

void ConfinementTest::addProcessRows() const
{
    addRow("a process", false, true, [] { return afterFork(fork()); });
    addRow("a process in the old way", false, true, [] { return afterFork(syscall(SYS_fork)); });
    addRow("a process in the bare way", false, true,
        [] { return afterFork(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, 0)); });
    addRow("a process in the new way", false, true, [] {
        const quint64 plan[8] = {0, 0, 0, 0, SIGCHLD, 0, 0, 0};
        return afterFork(syscall(SYS_clone3, plan, sizeof(plan)));
    });
    addRow("a program", true, true, [] {
        execl("/bin/true", "true", nullptr);
        return errno; // one that was started ends with 0
    });
    addRow("a program by its descriptor", true, true, [] {
        const int program = open("/bin/true", O_PATH);
        const char* const words[] = {"true", nullptr};
        syscall(SYS_execveat, program, "", words, nullptr, AT_EMPTY_PATH);
        return errno;
    });
    addRow("looking into the starter", true, true,
        [] { return errorOf(ptrace(PTRACE_SEIZE, getppid(), nullptr, nullptr)); });
    addRow("being looked into", false, true, [] { return errorOf(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr)); });
    addRow("namespaces", false, true, [] { return errorOf(unshare(CLONE_FS)); });
    addRow("outliving the starter", false, true, [] { return errorOf(prctl(PR_SET_PDEATHSIG, 0)); });
    addRow("raising limits", false, true, [] {
        const rlimit more{10, 10};
        return errorOf(setrlimit(RLIMIT_NOFILE, &more));
    });
    addRow("setting the starter's limits", false, true, [] {
        rlimit limits = {};
        return errorOf(prlimit(getppid(), RLIMIT_NOFILE, nullptr, &limits));
    });
    addRow("setting the starter back", false, true,
        [] { return errorOf(setpriority(PRIO_PROCESS, getppid(), getpriority(PRIO_PROCESS, getppid()))); });
}

void ConfinementTest::refused_data()
{
    QTest::addColumn<Layers>("layers");
    QTest::addColumn<Attempt>("attempt");
    QTest::addColumn<bool>("isRefused");
    addFileRows();
    addChangeRows();
    addNetworkRows();
    addProcessRows();
}

void ConfinementTest::refused()
{
    QFETCH(Layers, layers);
    QFETCH(Attempt, attempt);
    QFETCH(bool, isRefused);
    const Outcome outcome = inside(offerOf(layers), attempt);
    QCOMPARE(outcome.signal, 0);
    if (!isRefused) {
        QCOMPARE(outcome.error, 0);
    } else {
        const bool isExpected = outcome.error == EPERM || outcome.error == EACCES || outcome.error == ENOSYS;
        QVERIFY2(isExpected, qPrintable(QString::number(outcome.error)));
    }
}

void ConfinementTest::stillPossible_data()
{
    QTest::addColumn<Layers>("layers");
    QTest::addColumn<Attempt>("attempt");
    const std::pair<const char*, Attempt> attempts[] = {
        {"reading the file that is open",
            [this] {
                char byte = 0;
                return errorOf(pread(mReading, &byte, 1, 0));
            }},
        {"reading a library", [] { return openError("/usr/bin/env", O_RDONLY); }},
        {"listing libraries", [] { return openError("/usr/lib", O_RDONLY | O_DIRECTORY); }},
        {"reading what fonts there are", [] { return openError("/etc/fonts/fonts.conf", O_RDONLY); }},
        {"memory with a name",
            [] {
                const int memory = memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING);
                if (memory < 0 || ftruncate(memory, 100'000'000) != 0 || pwrite(memory, "x", 1, 99'999'999) != 1) {
                    return errno;
                }
                const QByteArray name = "/proc/self/fd/" + QByteArray::number(memory);
                return openError(name, O_RDONLY);
            }},
        {"a thread",
            [] {
                int answer = 1;
                std::thread([&] { answer = 0; }).join();
                return answer;
            }},
        {"a signal to itself", [] { return errorOf(raise(SIGCONT)); }},
        {"asking for limits",
            [] {
                rlimit limits = {};
                return errorOf(getrlimit(RLIMIT_STACK, &limits));
            }},
    };
    for (const auto& [name, attempt] : attempts) {
        for (const Layers layers : allLayers) {
            QTest::addRow("%s, %d", name, int(layers)) << layers << attempt;
        }
    }
}

void ConfinementTest::stillPossible()
{
    QFETCH(Layers, layers);
    QFETCH(Attempt, attempt);
    const Outcome outcome = inside(offerOf(layers), attempt);
    QCOMPARE(outcome.signal, 0);
    QCOMPARE(outcome.error, 0);
}

void ConfinementTest::olderKernelsConfineTheirFiles_data()
{
    QTest::addColumn<int>("version");
    for (int version = 1; version <= kernelOffer().fileAccessVersion; ++version) {
        QTest::addRow("version %d", version) << version;
    }
}

void ConfinementTest::olderKernelsConfineTheirFiles()
{
    QFETCH(int, version);
    const ConfinementOffer offer{version, false};
    QCOMPARE(inside(offer, [this] { return openError(mPicture, O_RDONLY); }).error, EACCES);
    QCOMPARE(inside(offer, [this] { return openError(mPicture, O_WRONLY); }).error, EACCES);
    QCOMPARE(inside(offer, [] { return openError("/usr/lib", O_RDONLY | O_DIRECTORY); }).error, 0);
}

void ConfinementTest::laterThreadsAreConfined()
{
    const Outcome outcome = inside(kernelOffer(), [this] {
        int read = 0;
        int made = 0;
        std::thread([&] {
            read = openError(mPicture, O_RDONLY);
            made = errorOf(socket(AF_UNIX, SOCK_STREAM, 0));
        }).join();
        const bool isRefused
            = (read != 0 || kernelOffer().fileAccessVersion == 0) && (made != 0 || !kernelOffer().systemCalls);
        return isRefused ? 0 : 1;
    });
    QCOMPARE(outcome.error, 0);
    QCOMPARE(outcome.signal, 0);
}

void ConfinementTest::memoryHasALimit()
{
    const auto allocate = [] {
        constexpr size_t length = size_t(1) << 30;
        void* const start = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        return start == MAP_FAILED ? errno : 0;
    };
    bool isLimited = false;
    const Outcome outcome = inside(kernelOffer(), allocate, qint64(1) << 30);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    isLimited = true;
#endif
    QCOMPARE(outcome.error, isLimited ? ENOMEM : 0);
    // Who cannot do without is ended, alone.
    const Outcome aborted = inside(
        kernelOffer(),
        [&] {
            if (allocate() != 0) {
                abort();
            }
            return 0;
        },
        qint64(1) << 30);
    QCOMPARE(aborted.signal, isLimited ? SIGABRT : 0);
}

void ConfinementTest::withoutALimitMemoryIsFree()
{
    const auto ask = [] {
        rlimit limits = {};
        return getrlimit(RLIMIT_AS, &limits) == 0 && limits.rlim_cur == RLIM_INFINITY ? 0 : 1;
    };
    QCOMPARE(inside(kernelOffer(), ask, 0).error, 0);
}

// The program may be looking at it.
void ConfinementTest::pagesOfSharedMemoryStay()
{
    constexpr int size = 8192;
    const int memory = memfd_create("shared", MFD_CLOEXEC);
    QVERIFY(memory >= 0 && ftruncate(memory, size) == 0);
    void* const start = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0);
    QVERIFY(start != MAP_FAILED);
    const std::pair<const char*, Attempt> attempts[] = {
        {"fallocate", [&] { return errorOf(fallocate(memory, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, size)); }},
        {"madvise", [&] { return errorOf(madvise(start, size, MADV_REMOVE)); }},
    };
    for (const auto& [name, attempt] : attempts) {
        QVERIFY2(inside({}, attempt).error == 0, name);
        QVERIFY2(inside(kernelOffer(), attempt).error == (kernelOffer().systemCalls ? EPERM : 0), name);
    }
    munmap(start, size);
    close(memory);
}

void ConfinementTest::starterAndOthersAreSafe()
{
    signal(SIGUSR1, [](int) { signalled = signalled + 1; });
    const std::pair<const char*, Attempt> attempts[] = {
        {"kill", [] { return errorOf(kill(getppid(), SIGUSR1)); }},
        {"kill everybody in the group", [] { return errorOf(kill(0, SIGUSR1)); }},
        {"tgkill", [] { return errorOf(syscall(SYS_tgkill, getppid(), getppid(), SIGUSR1)); }},
        {"tkill", [] { return errorOf(syscall(SYS_tkill, getppid(), SIGUSR1)); }},
        {"by descriptor",
            [] {
                const int parent = int(syscall(SYS_pidfd_open, getppid(), 0));
                return parent < 0 ? errno : errorOf(syscall(SYS_pidfd_send_signal, parent, SIGUSR1, nullptr, 0));
            }},
    };
    const bool isRefused = kernelOffer().systemCalls;
    for (const auto& [name, attempt] : attempts) {
        QVERIFY2(inside(kernelOffer(), attempt).error == (isRefused ? EPERM : 0), name);
        QVERIFY2(signalled == 0 || !isRefused, name);
    }
    // Without confinement it arrives.
    signalled = 0;
    QCOMPARE(inside({}, attempts[0].second).error, 0);
    QTRY_COMPARE(int(signalled), 1);
    signal(SIGUSR1, SIG_DFL);
}

QTEST_GUILESS_MAIN(ConfinementTest)
#include "ConfinementTest.moc"
