#include "Program.h"

#include "SettingsKeys.h"
#include "StaysTrue.h"
#include "XServer.h"

#include <QElapsedTimer>
#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

class ProgramTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void startsWithArgumentsAndVariables();
    void programThatIsNotThereDoesNotStart();
    void exitCodeIsKnownAfterTheEnd();
    void isEndedWithItsObject();
    void programThatHangsIsKilled();
    void sleepingProgramSwitchesNoContexts();
    void busyProgramSwitchesContexts();
    void memoryAndThreadsAreCounted();
    void settingsAreWrittenAndRead();
    void waitingEndsWithTheConditionOrTheDeadline();

private:
    std::unique_ptr<XServer> mServer;
};

void ProgramTest::initTestCase()
{
    mServer = XServer::open();
    QVERIFY(mServer);
}

void ProgramTest::startsWithArgumentsAndVariables()
{
    Program program(QStringLiteral(STAND_IN));
    QVERIFY(
        program.start({QStringLiteral("A title")}, {{QStringLiteral("STAND_IN_VARIABLE"), QStringLiteral("value")}}));
    QVERIFY(program.isRunning());
    QVERIFY(!program.exitCode());
    QVERIFY(mServer->waitForWindow(program.processId(), QStringLiteral("A title")));
    QVERIFY(waitFor([&] { return program.output().contains("variable value\n"); }));
}

void ProgramTest::programThatIsNotThereDoesNotStart()
{
    Program program(QStringLiteral("/nowhere/program"));
    QVERIFY(!program.start());
    QVERIFY(!program.isRunning());
    QCOMPARE(program.contextSwitches(), qint64(-1));
    QCOMPARE(program.residentBytes(), qint64(-1));
}

void ProgramTest::exitCodeIsKnownAfterTheEnd()
{
    Program program(QStringLiteral("/bin/sh"));
    QVERIFY(program.start({QStringLiteral("-c"), QStringLiteral("echo out; echo err >&2; exit 42")}));
    QVERIFY(program.waitForExit());
    QCOMPARE(program.exitCode(), std::optional<int>(42));
    QCOMPARE(program.output(), QByteArray("out\nerr\n"));
    QVERIFY(program.start({QStringLiteral("-c"), QStringLiteral("kill -9 $$")}));
    QVERIFY(program.waitForExit());
    QVERIFY(!program.exitCode());
}

void ProgramTest::isEndedWithItsObject()
{
    qint64 process = 0;
    {
        Program program(QStringLiteral(STAND_IN));
        QVERIFY(program.start());
        process = program.processId();
        QVERIFY(residentBytesOf(process) > 0);
    }
    QCOMPARE(residentBytesOf(process), qint64(-1));
}

void ProgramTest::programThatHangsIsKilled()
{
    Program program(QStringLiteral("/bin/sh"));
    QVERIFY(
        program.start({QStringLiteral("-c"), QStringLiteral("trap '' TERM; echo ready; while :; do sleep 1; done")}));
    QVERIFY(waitFor([&] { return program.output().contains("ready"); }));
    QVERIFY(!program.waitForExit(1ms));
    program.end();
    QVERIFY(!program.isRunning());
}

void ProgramTest::sleepingProgramSwitchesNoContexts()
{
    Program program(QStringLiteral(STAND_IN));
    QVERIFY(program.start());
    QVERIFY(mServer->waitForWindow(program.processId()));
    // Start-up goes on for a while after the window is there.
    QVERIFY(waitFor([&] {
        const auto before = program.contextSwitches();
        return before > 0 && staysTrueFor(300ms, [&] { return program.contextSwitches() == before; });
    }));
}

void ProgramTest::busyProgramSwitchesContexts()
{
    Program program(QStringLiteral(STAND_IN));
    QVERIFY(program.start({QStringLiteral("Busy"), QStringLiteral("busy")}));
    QVERIFY(mServer->waitForWindow(program.processId()));
    const auto before = program.contextSwitches();
    QVERIFY(waitFor([&] { return program.contextSwitches() >= before + 20; }));
}

void ProgramTest::memoryAndThreadsAreCounted()
{
    Program program(QStringLiteral(STAND_IN));
    QVERIFY(program.start());
    QVERIFY(mServer->waitForWindow(program.processId()));
    QVERIFY(program.residentBytes() > 5'000'000);
    QVERIFY(program.residentBytes() < 500'000'000);
    QVERIFY(program.threads() >= 2); // the connection to the X server has one
}

void ProgramTest::settingsAreWrittenAndRead()
{
    writeSettings({{keys::hintsShown, true}, {keys::slideInterval, 2.5}});
    QCOMPARE(storedSetting(keys::hintsShown).toString(), QStringLiteral("true"));
    QCOMPARE(storedSetting(keys::slideInterval).toDouble(), 2.5);
    writeSettings({{keys::sort, QStringLiteral("date")}});
    QCOMPARE(storedSetting(keys::sort).toString(), QStringLiteral("date"));
    QVERIFY(!storedSetting(keys::hintsShown).isValid());
}

void ProgramTest::waitingEndsWithTheConditionOrTheDeadline()
{
    QElapsedTimer timer;
    timer.start();
    int looks = 0;
    QVERIFY(waitFor([&] { return ++looks == 3; }));
    QCOMPARE(looks, 3);
    QVERIFY(timer.elapsed() < 5000);
    QVERIFY(!waitFor([] { return false; }, 50ms));
}

QTEST_GUILESS_MAIN(ProgramTest)
#include "ProgramTest.moc"
