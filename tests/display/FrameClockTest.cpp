#include "FrameClock.h"

#include "ManualClock.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

class FrameClockTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void framesStandOnMultiplesOfTheInterval_data()
    {
        QTest::addColumn<double>("hertz");
        QTest::newRow("59.94") << 59.94;
        QTest::newRow("60") << 60.0;
        QTest::newRow("75") << 75.0;
        QTest::newRow("144") << 144.0;
        QTest::newRow("165") << 165.0;
    }
    void framesStandOnMultiplesOfTheInterval()
    {
        QFETCH(double, hertz);
        const TimePoint origin{1h};
        TimePoint now = origin;
        for (int frame = 1; frame <= 1000; ++frame) {
            now = nextFrameTime(origin, now, hertz);
            QVERIFY(std::abs(secondsFromDuration(now - origin) - frame / hertz) < 2e-9);
        }
    }

    void nextFrameIsLaterThanNow()
    {
        const TimePoint origin{1h};
        QCOMPARE(nextFrameTime(origin, origin + 15ms, 100), origin + 20ms);
        QCOMPARE(nextFrameTime(origin, origin + 20ms, 100), origin + 30ms);
        QCOMPARE(nextFrameTime(origin, origin + 20ms - 1ns, 100), origin + 20ms);
        // Time that went back behind the origin.
        QCOMPARE(nextFrameTime(origin, origin - 15ms, 100), origin - 10ms);
    }

    void ticksAtTheDisplaysRate()
    {
        ManualClock clock;
        int ticks = 0;
        std::unique_ptr<FrameClock> frames;
        frames = std::make_unique<FrameClock>(clock, [&] {
            ++ticks;
            frames->schedule(TimePoint::max());
        });
        frames->setRefreshRate(144);
        frames->schedule(TimePoint::max());
        clock.advance(1s);
        QCOMPARE(ticks, 144);
    }

    void dropsMissedFrames()
    {
        ManualClock clock;
        const TimePoint origin = clock.now();
        std::vector<Duration> ticks;
        std::unique_ptr<FrameClock> frames;
        frames = std::make_unique<FrameClock>(clock, [&] {
            ticks.push_back(clock.now() - origin);
            if (ticks.size() == 1) {
                clock.jump(95ms); // a frame that took long
            }
            frames->schedule(TimePoint::max());
        });
        frames->setRefreshRate(100);
        frames->schedule(TimePoint::max());
        clock.advance(30ms);
        clock.advance(10ms);
        QVERIFY(ticks.size() >= 2);
        QCOMPARE(ticks[0], Duration(10ms));
        QCOMPARE(ticks[1], Duration(110ms));
    }

    void comesSoonerWhereAsked()
    {
        ManualClock clock;
        int ticks = 0;
        FrameClock frames(clock, [&] { ++ticks; });
        frames.setRefreshRate(10);
        frames.schedule(clock.now() + 30ms);
        clock.advance(29ms);
        QCOMPARE(ticks, 0);
        clock.advance(1ms);
        QCOMPARE(ticks, 1);
        QCOMPARE(clock.pendingAlarms(), size_t(0));
    }

    void stopsAndBeginsANewRow()
    {
        ManualClock clock;
        int ticks = 0;
        FrameClock frames(clock, [&] { ++ticks; });
        frames.setRefreshRate(10);
        frames.schedule(TimePoint::max());
        QVERIFY(frames.isScheduled());
        frames.stop();
        QVERIFY(!frames.isScheduled());
        QCOMPARE(clock.pendingAlarms(), size_t(0));
        clock.advance(150ms);
        QCOMPARE(ticks, 0);
        frames.schedule(TimePoint::max());
        clock.advance(99ms);
        QCOMPARE(ticks, 0);
        clock.advance(1ms);
        QCOMPARE(ticks, 1);
    }

    void senselessRatesCountAsSixty_data()
    {
        QTest::addColumn<double>("hertz");
        QTest::newRow("zero") << 0.0;
        QTest::newRow("negative") << -60.0;
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN();
        QTest::newRow("huge") << 1e9;
    }
    void senselessRatesCountAsSixty()
    {
        QFETCH(double, hertz);
        ManualClock clock;
        int ticks = 0;
        std::unique_ptr<FrameClock> frames;
        frames = std::make_unique<FrameClock>(clock, [&] {
            ++ticks;
            frames->schedule(TimePoint::max());
        });
        frames->setRefreshRate(hertz);
        frames->schedule(TimePoint::max());
        clock.advance(1s);
        QCOMPARE(ticks, 60);
    }

    void tickMayDestroyTheFrameClock()
    {
        ManualClock clock;
        std::unique_ptr<FrameClock> frames;
        frames = std::make_unique<FrameClock>(clock, [&] { frames.reset(); });
        frames->schedule(TimePoint::max());
        clock.advance(1s);
        QVERIFY(!frames);
        QCOMPARE(clock.pendingAlarms(), size_t(0));
    }
};

QTEST_GUILESS_MAIN(FrameClockTest)
#include "FrameClockTest.moc"
