#include "DisplaySleep.h"

#include "SessionBus.h"
#include "SleepKeepers.h"
#include "StaysTrue.h"

#include <QElapsedTimer>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

// Counts the lines that are logged while it exists.
class LoggedLines
{
public:
    LoggedLines() : mBefore(qInstallMessageHandler(&LoggedLines::take)) { sTexts.clear(); }
    ~LoggedLines() { qInstallMessageHandler(mBefore); }
    LoggedLines(const LoggedLines&) = delete;
    LoggedLines& operator=(const LoggedLines&) = delete;

    static const QStringList& texts() { return sTexts; }

private:
    static void take(QtMsgType, const QMessageLogContext&, const QString& text) { sTexts.append(text); }

    static QStringList sTexts;
    const QtMessageHandler mBefore;
};

QStringList LoggedLines::sTexts;

} // namespace

// Over a real bus, on which a test has put those who are asked.
class DisplaySleepTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QCoreApplication::setApplicationName(QStringLiteral("frameflow")); }
    void init() { mBus = std::make_unique<SessionBus>(); }
    void cleanup() { mBus.reset(); }

    void theScreenSaverIsAskedAndToldAgain();
    void whatIsHeldIsNotAskedForTwice();
    void whatIsHeldEndsWithItsObject();
    void theScreenSaverComesBeforeThePortal();
    void withoutAScreenSaverThePortalIsAsked_data();
    void withoutAScreenSaverThePortalIsAsked();
    void withoutAnybodyOneLineIsLogged_data();
    void withoutAnybodyOneLineIsLogged();
    void aRequestThatFailedIsMadeAgain();
    void anAnswerThatComesTooLateIsTakenBack();
    void anAnswerThatIsWantedAgainIsKept();
    void aScreenSaverThatIsStartedAgainIsAskedAgain();
    void aScreenSaverThatWentIsForgotten();
    void aBusThatEndsIsQuiet();
    void aBusThatDoesNotAnswerHoldsUpNobody_data();
    void aBusThatDoesNotAnswerHoldsUpNobody();

private:
    std::unique_ptr<DisplaySleep> display() const
    {
        return std::make_unique<DisplaySleep>(QStringLiteral("Viewing Slideshow"), mBus->address());
    }
    std::unique_ptr<FakeScreenSaver> screenSaver(KeeperAnswer answer = KeeperAnswer::Yes) const
    {
        return std::make_unique<FakeScreenSaver>(mBus->address(), answer);
    }

    std::unique_ptr<SessionBus> mBus;
    const QStringList mNobody{};
    const QStringList mFailed{QStringLiteral("Failed to prevent sleep!")};
    const QStringList mUs{QStringLiteral("frameflow: Viewing Slideshow")};
    const QStringList mUsThroughThePortal{QStringLiteral("8: Viewing Slideshow")};
};

void DisplaySleepTest::theScreenSaverIsAskedAndToldAgain()
{
    const auto saver = screenSaver();
    const auto sleep = display();
    QVERIFY(!sleep->isPrevented());
    for (int round = 0; round < 3; ++round) {
        sleep->prevent();
        QTRY_COMPARE(saver->held(), mUs);
        QTRY_VERIFY(sleep->isPrevented());
        sleep->allow();
        QVERIFY(!sleep->isPrevented());
        QTRY_COMPARE(saver->held(), mNobody);
    }
    QCOMPARE(saver->asked(), 3);
}

void DisplaySleepTest::whatIsHeldIsNotAskedForTwice()
{
    const auto saver = screenSaver();
    const auto sleep = display();
    sleep->prevent();
    sleep->prevent();
    QTRY_VERIFY(sleep->isPrevented());
    sleep->prevent();
    sleep->allow();
    QTRY_COMPARE(saver->held(), mNobody);
    sleep->allow();
    QCOMPARE(saver->asked(), 1);
}

void DisplaySleepTest::whatIsHeldEndsWithItsObject()
{
    const auto saver = screenSaver();
    auto sleep = display();
    sleep->prevent();
    QTRY_COMPARE(saver->held(), mUs);
    sleep.reset();
    QTRY_COMPARE(saver->held(), mNobody);
}

void DisplaySleepTest::theScreenSaverComesBeforeThePortal()
{
    const auto saver = screenSaver();
    const FakePortal portal(mBus->address());
    const auto sleep = display();
    sleep->prevent();
    QTRY_VERIFY(sleep->isPrevented());
    QCOMPARE(saver->held(), mUs);
    QCOMPARE(portal.held(), mNobody);
}

void DisplaySleepTest::withoutAScreenSaverThePortalIsAsked_data()
{
    QTest::addColumn<bool>("refused");
    QTest::newRow("no screen saver") << false;
    QTest::newRow("a screen saver that refuses") << true;
}

void DisplaySleepTest::withoutAScreenSaverThePortalIsAsked()
{
    QFETCH(const bool, refused);
    const auto saver = refused ? screenSaver(KeeperAnswer::No) : nullptr;
    const FakePortal portal(mBus->address());
    const auto sleep = display();
    sleep->prevent();
    QTRY_COMPARE(portal.held(), mUsThroughThePortal);
    QTRY_VERIFY(sleep->isPrevented());
    sleep->allow();
    QTRY_COMPARE(portal.held(), mNobody);
}

void DisplaySleepTest::withoutAnybodyOneLineIsLogged_data()
{
    QTest::addColumn<bool>("bus");
    QTest::newRow("a bus without services") << true;
    QTest::newRow("no bus") << false;
}

void DisplaySleepTest::withoutAnybodyOneLineIsLogged()
{
    QFETCH(const bool, bus);
    if (!bus) {
        mBus->stop();
    }
    const auto sleep = display();
    bool once = false;
    {
        const LoggedLines lines;
        sleep->prevent();
        once = QTest::qWaitFor([&] { return lines.texts() == mFailed; })
            && staysTrueFor(100ms, [&] { return lines.texts() == mFailed; });
    }
    QVERIFY(once);
    QVERIFY(!sleep->isPrevented());
    sleep->allow();
}

void DisplaySleepTest::aRequestThatFailedIsMadeAgain()
{
    const auto sleep = display();
    bool failed = false;
    {
        const LoggedLines lines;
        sleep->prevent();
        failed = QTest::qWaitFor([&] { return lines.texts() == mFailed; });
    }
    QVERIFY(failed);
    sleep->allow();
    const auto saver = screenSaver();
    sleep->prevent();
    QTRY_COMPARE(saver->held(), mUs);
}

void DisplaySleepTest::anAnswerThatComesTooLateIsTakenBack()
{
    const auto saver = screenSaver(KeeperAnswer::Late);
    const auto sleep = display();
    sleep->prevent();
    QTRY_VERIFY(saver->owesAnswer());
    sleep->allow();
    QCOMPARE(saver->held(), mUs);
    saver->answerNow();
    QTRY_COMPARE(saver->held(), mNobody);
    QVERIFY(!sleep->isPrevented());
}

void DisplaySleepTest::anAnswerThatIsWantedAgainIsKept()
{
    const auto saver = screenSaver(KeeperAnswer::Late);
    const auto sleep = display();
    sleep->prevent();
    QTRY_VERIFY(saver->owesAnswer());
    sleep->allow();
    sleep->prevent();
    saver->answerNow();
    QTRY_VERIFY(sleep->isPrevented());
    QCOMPARE(saver->held(), mUs);
    QCOMPARE(saver->asked(), 1);
}

void DisplaySleepTest::aScreenSaverThatIsStartedAgainIsAskedAgain()
{
    auto saver = screenSaver();
    const auto sleep = display();
    sleep->prevent();
    QTRY_VERIFY(sleep->isPrevented());
    saver.reset();
    saver = screenSaver();
    QTRY_COMPARE(saver->held(), mUs);
    QTRY_VERIFY(sleep->isPrevented());
}

void DisplaySleepTest::aScreenSaverThatWentIsForgotten()
{
    auto saver = screenSaver();
    const auto sleep = display();
    sleep->prevent();
    QTRY_VERIFY(sleep->isPrevented());
    saver.reset();
    QTRY_VERIFY(!sleep->isPrevented());
    sleep->allow();
    saver = screenSaver();
    QVERIFY(staysTrueFor(100ms, [&] { return saver->asked() == 0; }));
}

void DisplaySleepTest::aBusThatEndsIsQuiet()
{
    const auto saver = screenSaver();
    const auto sleep = display();
    sleep->prevent();
    QTRY_VERIFY(sleep->isPrevented());
    mBus->stop();
    sleep->allow();
    QVERIFY(!sleep->isPrevented());
}

void DisplaySleepTest::aBusThatDoesNotAnswerHoldsUpNobody_data()
{
    QTest::addColumn<bool>("fromTheStart");
    QTest::newRow("from the start") << true;
    QTest::newRow("once it was connected") << false;
}

void DisplaySleepTest::aBusThatDoesNotAnswerHoldsUpNobody()
{
    QFETCH(const bool, fromTheStart);
    auto sleep = display();
    if (!fromTheStart) {
        const auto saver = screenSaver();
        sleep->prevent();
        QTRY_VERIFY(sleep->isPrevented());
        sleep->allow();
        QTRY_COMPARE(saver->held(), mNobody);
    }
    mBus->suspend();
    QElapsedTimer timer;
    timer.start();
    sleep->prevent();
    QCoreApplication::processEvents();
    sleep->allow();
    sleep->prevent();
    QVERIFY(staysTrueFor(100ms, [&] { return !sleep->isPrevented(); }));
    sleep.reset();
    QVERIFY2(timer.elapsed() < 5000, QByteArray::number(timer.elapsed()).constData());
}

QTEST_GUILESS_MAIN(DisplaySleepTest)
#include "DisplaySleepTest.moc"
