#include "ClockJumps.h"

#include "MovieFiles.h"
#include "PictureFiles.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"
#include "SleepKeepers.h"
#include "SlideLog.h"
#include "StaysTrue.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);
const QColor blue(30, 30, 200);

} // namespace

// Clocks that jump under the running program, as they do when somebody sets them and when a machine wakes up. What it
// does in time goes on as if nothing had been.
class ClockJumpsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aTimedShowKeepsItsPace_data() { jumps(); }
    void aTimedShowKeepsItsPace();
    void aTransitionEndsInItsTime_data() { jumps(); }
    void aTransitionEndsInItsTime();
    void theHotFolderIsLookedAt_data() { jumps(); }
    void theHotFolderIsLookedAt();
    void aMoviePlaysOn_data();
    void aMoviePlaysOn();
    void aMovieIsLeftWhenTheClockIsSetBack();
    void theDisplayStaysAwake_data() { jumps(); }
    void theDisplayStaysAwake();
    void aProgramThatWasStoppedDoesNotRush();

private:
    static void jumps();
    void jump();
    // Between two pictures, and on screen when this is true.
    bool beginMovie();
    bool waitForMiddle(const QColor& colour) const
    {
        return waitFor([&] { return isNear(server().pixel(server().bounds().center()), colour.rgb(), 14); });
    }
    const XServer& server() const { return mShow->server(); }
    void press(const char* key) const { mShow->press(QString::fromLatin1(key)); }

    std::unique_ptr<ClockJumps> mClocks;
    std::unique_ptr<ShowDriver> mShow;
};

void ClockJumpsTest::init()
{
    mClocks = std::make_unique<ClockJumps>();
    mShow = std::make_unique<ShowDriver>();
    const auto variables = mClocks->variables();
    for (auto it = variables.cbegin(); it != variables.cend(); ++it) {
        mShow->setVariable(it.key(), it.value());
    }
    mShow->addColour("1.png", red);
    mShow->addColour("2.png", green);
    mShow->addColour("3.png", blue);
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    mShow->set(keys::endMode, keys::endModeRewind);
}

void ClockJumpsTest::cleanup()
{
    mShow.reset();
    mClocks.reset();
}

void ClockJumpsTest::jumps()
{
    QTest::addColumn<int>("hours");
    QTest::addColumn<bool>("isSleep");
    QTest::newRow("an hour back") << -1 << false;
    QTest::newRow("ten years ahead") << 24 * 3653 << false;
    QTest::newRow("a night's sleep") << 9 << true;
}

void ClockJumpsTest::jump()
{
    QFETCH(const int, hours);
    QFETCH(const bool, isSleep);
    const std::chrono::hours time(hours);
    if (isSleep) {
        mClocks->suspend(time);
    } else {
        mClocks->setTimeOfDay(time);
    }
}

void ClockJumpsTest::aTimedShowKeepsItsPace()
{
    mShow->set(keys::slideInterval, 1);
    QVERIFY(mShow->startAndRest());
    SlideLog log(server(), {{"red", red}, {"green", green}, {"blue", blue}});
    press("1"); // a second for each
    QVERIFY(waitFor([&] { return log.count() == 2; }));
    jump();
    QElapsedTimer time;
    time.start();
    QVERIFY(waitFor([&] { return log.count() == 5; }));
    // The first may have been due; a busy machine may be slow, but nothing makes it fast.
    QVERIFY2(time.elapsed() > 1900, QByteArray::number(time.elapsed()).constData());
    if (log.longestGap() < 800) {
        QCOMPARE(log.text(), QByteArray("red green blue red green"));
    }
}

void ClockJumpsTest::aTransitionEndsInItsTime()
{
    mShow->set(keys::transition, QStringLiteral("Cross Fade"));
    QVERIFY(mShow->startAndRest() && waitForMiddle(red));
    press("Right");
    QElapsedTimer time;
    time.start();
    QVERIFY(waitFor([&] { return !isNear(server().pixel(server().bounds().center()), red.rgb(), 4); }));
    jump();
    QVERIFY(waitForMiddle(green));
    QVERIFY2(
        time.elapsed() > 500, QByteArray::number(time.elapsed()).constData()); // of one second, but for the last shades
    QVERIFY(mShow->waitUntilAtRest());
    press("Right");
    QVERIFY(waitForMiddle(blue));
}

void ClockJumpsTest::theHotFolderIsLookedAt()
{
    QVERIFY(mShow->startAndRest() && waitForMiddle(red));
    jump();
    mShow->addColour("0.png", blue);
    QVERIFY(waitForMiddle(blue)); // new files are shown as soon as possible
    QVERIFY(mShow->waitUntilAtRest()); // and then it does not look again and again
}

bool ClockJumpsTest::beginMovie()
{
    const MovieFiles movies;
    if (!movies.make("2.mkv",
            "-f lavfi -i color=0x1ea01e:s=320x200:r=25,format=yuv420p -f lavfi -i sine=440 -t 3 -c:v ffv1 "
            "-c:a pcm_s16le")) {
        return false;
    }
    mShow->folder.addFile("2.mkv", movies.contentsOf("2.mkv"));
    QFile::remove(QString::fromUtf8(mShow->folder.pathOf("2.png")));
    if (!mShow->startAndRest() || !waitForMiddle(red)) {
        return false;
    }
    press("Right");
    return waitForMiddle(green);
}

// Set back, it may stand: the player library waits for the time of day.
void ClockJumpsTest::aMovieIsLeftWhenTheClockIsSetBack()
{
    QVERIFY(beginMovie());
    mClocks->setTimeOfDay(-1h);
    press("Right");
    QVERIFY(waitForMiddle(blue));
    press("Left");
    QVERIFY(waitForMiddle(green)); // it plays anew
    QVERIFY(waitForMiddle(blue));
    press("ctrl+q");
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode(), std::optional(0));
}

void ClockJumpsTest::aMoviePlaysOn_data()
{
    QTest::addColumn<int>("hours");
    QTest::addColumn<bool>("isSleep");
    QTest::newRow("ten years ahead") << 24 * 3653 << false;
    QTest::newRow("a night's sleep") << 9 << true;
}

void ClockJumpsTest::aMoviePlaysOn()
{
    QVERIFY(beginMovie());
    QElapsedTimer time;
    time.start();
    QVERIFY(staysTrueFor(500ms, [&] { return isNear(server().pixel(server().bounds().center()), green.rgb(), 14); }));
    jump();
    QVERIFY(waitForMiddle(blue)); // it has come to its end
    QVERIFY2(time.elapsed() > 2000, QByteArray::number(time.elapsed()).constData());
}

void ClockJumpsTest::theDisplayStaysAwake()
{
    const FakeScreenSaver saver(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"));
    const QStringList us{QStringLiteral("frameflow: Viewing Slideshow")};
    QVERIFY(mShow->startAndRest());
    QVERIFY(waitFor([&] { return saver.held() == us; }));
    jump();
    press("Right");
    QVERIFY(waitForMiddle(green));
    QVERIFY(staysTrueFor(300ms, [&] { return saver.held() == us; }));
    press("Escape");
    QVERIFY(waitFor([&] { return saver.held().isEmpty(); }));
}

// A machine that sleeps stops its programs; no clock has to jump for that.
void ClockJumpsTest::aProgramThatWasStoppedDoesNotRush()
{
    mShow->set(keys::transition, QStringLiteral("Fast Cross Fade"));
    QVERIFY(mShow->startAndRest());
    SlideLog log(server(), {{"red", red}, {"green", green}, {"blue", blue}});
    press("1");
    QVERIFY(waitFor([&] { return log.count() == 2; }));
    const auto process = static_cast<pid_t>(mShow->program().processId());
    ::kill(process, SIGSTOP);
    QVERIFY(staysTrueFor(4s, [&] { return log.count() <= 3; }));
    const int before = log.count();
    QElapsedTimer time;
    time.start();
    ::kill(process, SIGCONT);
    QVERIFY(waitFor([&] { return log.count() == before + 3; }));
    QVERIFY2(time.elapsed() > 1900, QByteArray::number(time.elapsed()).constData()); // one was due, two were not
}

QTEST_GUILESS_MAIN(ClockJumpsTest)
#include "ClockJumpsTest.moc"
