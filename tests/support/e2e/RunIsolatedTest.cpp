#include "Program.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>
#include <vector>

using namespace frameflow::e2e;

namespace {

const QString shell = QStringLiteral("/bin/sh");

// What a run says: the first word after the name, or nothing yet.
QByteArray told(Program& run, const QByteArray& name)
{
    const auto lines = run.output().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(name + '=')) {
            return line.mid(name.size() + 1);
        }
    }
    return {};
}

bool isAlive(const QByteArray& process)
{
    return residentBytesOf(process.toLongLong()) >= 0 && !process.isEmpty();
}

} // namespace

// The script in which every test of a program runs.
class RunIsolatedTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void passesArgumentsAndExitStatus_data();
    void passesArgumentsAndExitStatus();
    void homeIsPrivateAndGoneAfterwards();
    void leftOverProcessesAreEnded_data();
    void leftOverProcessesAreEnded();
    void hangingProgramIsEndedWithTheScript_data();
    void hangingProgramIsEndedWithTheScript();
    void runsSideBySide();
    void severalDisplaysStandSideBySide();
    void sessionBusAnswers();

private:
    // Every run has its folder here, so that one that stays is seen.
    std::unique_ptr<Program> start(
        const QString& mode, const QString& script, const QMap<QString, QString>& variables = {})
    {
        auto run = std::make_unique<Program>(QStringLiteral(RUN_ISOLATED));
        auto all = variables;
        all.insert(QStringLiteral("TMPDIR"), mFolder.path());
        all.insert(QStringLiteral("QT_QPA_PLATFORM"), QString());
        return run->start({mode, shell, QStringLiteral("-c"), script}, all) ? std::move(run) : nullptr;
    }
    bool isClean() const { return QDir(mFolder.path()).isEmpty(); }

    QTemporaryDir mFolder{QStringLiteral("/tmp/isolated-XXXXXX")};
};

void RunIsolatedTest::passesArgumentsAndExitStatus_data()
{
    QTest::addColumn<QString>("mode");
    QTest::newRow("offscreen") << QStringLiteral("offscreen");
    QTest::newRow("display") << QStringLiteral("display");
}

void RunIsolatedTest::passesArgumentsAndExitStatus()
{
    QFETCH(QString, mode);
    Program run(QStringLiteral(RUN_ISOLATED));
    QVERIFY(run.start({mode, shell, QStringLiteral("-c"), QStringLiteral("echo \"argument=$1\"; exit 7"),
        QStringLiteral("name"), QStringLiteral("a  b;*")}));
    QVERIFY(run.waitForExit());
    QCOMPARE(run.exitCode(), std::optional<int>(7));
    QCOMPARE(told(run, "argument"), QByteArray("a  b;*"));
}

void RunIsolatedTest::homeIsPrivateAndGoneAfterwards()
{
    const auto run = start(QStringLiteral("offscreen"),
        QStringLiteral(
            "touch $HOME/a; echo home=$HOME; echo config=$XDG_CONFIG_HOME; ls -d $XDG_CONFIG_HOME $XDG_DATA_HOME "
            "$XDG_CACHE_HOME $XDG_RUNTIME_DIR >/dev/null && echo all=there"));
    QVERIFY(run && run->waitForExit());
    const QByteArray home = told(*run, "home");
    QVERIFY(home.startsWith(mFolder.path().toUtf8() + '/'));
    QVERIFY(told(*run, "config").startsWith(home));
    QCOMPARE(told(*run, "all"), QByteArray("there"));
    QVERIFY(isClean());
}

void RunIsolatedTest::leftOverProcessesAreEnded_data()
{
    QTest::addColumn<QString>("script");
    QTest::newRow("child") << QStringLiteral("sleep 1000 & echo process=$!");
    QTest::newRow("daemon") << QStringLiteral("setsid sleep 1000 & echo process=$!; exit 0");
    QTest::newRow("one that does not listen")
        << QStringLiteral("sh -c 'trap \"\" TERM; while :; do sleep 1; done' & echo process=$!");
}

void RunIsolatedTest::leftOverProcessesAreEnded()
{
    QFETCH(QString, script);
    const auto run = start(QStringLiteral("offscreen"), script + QStringLiteral("; true"));
    QVERIFY(run);
    QVERIFY(waitFor([&] { return !told(*run, "process").isEmpty(); }));
    QVERIFY(waitFor([&] { return !run->isRunning(); }));
    QVERIFY(!isAlive(told(*run, "process")));
    QVERIFY(isClean());
}

void RunIsolatedTest::hangingProgramIsEndedWithTheScript_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("asked to end") << SIGTERM;
    QTest::newRow("killed") << SIGKILL;
}

void RunIsolatedTest::hangingProgramIsEndedWithTheScript()
{
    QFETCH(int, signal);
    const auto run = start(QStringLiteral("display"),
        QStringLiteral("trap '' TERM; setsid sleep 1000 & echo daemon=$!; echo display=$DISPLAY; echo process=$$; "
                       "while :; do sleep 1; done"));
    QVERIFY(run);
    QVERIFY(waitFor([&] { return !told(*run, "process").isEmpty(); }));
    const QByteArray process = told(*run, "process");
    const QByteArray daemon = told(*run, "daemon");
    const QByteArray socket = "/tmp/.X11-unix/X" + told(*run, "display").mid(1);
    QVERIFY(isAlive(process) && isAlive(daemon));
    QVERIFY(QFile::exists(QString::fromUtf8(socket)));
    QCOMPARE(kill(static_cast<pid_t>(run->processId()), signal), 0);
    QVERIFY(waitFor([&] { return isClean(); }));
    QVERIFY(!isAlive(process));
    QVERIFY(!isAlive(daemon));
    QVERIFY(!QFile::exists(QString::fromUtf8(socket)));
}

void RunIsolatedTest::runsSideBySide()
{
    std::vector<std::unique_ptr<Program>> runs(4);
    for (auto& run : runs) {
        run = start(QStringLiteral("display"), QStringLiteral("echo display=$DISPLAY; while :; do sleep 0.1; done"));
        QVERIFY(run);
    }
    QSet<QByteArray> displays;
    for (const auto& run : runs) {
        QVERIFY(waitFor([&] { return !told(*run, "display").isEmpty(); }, std::chrono::seconds(60)));
        displays.insert(told(*run, "display"));
    }
    QCOMPARE(displays.size(), 4);
    runs.clear();
    QVERIFY(waitFor([&] { return isClean(); }));
}

void RunIsolatedTest::severalDisplaysStandSideBySide()
{
    Program run(QStringLiteral(RUN_ISOLATED));
    QVERIFY(run.start({QStringLiteral("display"), QStringLiteral(STAND_IN)},
        {{QStringLiteral("FRAMEFLOW_TEST_SCREENS"), QStringLiteral("2")},
            {QStringLiteral("FRAMEFLOW_TEST_SCREEN"), QStringLiteral("1024x768x24")}}));
    QVERIFY(waitFor([&] { return run.output().contains("variable"); }));
    QVERIFY2(run.output().contains("screen 0,0 1024x768\nscreen 1024,0 1024x768\n"), run.output());
}

void RunIsolatedTest::sessionBusAnswers()
{
    const auto run = start(QStringLiteral("display"),
        QStringLiteral("dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.ListNames "
                       ">/dev/null && echo bus=answers"));
    QVERIFY(run && run->waitForExit());
    QCOMPARE(told(*run, "bus"), QByteArray("answers"));
}

QTEST_GUILESS_MAIN(RunIsolatedTest)
#include "RunIsolatedTest.moc"
