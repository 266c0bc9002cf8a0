// bench_app [PROGRAM] [PAIRS]
// Measures the whole program from outside, on an X server of its own: PROGRAM (the frameflow beside this one) against
// feh, or against itself, in PAIRS (9) alternating runs. Prints lines "name|figure|reference|ratio|limit", medians, and
// fails when a limit is exceeded or a picture never appears.

#include "BenchFolders.h"
#include "BenchReport.h"
#include "OwnDisplay.h"
#include "Program.h"
#include "SettingsKeys.h"
#include "XServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace frameflow;
using namespace frameflow::bench;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

constexpr int patience = 30000; // milliseconds

struct Command
{
    QString program;
    QStringList arguments;
};

// Milliseconds from the start of the process.
struct FirstPictures
{
    double any = never;
    double firstByName = never;
};

class Bench
{
public:
    Bench(QString program, int pairs) : mProgram(std::move(program)), mPairs(pairs), mServer(XServer::open())
    {
        if (!mServer || !QDir(folder(1000)).mkpath(QStringLiteral(".")) || !QDir(folder(10)).mkpath(QStringLiteral("."))
            || !QDir(folder(100000)).mkpath(QStringLiteral("."))) {
            qFatal("no X server, or no room for the pictures");
        }
    }

    bool run()
    {
        startAgainstFeh();
        startWithManyFiles();
        stoppedShow();
        return mReport.isWithinLimits();
    }

private:
    QString folder(int files) const { return mFolder.filePath(QString::number(files)); }
    Command ours(int files) const { return {mProgram, {folder(files)}}; }

    // What a person sees first: feh shows the file it is told to, the program the first one of its order.
    void startAgainstFeh()
    {
        fillFolder(folder(1000).toUtf8(), 1000, QSize(4000, 3000));
        const Command feh{QStringLiteral("feh"),
            {QStringLiteral("-F"), QStringLiteral("--start-at"), folder(1000) + QStringLiteral("/000000.jpg"),
                folder(1000)}};
        std::vector<double> any;
        std::vector<double> firstByName;
        std::vector<double> reference;
        measure(ours(1000)); // what is read from disk for the first time counts for neither
        measure(feh);
        for (int pair = 0; pair < mPairs; ++pair) {
            const auto times = measure(ours(1000));
            any.push_back(times.any);
            firstByName.push_back(times.firstByName);
            reference.push_back(measure(feh).firstByName);
        }
        mReport.add("start to first picture, 12 megapixels of 1000 files, ms", median(any), median(reference), 1.5);
        mReport.add(
            "start to first picture by name, 12 megapixels of 1000 files, ms", median(firstByName), median(reference));
    }

    void startWithManyFiles()
    {
        fillFolder(folder(10).toUtf8(), 10, QSize(1600, 1200));
        fillFolder(folder(100000).toUtf8(), 100000, QSize(1600, 1200));
        std::vector<double> many;
        std::vector<double> few;
        measure(ours(100000));
        for (int pair = 0; pair < mPairs; ++pair) {
            many.push_back(measure(ours(100000)).any);
            few.push_back(measure(ours(10)).any);
        }
        mReport.add("start to first picture, 100000 files against 10, ms", median(many), median(few), 1.2);
    }

    // Nothing runs while nothing moves, but for the look at a watched folder every five seconds.
    void stoppedShow()
    {
        const QStringList names = QDir(folder(10)).entryList(QDir::Files);
        const QString first = folder(10) + QLatin1Char('/') + names.value(0);
        const QString second = folder(10) + QLatin1Char('/') + names.value(1);
        reportSwitches("context switches of a stopped show of files in 10 s", {first, second}, 0);
        reportSwitches("context switches of a stopped show of a watched folder in 10 s", {folder(10)}, 100);
    }

    void reportSwitches(const char* what, const QStringList& arguments, double limit)
    {
        Program program(mProgram);
        prepareSettings();
        if (!program.start(arguments) || !awaitPicture(program, nullptr)) {
            mReport.add(what, never, 0, limit);
            return;
        }
        std::this_thread::sleep_for(5s); // for decoding ahead and all that start-up leaves to later
        const auto before = program.contextSwitches();
        std::this_thread::sleep_for(10s);
        const auto after = program.contextSwitches();
        const bool wasAlive = before > 0 && after > 0 && !program.waitForExit(1ms);
        mReport.add(what, wasAlive ? static_cast<double>(after - before) : never, 0, limit);
    }

    static void prepareSettings()
    {
        writeSettings({{keys::hintsShown, true}, {keys::autoStart, false}, {keys::transition, QStringLiteral("None")},
            {keys::sort, keys::sortByName}, {keys::autoCheckNewVersion, false}});
    }

    FirstPictures measure(const Command& command)
    {
        if (!awaitEmptyScreen()) {
            qFatal("a window is left on the screen");
        }
        prepareSettings();
        FirstPictures times;
        Program program(command.program);
        QElapsedTimer timer;
        timer.start();
        if (program.start(command.arguments)) {
            awaitPicture(program, &times, timer);
        }
        return times;
    }

    bool awaitPicture(Program& program, FirstPictures* times, const QElapsedTimer& timer = startedTimer())
    {
        const QPoint centre = mServer->bounds().center();
        FirstPictures seen;
        while (seen.firstByName == never && timer.elapsed() < patience) {
            const QRgb pixel = mServer->pixel(centre);
            const double now = static_cast<double>(timer.nsecsElapsed()) / 1e6;
            const bool isFirst = isColour(pixel, firstColour);
            if (seen.any == never && (isFirst || isColour(pixel, otherColour))) {
                seen.any = now;
            }
            if (isFirst) {
                seen.firstByName = now;
            }
            program.waitForExit(1ms);
            if (!program.isRunning()) {
                break;
            }
        }
        if (seen.firstByName == never) {
            std::fprintf(stderr, "no picture: %s\n", program.output().constData());
        }
        if (times) {
            *times = seen;
        }
        return seen.firstByName != never;
    }

    static QElapsedTimer startedTimer()
    {
        QElapsedTimer timer;
        timer.start();
        return timer;
    }

    bool awaitEmptyScreen() const
    {
        return waitFor([this] {
            const QRgb pixel = mServer->pixel(mServer->bounds().center());
            return mServer->windows().isEmpty() && !isColour(pixel, firstColour) && !isColour(pixel, otherColour);
        });
    }

    QString mProgram;
    int mPairs;
    std::unique_ptr<XServer> mServer;
    QTemporaryDir mFolder;
    BenchReport mReport;
};

} // namespace

int main(int argc, char** argv)
{
    startOnOwnDisplay(argc, argv);
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/frameflow");
    const int pairs = arguments.value(2, QStringLiteral("9")).toInt();
    return Bench(arguments.value(1, beside), std::max(pairs, 1)).run() ? 0 : 1;
}
