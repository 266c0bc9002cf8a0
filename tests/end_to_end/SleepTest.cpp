#include "ShowDriver.h"
#include "SleepKeepers.h"
#include "StaysTrue.h"

#include <QColor>
#include <QTest>

#include <csignal>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

// Whether the display may sleep, as the desktop's own services see it on the session's bus.
class SleepTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mShow = std::make_unique<ShowDriver>(); }
    void cleanup() { mShow.reset(); }

    void theDisplayStaysAwakeWhileTheShowHasTheKeyboard();
    void theEndOfTheShowLetsTheDisplaySleep_data();
    void theEndOfTheShowLetsTheDisplaySleep();
    void withoutAScreenSaverThePortalIsAsked();
    void withoutAnybodyOneLineIsWrittenAndTheShowGoesOn();

private:
    static QString bus() { return qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"); }
    bool open()
    {
        mShow->addColour("1.png", mRed);
        mShow->addColour("2.png", mGreen);
        return mShow->startAndRest() && mShow->waitForColour(mRed);
    }

    std::unique_ptr<ShowDriver> mShow;
    const QColor mRed{200, 30, 30};
    const QColor mGreen{30, 160, 30};
    const QStringList mNobody{};
    const QStringList mUs{QStringLiteral("frameflow: Viewing Slideshow")};
};

void SleepTest::theDisplayStaysAwakeWhileTheShowHasTheKeyboard()
{
    const FakeScreenSaver saver(bus());
    QVERIFY(open());
    QVERIFY(waitFor([&] { return saver.held() == mUs; }));
    Program other(QStringLiteral(STAND_IN));
    QVERIFY(other.start());
    const auto window = mShow->server().waitForWindow(other.processId());
    QVERIFY(window.has_value());
    mShow->server().activate(*window);
    QVERIFY(waitFor([&] { return saver.held() == mNobody; }));
    other.end();
    mShow->server().activate(*mShow->showWindow());
    QVERIFY(waitFor([&] { return saver.held() == mUs; }));
}

void SleepTest::theEndOfTheShowLetsTheDisplaySleep_data()
{
    QTest::addColumn<QByteArray>("by");
    QTest::newRow("escape") << QByteArray("escape");
    QTest::newRow("the end of the program") << QByteArray("term");
    QTest::newRow("its being killed") << QByteArray("kill");
}

void SleepTest::theEndOfTheShowLetsTheDisplaySleep()
{
    QFETCH(const QByteArray, by);
    const FakeScreenSaver saver(bus());
    QVERIFY(open());
    QVERIFY(waitFor([&] { return saver.held() == mUs; }));
    if (by == "escape") {
        mShow->press(QStringLiteral("Escape"));
    } else {
        kill(static_cast<pid_t>(mShow->program().processId()), by == "kill" ? SIGKILL : SIGTERM);
    }
    QVERIFY(waitFor([&] { return saver.held() == mNobody; }));
}

void SleepTest::withoutAScreenSaverThePortalIsAsked()
{
    const FakePortal portal(bus());
    QVERIFY(open());
    QVERIFY(waitFor([&] { return portal.held() == QStringList{QStringLiteral("8: Viewing Slideshow")}; }));
    mShow->press(QStringLiteral("Escape"));
    QVERIFY(waitFor([&] { return portal.held() == mNobody; }));
}

void SleepTest::withoutAnybodyOneLineIsWrittenAndTheShowGoesOn()
{
    QVERIFY(open());
    QVERIFY(waitFor([&] { return mShow->program().output() == "Failed to prevent sleep!\n"; }));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(mGreen));
    QCOMPARE(mShow->server().windowsOf(mShow->program().processId()).size(), 1); // no message boxes
    QCOMPARE(mShow->program().output(), QByteArray("Failed to prevent sleep!\n"));
}

QTEST_GUILESS_MAIN(SleepTest)
#include "SleepTest.moc"
