// How long a frame of a full-screen show takes, measured through the view's painting. One line a case:
// name|milliseconds|milliseconds of the reference|ratio|highest ratio allowed
// The reference of a frame is the time that a display of 60 frames a second leaves for it.
#include "Clock.h"
#include "KLLayerView.h"
#include "SettingsKeys.h"
#include "StillClock.h"
#include "UserDefaults.h"

#include <QApplication>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace frameflow;

namespace {

constexpr double frameAt60Hertz = 1000.0 / 60;
bool allWithinLimits = true;

QImage photograph(QSize size, int seed)
{
    QImage image(size, QImage::Format_RGB32);
    quint32 state = seed;
    for (int y = 0; y < size.height(); ++y) {
        auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            state = state * 1664525 + 1013904223;
            line[x] = 0xff000000 | (state >> 8);
        }
    }
    return image;
}

template <typename Work>
double milliseconds(Work work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

void report(const char* name, double figure, double reference, double limit)
{
    const double ratio = figure / reference;
    allWithinLimits = allWithinLimits && ratio <= limit;
    std::printf("%s|%.2f|%.2f|%.2f|%.2f\n", name, figure, reference, ratio, limit);
}

struct Show
{
    explicit Show(const QString& fitMode)
    {
        defaults.setValue(keys::imageFitMode, fitMode);
        defaults.setValue(keys::transition, QStringLiteral("Cross Fade"));
        view.resize(1920, 1080);
    }

    void present(const QImage& image)
    {
        view.setImage(KLImage::imageWithImage(image), true);
        view.compositor().deliverPending();
    }

    // The median time of a frame in the second that follows.
    double frameTime()
    {
        std::vector<double> times;
        for (int frame = 0; frame < 59; ++frame) {
            clock.advance(std::chrono::milliseconds(16));
            times.push_back(milliseconds([&] { view.render(&screen); }));
        }
        return median(times);
    }

    QTemporaryDir folder;
    UserDefaults defaults{folder.filePath(QStringLiteral("settings.conf"))};
    StillClock clock;
    KLLayerView view{defaults, clock};
    QImage screen{1920, 1080, QImage::Format_RGB32};
};

void crossFade(const char* name, const QString& fitMode, QSize pictures, double limit)
{
    Show show(fitMode);
    show.present(photograph(pictures, 1));
    show.present(photograph(pictures, 2));
    report(name, show.frameTime(), frameAt60Hertz, limit);
}

void animated(const char* name, KeyPath path, float from, float to, double limit)
{
    Show show(keys::fitModeFit);
    show.present(photograph({1920, 1080}, 1));
    show.view.currentLayer()->addAnimation(
        makeAnimation({path, from, to}, std::chrono::seconds(1), Curve::Linear, nullptr), QStringLiteral("key"));
    report(name, show.frameTime(), frameAt60Hertz, limit);
}

void mixed()
{
    Show show(keys::fitModeFit);
    show.present(photograph({1920, 1080}, 1));
    show.view.currentLayer()->addAnimation(
        makeAnimation(TransitionEffect(), std::chrono::seconds(1), nullptr), QStringLiteral("key"));
    show.view.currentLayer()->setContents(photograph({1920, 1080}, 2));
    report("mixture of two pictures", show.frameTime(), frameAt60Hertz, 1.0);
}

void newSlide()
{
    Show show(keys::fitModeFit);
    std::vector<double> times;
    for (int i = 0; i < 5; ++i) {
        show.view.clearImage();
        const QImage image = photograph({6000, 4000}, i);
        times.push_back(milliseconds([&] { show.present(image); }));
    }
    report("24 megapixels to the screen's size", median(times), 100, 1.0);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    crossFade("cross fade, pictures of the screen's size", keys::fitModeFit, {1920, 1080}, 0.6);
    crossFade("cross fade, large pictures", keys::fitModeFill, {4000, 3000}, 0.6);
    crossFade("cross fade, enlarged pictures", keys::fitModeZoom, {960, 540}, 1.5);
    animated("move", KeyPath::PositionX, 960, 2880, 0.6);
    animated("turn", KeyPath::TransformRotationZ, 0, 3.1415F, 2.5);
    animated("squeeze", KeyPath::TransformRotationX, 0, 1.57075F, 1.5);
    animated("shrink", KeyPath::BoundsSizeWidth, 1920, 0, 1.5);
    mixed();
    newSlide();
    return allWithinLimits ? 0 : 1;
}
