#include "Clock.h"

#include "MainThread.h"
#include "ManualClock.h"

#include <QTest>
#include <QThread>

#include <cmath>
#include <limits>
#include <thread>
#include <vector>

using namespace frameflow;
using namespace std::chrono_literals;

class ClockTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void secondsBecomeDurations_data();
    void secondsBecomeDurations();
    void systemAlarmFiresOnceAndNotEarly();
    void systemAlarmOfThePastFiresFromTheEventLoop();
    void systemAlarmIsCancelledByItsDestruction();
    void systemAlarmMayBeDestroyedByItsCallback();
    void systemAlarmFarAwayIsHarmless();
    void manualAlarmsFireInTheOrderOfTheirDeadlines();
    void manualAlarmSetOnTheWayFiresInTheSameAdvance();
    void manualJumpFiresNothing();
    void timerFiresOnce();
    void timerRestartReplacesDeadlineAndCallback();
    void timerStopped();
    void timerMovedKeepsItsCallback();
    void timerNotRunningIsNotMoved();
    void timerCallbackMayRestartIt();
    void timerCallbackMayDestroyIt();
    void timerDestroyedFiresNothing();
    void postedJobsRunInOrderOnTheMainThread();
    void jobPostedFromAJobRunsLater();
};

void ClockTest::secondsBecomeDurations_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<qint64>("nanoseconds");
    constexpr qint64 century = 100LL * 365 * 86400 * 1000000000;
    QTest::newRow("zero") << 0.0 << qint64(0);
    QTest::newRow("fraction") << 2.5 << qint64(2500000000);
    QTest::newRow("negative") << -1.0 << qint64(-1000000000);
    QTest::newRow("not a number") << std::nan("") << qint64(0);
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << century;
    QTest::newRow("minus infinite") << -std::numeric_limits<double>::infinity() << -century;
    QTest::newRow("huge") << 1e300 << century;
}

void ClockTest::secondsBecomeDurations()
{
    QFETCH(double, seconds);
    QFETCH(qint64, nanoseconds);
    QCOMPARE(qint64(durationFromSeconds(seconds).count()), nanoseconds);
    QCOMPARE(secondsFromDuration(Duration(nanoseconds)), static_cast<double>(nanoseconds) / 1e9);
}

void ClockTest::systemAlarmFiresOnceAndNotEarly()
{
    SystemClock clock;
    const TimePoint deadline = clock.now() + 20ms;
    int fired = 0;
    TimePoint at;
    const auto alarm = clock.alarmAt(deadline, [&] {
        ++fired;
        at = clock.now();
    });
    QCOMPARE(fired, 0);
    QTRY_COMPARE(fired, 1);
    QVERIFY(at >= deadline);
    // A later alarm shows that the first one stays silent.
    bool later = false;
    const auto second = clock.alarmAt(clock.now() + 60ms, [&] { later = true; });
    QTRY_VERIFY(later);
    QCOMPARE(fired, 1);
}

void ClockTest::systemAlarmOfThePastFiresFromTheEventLoop()
{
    SystemClock clock;
    int fired = 0;
    const auto alarm = clock.alarmAt(clock.now() - 1h, [&] { ++fired; });
    QCOMPARE(fired, 0);
    QTRY_COMPARE(fired, 1);
}

void ClockTest::systemAlarmIsCancelledByItsDestruction()
{
    SystemClock clock;
    bool first = false;
    bool second = false;
    auto alarm = clock.alarmAt(clock.now() + 5ms, [&] { first = true; });
    const auto other = clock.alarmAt(clock.now() + 30ms, [&] { second = true; });
    alarm.reset();
    QTRY_VERIFY(second);
    QVERIFY(!first);
}

void ClockTest::systemAlarmMayBeDestroyedByItsCallback()
{
    SystemClock clock;
    bool fired = false;
    std::unique_ptr<Clock::Alarm> alarm;
    const std::vector<int> captured(1000, 7);
    alarm = clock.alarmAt(clock.now(), [&fired, &alarm, captured] {
        alarm.reset();
        fired = captured.back() == 7; // what the callback holds is still there
    });
    QTRY_VERIFY(fired);
    QVERIFY(!alarm);
}

void ClockTest::systemAlarmFarAwayIsHarmless()
{
    SystemClock clock;
    bool far = false;
    bool near = false;
    const auto first = clock.alarmAt(clock.now() + durationFromSeconds(1e300), [&] { far = true; });
    const auto second = clock.alarmAt(clock.now() + 10ms, [&] { near = true; });
    QTRY_VERIFY(near);
    QVERIFY(!far);
}

void ClockTest::manualAlarmsFireInTheOrderOfTheirDeadlines()
{
    ManualClock clock;
    const TimePoint start = clock.now();
    std::vector<std::pair<int, Duration>> fired;
    const auto note = [&](int number) { return [&, number] { fired.emplace_back(number, clock.now() - start); }; };
    const auto c = clock.alarmAt(start + 3s, note(3));
    const auto a = clock.alarmAt(start + 1s, note(1));
    const auto b = clock.alarmAt(start + 2s, note(2));
    const auto sameAsB = clock.alarmAt(start + 2s, note(4));
    const auto past = clock.alarmAt(start - 1s, note(0));
    QVERIFY(fired.empty());
    QCOMPARE(clock.pendingAlarms(), size_t(5));
    clock.advance(2500ms);
    const std::vector<std::pair<int, Duration>> expected{{0, 0s}, {1, 1s}, {2, 2s}, {4, 2s}};
    QVERIFY(fired == expected);
    QVERIFY(clock.now() == start + 2500ms);
    clock.advanceSeconds(0.5);
    QCOMPARE(fired.back().first, 3);
    QCOMPARE(clock.pendingAlarms(), size_t(0));
}

void ClockTest::manualAlarmSetOnTheWayFiresInTheSameAdvance()
{
    ManualClock clock;
    int count = 0;
    std::unique_ptr<Clock::Alarm> alarm;
    const std::function<void()> again = [&] {
        ++count;
        alarm = clock.alarmAt(clock.now() + 1s, again);
    };
    alarm = clock.alarmAt(clock.now() + 1s, again);
    clock.advance(5s);
    QCOMPARE(count, 5);
    QCOMPARE(clock.pendingAlarms(), size_t(1));
}

void ClockTest::manualJumpFiresNothing()
{
    ManualClock clock;
    int count = 0;
    const auto alarm = clock.alarmAt(clock.now() + 1s, [&] { ++count; });
    clock.jump(10s);
    QCOMPARE(count, 0);
    clock.advance(0s);
    QCOMPARE(count, 1);
}

void ClockTest::timerFiresOnce()
{
    ManualClock clock;
    OneShotTimer timer(clock);
    QVERIFY(!timer.isActive());
    int count = 0;
    bool activeInside = true;
    timer.start(clock.now() + 5s, [&] {
        ++count;
        activeInside = timer.isActive();
    });
    QVERIFY(timer.isActive());
    QVERIFY(timer.deadline() == clock.now() + 5s);
    clock.advance(4999ms);
    QCOMPARE(count, 0);
    clock.advance(1ms);
    QCOMPARE(count, 1);
    QVERIFY(!activeInside);
    clock.advance(1h);
    QCOMPARE(count, 1);
}

void ClockTest::timerRestartReplacesDeadlineAndCallback()
{
    ManualClock clock;
    OneShotTimer timer(clock);
    std::vector<int> fired;
    timer.start(clock.now() + 1s, [&] { fired.push_back(1); });
    timer.start(clock.now() + 3s, [&] { fired.push_back(2); });
    clock.advance(2s);
    QVERIFY(fired.empty());
    clock.advance(1s);
    QVERIFY(fired == std::vector<int>{2});
}

void ClockTest::timerStopped()
{
    ManualClock clock;
    OneShotTimer timer(clock);
    const auto held = std::make_shared<int>(0);
    timer.start(clock.now() + 1s, [held] { ++*held; });
    QCOMPARE(held.use_count(), 2L);
    timer.stop();
    QVERIFY(!timer.isActive());
    QCOMPARE(held.use_count(), 1L); // the callback is released
    clock.advance(2s);
    QCOMPARE(*held, 0);
    timer.stop();
}

void ClockTest::timerMovedKeepsItsCallback()
{
    ManualClock clock;
    OneShotTimer timer(clock);
    const TimePoint start = clock.now();
    std::vector<Duration> fired;
    timer.start(start + 1s, [&] { fired.push_back(clock.now() - start); });
    timer.moveTo(start + 4s);
    clock.advance(3s);
    QVERIFY(fired.empty());
    timer.moveTo(start + 3500ms);
    clock.advance(1s);
    QVERIFY(fired == std::vector<Duration>{3500ms});
}

void ClockTest::timerNotRunningIsNotMoved()
{
    ManualClock clock;
    OneShotTimer timer(clock);
    timer.moveTo(clock.now() + 1s);
    QVERIFY(!timer.isActive());
    int count = 0;
    timer.start(clock.now() + 1s, [&] { ++count; });
    clock.advance(1s);
    timer.moveTo(clock.now() + 1s);
    clock.advance(2s);
    QCOMPARE(count, 1);
}

void ClockTest::timerCallbackMayRestartIt()
{
    ManualClock clock;
    OneShotTimer timer(clock);
    int count = 0;
    const std::function<void()> again = [&] {
        ++count;
        timer.start(clock.now() + 1s, again);
    };
    timer.start(clock.now() + 1s, again);
    clock.advance(3s);
    QCOMPARE(count, 3);
    QVERIFY(timer.isActive());
}

void ClockTest::timerCallbackMayDestroyIt()
{
    ManualClock clock;
    auto timer = std::make_unique<OneShotTimer>(clock);
    const std::vector<int> captured(1000, 7);
    bool fired = false;
    timer->start(clock.now() + 1s, [&fired, &timer, captured] {
        timer.reset();
        fired = captured.back() == 7;
    });
    clock.advance(1s);
    QVERIFY(fired);
}

void ClockTest::timerDestroyedFiresNothing()
{
    ManualClock clock;
    int count = 0;
    {
        OneShotTimer timer(clock);
        timer.start(clock.now() + 1s, [&] { ++count; });
    }
    clock.advance(2s);
    QCOMPARE(count, 0);
}

void ClockTest::postedJobsRunInOrderOnTheMainThread()
{
    std::vector<int> order;
    const QThread* const mainThread = QThread::currentThread();
    int elsewhere = 0;
    const auto note = [&](int number) {
        return [&, number] {
            order.push_back(number);
            elsewhere += QThread::currentThread() != mainThread;
        };
    };
    postToMainThread(note(0));
    std::thread([&] {
        for (int number = 1; number < 100; ++number) {
            postToMainThread(note(number));
        }
    }).join();
    QVERIFY(order.empty());
    QTRY_COMPARE(order.size(), size_t(100));
    QVERIFY(std::is_sorted(order.begin(), order.end()));
    QCOMPARE(elsewhere, 0);
}

void ClockTest::jobPostedFromAJobRunsLater()
{
    std::vector<int> order;
    postToMainThread([&] {
        postToMainThread([&] { order.push_back(3); });
        order.push_back(1);
    });
    postToMainThread([&] { order.push_back(2); });
    QTRY_COMPARE(order.size(), size_t(3));
    QVERIFY((order == std::vector<int>{1, 2, 3}));
}

QTEST_GUILESS_MAIN(ClockTest)
#include "ClockTest.moc"
