#include "Clock.h"
#include "DecoderPool.h"
#include "OneProgram.h"
#include "SlideController.h"
#include "StartArguments.h"
#include "UserDefaults.h"
#include "XServerProbe.h"

#include <QApplication>
#include <QDBusConnection>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QTimer>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include <malloc.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

// Blocked before any thread exists, so that every thread inherits it and only the descriptor sees the signals.
int blockEndingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

// Every movie has threads of its own. Were each of them given a heap of its own, as is usual, what one movie leaves
// free in them would be of no use to the next: after a hundred movies the program would be twice as large.
void keepHeapsFew()
{
    mallopt(M_ARENA_MAX, 2);
}

QList<QByteArray> argumentsFrom(int count, char** values)
{
    QList<QByteArray> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.append(QByteArray(values[i]));
    }
    return arguments;
}

// The bus starts the program under a name of its own: there are no options that could say so, for any word may be the
// name of a file.
bool isStartedByBus(int argc, char** argv)
{
    return argc == 1 && QByteArrayView(argv[0]).endsWith("/frameflow-service");
}

// What is missing, for people; null where the toolkit will find a display. Some other way to one than X is left to it.
const char* missingDisplay()
{
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    const bool isWayland = platform.isEmpty() && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (isWayland || !(platform.isEmpty() || platform.startsWith("xcb"))) {
        return nullptr;
    }
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        return "neither DISPLAY nor WAYLAND_DISPLAY is set";
    }
    return frameflow::canReachXServer() ? nullptr : "the one that DISPLAY names cannot be reached";
}

// While it exists there is no bus for the program. The toolkit connects to it by itself, for screen readers and menus,
// and waits half a minute for one that does not answer; but it tries only once. Programs that are started later are to
// know the real one.
class WithoutBus
{
public:
    WithoutBus()
    {
        qputenv(variable, "disabled:");
        QDBusConnection::sessionBus();
    }
    ~WithoutBus()
    {
        if (mIsSet) {
            qputenv(variable, mAddress);
        } else {
            qunsetenv(variable);
        }
    }
    WithoutBus(const WithoutBus&) = delete;
    WithoutBus& operator=(const WithoutBus&) = delete;

private:
    static constexpr const char* variable = "DBUS_SESSION_BUS_ADDRESS";

    const bool mIsSet = qEnvironmentVariableIsSet(variable);
    const QByteArray mAddress = qgetenv(variable);
};

// Without the display's server the toolkit ends the program from the middle of whatever it does, as if main had
// returned though nothing has been destroyed. What the settings still hold is written then, and nothing else happens:
// threads that are at work would meet what the libraries destroy.
class EndWithoutDisplay
{
public:
    explicit EndWithoutDisplay(frameflow::UserDefaults& defaults)
    {
        mDefaults = &defaults;
        std::atexit(end);
    }
    ~EndWithoutDisplay() { mDefaults = nullptr; }
    EndWithoutDisplay(const EndWithoutDisplay&) = delete;
    EndWithoutDisplay& operator=(const EndWithoutDisplay&) = delete;

private:
    static void end()
    {
        if (mDefaults == nullptr) {
            return;
        }
        if (gettid() == getpid()) { // a library that draws may have missed the server first, in a thread of its own
            mDefaults->writeRest();
        }
        _exit(EXIT_FAILURE);
    }

    static inline frameflow::UserDefaults* mDefaults = nullptr;
};

// What others ask for goes to the controller. A service that nobody asks for anything ends.
void serve(frameflow::OneProgram& program, frameflow::SlideController& controller, bool isService)
{
    using namespace frameflow;
    auto* const unasked = new QTimer(&controller);
    if (isService) {
        unasked->setSingleShot(true);
        QObject::connect(unasked, &QTimer::timeout, &controller, [] { QCoreApplication::exit(); });
        unasked->start(std::chrono::seconds(10));
    }
    OneProgram::Requests requests;
    requests.activate = [&controller, unasked](const LaunchToken& token) {
        unasked->stop();
        controller.applicationActivate(token);
    };
    requests.open = [&controller, unasked](const QList<FileUrl>& files, const LaunchToken& token) {
        unasked->stop();
        controller.applicationOpen(files, token);
    };
    requests.perform = [&controller, unasked](const QByteArray& command, const LaunchToken& token) {
        unasked->stop();
        return controller.applicationPerform(command, token);
    };
    requests.placeIsKnown = [isService](OneProgram::Place place) {
        if (place == OneProgram::Place::Second || (isService && place == OneProgram::Place::Alone)) {
            QCoreApplication::exit();
        }
    };
    program.serve(requests);
}

} // namespace

int main(int argc, char** argv)
{
    using namespace frameflow;
    using namespace std::chrono_literals;
    const QList<FileUrl> files = filesFromArguments(argumentsFrom(argc, argv));
    const bool isService = isStartedByBus(argc, argv);
    keepHeapsFew();
    const int endingSignals = blockEndingSignals();
    QObject mainThread; // the toolkit takes the first thread that has an object for the main one

    // While the toolkit starts, so does the first decoder, and the bus is asked for another program of this kind.
    OneProgram program({isService, files, LaunchToken::fromEnvironment()});
    DecoderPool::instance().warmUp();

    // Qt would abort with advice about its own installation.
    if (const char* const missing = missingDisplay()) {
        if (program.wait(1s) == OneProgram::Place::Second) {
            return 0;
        }
        std::fprintf(stderr, "frameflow: there is no display: %s.\n", missing);
        return 1;
    }

    // The toolkit sees no arguments: a file may be called -style.
    int noArguments = argc > 0 ? 1 : 0;
    QApplication application(noArguments, argv);
    // The bus has had the time that the toolkit took, which is many times what it needs.
    const auto place = program.wait(100ms);
    if (place == OneProgram::Place::Second) {
        return 0;
    }
    std::optional<WithoutBus> withoutBus;
    if (!place) {
        withoutBus.emplace();
    }
    if (isService && place == OneProgram::Place::Alone) {
        std::fputs("frameflow: there is no session bus to serve.\n", stderr);
        return 1;
    }
    QApplication::setApplicationName(QStringLiteral("frameflow"));
    QApplication::setApplicationDisplayName(QStringLiteral("Frameflow"));
    QApplication::setApplicationVersion(QStringLiteral(FRAMEFLOW_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("com.quillory.Frameflow"));
    // The controller decides when the program ends: between two windows there may be none for a moment.
    QApplication::setQuitOnLastWindowClosed(false);

    // A damaged file is passed over quietly, by the libraries too.
    QLoggingCategory::setFilterRules(QStringLiteral("qt.gui.imageio*=false\nqt.svg*=false"));

    QSocketNotifier ending(endingSignals, QSocketNotifier::Read);
    // Not quit(), which an open window can refuse.
    QObject::connect(&ending, &QSocketNotifier::activated, &application, [] { QCoreApplication::exit(); });

    SystemClock clock;
    UserDefaults defaults(UserDefaults::standardFilePath());
    const EndWithoutDisplay endWithoutDisplay(defaults);
    SlideController controller(
        defaults, clock, QApplication::applicationDirPath() + QStringLiteral("/../share/frameflow"));
    withoutBus.reset();
    controller.awakeFromNib();
    serve(program, controller, isService);
    if (!files.isEmpty()) {
        controller.applicationOpenFiles(files);
    } else if (!isService) {
        controller.applicationDidFinishLaunching();
    }
    return QApplication::exec();
}
