#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <cstdio>

using namespace frameflow;
using namespace frameflow::e2e;

// Starting, ending, and what is remembered in between.
class LaunchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mShow = std::make_unique<ShowDriver>(); }
    void cleanup() { mShow.reset(); }

    void withoutFilesTheWelcomeIsShown();
    void aFolderWithNothingToShowIsSaidInAWindow();
    void theHintIsShownAtTheFirstShowAlone();
    void filesAreShownWhateverTheirNames_data();
    void filesAreShownWhateverTheirNames();
    void aNameThatLooksLikeAnOptionIsAFile();
    void settingsSurviveTheProgramBeingKilled();
    void aGarbageSettingsFileIsKeptAndTheShowGoesOn();
    void termEndsTheProgramCleanly_data();
    void termEndsTheProgramCleanly();
    void aStoppedShowDoesNothing();
    void aDisplayThatCannotBeReachedIsSaidPlainly_data();
    void aDisplayThatCannotBeReachedIsSaidPlainly();

private:
    std::unique_ptr<ShowDriver> mShow;
    const QColor mRed{200, 30, 30};
    const QColor mGreen{30, 160, 30};
};

void LaunchTest::withoutFilesTheWelcomeIsShown()
{
    QVERIFY(mShow->start({}));
    const auto window = mShow->showWindow();
    QVERIFY(window.has_value());
    QVERIFY(!mShow->server().isFullScreen(*window));
    mShow->server().close(*window);
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode().value_or(-1), 0);
}

void LaunchTest::aFolderWithNothingToShowIsSaidInAWindow()
{
    mShow->folder.addFile("notes.txt", "hello");
    QVERIFY(mShow->startWithFolder());
    const auto window = mShow->showWindow();
    QVERIFY(window.has_value());
    QVERIFY(!mShow->server().isFullScreen(*window));
    QVERIFY(mShow->program().isRunning());
}

void LaunchTest::theHintIsShownAtTheFirstShowAlone()
{
    mShow->addColour("1.png", mRed);
    mShow->set(keys::hintsShown, false);
    QVERIFY(mShow->startWithFolder());
    QVERIFY(waitFor([] { return storedSetting(keys::hintsShown).toBool(); }));
    QVERIFY(mShow->waitForManyColours());
    mShow->press(QStringLiteral("space"));
    QVERIFY(mShow->waitForColour(mRed));
    mShow->program().end();
    mShow->set(keys::hintsShown, true);
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->waitForColour(mRed));
}

void LaunchTest::filesAreShownWhateverTheirNames_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("spaces") << QByteArray("a b  c.png");
    QTest::newRow("semicolon") << QByteArray("a;b.png");
    QTest::newRow("percent") << QByteArray("a%20b%.png");
    QTest::newRow("hash and question") << QByteArray("a#b?c.png");
    QTest::newRow("newline") << QByteArray("a\nb.png");
    QTest::newRow("not UTF-8") << QByteArray("a\xff\xfe.png");
    QTest::newRow("emoji") << QByteArray("\xf0\x9f\x8c\x84.png");
    QTest::newRow("long") << QByteArray(240, 'x') + ".png";
}

void LaunchTest::filesAreShownWhateverTheirNames()
{
    QFETCH(QByteArray, name);
    mShow->addColour("plain.png", mRed);
    QVERIFY(rename(mShow->folder.pathOf("plain.png").constData(), mShow->folder.pathOf(name).constData()) == 0);
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->waitForColour(mRed));
}

void LaunchTest::aNameThatLooksLikeAnOptionIsAFile()
{
    mShow->addColour("-style.png", mGreen);
    QVERIFY(QDir::setCurrent(QString::fromUtf8(mShow->folder.path())));
    QVERIFY(mShow->start({"-style.png"}));
    QVERIFY(mShow->waitForColour(mGreen));
    QVERIFY(QDir::setCurrent(QStringLiteral("/")));
}

void LaunchTest::settingsSurviveTheProgramBeingKilled()
{
    mShow->addColour("1.png", mRed);
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->waitForColour(mRed));
    mShow->press(QStringLiteral("ctrl+3"));
    QVERIFY(waitFor([] { return storedSetting(keys::imageFitMode).toString() == keys::fitModeFill; }));
    QVERIFY(kill(static_cast<pid_t>(mShow->program().processId()), SIGKILL) == 0);
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(storedSetting(keys::imageFitMode).toString(), keys::fitModeFill);
}

void LaunchTest::aGarbageSettingsFileIsKeptAndTheShowGoesOn()
{
    mShow->addColour("1.png", mRed);
    writeSettings({});
    const QString folder = qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/quillory");
    QFile file(folder + QStringLiteral("/frameflow.conf"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QByteArray garbage("\x01\x02 no settings at all [[[ \xff\n=\n");
    file.write(garbage);
    file.close();
    QVERIFY(mShow->program().start({QString::fromUtf8(mShow->folder.path())}));
    QVERIFY(mShow->showWindow().has_value());
    const auto kept = [&] {
        for (const QString& name : QDir(folder).entryList(QDir::Files)) {
            QFile candidate(folder + QLatin1Char('/') + name);
            if (candidate.open(QIODevice::ReadOnly) && candidate.readAll() == garbage) {
                return true;
            }
        }
        return false;
    };
    QVERIFY(kept());
    mShow->press(QStringLiteral("space")); // the hint is on screen
    QVERIFY(mShow->waitForColour(mRed));
    QVERIFY(kept());
}

void LaunchTest::termEndsTheProgramCleanly_data()
{
    QTest::addColumn<bool>("withShow");
    QTest::newRow("welcome") << false;
    QTest::newRow("show") << true;
}

void LaunchTest::termEndsTheProgramCleanly()
{
    QFETCH(bool, withShow);
    mShow->addColour("1.png", mRed);
    QVERIFY(withShow ? mShow->startWithFolder() : mShow->start({}));
    QVERIFY(mShow->showWindow().has_value());
    QVERIFY(kill(static_cast<pid_t>(mShow->program().processId()), SIGTERM) == 0);
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode().value_or(-1), 0);
}

void LaunchTest::aStoppedShowDoesNothing()
{
    mShow->addColour("1.png", mRed);
    mShow->addColour("2.png", mGreen);
    mShow->set(keys::transition, QStringLiteral("Fast Cross Fade"));
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->waitForColour(mRed));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(mGreen));
    QVERIFY(mShow->waitUntilAtRest(std::chrono::seconds(1)));
}

void LaunchTest::aDisplayThatCannotBeReachedIsSaidPlainly_data()
{
    QTest::addColumn<QString>("display");
    QTest::addColumn<QString>("platform");
    QTest::newRow("none") << QString() << QString();
    QTest::newRow("none, of X") << QString() << QStringLiteral("xcb");
    QTest::newRow("of no server") << QStringLiteral(":987") << QString();
    QTest::newRow("no name of a display") << QStringLiteral("garbage") << QStringLiteral("xcb");
}

void LaunchTest::aDisplayThatCannotBeReachedIsSaidPlainly()
{
    QFETCH(QString, display);
    QFETCH(QString, platform);
    Program program(ShowDriver::builtProgram());
    QVERIFY(program.start({QString::fromUtf8(mShow->folder.path())},
        {{QStringLiteral("DISPLAY"), display}, {QStringLiteral("QT_QPA_PLATFORM"), platform},
            {QStringLiteral("WAYLAND_DISPLAY"), QString()}}));
    QVERIFY(program.waitForExit());
    QCOMPARE(program.exitCode(), std::optional(1));
    const QByteArray said = program.output();
    QVERIFY2(said.startsWith("frameflow: there is no display: "), said.constData());
    QCOMPARE(said.count('\n'), 1);
}

QTEST_GUILESS_MAIN(LaunchTest)
#include "LaunchTest.moc"
