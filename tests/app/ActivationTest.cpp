#include "ActivationMonitor.h"
#include "ManualClock.h"

#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

class ActivationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mCount = 0;
        mClock = std::make_unique<ManualClock>();
        mMonitor = std::make_unique<ActivationMonitor>(*mClock, [this] { ++mCount; });
    }

    void startUpIsNoActivation()
    {
        setFor(true, 1s);
        QCOMPARE(mCount, 0);
    }

    void comingBackFromAnotherProgramIsOneActivation()
    {
        setFor(true, 1s);
        setFor(false, 1s);
        setFor(true, 249ms);
        QCOMPARE(mCount, 0);
        mClock->advance(1ms);
        QCOMPARE(mCount, 1);
        mClock->advance(10s);
        QCOMPARE(mCount, 1);
        setFor(false, 1s);
        setFor(true, 1s);
        QCOMPARE(mCount, 2);
    }

    void beingInactiveForAMomentIsNoActivation()
    {
        setFor(true, 1s);
        setFor(false, 240ms);
        setFor(true, 1s);
        QCOMPARE(mCount, 0);
    }

    void anActiveMomentIsNoActivation()
    {
        setFor(true, 1s);
        setFor(false, 1s);
        setFor(true, 100ms);
        setFor(false, 1s);
        QCOMPARE(mCount, 0);
    }

    void windowsThatTheProgramChangesItselfAreNoActivation()
    {
        setFor(true, 1s);
        setFor(false, 1s);
        mMonitor->windowsChange();
        setFor(true, 1s);
        QCOMPARE(mCount, 0);
        setFor(false, 1s);
        setFor(true, 1s);
        QCOMPARE(mCount, 1);
    }

    void aWindowChangeThatIsSlowToShowIsNoActivation()
    {
        setFor(true, 1s);
        mMonitor->windowsChange();
        setFor(false, 200ms);
        setFor(true, 1s);
        QCOMPARE(mCount, 0);
    }

    void aCallbackMayDestroyTheMonitor()
    {
        auto* doomed = new ActivationMonitor(*mClock, [&] { delete std::exchange(mDoomed, nullptr); });
        mDoomed = doomed;
        doomed->setActive(false);
        mClock->advance(1s);
        doomed->setActive(true);
        mClock->advance(1s);
        QVERIFY(mDoomed == nullptr);
    }

private:
    void setFor(bool active, Duration duration)
    {
        mMonitor->setActive(active);
        mClock->advance(duration);
    }

    int mCount = 0;
    ActivationMonitor* mDoomed = nullptr;
    std::unique_ptr<ManualClock> mClock;
    std::unique_ptr<ActivationMonitor> mMonitor;
};

QTEST_GUILESS_MAIN(ActivationTest)
#include "ActivationTest.moc"
