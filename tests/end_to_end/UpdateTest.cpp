#include "HttpsServer.h"
#include "ProbeApplications.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QDateTime>
#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

// The check for a newer version among a window manager's windows, with a real web server.
class UpdateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { mAuthority = std::make_unique<TestAuthority>(); }
    void init()
    {
        mShow = std::make_unique<ShowDriver>(QStringLiteral(UPDATE_PROGRAM));
        mShow->addColour("1.png", mRed);
        mShow->addColour("2.png", mGreen);
    }
    void cleanup() { mShow.reset(); }

    void anOfferStandsAboveTheShowAndLeavesItTheKeys();
    void escapeClosesTheOffer();
    void downloadOpensTheBrowser();
    void theCommandSaysThatTheVersionIsTheNewest();
    void theCommandSaysThatTheCheckFailed();
    void theProgramEndsWhileTheServerIsSilent();

private:
    bool start(const char* behaviour, const char* reply, bool withFolder)
    {
        mServer
            = std::make_unique<HttpsServer>(*mAuthority, QString::fromLatin1(behaviour), QString::fromLatin1(reply));
        QList<QByteArray> arguments{
            QByteArray::fromStdString(mServer->host()), QByteArray::fromStdString(mAuthority->certificateFile())};
        if (withFolder) {
            arguments.append(mShow->folder.path());
        }
        return mShow->start(arguments);
    }
    const XServer& server() const { return mShow->server(); }
    std::optional<WindowId> window(const char* title) const
    {
        return server().waitForWindow(mShow->program().processId(), QString::fromUtf8(title));
    }
    // From the welcome window, through its menu.
    bool giveTheCommand()
    {
        const auto welcome = window("Frameflow");
        if (!welcome || !waitFor([&] { return server().isActive(*welcome); })) {
            return false;
        }
        mShow->press(QStringLiteral("alt+r"));
        mShow->press(QStringLiteral("u"));
        return true;
    }
    // The alert, which is a second window of the same title.
    bool waitForAlert()
    {
        return waitFor([&] { return server().windowsOf(mShow->program().processId()).size() == 2; }, 20s);
    }
    bool answerAlert()
    {
        const WindowId alert = server().windowsOf(mShow->program().processId()).last();
        if (!waitFor([&] { return server().isActive(alert); })) {
            return false;
        }
        mShow->press(QStringLiteral("Return"));
        return waitFor([&] { return server().windowsOf(mShow->program().processId()).size() == 1; });
    }

    const QColor mRed{200, 30, 30};
    const QColor mGreen{30, 160, 30};
    std::unique_ptr<TestAuthority> mAuthority;
    std::unique_ptr<HttpsServer> mServer;
    std::unique_ptr<ShowDriver> mShow;
};

void UpdateTest::anOfferStandsAboveTheShowAndLeavesItTheKeys()
{
    QVERIFY(start("text", "2.4.1", true));
    const auto offer = window("New Version — Frameflow");
    QVERIFY(offer);
    QVERIFY(waitFor([&] { return storedSetting(keys::lastUpdateChecked).isValid(); }));
    // Not the show's colours: it can be seen.
    const QPoint centre = server().geometry(*offer).center();
    QVERIFY(waitFor([&] { return server().pixel(centre) != mRed.rgb() && !server().isActive(*offer); }));
    const auto corner = [&] { return server().pixel(QPoint(5, 5)); };
    QVERIFY(waitFor([&] { return corner() == mRed.rgb(); }));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(waitFor([&] { return corner() == mGreen.rgb(); }));
    QVERIFY(server().isVisible(*offer));
}

void UpdateTest::escapeClosesTheOffer()
{
    QVERIFY(start("text", "2.4.1", false));
    const auto offer = window("New Version — Frameflow");
    QVERIFY(offer);
    // It does not take the keyboard while it appears.
    QVERIFY(waitFor([&] {
        server().activate(*offer);
        return server().isActive(*offer);
    }));
    mShow->press(QStringLiteral("Escape"));
    QVERIFY(waitFor([&] { return !server().isVisible(*offer); }));
    QVERIFY(mShow->program().isRunning()); // the welcome window stands
    QVERIFY(!storedSetting(keys::ignoreVersion).isValid());
}

void UpdateTest::downloadOpensTheBrowser()
{
    ProbeApplications applications;
    applications.add("browser", "Network;", {"x-scheme-handler/https"}, "%u");
    applications.setDefault("x-scheme-handler/https", "browser");
    QVERIFY(start("text", "2.4.1", false));
    const auto offer = window("New Version — Frameflow");
    QVERIFY(offer);
    // It does not take the keyboard while it appears.
    QVERIFY(waitFor([&] {
        server().activate(*offer);
        return server().isActive(*offer);
    }));
    mShow->press(QStringLiteral("Return"));
    QVERIFY(waitFor([&] { return applications.openedBy("browser").size() == 1; }));
    const QByteArray page = applications.openedBy("browser").first();
    QVERIFY2(page.startsWith("https://") && page.endsWith("/frameflow"), page.constData());
    QVERIFY(waitFor([&] { return !server().isVisible(*offer); }));
}

void UpdateTest::theCommandSaysThatTheVersionIsTheNewest()
{
    mShow->set(keys::autoCheckNewVersion, false);
    QVERIFY(start("text", "2.4", false));
    QVERIFY(giveTheCommand());
    QVERIFY(waitForAlert());
    QVERIFY(!storedSetting(keys::lastUpdateChecked).isValid());
    QVERIFY(answerAlert());
    QVERIFY(waitFor([&] { return storedSetting(keys::lastUpdateChecked).isValid(); }));
    QVERIFY(mShow->program().isRunning());
}

void UpdateTest::theCommandSaysThatTheCheckFailed()
{
    mShow->set(keys::autoCheckNewVersion, false);
    QVERIFY(start("cut-off", "", false));
    QVERIFY(giveTheCommand());
    QVERIFY(waitForAlert());
    QVERIFY(answerAlert());
    QVERIFY(mShow->program().isRunning());
    QVERIFY(!storedSetting(keys::lastUpdateChecked).isValid());
}

void UpdateTest::theProgramEndsWhileTheServerIsSilent()
{
    QVERIFY(start("silent", "", false));
    QVERIFY(waitFor([&] { return mServer->requests().size() == 1; }));
    const auto welcome = window("Frameflow");
    QVERIFY(welcome);
    server().close(*welcome);
    QVERIFY(mShow->program().waitForExit(5s));
    QCOMPARE(mShow->program().exitCode().value_or(-1), 0);
}

QTEST_GUILESS_MAIN(UpdateTest)
#include "UpdateTest.moc"
