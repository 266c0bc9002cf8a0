// bench_welcome
// Measures, on an X server of its own, how long the welcome window takes from its command until it stands on the
// screen, with ten recent folders. The first time makes it; the other times are the figure. Prints lines
// "name|figure|reference|ratio|limit".

#include "BenchReport.h"
#include "Bookmark.h"
#include "OwnDisplay.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "XServer.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

using namespace frameflow;
using namespace frameflow::bench;

namespace {

constexpr int rounds = 15;
constexpr int patience = 10000; // milliseconds

// Until that place of the screen looks as wanted; milliseconds since the timer was started.
double untilScreen(const e2e::XServer& server, const QElapsedTimer& timer, const std::function<bool(QRgb)>& wanted)
{
    const QPoint place = server.bounds().center();
    while (timer.elapsed() < patience) {
        QCoreApplication::processEvents();
        if (wanted(server.pixel(place))) {
            return static_cast<double>(timer.nsecsElapsed()) / 1e6;
        }
    }
    return never;
}

} // namespace

int main(int argc, char** argv)
{
    e2e::startOnOwnDisplay(argc, argv);
    const QApplication application(argc, argv);
    const auto server = e2e::XServer::open();
    const QTemporaryDir folder;
    UserDefaults defaults(folder.filePath(QStringLiteral("frameflow.conf")));
    QVariantList recents;
    for (int i = 0; i < 10; ++i) {
        const QString name = folder.filePath(QString::number(i));
        if (!QDir().mkpath(name)) {
            qFatal("no room for the folders");
        }
        recents.append(bookmarkForFolder(FileUrl::fromPath(name)));
    }
    defaults.setValue(keys::recentFolderBookmarks, recents);
    SystemClock clock;
    SlideController controller(defaults, clock, folder.path());
    controller.awakeFromNib();

    const QRgb empty = server->pixel(server->bounds().center());
    double first = never;
    std::vector<double> again;
    for (int round = 0; round <= rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        controller.ShowWelcomeScreen();
        QWidget* const window = controller.welcomeController()->window();
        if (round == 0) {
            window->move(server->bounds().center() - QPoint(window->width(), window->height()) / 2);
        }
        const double shown = untilScreen(*server, timer, [&](QRgb pixel) { return pixel != empty; });
        (round == 0 ? first : again.emplace_back()) = shown;
        window->hide();
        timer.restart();
        untilScreen(*server, timer, [&](QRgb pixel) { return pixel == empty; });
    }
    BenchReport report;
    report.add("the welcome window is on screen, the first time (ms)", first, 0);
    report.add("the welcome window is on screen, later (ms)", percentile95(again), 0, 150);
    return report.isWithinLimits() ? 0 : 1;
}
