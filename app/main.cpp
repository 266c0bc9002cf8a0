#include "Clock.h"
#include "DecoderPool.h"
#include "SlideController.h"
#include "StartArguments.h"
#include "UserDefaults.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QSocketNotifier>

#include <algorithm>
#include <csignal>
#include <cstdio>

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

} // namespace

int main(int argc, char** argv)
{
    using namespace frameflow;
    const QList<FileUrl> files = filesFromArguments(argumentsFrom(argc, argv));
    keepHeapsFew();
    const int endingSignals = blockEndingSignals();

    // While the toolkit starts, so does the first decoder.
    DecoderPool::instance().warmUp();

    // Qt would abort with advice about its own installation.
    const char* const displays[] = {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"};
    if (std::none_of(std::begin(displays), std::end(displays),
            [](const char* name) { return qEnvironmentVariableIsSet(name); })) {
        std::fputs("frameflow: there is no display: neither DISPLAY nor WAYLAND_DISPLAY is set.\n", stderr);
        return 1;
    }

    // The toolkit sees no arguments: a file may be called -style.
    int noArguments = argc > 0 ? 1 : 0;
    QApplication application(noArguments, argv);
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
    SlideController controller(
        defaults, clock, QApplication::applicationDirPath() + QStringLiteral("/../share/frameflow"));
    controller.awakeFromNib();
    if (files.isEmpty()) {
        controller.applicationDidFinishLaunching();
    } else {
        controller.applicationOpenFiles(files);
    }
    return QApplication::exec();
}
