#include "ControllerFixture.h"
#include "HttpsServer.h"
#include "MainMenu.h"
#include "StaysTrue.h"
#include "UpdateWindowController.h"
#include "WelcomeController.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QTest>
#include <QWindow>

using namespace frameflow;
using namespace std::chrono_literals;

// What the controller makes of the answers of a real web server.
class UpdateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { mAuthority = std::make_unique<TestAuthority>(); }
    void init();
    void cleanup();

    void theCommandStandsInTheApplicationMenu();

    void theAutomaticCheckRunsWhenItIsDue_data();
    void theAutomaticCheckRunsWhenItIsDue();
    void nobodyIsAskedWhileTheHostIsReserved();
    void theAutomaticCheckOffersANewerVersion();
    void theAutomaticCheckIsSilentOtherwise_data();
    void theAutomaticCheckIsSilentOtherwise();
    void aSlowServerHoldsUpNeitherStartNorEnd();
    void anAnswerThatComesDuringAShowLeavesItTheKeyboard();
    void anAnswerThatComesBeforeTheFirstSlideWaitsForIt();
    void anAnswerThatComesBeforeTheWelcomeWaitsForIt();
    void anOfferThatStandsIsAboveTheShowThatBegins();

    void theManualCheckSaysWhatItFound_data();
    void theManualCheckSaysWhatItFound();
    void theManualCheckOffersANewerVersion();
    void theManualCheckNeedsNoSetting();
    void withoutAVersionOfItsOwnNothingIsChecked();
    void anIgnoredVersionIsNotOffered_data();
    void anIgnoredVersionIsNotOffered();
    void ignoringInTheWindowCounts();
    void aNewOfferTakesThePlaceOfAnOlderOne();
    void theAlertOutlivesAShowThatEnds();
    void theControllerMayGoWhileItsWindowsStand();

private:
    void serve(const char* behaviour, const char* argument = "")
    {
        mServer
            = std::make_unique<HttpsServer>(*mAuthority, QString::fromLatin1(behaviour), QString::fromUtf8(argument));
        mFixture->updateServer = {mServer->host(), {mAuthority->certificateFile(), 8s, nullptr}};
    }
    SlideController& controller() { return mFixture->controller(); }
    QVariant lastChecked() const { return mFixture->settings().value(keys::lastUpdateChecked); }
    // Whether the date of the last check is of this test.
    bool isRecorded() const
    {
        const QDateTime when = mFixture->settings().dateValue(keys::lastUpdateChecked);
        return when.isValid() && when >= mBegin.addSecs(-1) && when <= QDateTime::currentDateTimeUtc().addSecs(1);
    }
    // Starts with the manual check alone.
    void startAndCheck()
    {
        mFixture->set(keys::autoCheckNewVersion, false);
        mFixture->start();
        QVERIFY(mFixture->controller().mainMenu().action(QStringLiteral("CheckUpdate"))->isEnabled());
        mFixture->controller().mainMenu().action(QStringLiteral("CheckUpdate"))->trigger();
    }
    static void letWindowsGo() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    QDateTime mBegin;
    std::unique_ptr<TestAuthority> mAuthority;
    std::unique_ptr<HttpsServer> mServer;
    std::unique_ptr<ControllerFixture> mFixture;
};

void UpdateTest::init()
{
    mBegin = QDateTime::currentDateTimeUtc();
    QCoreApplication::setApplicationVersion(QStringLiteral("2.4"));
    mFixture = std::make_unique<ControllerFixture>();
}

void UpdateTest::cleanup()
{
    mFixture.reset();
    mServer.reset();
}

void UpdateTest::theCommandStandsInTheApplicationMenu()
{
    const auto& menu = mFixture->start().mainMenu();
    const QAction* const command = menu.action(QStringLiteral("CheckUpdate"));
    QCOMPARE(QString(command->text()).remove(QLatin1Char('&')), QStringLiteral("Check for Updates..."));
    QVERIFY(command->shortcuts().isEmpty());
    const std::unique_ptr<QMenuBar> bar(menu.makeMenuBar());
    const QList<QAction*> entries = bar->actions().first()->menu()->actions();
    const auto index = entries.indexOf(const_cast<QAction*>(command));
    QVERIFY(index > entries.indexOf(menu.action(QStringLiteral("AboutFrameflow"))));
    QCOMPARE(index, 3);
}

void UpdateTest::theAutomaticCheckRunsWhenItIsDue_data()
{
    QTest::addColumn<QVariant>("setting");
    QTest::addColumn<QVariant>("secondsAgo");
    QTest::addColumn<bool>("isDue");
    QTest::newRow("never checked") << QVariant() << QVariant() << true;
    QTest::newRow("switched on") << QVariant(true) << QVariant() << true;
    QTest::newRow("switched off") << QVariant(false) << QVariant() << false;
    QTest::newRow("checked lately") << QVariant() << QVariant(604800 - 60) << false;
    QTest::newRow("checked over a week ago") << QVariant() << QVariant(604800 + 60) << true;
    QTest::newRow("switched off and long ago") << QVariant(false) << QVariant(9999999) << false;
}

void UpdateTest::theAutomaticCheckRunsWhenItIsDue()
{
    QFETCH(QVariant, setting);
    QFETCH(QVariant, secondsAgo);
    QFETCH(bool, isDue);
    serve("text", "2.4");
    mFixture->set(keys::autoCheckNewVersion, setting);
    if (secondsAgo.isValid()) {
        mFixture->set(keys::lastUpdateChecked, mBegin.addSecs(-secondsAgo.toInt()));
    }
    mFixture->start();
    QCOMPARE(controller().isCheckingForUpdate(), isDue);
    QTRY_VERIFY_WITH_TIMEOUT(!controller().isCheckingForUpdate(), 20000);
    QCOMPARE(mServer->requests().size(), isDue ? 1 : 0);
    QCOMPARE(isRecorded(), isDue);
}

void UpdateTest::nobodyIsAskedWhileTheHostIsReserved()
{
    QCOMPARE(QByteArray::fromStdString(mFixture->updateServer.host), QByteArray(webAddresses::updateHost));
    mFixture->updateServer.host = webAddresses::reservedHost;
    mFixture->start();
    QVERIFY(!controller().isCheckingForUpdate());
    QVERIFY(!lastChecked().isValid());
}

void UpdateTest::theAutomaticCheckOffersANewerVersion()
{
    serve("text", "  2.4.1\n");
    mFixture->start();
    QTRY_VERIFY_WITH_TIMEOUT(controller().updateWindow(), 20000);
    QCOMPARE(controller().updateWindow()->versionLabel()->text(), QStringLiteral("Found v2.4.1, you have v2.4."));
    QVERIFY(controller().updateWindow()->window()->isVisible());
    QVERIFY(isRecorded());
    mFixture->clock.advanceSeconds(60);
    letWindowsGo();
    QVERIFY(!controller().updateWindow());
}

void UpdateTest::theAutomaticCheckIsSilentOtherwise_data()
{
    QTest::addColumn<QByteArray>("behaviour");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("ignored");
    QTest::addColumn<bool>("isRecorded");
    QTest::newRow("up to date") << QByteArray("text") << QByteArray("2.4") << QString() << true;
    QTest::newRow("no version") << QByteArray("text") << QByteArray("5") << QString() << true;
    QTest::newRow("a page") << QByteArray("text") << QByteArray("<html>no</html>") << QString() << true;
    QTest::newRow("nothing") << QByteArray("text") << QByteArray() << QString() << true;
    QTest::newRow("ignored") << QByteArray("text") << QByteArray("2.4.1") << QStringLiteral("2.4.1") << true;
    QTest::newRow("failed") << QByteArray("cut-off") << QByteArray() << QString() << false;
}

void UpdateTest::theAutomaticCheckIsSilentOtherwise()
{
    QFETCH(QByteArray, behaviour);
    QFETCH(QByteArray, reply);
    QFETCH(QString, ignored);
    serve(behaviour.constData(), reply.constData());
    if (!ignored.isEmpty()) {
        mFixture->set(keys::ignoreVersion, ignored);
    }
    mFixture->start();
    QTRY_VERIFY_WITH_TIMEOUT(!controller().isCheckingForUpdate(), 20000);
    QVERIFY(!controller().updateWindow());
    QVERIFY(!controller().updateAlert());
    QTEST(isRecorded(), "isRecorded");
    QTEST(lastChecked().isValid(), "isRecorded");
}

void UpdateTest::aSlowServerHoldsUpNeitherStartNorEnd()
{
    serve("silent");
    mFixture->updateServer.options.timeout = 60s;
    mFixture->addPicture("1.png");
    mFixture->start();
    QVERIFY(mFixture->openFolder());
    QCOMPARE(mFixture->shown(), QByteArray("1.png"));
    QTRY_COMPARE_WITH_TIMEOUT(mServer->requests().size(), 1, 20000);
    QVERIFY(controller().isCheckingForUpdate());
    QElapsedTimer timer;
    timer.start();
    mFixture->destroyController();
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(!lastChecked().isValid());
}

void UpdateTest::anAnswerThatComesDuringAShowLeavesItTheKeyboard()
{
    serve("text", "2.4.1");
    mFixture->addPicture("1.png");
    mFixture->set(keys::autoCheckNewVersion, false);
    mFixture->start();
    QVERIFY(mFixture->openFolder());
    QTRY_COMPARE(QApplication::activeWindow(), controller().screenWindow());
    controller().updateAvailable(1, false, QStringLiteral("2.4.1"));
    QTRY_VERIFY(controller().updateWindow()->window()->isVisible());
    QVERIFY(controller().updateWindow()->window()->testAttribute(Qt::WA_ShowWithoutActivating));
    QCOMPARE(mFixture->shown(), QByteArray("1.png"));
    // It goes on its own when the show has ended before it.
    controller().cancel();
    letWindowsGo();
    QVERIFY(controller().updateWindow()->window()->isVisible());
}

void UpdateTest::anAnswerThatComesBeforeTheFirstSlideWaitsForIt()
{
    serve("text", "2.4.1");
    mFixture->addPicture("1.png");
    mFixture->set(keys::autoCheckNewVersion, false);
    mFixture->start();
    controller().applicationOpenFiles({mFixture->folder.url()});
    controller().updateAvailable(1, false, QStringLiteral("2.4.1"));
    QVERIFY(!controller().updateWindow());
    QVERIFY(isRecorded());
    QTRY_VERIFY(!controller().fileSequence().isCollecting());
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->shown(), QByteArray("1.png"));
    QTRY_VERIFY(controller().updateWindow() != nullptr && controller().updateWindow()->window()->isVisible());
    QCOMPARE(controller().updateWindow()->window()->windowHandle()->transientParent(),
        controller().screenWindow()->windowHandle());
}

void UpdateTest::anAnswerThatComesBeforeTheWelcomeWaitsForIt()
{
    serve("text", "2.4.1");
    mFixture->set(keys::autoCheckNewVersion, false);
    mFixture->start();
    controller().applicationOpenFiles({mFixture->folder.url()}); // nothing is in it
    controller().updateAvailable(1, false, QStringLiteral("2.4.1"));
    QVERIFY(!controller().updateWindow());
    QTRY_VERIFY(controller().updateWindow() != nullptr && controller().updateWindow()->window()->isVisible());
    QVERIFY(controller().welcomeController()->window()->isVisible());
}

void UpdateTest::anOfferThatStandsIsAboveTheShowThatBegins()
{
    mFixture->addPicture("a.png");
    mFixture->start();
    controller().ShowWelcomeScreen();
    controller().updateAvailable(1, false, QStringLiteral("2.4.1"));
    QVERIFY(controller().updateWindow()->window()->isVisible());
    QVERIFY(mFixture->openFolder());
    QVERIFY(controller().updateWindow()->window()->isVisible());
    QCOMPARE(controller().updateWindow()->window()->windowHandle()->transientParent(),
        controller().screenWindow()->windowHandle());
}

void UpdateTest::theManualCheckSaysWhatItFound_data()
{
    QTest::addColumn<QByteArray>("behaviour");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isRecorded");
    const QString current = QStringLiteral("You have the most recent version.");
    QTest::newRow("up to date") << QByteArray("text") << QByteArray("2.4") << current << true;
    QTest::newRow("older") << QByteArray("text") << QByteArray("1.9.9") << current << true;
    QTest::newRow("no version") << QByteArray("text") << QByteArray("5") << current << true;
    QTest::newRow("twelve characters") << QByteArray("text") << QByteArray("12.345.67890") << current << true;
    QTest::newRow("nothing") << QByteArray("text") << QByteArray() << current << true;
    QTest::newRow("failed") << QByteArray("hang-up") << QByteArray()
                            << QStringLiteral("Update check failed, try again later.") << false;
}

void UpdateTest::theManualCheckSaysWhatItFound()
{
    QFETCH(QByteArray, behaviour);
    QFETCH(QByteArray, reply);
    QFETCH(QString, text);
    serve(behaviour.constData(), reply.constData());
    startAndCheck();
    QMessageBox* const alert = controller().updateAlert();
    QVERIFY(alert != nullptr && alert->isVisible());
    QCOMPARE(alert->text(), text);
    QCOMPARE(alert->windowModality(), Qt::ApplicationModal);
    QCOMPARE(alert->buttons().size(), 1);
    QVERIFY(!lastChecked().isValid()); // not before it is dismissed
    QTest::keyClick(alert, Qt::Key_Return);
    QTEST(isRecorded(), "isRecorded");
    QTEST(lastChecked().isValid(), "isRecorded");
    letWindowsGo();
    QVERIFY(!controller().updateAlert());
    QVERIFY(!controller().updateWindow());
}

void UpdateTest::theManualCheckOffersANewerVersion()
{
    serve("text", "2.10");
    startAndCheck();
    QVERIFY(!controller().updateAlert());
    QVERIFY(controller().updateWindow());
    QCOMPARE(controller().updateWindow()->versionLabel()->text(), QStringLiteral("Found v2.10, you have v2.4."));
    QVERIFY(isRecorded());
}

void UpdateTest::theManualCheckNeedsNoSetting()
{
    serve("text", "2.4");
    mFixture->set(keys::lastUpdateChecked, mBegin);
    startAndCheck();
    QCOMPARE(mServer->requests().size(), 1);
    QVERIFY(controller().updateAlert());
}

void UpdateTest::withoutAVersionOfItsOwnNothingIsChecked()
{
    QCoreApplication::setApplicationVersion({});
    serve("text", "9.9");
    startAndCheck();
    QVERIFY(!controller().updateAlert());
    QVERIFY(!controller().updateWindow());
    QCOMPARE(mServer->connections(), 0);
}

void UpdateTest::anIgnoredVersionIsNotOffered_data()
{
    QTest::addColumn<QString>("ignored");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("isOffered");
    QTest::newRow("the same") << QStringLiteral("2.4.1") << QByteArray("2.4.1") << false;
    QTest::newRow("a later one is ignored") << QStringLiteral("3.0") << QByteArray("2.4.1") << false;
    QTest::newRow("an earlier one is ignored") << QStringLiteral("2.4.1") << QByteArray("2.4.2") << true;
    QTest::newRow("fewer fields are earlier") << QStringLiteral("2.5") << QByteArray("2.5.0") << true;
    QTest::newRow("more fields are later") << QStringLiteral("2.5.0") << QByteArray("2.5") << false;
    QTest::newRow("nonsense") << QStringLiteral("nonsense") << QByteArray("2.4.1") << true;
    QTest::newRow("empty") << QStringLiteral("") << QByteArray("2.4.1") << true;
}

void UpdateTest::anIgnoredVersionIsNotOffered()
{
    QFETCH(QString, ignored);
    QFETCH(QByteArray, reply);
    serve("text", reply.constData());
    mFixture->set(keys::ignoreVersion, ignored);
    startAndCheck();
    QTEST(controller().updateWindow() != nullptr, "isOffered");
    QVERIFY(!controller().updateAlert());
    QVERIFY(isRecorded());
}

void UpdateTest::ignoringInTheWindowCounts()
{
    serve("text", "2.4.1");
    startAndCheck();
    QVERIFY(controller().updateWindow());
    controller().updateWindow()->window()->findChild<QAbstractButton*>(QStringLiteral("ignore"))->click();
    letWindowsGo();
    QVERIFY(!controller().updateWindow());
    controller().CheckUpdate();
    QVERIFY(!controller().updateWindow());
    QVERIFY(!controller().updateAlert());
    controller().updateAvailable(1, false, QStringLiteral("2.4.2"));
    QVERIFY(controller().updateWindow());
}

void UpdateTest::aNewOfferTakesThePlaceOfAnOlderOne()
{
    mFixture->start();
    controller().updateAvailable(1, false, QStringLiteral("2.4.1"));
    controller().updateAvailable(1, true, QStringLiteral("2.4.2"));
    letWindowsGo();
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("UpdateWindow")});
    QCOMPARE(controller().updateWindow()->updateVersion(), QStringLiteral("2.4.2"));
}

void UpdateTest::theAlertOutlivesAShowThatEnds()
{
    mFixture->addPicture("1.png");
    mFixture->start();
    QVERIFY(mFixture->openFolder());
    controller().updateAvailable(0, true, {});
    QVERIFY(controller().updateAlert());
    controller().cancel();
    letWindowsGo();
    QVERIFY(controller().updateAlert() && controller().updateAlert()->isVisible());
    controller().updateAlert()->accept();
    QVERIFY(isRecorded());
}

void UpdateTest::theControllerMayGoWhileItsWindowsStand()
{
    mFixture->start();
    controller().updateAvailable(1, true, QStringLiteral("2.4.1"));
    controller().updateAvailable(-1, true, {});
    mFixture->destroyController();
    QCOMPARE(mFixture->visibleWindows(), QStringList());
    mFixture->clock.advanceSeconds(60);
}

QTEST_MAIN(UpdateTest)
#include "UpdateTest.moc"
