// bench_large [PROGRAM] [PAIRS]
// The whole program with a folder of 1,000,000 pictures against one with 10, from outside, on an X server of its own:
// the first picture, steps, and what a file takes in memory. Without FRAMEFLOW_BENCH_LARGE 100,000 files. Prints lines
// "name|figure|reference|ratio|limit" and fails when a limit is exceeded.

#include "BenchFolders.h"
#include "BenchReport.h"
#include "Keyboard.h"
#include "MemoryPeak.h"
#include "OwnDisplay.h"
#include "Program.h"
#include "SettingsKeys.h"
#include "XServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <thread>

using namespace frameflow;
using namespace frameflow::bench;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

constexpr int few = 10;
constexpr int steps = 15;
constexpr double stepBudget = 20; // milliseconds, as for every rested step
constexpr double bytesOfAFile = 250;
constexpr QSize pictureSize(1600, 1200);

double millisecondsOf(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

class Bench
{
public:
    Bench(QString program, int pairs, int many)
        : mProgram(std::move(program)), mPairs(pairs), mMany(many), mServer(XServer::open())
    {
        const QDir folder(mFolder.path());
        if (!mServer || !folder.mkdir(QStringLiteral("few")) || !folder.mkdir(QStringLiteral("many"))) {
            qFatal("no X server, or no room for the pictures");
        }
        fillFolder(mFolder.filePath(QStringLiteral("few")).toUtf8(), few, pictureSize);
        fillFolder(mFolder.filePath(QStringLiteral("many")).toUtf8(), mMany, pictureSize);
    }

    bool run()
    {
        start();
        use();
        return mReport.isWithinLimits();
    }

private:
    QByteArray named(const char* text) const { return QByteArray(text) + ", " + QByteArray::number(mMany) + " files"; }

    void start()
    {
        std::vector<double> many;
        std::vector<double> fewer;
        firstPicture("many"); // what is read from disk for the first time does not count
        for (int pair = 0; pair < mPairs; ++pair) {
            many.push_back(firstPicture("many"));
            fewer.push_back(firstPicture("few"));
        }
        mReport.add(named("start to first picture against 10 files, ms").constData(), median(many), median(fewer), 1.2);
    }

    void use()
    {
        const Used fewFiles = used("few");
        const Used manyFiles = used("many");
        mReport.add(
            named("step against 10 files, median, ms").constData(), median(manyFiles.steps), median(fewFiles.steps));
        mReport.add(named("step, 95th percentile, ms").constData(), percentile95(manyFiles.steps), stepBudget, 1);
        mReport.add(named("memory of a file, bytes").constData(),
            static_cast<double>(manyFiles.bytes - fewFiles.bytes) / mMany, bytesOfAFile, 1);
    }

    // In milliseconds from the start of the process.
    double firstPicture(const char* folder)
    {
        if (!waitFor([this] { return mServer->windows().isEmpty(); })) {
            qFatal("a window is left on the screen");
        }
        prepareSettings();
        Program program(mProgram);
        QElapsedTimer timer;
        timer.start();
        return program.start({mFolder.filePath(QLatin1String(folder))}) && awaitAny(program) ? millisecondsOf(timer)
                                                                                             : never;
    }

    struct Used
    {
        std::vector<double> steps;
        qint64 bytes = 0; // of the program and its decoders, once it rests
    };
    Used used(const char* folder)
    {
        prepareSettings();
        Program program(mProgram);
        Used result;
        if (!program.start({mFolder.filePath(QLatin1String(folder))}) || !await(program, firstColour)) {
            return {{never}, qint64(never)};
        }
        awaitRest(program);
        // There and back, so that each picture differs from the one before.
        for (int i = 0; i < steps; ++i) {
            std::this_thread::sleep_for(500ms);
            result.steps.push_back(step(program, key::rightArrow, otherColour));
            std::this_thread::sleep_for(500ms);
            result.steps.push_back(step(program, key::leftArrow, firstColour));
        }
        result.bytes = proportionalBytesOf(program.processId());
        return result;
    }

    double step(Program& program, xcb_keycode_t key, QRgb colour)
    {
        QElapsedTimer timer;
        timer.start();
        mKeyboard.press(key);
        return await(program, colour) ? millisecondsOf(timer) : never;
    }

    // Collected and sorted: nothing is done any more but looking at the folder now and then.
    static void awaitRest(const Program& program)
    {
        waitFor(
            [&] {
                const auto before = program.contextSwitches();
                std::this_thread::sleep_for(1s);
                return program.contextSwitches() - before < 20;
            },
            2min);
    }

    bool awaitAny(Program& program)
    {
        return awaitPixel(
            program, [](QRgb pixel) { return isColour(pixel, firstColour) || isColour(pixel, otherColour); });
    }
    bool await(Program& program, QRgb colour)
    {
        return awaitPixel(program, [colour](QRgb pixel) { return isColour(pixel, colour); });
    }
    template <typename Condition>
    bool awaitPixel(Program& program, Condition condition)
    {
        const QPoint centre = mServer->bounds().center();
        QElapsedTimer timer;
        timer.start();
        constexpr int patience = 60000;
        while (timer.elapsed() < patience && program.isRunning()) {
            if (condition(mServer->pixel(centre))) {
                return true;
            }
            program.waitForExit(1ms);
        }
        std::fprintf(stderr, "no picture: %s\n", program.output().constData());
        return false;
    }

    static void prepareSettings()
    {
        writeSettings({{keys::hintsShown, true}, {keys::autoStart, false}, {keys::transition, QStringLiteral("None")},
            {keys::sort, keys::sortByName}, {keys::autoCheckNewVersion, false}});
    }

    QString mProgram;
    int mPairs;
    int mMany;
    std::unique_ptr<XServer> mServer;
    Keyboard mKeyboard;
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
    const int pairs = arguments.value(2, QStringLiteral("5")).toInt();
    const int many = qEnvironmentVariableIsSet("FRAMEFLOW_BENCH_LARGE") ? 1000000 : 100000;
    return Bench(arguments.value(1, beside), std::max(pairs, 1), many).run() ? 0 : 1;
}
