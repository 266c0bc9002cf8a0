#include "ProbeApplications.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);
const QColor blue(30, 30, 200);

} // namespace

// The first evening with the program: everything that a new user comes across, with the keyboard alone.
class TourTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aNewUserComesAllTheWay();

private:
    void begin();
    void openTheFolder();
    void seeTheHintOnce();
    void lookAtTheThumbnails();
    void setThePreferences();
    void throwOneAway();
    void openOneInTheEditor();
    void comeBackToTheFolder();
    void quit();
    void startAgain();

    const XServer& server() const { return mShow->server(); }
    void press(const char* key) const { mShow->press(QString::fromLatin1(key)); }
    bool waitForWindow(const QString& title) const
    {
        return waitFor([&] {
            const auto window = server().windowWithTitle(mShow->program().processId(), title);
            return window && server().isActive(*window);
        });
    }
    bool waitForNoWindow(const QString& title) const
    {
        return waitFor([&] {
            const auto window = server().windowWithTitle(mShow->program().processId(), title);
            return !window || !server().isVisible(*window);
        });
    }
    // Nothing but the welcome window, with the keyboard.
    bool waitForWelcome() const
    {
        return waitFor([&] {
            const auto windows = server().windowsOf(mShow->program().processId());
            return windows.size() == 1 && server().isActive(windows.first()) && !server().isFullScreen(windows.first());
        });
    }
    std::unique_ptr<ProbeApplications> mPrograms;
    std::unique_ptr<ShowDriver> mShow;
};

void TourTest::aNewUserComesAllTheWay()
{
    const std::array steps{&TourTest::begin, &TourTest::openTheFolder, &TourTest::seeTheHintOnce,
        &TourTest::lookAtTheThumbnails, &TourTest::setThePreferences, &TourTest::throwOneAway,
        &TourTest::openOneInTheEditor, &TourTest::comeBackToTheFolder, &TourTest::quit, &TourTest::startAgain};
    for (const auto step : steps) {
        (this->*step)();
        if (QTest::currentTestFailed()) {
            return;
        }
    }
}

void TourTest::begin()
{
    mPrograms = std::make_unique<ProbeApplications>();
    mPrograms->add("editor", "Graphics;RasterGraphics;", {"image/png"});
    mPrograms->setDefault("image/png", "editor");
    mShow = std::make_unique<ShowDriver>();
    mShow->addColour("1.png", red);
    mShow->addColour("2.png", green);
    mShow->addColour("3.png", blue);
    mShow->set(keys::hintsShown, false);
    mShow->set(keys::slideInterval, 2);
    QVERIFY(mShow->start({}));
    QVERIFY(waitForWelcome());
}

void TourTest::openTheFolder()
{
    press("ctrl+o");
    QVERIFY(waitForWindow(QStringLiteral("Open — Frameflow")));
    server().type(QString::fromUtf8(mShow->folder.path()));
    press("Return");
    QVERIFY(waitForNoWindow(QStringLiteral("Open — Frameflow")));
    const auto isFullScreen = [&] {
        const auto windows = server().windowsOf(mShow->program().processId());
        return windows.size() == 1 && server().isFullScreen(windows.first());
    };
    QVERIFY(waitFor(isFullScreen));
}

void TourTest::seeTheHintOnce()
{
    QVERIFY(mShow->waitForManyColours());
    QVERIFY(waitFor([] { return storedSetting(keys::hintsShown).toBool(); }));
    press("Right");
    QVERIFY(mShow->waitForColour(red));
    press("Right");
    QVERIFY(mShow->waitForColour(green));
}

void TourTest::lookAtTheThumbnails()
{
    press("ctrl+t");
    QVERIFY(waitForWindow(QStringLiteral("Thumbnails — Frameflow")));
    press("End");
    press("Return");
    QVERIFY(mShow->waitForColour(blue));
}

void TourTest::setThePreferences()
{
    press("ctrl+comma");
    QVERIFY(waitForWindow(QStringLiteral("Preferences — Frameflow")));
    QVERIFY(!storedSetting(keys::autoStart).toBool());
    press("alt+r");
    QVERIFY(waitFor([] { return storedSetting(keys::autoStart).toBool(); }));
    press("ctrl+w");
    QVERIFY(waitForNoWindow(QStringLiteral("Preferences — Frameflow")));
    QVERIFY(mShow->waitForColour(blue));
}

void TourTest::throwOneAway()
{
    press("Home");
    QVERIFY(mShow->waitForColour(red));
    press("Delete");
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(!QFile::exists(QString::fromUtf8(mShow->folder.pathOf("1.png"))));
    QVERIFY(QFile::exists(qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Trash/files/1.png")));
}

void TourTest::openOneInTheEditor()
{
    press("ctrl+e");
    const QByteArrayList path{mShow->folder.pathOf("2.png")};
    QVERIFY(waitFor([&] { return mPrograms->openedBy("editor") == path; }));
}

// The show runs by itself now, as the preferences say.
void TourTest::comeBackToTheFolder()
{
    press("Escape");
    QVERIFY(waitForWelcome());
    press("alt+c"); // to the list of recent folders
    press("Return");
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(mShow->waitForColour(blue));
}

void TourTest::quit()
{
    press("ctrl+q");
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode().value_or(-1), 0);
}

// Everything has been kept.
void TourTest::startAgain()
{
    QVERIFY(mShow->program().start());
    QVERIFY(waitForWelcome());
    press("alt+f");
    press("r");
    press("Return");
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(mShow->waitForColour(blue));
    quit();
}

QTEST_GUILESS_MAIN(TourTest)
#include "TourTest.moc"
