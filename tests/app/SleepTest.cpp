#include "ControllerFixture.h"
#include "SessionBus.h"
#include "SleepKeepers.h"
#include "StaysTrue.h"

#include <QTest>
#include <QWidget>

using namespace frameflow;
using namespace std::chrono_literals;

// When a show keeps the display awake, as the desktop sees it on a real bus.
class SleepTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QCoreApplication::setApplicationName(QStringLiteral("frameflow")); }
    void init();
    void cleanup();

    void theDisplayStaysAwakeWhileTheShowHasTheKeyboard();
    void theWelcomeKeepsNothingAwake();
    void theEndOfTheShowLetsTheDisplaySleep();
    void theEndOfTheProgramLetsTheDisplaySleep();
    void oneRequestServesAWholeShow();
    void aWindowThatIsMadeAnewKeepsTheDisplayAwake();
    void windowModeKeepsTheDisplayAwake();
    void theShowGoesOnWhereNobodyCanBeAsked_data();
    void theShowGoesOnWhereNobodyCanBeAsked();

private:
    bool open()
    {
        mFixture->addPictures({"1.png", "2.png", "3.png"});
        mFixture->start();
        return mFixture->openFolder();
    }

    std::unique_ptr<SessionBus> mBus;
    std::unique_ptr<ControllerFixture> mFixture;
    const QStringList mNobody{};
    const QStringList mUs{QStringLiteral("frameflow: Viewing Slideshow")};
};

void SleepTest::init()
{
    mBus = std::make_unique<SessionBus>();
    qputenv("DBUS_SESSION_BUS_ADDRESS", mBus->address().toUtf8());
    mFixture = std::make_unique<ControllerFixture>();
}

void SleepTest::cleanup()
{
    mFixture.reset();
    mBus.reset();
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void SleepTest::theDisplayStaysAwakeWhileTheShowHasTheKeyboard()
{
    const FakeScreenSaver saver(mBus->address());
    QVERIFY(open());
    QTRY_COMPARE(saver.held(), mUs);
    QWidget other;
    other.show();
    other.activateWindow();
    QTRY_COMPARE(saver.held(), mNobody);
    mFixture->controller().screenWindow()->activateWindow();
    QTRY_COMPARE(saver.held(), mUs);
    // Stopped or running makes no difference.
    mFixture->controller().Start();
    mFixture->controller().Stop();
    QVERIFY(staysTrueFor(100ms, [&] { return saver.held() == mUs; }));
}

void SleepTest::theWelcomeKeepsNothingAwake()
{
    const FakeScreenSaver saver(mBus->address());
    mFixture->start().applicationDidFinishLaunching();
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("Welcome")});
    QVERIFY(staysTrueFor(200ms, [&] { return saver.asked() == 0; }));
}

void SleepTest::theEndOfTheShowLetsTheDisplaySleep()
{
    const FakeScreenSaver saver(mBus->address());
    QVERIFY(open());
    QTRY_COMPARE(saver.held(), mUs);
    mFixture->controller().endSlideShow();
    QTRY_COMPARE(saver.held(), mNobody);
    QTRY_COMPARE(mFixture->controller().fileSequence().count(), size_t(0));
    QVERIFY(mFixture->openFolder());
    QTRY_COMPARE(saver.held(), mUs);
}

void SleepTest::theEndOfTheProgramLetsTheDisplaySleep()
{
    const FakeScreenSaver saver(mBus->address());
    QVERIFY(open());
    QTRY_COMPARE(saver.held(), mUs);
    mFixture->destroyController();
    QTRY_COMPARE(saver.held(), mNobody);
}

void SleepTest::oneRequestServesAWholeShow()
{
    const FakeScreenSaver saver(mBus->address());
    QVERIFY(open());
    QTRY_COMPARE(saver.held(), mUs);
    const int asked = saver.asked();
    for (int i = 0; i < 5; ++i) {
        mFixture->controller().nextSlide();
        QVERIFY(mFixture->rest());
    }
    mFixture->controller().preventSleep();
    QVERIFY(staysTrueFor(100ms, [&] { return saver.asked() == asked; }));
}

void SleepTest::aWindowThatIsMadeAnewKeepsTheDisplayAwake()
{
    const FakeScreenSaver saver(mBus->address());
    QVERIFY(open());
    QTRY_COMPARE(saver.held(), mUs);
    auto& controller = mFixture->controller();
    const QPointer<SlideWindow> before = controller.screenWindow();
    controller.ShowChooseScreen();
    controller.ChangeScreen();
    QVERIFY(controller.screenWindow() != before);
    QTRY_VERIFY(controller.screenWindow()->isActiveWindow());
    QTRY_COMPARE(saver.held(), mUs);
}

void SleepTest::windowModeKeepsTheDisplayAwake()
{
    const FakeScreenSaver saver(mBus->address());
    QVERIFY(open());
    mFixture->controller().WindowMode();
    QTRY_COMPARE(saver.held(), mUs);
    QVERIFY(staysTrueFor(100ms, [&] { return saver.held() == mUs; }));
}

void SleepTest::theShowGoesOnWhereNobodyCanBeAsked_data()
{
    QTest::addColumn<QByteArray>("bus");
    QTest::newRow("nobody on the bus") << QByteArray("empty");
    QTest::newRow("no bus") << QByteArray("none");
    QTest::newRow("a bus that does not answer") << QByteArray("suspended");
    QTest::newRow("a bus that ends during the show") << QByteArray("ends");
}

void SleepTest::theShowGoesOnWhereNobodyCanBeAsked()
{
    QFETCH(const QByteArray, bus);
    const auto saver = bus == "ends" ? std::make_unique<FakeScreenSaver>(mBus->address()) : nullptr;
    if (bus == "none") {
        mBus->stop();
    } else if (bus == "suspended") {
        mBus->suspend();
    }
    QVERIFY(open());
    if (saver) {
        QTRY_COMPARE(saver->held(), mUs);
        mBus->stop();
    }
    auto& controller = mFixture->controller();
    controller.Start();
    mFixture->clock.advance(5s);
    QTRY_COMPARE(mFixture->shown(), QByteArray("2.png"));
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("SlideWindow")});
    controller.endSlideShow();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
}

QTEST_MAIN(SleepTest)
#include "SleepTest.moc"
