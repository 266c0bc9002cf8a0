#include "ControllerFixture.h"
#include "KLGridWindowController.h"
#include "PreferenceController.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTest>

using namespace frameflow;

// What the desktop asks the program for.
class DesktopTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mFixture = std::make_unique<ControllerFixture>();
        mFixture->addPictures({"1.png", "2.png", "3.png"});
        mFixture->start();
    }
    void cleanup() { mFixture.reset(); }

    void withNothingOnScreenActivationIsTheStart_data();
    void withNothingOnScreenActivationIsTheStart();
    void activationChangesNothingInAShow();
    void activationWaitsForACollection();
    void openedFilesJoinTheShow();
    void nothingToOpenIsAnActivation();
    void whatHoldsNothingIsSaidInTheWelcome();
    void commandsAreCarriedOut();
    void aCommandThatIsNotOfferedDoesNothing();
    void unknownCommandsAndTheTrashAreRefused_data();
    void unknownCommandsAndTheTrashAreRefused();
    void aCommandAtTheStartEndsInAWindow_data();
    void aCommandAtTheStartEndsInAWindow();

private:
    SlideController& controller() const { return mFixture->controller(); }
    bool isWelcomeVisible() const
    {
        return controller().welcomeController() != nullptr && controller().welcomeController()->window()->isVisible();
    }

    std::unique_ptr<ControllerFixture> mFixture;
};

void DesktopTest::withNothingOnScreenActivationIsTheStart_data()
{
    QTest::addColumn<bool>("openLast");
    QTest::newRow("welcome") << false;
    QTest::newRow("last folder") << true;
}

void DesktopTest::withNothingOnScreenActivationIsTheStart()
{
    QFETCH(const bool, openLast);
    controller().rememberRecentFolder(mFixture->folder.url());
    mFixture->set(keys::openLastUsedFolder, openLast);
    controller().applicationActivate({});
    if (openLast) {
        QTRY_COMPARE(mFixture->onScreen(), QByteArray("1.png"));
        QVERIFY(!isWelcomeVisible());
    } else {
        QTRY_VERIFY(isWelcomeVisible());
    }
}

void DesktopTest::activationChangesNothingInAShow()
{
    QVERIFY(mFixture->openFolder());
    controller().nextSlide();
    QVERIFY(mFixture->rest());
    controller().applicationActivate({"id_TIME7", "token"});
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->onScreen(), QByteArray("2.png"));
    QVERIFY(!isWelcomeVisible());
}

void DesktopTest::activationWaitsForACollection()
{
    controller().applicationOpen({mFixture->folder.url()}, {});
    QVERIFY(controller().fileSequence().isCollecting());
    controller().applicationActivate({});
    QTRY_COMPARE(mFixture->onScreen(), QByteArray("1.png"));
    QVERIFY(controller().welcomeController() == nullptr);
}

void DesktopTest::openedFilesJoinTheShow()
{
    QVERIFY(mFixture->open({mFixture->folder.urlOf("2.png"), mFixture->folder.urlOf("3.png")}));
    QCOMPARE(mFixture->onScreen(), QByteArray("2.png"));
    controller().applicationOpen({mFixture->folder.urlOf("1.png")}, {});
    QTRY_COMPARE(mFixture->onScreen(), QByteArray("1.png"));
    QCOMPARE(controller().fileSequence().count(), size_t(3));
}

void DesktopTest::nothingToOpenIsAnActivation()
{
    controller().applicationOpen({}, {});
    QTRY_VERIFY(isWelcomeVisible());
}

void DesktopTest::whatHoldsNothingIsSaidInTheWelcome()
{
    controller().applicationOpen({mFixture->folder.urlOf("none.txt")}, {"id_TIME7", {}});
    QTRY_VERIFY(isWelcomeVisible());
}

void DesktopTest::commandsAreCarriedOut()
{
    QVERIFY(mFixture->openFolder());
    QVERIFY(controller().applicationPerform("nextSlide", {}));
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->onScreen(), QByteArray("2.png"));
    QVERIFY(controller().applicationPerform("Play", {}));
    QVERIFY(controller().timerRuns());
    QVERIFY(controller().applicationPerform("ShowPreferences", {"id_TIME7", "token"}));
    QVERIFY(controller().preferenceController()->window()->isVisible());
}

void DesktopTest::aCommandThatIsNotOfferedDoesNothing()
{
    controller().applicationActivate({});
    QVERIFY(controller().applicationPerform("Play", {}));
    QVERIFY(!controller().timerRuns());
    QVERIFY(controller().applicationPerform("FullScreen", {}));
    QVERIFY(controller().screenWindow() == nullptr);
}

void DesktopTest::unknownCommandsAndTheTrashAreRefused_data()
{
    QTest::addColumn<QByteArray>("command");
    for (const char* command : {"", "trashSlide", "deleteLater", "nextslide", "nextSlide()", "%s%n"}) {
        QTest::newRow(*command == '\0' ? "empty" : command) << QByteArray(command);
    }
    QTest::newRow("endless") << QByteArray(1'000'000, 'x');
}

void DesktopTest::unknownCommandsAndTheTrashAreRefused()
{
    QFETCH(const QByteArray, command);
    QVERIFY(mFixture->openFolder());
    QVERIFY(!controller().applicationPerform(command, {}));
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->onScreen(), QByteArray("1.png"));
    QCOMPARE(controller().fileSequence().count(), size_t(3));
}

void DesktopTest::aCommandAtTheStartEndsInAWindow_data()
{
    QTest::addColumn<QByteArray>("command");
    for (const char* command : {"openMenu", "ShowPreferences", "Play", "cancel", "ShowGridScreen"}) {
        QTest::newRow(command) << QByteArray(command);
    }
}

void DesktopTest::aCommandAtTheStartEndsInAWindow()
{
    QFETCH(const QByteArray, command);
    QVERIFY(controller().applicationPerform(command, {}));
    QTRY_COMPARE(mFixture->visibleWindows().size(), 1);
}

QTEST_MAIN(DesktopTest)
#include "DesktopTest.moc"
