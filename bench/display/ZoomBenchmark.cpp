// bench_zoom
// Enlarges a photograph of 24 megapixels on a full-screen view, step by step and to its actual size, and moves it
// about, on an X server of its own. A frame ends when the server has carried it out. What stands at actual size is
// compared with the photograph, pixel by pixel. Prints lines "name|figure|reference|ratio|limit" and fails when a limit
// is exceeded. The reference of a frame is what 40 frames a second leave for it, 25 ms.

#include "Clock.h"
#include "KLLayerView.h"
#include "OwnDisplay.h"
#include "SettingsKeys.h"
#include "StillClock.h"
#include "UserDefaults.h"
#include "WindowFrames.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QWindow>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

using namespace frameflow;

namespace {

constexpr QSize screenSize(1920, 1080);
constexpr QSize photographSize(6000, 4000);
constexpr double frameAt40Hertz = 1000.0 / 40;
constexpr std::chrono::milliseconds step(16);

// Soft shapes with grain, as photographs have them.
QImage photograph()
{
    QImage image(photographSize, QImage::Format_RGB32);
    quint32 state = 1;
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            state = state * 1664525 + 1013904223;
            const int grain = static_cast<int>(state >> 28);
            line[x] = qRgb((x / 25 + grain) % 256, (y / 17 + grain) % 256, ((x + y) / 40 + grain) % 256);
        }
    }
    return image;
}

double processorMilliseconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

class Bench
{
public:
    Bench()
    {
        mDefaults.setValue(keys::imageFitMode, keys::fitModeFit);
        mView.showFullScreen();
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (mView.size() != screenSize || !mView.windowHandle()->isExposed()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
            if (std::chrono::steady_clock::now() > giveUp) {
                qFatal("the display shows nothing");
            }
        }
        mWindow.emplace(static_cast<quint32>(mView.winId()), screenSize);
        mView.setImage(KLImage::imageWithImage(mPhotograph), true);
        settle();
    }

    bool run()
    {
        zooming("first step", [this] { mView.zoomIn(); });
        zooming("second step", [this] { mView.zoomIn(); });
        zooming("third step", [this] { mView.zoomIn(); });
        panning("half of actual size");
        zooming("to actual size", [this] { mView.zoomOne(); });
        compareActualSize("actual size");
        panning("actual size");
        compareActualSize("actual size after panning");
        zooming("beyond actual size", [this] { mView.zoomIn(); });
        panning("one and a half times actual size");
        stepsIn(4);
        zooming("to eleven times actual size", [this] { mView.zoomIn(); });
        panning("eleven times actual size");
        stepsIn(2);
        zooming("to thirty-eight times actual size", [this] { mView.zoomIn(); });
        panning("thirty-eight times actual size");
        zooming("back to the whole picture", [this] { mView.zoomOff(); });
        return mAllWithinLimits;
    }

private:
    void drawFrame()
    {
        mView.repaint();
        mWindow->awaitServer();
    }

    // Lets animations end, and what they had made sharp arrive.
    void settle()
    {
        mView.compositor().deliverPending();
        mClock.advance(std::chrono::seconds(2));
        mView.compositor().deliverPending();
        do {
            drawFrame();
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        } while (mView.isSharpening());
        drawFrame();
    }

    template <typename Change>
    void frames(const char* name, Change change)
    {
        std::vector<double> times;
        const double processor = processorMilliseconds();
        for (int frame = 0; frame < 60; ++frame) {
            const auto begin = std::chrono::steady_clock::now();
            change(frame);
            drawFrame();
            const auto end = std::chrono::steady_clock::now();
            times.push_back(std::chrono::duration<double, std::milli>(end - begin).count());
            QCoreApplication::processEvents();
        }
        const double processorEach = (processorMilliseconds() - processor) / static_cast<double>(times.size());
        std::sort(times.begin(), times.end());
        report(name, "ms a frame", times[times.size() / 2], 1.0);
        report(name, "of twenty frames the slowest but one, ms", times[times.size() * 19 / 20], 1.0);
        report(name, "ms of processor time a frame", processorEach, 1.0);
    }

    template <typename Command>
    void zooming(const char* name, Command command)
    {
        command();
        mView.compositor().deliverPending();
        frames((std::string("zooming: ") + name).c_str(), [this](int) { mClock.advance(step); });
        settle();
    }

    void stepsIn(int steps)
    {
        for (int i = 0; i < steps; ++i) {
            mView.zoomIn();
            settle();
        }
    }

    void panning(const char* name)
    {
        settle();
        frames((std::string("panning: ") + name).c_str(),
            [this](int frame) { mView.panX(frame < 30 ? 17 : -17, frame < 30 ? -9 : 9); });
        settle();
    }

    void compareActualSize(const char* name)
    {
        const QRect frame = mView.currentLayer()->frame().toAlignedRect();
        const QRect visible(
            QPoint(-frame.left(), frame.bottom() + 1 - screenSize.height()), screenSize); // the layer's y goes upwards
        const QImage expected = mPhotograph.copy(visible);
        const QImage actual = mView.grab().toImage().convertToFormat(expected.format());
        int unlike = 0;
        for (int y = 0; y < expected.height(); ++y) {
            for (int x = 0; x < expected.width(); ++x) {
                unlike += actual.pixel(x, y) == expected.pixel(x, y) ? 0 : 1;
            }
        }
        mAllWithinLimits = mAllWithinLimits && unlike == 0;
        std::printf("%s: pixels unlike the photograph's|%d|1|%d|0\n", name, unlike, unlike);
    }

    void report(const std::string& title, const char* what, double figure, double limit)
    {
        const double ratio = figure / frameAt40Hertz;
        mAllWithinLimits = mAllWithinLimits && ratio <= limit;
        std::printf("%s: %s|%.2f|%.2f|%.2f|%.2f\n", title.c_str(), what, figure, frameAt40Hertz, ratio, limit);
        std::fflush(stdout);
    }

    QTemporaryDir mFolder;
    UserDefaults mDefaults{mFolder.filePath(QStringLiteral("settings.conf"))};
    StillClock mClock;
    QImage mPhotograph = photograph();
    KLLayerView mView{mDefaults, mClock, nullptr, LayerDrawing::Raster};
    std::optional<WindowFrames> mWindow;
    bool mAllWithinLimits = true;
};

} // namespace

int main(int argc, char** argv)
{
    frameflow::e2e::startOnOwnDisplay(argc, argv);
    QApplication application(argc, argv);
    return Bench().run() ? 0 : 1;
}
