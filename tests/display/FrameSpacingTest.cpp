// When frames are drawn while a transition runs, and when it ends, on displays of several rates.
#include "Compositor.h"
#include "Layer.h"
#include "ManualClock.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

class EndTime : public AnimationDelegate
{
public:
    explicit EndTime(const Clock& clock) : mClock(clock) { }
    void animationDidStart(const AnimationPtr& /*animation*/) override { }
    void animationDidStop(const AnimationPtr& /*animation*/, bool finished) override
    {
        QVERIFY(finished);
        at = mClock.now();
    }
    TimePoint at{};

private:
    const Clock& mClock;
};

} // namespace

class FrameSpacingTest : public QObject
{
    Q_OBJECT

    // A clock, and the frames that fall due as it moves on.
    struct Display
    {
        explicit Display(double hertz) { compositor->setRefreshRate(hertz); }
        void add(Duration duration)
        {
            layer->addAnimation(
                makeAnimation({KeyPath::PositionX, 0, 1}, duration, Curve::Linear, &end), QStringLiteral("transition"));
            compositor->deliverPending();
            frames.clear();
        }

        ManualClock clock;
        std::vector<TimePoint> frames;
        std::shared_ptr<Compositor> compositor = Compositor::create(clock, [this] { note(); });
        LayerPtr layer = std::make_shared<Layer>(compositor);
        EndTime end{clock};

    private:
        void note()
        {
            if (frames.empty() || frames.back() != clock.now()) {
                frames.push_back(clock.now());
            }
        }
    };

    static void rows()
    {
        QTest::addColumn<double>("hertz");
        QTest::addColumn<int>("milliseconds");
        for (const double hertz : {30.0, 59.94, 60.0, 144.0}) {
            for (const int milliseconds : {200, 400, 600, 700, 1000, 1400, 2000}) {
                QTest::addRow("%d ms at %.2f Hz", milliseconds, hertz) << hertz << milliseconds;
            }
        }
    }

private Q_SLOTS:
    void framesAreSpacedEvenlyAndTheEndIsExact_data() { rows(); }
    void framesAreSpacedEvenlyAndTheEndIsExact()
    {
        QFETCH(double, hertz);
        QFETCH(int, milliseconds);
        const Duration duration = std::chrono::milliseconds(milliseconds);
        Display display(hertz);
        const TimePoint begin = display.clock.now();
        display.add(duration);
        display.clock.advance(duration + 1s);
        QCOMPARE(display.end.at - begin, duration);
        QCOMPARE(display.frames.back(), display.end.at);
        const double expected = secondsFromDuration(duration) * hertz;
        QCOMPARE(static_cast<int>(display.frames.size()), static_cast<int>(std::ceil(expected - 1e-6)));
        for (size_t frame = 0; frame + 1 < display.frames.size(); ++frame) {
            const double at = secondsFromDuration(display.frames[frame] - begin);
            QVERIFY(std::abs(at - static_cast<double>(frame + 1) / hertz) < 2e-9);
        }
        QCOMPARE(display.clock.pendingAlarms(), size_t(0));
    }

    void lateWakeUpsNeitherShiftFramesNorTheEnd_data() { rows(); }
    void lateWakeUpsNeitherShiftFramesNorTheEnd()
    {
        QFETCH(double, hertz);
        QFETCH(int, milliseconds);
        const Duration duration = std::chrono::milliseconds(milliseconds);
        Display display(hertz);
        const TimePoint begin = display.clock.now();
        display.add(duration);
        // Time passes in steps of its own, as timers of whole milliseconds make it; each wake-up comes a little late.
        constexpr Duration late = 1ms;
        while (display.clock.now() < begin + duration) {
            display.clock.jump(late);
            display.clock.advance(0ns);
        }
        QVERIFY(display.end.at - begin >= duration);
        QVERIFY(display.end.at - begin <= duration + late);
        for (size_t frame = 0; frame + 1 < display.frames.size(); ++frame) {
            const double due = static_cast<double>(frame + 1) / hertz;
            const double behind = secondsFromDuration(display.frames[frame] - begin) - due;
            QVERIFY(behind > -2e-9 && behind < 0.00101);
        }
    }

    void aFrameThatTakesTooLongCostsNoTimeAtTheEnd()
    {
        Display display(60);
        const TimePoint begin = display.clock.now();
        display.add(1s);
        display.clock.advance(300ms);
        display.clock.jump(115ms); // the drawing of one frame
        display.clock.advance(0ns);
        const size_t drawn = display.frames.size();
        display.clock.advance(1s);
        QCOMPARE(display.end.at - begin, Duration(1s));
        // On the same row of frames as before.
        const double next = secondsFromDuration(display.frames[drawn] - begin) * 60;
        QVERIFY(std::abs(next - std::round(next)) < 1e-6);
    }

    void nothingRunsWhenNothingMoves()
    {
        Display display(60);
        display.add(200ms);
        display.clock.advance(200ms);
        const size_t frames = display.frames.size();
        display.clock.advance(10s);
        QCOMPARE(display.frames.size(), frames);
        QCOMPARE(display.clock.pendingAlarms(), size_t(0));
    }
};

QTEST_GUILESS_MAIN(FrameSpacingTest)
#include "FrameSpacingTest.moc"
