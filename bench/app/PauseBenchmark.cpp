// bench_pauses: how long the event loop of a show is held up at most, over samples of every type of picture and 200
// damaged files. Prints one line "name|figure|reference|ratio|limit", in milliseconds, and fails above the limit.

#include "Clock.h"
#include "DamagedFiles.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "UserDefaults.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <cstdio>

using namespace frameflow;

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const TestFolder folder;
    const TestFolder settings;
    const DamagedFiles files = addDamagedFiles(folder, 200);
    UserDefaults defaults(QString::fromUtf8(settings.pathOf("frameflow.conf")));
    defaults.setValue(keys::hintsShown, true);
    defaults.setValue(keys::autoStart, false);
    defaults.setValue(keys::sort, keys::sortByName);
    defaults.setValue(keys::transition, QStringLiteral("None"));
    SystemClock clock;
    SlideController controller(defaults, clock, QString::fromUtf8(settings.path()));
    controller.awakeFromNib();
    controller.applicationOpenFiles({folder.url()});

    QElapsedTimer sinceTurn;
    qint64 longest = 0; // nanoseconds
    int steps = 0;
    bool stepping = false;
    QTimer turn;
    QObject::connect(&turn, &QTimer::timeout, [&] {
        const bool rests = controller.slideView() != nullptr && controller.slideView()->currentImage()
            && !controller.isWaitingForSlide() && !controller.fileSequence().isCollecting();
        // From the first slide on: before that there is no window that could be held up.
        if (stepping) {
            longest = std::max(longest, sinceTurn.nsecsElapsed());
        }
        if (rests) {
            stepping = true;
            if (++steps > files.good.size() + files.damaged.size()) {
                QCoreApplication::quit();
            }
            controller.nextSlide();
        }
        sinceTurn.restart();
    });
    turn.start(1);
    QTimer::singleShot(std::chrono::minutes(5), &application, [] { QCoreApplication::exit(2); });
    const int ended = QApplication::exec();
    constexpr double limit = 100;
    const double milliseconds = static_cast<double>(longest) / 1e6;
    std::printf("longest pause of the event loop over 200 damaged files, ms|%.1f|0.0|%.2f|%g\n", milliseconds,
        milliseconds, limit);
    return ended == 0 && milliseconds <= limit ? 0 : 1;
}
