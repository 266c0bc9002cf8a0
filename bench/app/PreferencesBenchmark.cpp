// bench_preferences [PROGRAM] [TIMES]
// Measures how long the preferences take to come: from the event of the key until the window stands, whole, on an X
// server of its own, over a show. The first time, when the window is made, for information; later times against a
// budget. Prints lines "name|figure|reference|ratio|limit" and fails when the limit is exceeded.

#include "BenchReport.h"
#include "Keyboard.h"
#include "OwnDisplay.h"
#include "Program.h"
#include "SettingsKeys.h"
#include "XServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <thread>

using namespace frameflow;
using namespace frameflow::bench;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

constexpr double budget = 150; // ms
constexpr QRgb slide = 0xFF14B43CU;
// Of the usual keyboard of an X server on Linux.
constexpr xcb_keycode_t comma = 59;
constexpr xcb_keycode_t escape = 9;

class Bench
{
public:
    explicit Bench(const QString& program) : mProgram(program), mServer(XServer::open())
    {
        QImage picture(1920, 1080, QImage::Format_RGB32);
        picture.fill(slide);
        if (!mServer || !picture.save(mFolder.filePath(QStringLiteral("slide.png")))) {
            qFatal("no X server, or no room for the picture");
        }
        writeSettings({{keys::hintsShown, true}, {keys::autoStart, false}, {keys::autoCheckNewVersion, false},
            {keys::imageFitMode, keys::fitModeStretch}});
    }

    bool run(int times)
    {
        if (!mProgram.start({mFolder.path()}) || !await([this] { return isSlideAlone(); })) {
            std::fprintf(stderr, "no slide: %s\n", mProgram.output().constData());
            return false;
        }
        std::this_thread::sleep_for(1s);
        mReport.add("preferences on screen, the first time, ms", open(), 0);
        std::vector<double> later;
        for (int i = 0; i < times; ++i) {
            close();
            later.push_back(open());
        }
        mReport.add("preferences on screen, median, ms", median(later), budget, 1);
        mReport.add("preferences on screen, 95th percentile, ms", percentile95(later), budget, 1);
        return mReport.isWithinLimits();
    }

private:
    template <typename Condition>
    static bool await(Condition condition)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 20000) {
            if (condition()) {
                return true;
            }
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

    bool isSlideAlone() const { return mServer->pixel(mServer->bounds().center()) == slide; }

    // Once it is known where it comes: its edges and its middle are no slide, and no longer what a window has that
    // nobody has painted.
    bool isWhole() const
    {
        const QRect place = mPlace.adjusted(3, 3, -3, -3);
        const auto isPainted = [this](const QPoint& point) {
            const QRgb pixel = mServer->pixel(point);
            return pixel != slide && (pixel & 0xFFFFFFU) != 0;
        };
        return isPainted(place.topLeft()) && isPainted(place.bottomRight()) && isPainted(place.center());
    }

    // Milliseconds from the key to the picture.
    double open()
    {
        QElapsedTimer timer;
        timer.start();
        mKeyboard.pressWith(key::control, comma);
        const auto window = mServer->waitForWindow(mProgram.processId(), QStringLiteral("Preferences — Frameflow"));
        if (!window) {
            return never;
        }
        mPlace = mServer->geometry(*window);
        return await([this] { return isWhole(); }) ? static_cast<double>(timer.nsecsElapsed()) / 1e6 : never;
    }

    void close() const
    {
        std::this_thread::sleep_for(300ms);
        mKeyboard.press(escape);
        await([this] { return isSlideAlone(); });
        std::this_thread::sleep_for(300ms);
    }

    Program mProgram;
    std::unique_ptr<XServer> mServer;
    Keyboard mKeyboard;
    QTemporaryDir mFolder;
    QRect mPlace;
    BenchReport mReport;
};

} // namespace

int main(int argc, char** argv)
{
    startOnOwnDisplay(argc, argv);
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/frameflow");
    const int times = arguments.value(2, QStringLiteral("15")).toInt();
    return Bench(arguments.value(1, beside)).run(std::max(times, 1)) ? 0 : 1;
}
