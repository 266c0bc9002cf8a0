#include "ChooseScreenWindow.h"
#include "ControllerFixture.h"
#include "OpenPanel.h"
#include "RectText.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace frameflow;
using namespace std::chrono_literals;

class LifecycleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    // Start-up and first content
    void theDefaultsAreRegisteredAtStartUp();
    void theMainDisplayIsTakenWithOneDisplayAttached();
    void launchedWithoutFilesTheWelcomeIsShown();
    void withWelcomeSwitchedOffALaunchByHandAsksWhatToOpen();
    void reopeningTheLastFolderFromAnEmptyListShowsNothingAtFirst();
    void filesAtLaunchTakeThePlaceOfTheWelcome();
    void theMenusAreMadeWithTheFirstWindow();

    // Never an invisible program
    void nothingDisplayableIsSaidInAWindow_data();
    void nothingDisplayableIsSaidInAWindow();
    void aShowThatEndedLeavesTheWelcome();
    void withWelcomeSwitchedOffAnEndedShowEndsTheProgram();
    void closingTheWelcomeEndsTheProgram();
    void theWelcomeGoesWhenAShowBegins();

    // Activation
    void activationInWindowModeGoesBackToFullScreen();
    void activationInFullScreenChangesNothing();
    void activationWithoutACurrentFileShowsTheWelcome_data();
    void activationWithoutACurrentFileShowsTheWelcome();
    void activationWhileCollectingDoesNothing();

    // Window mode and full screen
    void windowModeAndFullScreenNeedAWindow();
    void windowModeIsHalfTheDisplay();
    void fullScreenCoversTheDisplay();
    void closingTheWindowEndsTheShow();
    void resizingRefreshesTheSlide();
    void aNewWindowBringsANewView();
    void openingAFileWithoutAVisibleWindowMakesOne();

    // Displays
    void choosingTheDisplayRebuildsTheWindowAndStoresTheFrame();
    void choosingTheDisplayWithoutAShowStoresTheFrameAlone();

    // The end
    void destroyingTheControllerInTheMiddleOfEverythingIsQuiet();

private:
    SlideController& openTwo()
    {
        mFixture->addPictures({"1.png", "2.png"});
        mFixture->start();
        mOpened = mFixture->openFolder();
        return mFixture->controller();
    }
    QStringList windows() const { return mFixture->visibleWindows(); }
    static void runOneTurn()
    {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
    }

    bool mOpened = false;
    std::unique_ptr<ControllerFixture> mFixture;
    const QStringList mStartOnly{QStringLiteral("Welcome")};
    const QStringList mSlideOnly{QStringLiteral("SlideWindow")};
};

void LifecycleTest::theDefaultsAreRegisteredAtStartUp()
{
    mFixture->start();
    mFixture->set(keys::transition, QVariant());
    // The registered interval of five seconds drives the first timer.
    mFixture->addPictures({"1.png", "2.png"});
    QVERIFY(mFixture->openFolder());
    mFixture->controller().Start();
    QVERIFY(mFixture->controller().nextSlideChange() == mFixture->clock.now() + 5s);
}

void LifecycleTest::theMainDisplayIsTakenWithOneDisplayAttached()
{
    mFixture->set(keys::screenRectFrame, QStringLiteral("{{5000, 0}, {10, 10}}"));
    mFixture->start();
    QCOMPARE(mFixture->controller().currentScreen(), QGuiApplication::primaryScreen());
}

void LifecycleTest::launchedWithoutFilesTheWelcomeIsShown()
{
    mFixture->start().applicationDidFinishLaunching();
    QCOMPARE(windows(), mStartOnly);
    const auto* title = mFixture->controller().welcomeController()->window()->findChild<QLabel*>();
    QCOMPARE(title->text(), QStringLiteral("Welcome to Frameflow"));
}

void LifecycleTest::withWelcomeSwitchedOffALaunchByHandAsksWhatToOpen()
{
    mFixture->set(keys::showWelcome, false);
    const QSignalSpy quits(qApp, &QCoreApplication::aboutToQuit);
    mFixture->start().applicationDidFinishLaunching();
    QCOMPARE(windows(), QStringList());
    QTRY_COMPARE(windows(), QStringList{QStringLiteral("OpenPanel")});
    const auto* message = mFixture->controller().openPanel()->findChild<QLabel*>(QStringLiteral("message"));
    QVERIFY(message != nullptr);
    QCOMPARE(message->text(), QStringLiteral("Choose a folder or some files to display."));
}

void LifecycleTest::reopeningTheLastFolderFromAnEmptyListShowsNothingAtFirst()
{
    mFixture->set(keys::openLastUsedFolder, true);
    mFixture->start().applicationDidFinishLaunching();
    QCOMPARE(windows(), QStringList());
    QTRY_COMPARE(windows(), mStartOnly); // no program is ever invisible
}

void LifecycleTest::filesAtLaunchTakeThePlaceOfTheWelcome()
{
    openTwo();
    QVERIFY(mOpened);
    runOneTurn();
    QCOMPARE(windows(), mSlideOnly);
}

// The first slide does not wait for them.
void LifecycleTest::theMenusAreMadeWithTheFirstWindow()
{
    const auto areThere = [] {
        const auto widgets = QApplication::topLevelWidgets();
        return std::any_of(widgets.begin(), widgets.end(),
            [](const QWidget* widget) { return widget->objectName() == QStringLiteral("MainMenu"); });
    };
    mFixture->addPictures({"1.png"});
    mFixture->start();
    QVERIFY(!areThere());
    QVERIFY(mFixture->openFolder());
    QVERIFY(areThere());
}

void LifecycleTest::nothingDisplayableIsSaidInAWindow_data()
{
    QTest::addColumn<QByteArray>("what");
    QTest::addColumn<QString>("sentence");
    QTest::newRow("empty folder") << QByteArray("empty") << QStringLiteral("No pictures or movies were found in “");
    QTest::newRow("a text") << QByteArray("notes.txt") << QStringLiteral("” cannot be shown.");
    QTest::newRow("a broken picture") << QByteArray("broken.jpg") << QStringLiteral("” cannot be shown.");
    QTest::newRow("nothing there") << QByteArray("gone") << QStringLiteral("” was not found.");
    QTest::newRow("an odd name") << QByteArray("a\n%1;#?\xff") << QStringLiteral("” was not found.");
}

void LifecycleTest::nothingDisplayableIsSaidInAWindow()
{
    QFETCH(QByteArray, what);
    QFETCH(QString, sentence);
    mFixture->folder.addFolder("empty");
    mFixture->folder.addFile("broken.jpg", "no picture");
    mFixture->folder.addFile("notes.txt", "hello");
    mFixture->start();
    QVERIFY(mFixture->open({mFixture->folder.urlOf(what)}));
    QTRY_COMPARE(windows(), mStartOnly);
    const auto labels = mFixture->controller().welcomeController()->window()->findChildren<QLabel*>();
    QCOMPARE(labels.at(0)->text(), QStringLiteral("Nothing to show"));
    QVERIFY2(labels.at(1)->text().contains(sentence), qPrintable(labels.at(1)->text()));
    QVERIFY(!labels.at(1)->text().contains(QLatin1Char('\n')));
    QVERIFY(labels.at(1)->toolTip().startsWith(QString::fromUtf8(mFixture->folder.path())));
    QVERIFY(mFixture->controller()
                .welcomeController()
                ->window()
                ->findChild<QPushButton*>(QStringLiteral("OpenFolder"))
                ->isEnabled());
}

void LifecycleTest::aShowThatEndedLeavesTheWelcome()
{
    auto& controller = openTwo();
    controller.cancel();
    QTRY_COMPARE(windows(), mStartOnly);
    QCOMPARE(
        controller.welcomeController()->window()->findChild<QLabel*>()->text(), QStringLiteral("Welcome to Frameflow"));
}

void LifecycleTest::withWelcomeSwitchedOffAnEndedShowEndsTheProgram()
{
    mFixture->set(keys::showWelcome, false);
    auto& controller = openTwo();
    controller.cancel();
    // exec returns when the program quits; the guard would let it return late and with another code.
    QTimer::singleShot(10000, qApp, [] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
    QCOMPARE(windows(), QStringList());
}

void LifecycleTest::closingTheWelcomeEndsTheProgram()
{
    mFixture->start().applicationDidFinishLaunching();
    QTimer::singleShot(10000, qApp, [] { QCoreApplication::exit(1); });
    QTimer::singleShot(0, qApp, [this] { mFixture->controller().welcomeController()->window()->close(); });
    QCOMPARE(QCoreApplication::exec(), 0);
}

void LifecycleTest::theWelcomeGoesWhenAShowBegins()
{
    mFixture->start().applicationDidFinishLaunching();
    mFixture->addPictures({"1.png"});
    QVERIFY(mFixture->openFolder());
    QCOMPARE(windows(), mSlideOnly);
}

void LifecycleTest::activationInWindowModeGoesBackToFullScreen()
{
    auto& controller = openTwo();
    controller.nextSlide();
    controller.WindowMode();
    QVERIFY(controller.isWindowMode());
    const QPointer<SlideWindow> before = controller.screenWindow();
    controller.applicationWillBecomeActive();
    QVERIFY(!controller.isWindowMode());
    QVERIFY(controller.screenWindow() != before);
    QCOMPARE(controller.screenWindow()->geometry(), controller.currentScreen()->geometry());
    QCOMPARE(mFixture->shown(), QByteArray("2.png"));
    QTRY_VERIFY(controller.slideView()->currentImage() != nullptr);
    QCOMPARE(windows(), mSlideOnly);
}

void LifecycleTest::activationInFullScreenChangesNothing()
{
    auto& controller = openTwo();
    const auto* before = controller.screenWindow();
    controller.applicationWillBecomeActive();
    QCOMPARE(controller.screenWindow(), before);
}

void LifecycleTest::activationWithoutACurrentFileShowsTheWelcome_data()
{
    QTest::addColumn<QVariant>("showWelcome");
    QTest::addColumn<bool>("shown");
    QTest::newRow("absent") << QVariant() << true;
    QTest::newRow("true") << QVariant(true) << true;
    QTest::newRow("false") << QVariant(false) << false;
}

void LifecycleTest::activationWithoutACurrentFileShowsTheWelcome()
{
    QFETCH(QVariant, showWelcome);
    QFETCH(bool, shown);
    if (showWelcome.isValid()) {
        mFixture->set(keys::showWelcome, showWelcome);
    }
    mFixture->start().applicationWillBecomeActive();
    QCOMPARE(windows(), shown ? mStartOnly : QStringList());
}

void LifecycleTest::activationWhileCollectingDoesNothing()
{
    mFixture->addPictures({"1.png"});
    auto& controller = mFixture->start();
    controller.applicationOpenFiles({mFixture->folder.url()});
    QVERIFY(controller.fileSequence().isCollecting());
    controller.applicationWillBecomeActive();
    QCOMPARE(windows(), QStringList());
    QTRY_COMPARE(windows(), mSlideOnly);
}

void LifecycleTest::windowModeAndFullScreenNeedAWindow()
{
    auto& controller = mFixture->start();
    controller.WindowMode();
    controller.FullScreen();
    QVERIFY(!controller.isWindowMode());
    QVERIFY(controller.screenWindow() == nullptr);
    QCOMPARE(windows(), QStringList());
}

void LifecycleTest::windowModeIsHalfTheDisplay()
{
    auto& controller = openTwo();
    controller.WindowMode();
    const QRect display = controller.currentScreen()->geometry();
    QCOMPARE(controller.screenWindow()->size(), display.size() / 2);
    QVERIFY(!controller.screenWindow()->isFullScreen());
}

void LifecycleTest::fullScreenCoversTheDisplay()
{
    auto& controller = openTwo();
    controller.WindowMode();
    controller.FullScreen();
    QVERIFY(!controller.isWindowMode());
    QVERIFY(controller.screenWindow()->isFullScreen());
    QCOMPARE(controller.screenWindow()->geometry(), controller.currentScreen()->geometry());
    QCOMPARE(controller.slideView()->size(), controller.currentScreen()->size());
}

void LifecycleTest::closingTheWindowEndsTheShow()
{
    auto& controller = openTwo();
    controller.screenWindow()->close();
    QVERIFY(controller.screenWindow() == nullptr);
    QTRY_COMPARE(windows(), mStartOnly);
}

void LifecycleTest::resizingRefreshesTheSlide()
{
    auto& controller = openTwo();
    controller.WindowMode();
    controller.screenWindow()->resize(300, 200);
    QCoreApplication::processEvents();
    const QRectF frame = controller.slideView()->rectForImage(controller.slideView()->currentImage());
    QCOMPARE(controller.slideView()->currentLayer()->frame(), frame);
}

void LifecycleTest::aNewWindowBringsANewView()
{
    auto& controller = openTwo();
    const QPointer<KLLayerView> before = controller.slideView();
    controller.cancel();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    QVERIFY(mFixture->openFolder());
    QVERIFY(controller.slideView() != before);
}

void LifecycleTest::openingAFileWithoutAVisibleWindowMakesOne()
{
    auto& controller = openTwo();
    controller.screenWindow()->hide();
    controller.nextSlide();
    QVERIFY(controller.screenWindow()->isVisible());
    QCOMPARE(mFixture->shown(), QByteArray("2.png"));
}

void LifecycleTest::choosingTheDisplayRebuildsTheWindowAndStoresTheFrame()
{
    auto& controller = openTwo();
    const QPointer<SlideWindow> before = controller.screenWindow();
    controller.ShowChooseScreen();
    QVERIFY(controller.chooseScreenWindow()->isVisible());
    controller.chooseScreenWindow()->findChild<QPushButton*>(QStringLiteral("useButton"))->click();
    QVERIFY(!controller.chooseScreenWindow()->isVisible());
    QVERIFY(controller.screenWindow() != before);
    QCOMPARE(mFixture->shown(), QByteArray("1.png"));
    QTRY_COMPARE(windows(), mSlideOnly);
    QTRY_COMPARE(
        mFixture->settings().stringValue(keys::screenRectFrame), textFromRect(controller.currentScreen()->geometry()));
}

void LifecycleTest::choosingTheDisplayWithoutAShowStoresTheFrameAlone()
{
    auto& controller = mFixture->start();
    controller.ShowChooseScreen();
    controller.ChangeScreen();
    QVERIFY(controller.screenWindow() == nullptr);
    QTRY_COMPARE(windows(), mStartOnly);
    QCOMPARE(
        mFixture->settings().stringValue(keys::screenRectFrame), textFromRect(controller.currentScreen()->geometry()));
}

void LifecycleTest::destroyingTheControllerInTheMiddleOfEverythingIsQuiet()
{
    mFixture->set(keys::transition, QStringLiteral("Cross Fade"));
    mFixture->addPictures({"1.png", "2.png", "3.png"});
    auto& controller = mFixture->start();
    controller.applicationOpenFiles({mFixture->folder.url()});
    mFixture->destroyController(); // while collecting
    runOneTurn();

    mFixture->start();
    QVERIFY(mFixture->openFolder());
    mFixture->controller().Start();
    mFixture->controller().nextSlide(); // in a transition
    mFixture->controller().endSlideShow();
    mFixture->destroyController(); // while clearing
    runOneTurn();
    QCOMPARE(windows(), QStringList());
    QCOMPARE(mFixture->clock.pendingAlarms(), size_t(0));
}

QTEST_MAIN(LifecycleTest)
#include "LifecycleTest.moc"
