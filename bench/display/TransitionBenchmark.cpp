// bench_transitions
// Shows every transition between two full-screen photographs on an X server of its own, once as fast as frames can be
// drawn and 50 times at the display's pace. A frame counts when the server has carried it out and it looks like a plain
// bilinear drawing of the very moment it was drawn for, with 40 dB or more. Prints lines
// "name|figure|reference|ratio|limit" and fails when a limit is exceeded.

#include "Clock.h"
#include "KLLayerView.h"
#include "OwnDisplay.h"
#include "Presentation.h"
#include "ReferenceDrawing.h"
#include "SettingsKeys.h"
#include "TransitionRows.h"
#include "UserDefaults.h"
#include "WindowFrames.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <optional>
#include <thread>

#include <unistd.h>

using namespace frameflow;

namespace {

constexpr QSize screenSize(1920, 1080);
constexpr double frameAt60Hertz = 1000.0 / 60;
constexpr double leastDecibels = 40;

// The machine's time, which can be held for as long as a frame is drawn.
class HeldClock final : public Clock
{
public:
    TimePoint now() const override { return mHeld ? *mHeld : mClock.now(); }
    std::unique_ptr<Alarm> alarmAt(TimePoint deadline, std::function<void()> callback) override
    {
        return mClock.alarmAt(deadline, std::move(callback));
    }
    void hold() { mHeld = mClock.now(); }
    void release() { mHeld.reset(); }

private:
    SystemClock mClock;
    std::optional<TimePoint> mHeld;
};

struct Frame
{
    DrawList items; // what was to be drawn
    WindowFrames::Picture picture; // what stands in the window after it
    TimePoint arrived;
};

// A view that keeps its frames.
class MeasuredView final : public KLLayerView
{
public:
    MeasuredView(UserDefaults& defaults, HeldClock& clock)
        : KLLayerView(defaults, clock, nullptr, LayerDrawing::Raster), mClock(clock)
    {
    }

    void keepFrames(bool keep) { mKeepsFrames = keep; }
    std::vector<Frame> takeFrames() { return std::exchange(mFrames, {}); }
    void animationDidStart(const AnimationPtr& animation) override
    {
        began = mClock.now();
        KLLayerView::animationDidStart(animation);
    }
    void animationDidStop(const AnimationPtr& animation, bool finished) override
    {
        ended = mClock.now();
        KLLayerView::animationDidStop(animation, finished);
    }

    TimePoint began;
    TimePoint ended;

protected:
    void paintEvent(QPaintEvent* event) override
    {
        mClock.hold();
        KLLayerView::paintEvent(event);
        mItems = presentation(*backgroundLayer(), mClock.now());
        mClock.release();
        mPainted = true;
    }

    bool event(QEvent* event) override
    {
        const bool result = KLLayerView::event(event);
        if (event->type() == QEvent::UpdateRequest && mPainted) {
            mPainted = false;
            frameIsOut();
        }
        return result;
    }

private:
    void frameIsOut()
    {
        if (!mWindow) {
            mWindow.emplace(static_cast<quint32>(winId()), screenSize);
        }
        Frame frame;
        frame.items = std::move(mItems);
        if (mKeepsFrames) {
            frame.picture = mWindow->copy();
        }
        mWindow->awaitServer();
        frame.arrived = mClock.now();
        mFrames.push_back(std::move(frame));
    }

    HeldClock& mClock;
    std::optional<WindowFrames> mWindow;
    std::vector<Frame> mFrames;
    DrawList mItems;
    bool mKeepsFrames = false;
    bool mPainted = false;
};

double milliseconds(Duration duration)
{
    return secondsFromDuration(duration) * 1000;
}

QImage photograph(const char* name)
{
    QImage image(QStringLiteral(FRAMEFLOW_SAMPLES "/%1").arg(QString::fromLatin1(name)));
    if (image.isNull()) {
        qFatal("%s is missing", name);
    }
    image = image.scaled(screenSize, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    return image.copy(QRect(QPoint(), screenSize)).convertToFormat(QImage::Format_RGB32);
}

class Bench
{
public:
    Bench()
    {
        mDefaults.setValue(keys::imageFitMode, keys::fitModeFit);
        mView.showFullScreen();
        awaitUntil([this] { return mView.size() == screenSize && !mView.takeFrames().empty(); });
        mView.setImage(mPictures[0], true);
    }

    bool run()
    {
        for (const TransitionRow& row : transitionRows) {
            if (QLatin1String(row.title) != QLatin1String("Test")) {
                asFastAsPossible(row);
            }
        }
        atTheDisplaysPace();
        return mAllWithinLimits;
    }

private:
    // Runs the event loop until something holds.
    template <typename Condition>
    void awaitUntil(Condition condition)
    {
        const TimePoint giveUp = mClock.now() + std::chrono::seconds(20);
        while (!condition()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 50);
            if (mClock.now() > giveUp) {
                qFatal("the display shows nothing");
            }
        }
    }

    void beginTransition(const char* title)
    {
        mDefaults.setValue(keys::transition, QString::fromLatin1(title));
        mNext = 1 - mNext;
        mView.setImage(mPictures[mNext], true);
        mView.compositor().deliverPending();
    }

    void rest()
    {
        const TimePoint until = mClock.now() + std::chrono::milliseconds(50);
        while (mClock.now() < until) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        mView.takeFrames();
    }

    void asFastAsPossible(const TransitionRow& row)
    {
        rest();
        mView.keepFrames(true);
        beginTransition(row.title);
        while (mView.isBusy()) {
            mView.update();
            QCoreApplication::processEvents();
        }
        mView.keepFrames(false);
        const std::vector<Frame> frames = mView.takeFrames();
        double worst = 99;
        const size_t right = rightOnes(frames, worst);
        double slowest = 0;
        for (size_t i = 1; i < frames.size(); ++i) {
            slowest = std::max(slowest, milliseconds(frames[i].arrived - frames[i - 1].arrived));
        }
        const double aFrame = right > 1 ? row.seconds * 1000 / static_cast<double>(right) : 1e9;
        const QLatin1String title(row.title);
        const bool isHard = title == QLatin1String("Mod") || title == QLatin1String("Flip")
            || title.startsWith(QLatin1String("Rotate"));
        report(row.title, "ms a frame", aFrame, isHard ? 1000.0 / 40 : frameAt60Hertz, 1.0);
        report(row.title, "slowest frame, ms", slowest, 33, 1.0);
        report(row.title, "noise of the worst frame against 40 dB", leastDecibels, worst, 1.0);
    }

    // How many frames look as they should.
    static size_t rightOnes(const std::vector<Frame>& frames, double& worst)
    {
        std::vector<QImage> pictures;
        for (const Frame& frame : frames) {
            pictures.push_back(frame.picture.image());
        }
        std::vector<double> ratios(frames.size());
        std::atomic<size_t> next = 0;
        const auto work = [&] {
            for (size_t i = next++; i < frames.size(); i = next++) {
                const auto draw = [&](const QRect& part) {
                    return referenceDrawing(frames[i].items, {QSizeF(screenSize), 1}, part);
                };
                ratios[i] = decibels(pictures[i], WindowFrames::pictureOf(draw, screenSize));
            }
        };
        {
            const std::jthread second(work);
            work();
        }
        for (const double ratio : ratios) {
            worst = std::min(worst, ratio);
        }
        return std::count_if(ratios.begin(), ratios.end(), [](double ratio) { return ratio >= leastDecibels; });
    }

    void atTheDisplaysPace()
    {
        size_t intervals = 0;
        size_t late = 0;
        double slowest = 0;
        double offTime = 0;
        for (int i = 0; i < 50; ++i) {
            rest();
            const TransitionRow& row = transitionRows[i % transitionRows.size()];
            beginTransition(row.title);
            awaitUntil([this] { return !mView.isBusy(); });
            offTime = std::max(offTime, std::abs(milliseconds(mView.ended - mView.began) - row.seconds * 1000));
            TimePoint last = mView.began;
            for (const Frame& frame : mView.takeFrames()) {
                const double interval = milliseconds(frame.arrived - last);
                last = frame.arrived;
                ++intervals;
                late += interval > 1.5 * frameAt60Hertz ? 1 : 0;
                slowest = std::max(slowest, interval);
            }
        }
        const double share = 100.0 * static_cast<double>(late) / static_cast<double>(std::max<size_t>(intervals, 1));
        report("50 transitions", "frames late by more than half a frame, %", share, 2, 1.0);
        // Without a limit: in a minute, a machine that others use too is away for two frames now and then.
        std::printf("50 transitions: slowest frame, ms|%.2f|33.00|%.2f|\n", slowest, slowest / 33);
        report("50 transitions", "farthest from its duration, ms", offTime, frameAt60Hertz, 1.0);
    }

    void report(const char* title, const char* what, double figure, double reference, double limit)
    {
        const double ratio = figure / reference;
        mAllWithinLimits = mAllWithinLimits && ratio <= limit;
        std::printf("%s: %s|%.2f|%.2f|%.2f|%.2f\n", title, what, figure, reference, ratio, limit);
        std::fflush(stdout);
    }

    QTemporaryDir mFolder;
    UserDefaults mDefaults{mFolder.filePath(QStringLiteral("settings.conf"))};
    HeldClock mClock;
    std::array<KLImagePtr, 2> mPictures{KLImage::imageWithImage(photograph("07 Mountain Lake.jpg")),
        KLImage::imageWithImage(photograph("02 Dunes.jpg"))};
    MeasuredView mView{mDefaults, mClock};
    size_t mNext = 0;
    bool mAllWithinLimits = true;
};

} // namespace

int main(int argc, char** argv)
{
    frameflow::e2e::startOnOwnDisplay(argc, argv);
    QApplication application(argc, argv);
    return Bench().run() ? 0 : 1;
}
