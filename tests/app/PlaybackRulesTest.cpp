#include "ControllerFixture.h"
#include "HeldPictures.h"
#include "KLImageCache.h"
#include "StaysTrue.h"

#include <QFile>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

// The finer rules of a running show.
class PlaybackRulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { HeldPictures::useDecoder(); }
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    // A running timer and a new interval
    void theTimerIsRetimed_data();
    void theTimerIsRetimed();
    void aTimeToLookCountsAsTimeThatIsLeft();
    void anIntervalThatIsUpDuringATransitionTriesAgain();
    void anIntervalThatIsUpWhileASlideIsWaitedForDoesNotStep();
    void everyFiringBeginsAWholeInterval();

    // Unloadable files
    void anUnloadableLastFileMeetsTheEndMode_data();
    void anUnloadableLastFileMeetsTheEndMode();
    void anUnloadableFileBehindTheFirstLeadsForward_data();
    void anUnloadableFileBehindTheFirstLeadsForward();
    void whereNoSlideStandsAnUnloadableLastFileLeadsToTheFirst();
    void anUnloadableHintMakesWayForTheSlide();
    void everyFileTurnsUnloadable_data();
    void everyFileTurnsUnloadable();
    void theSlideStaysWhileUnloadableFilesAreSteppedOver();

    // Putting files on screen
    void thePointerIsHiddenWithEverySlide();
    void openingNothingMakesTheWindowAlone();
    void theTimeOnScreenIsThatOfTheSlideBefore();

    // What the sequence found
    void newFilesWithNothingOnScreenAreShownInARunningShowToo();
    void newFilesBesideAWaitingShowComeInTheirTurn();
    void autoPlayWithoutAFileDoesNothing();

    // Ends
    void theEndModeIsReadAtTheEnd();
    void aShowThatClosedCanBeginAgain();
    void rewindingSortsAnew();

private:
    SlideController& openThree()
    {
        mOpened = mFixture->openThree();
        return mFixture->controller();
    }
    QByteArray shown() const { return mFixture->shown(); }
    QByteArray onScreen() const { return mFixture->onScreen(); }
    void step() const
    {
        mFixture->controller().nextSlide();
        mFixture->rest();
    }
    static void addEndModes()
    {
        QTest::addColumn<QString>("mode");
        QTest::newRow("wait") << keys::endModeWait;
        QTest::newRow("rewind") << keys::endModeRewind;
        QTest::newRow("close") << keys::endModeClose;
        QTest::newRow("unknown") << QStringLiteral("EndModeOther");
    }

    bool mOpened = false;
    std::unique_ptr<ControllerFixture> mFixture;
};

void PlaybackRulesTest::theTimerIsRetimed_data()
{
    QTest::addColumn<double>("before");
    QTest::addColumn<double>("shownFor");
    QTest::addColumn<double>("after");
    QTest::addColumn<double>("left"); // seconds from then; the whole new interval where the slide changes at once
    QTest::addColumn<bool>("changes");
    QTest::newRow("10 to 20 after 8") << 10.0 << 8.0 << 20.0 << 12.0 << false;
    QTest::newRow("10 to 5 after 8") << 10.0 << 8.0 << 5.0 << 5.0 << true;
    QTest::newRow("10 to 8 after 8") << 10.0 << 8.0 << 8.0 << 8.0 << true;
    QTest::newRow("10 to 8.5 after 8") << 10.0 << 8.0 << 8.5 << 0.5 << false;
    QTest::newRow("10 to 10.5 at once") << 10.0 << 0.0 << 10.5 << 10.5 << false;
    QTest::newRow("5 to 1 after 0.5") << 5.0 << 0.5 << 1.0 << 0.5 << false;
    QTest::newRow("2 to 3600 after 1") << 2.0 << 1.0 << 3600.0 << 3599.0 << false;
    QTest::newRow("5 to 0 after 1") << 5.0 << 1.0 << 0.0 << 0.1 << true;
}

void PlaybackRulesTest::theTimerIsRetimed()
{
    QFETCH(const double, before);
    QFETCH(const double, shownFor);
    QFETCH(const double, after);
    QFETCH(const double, left);
    QFETCH(const bool, changes);
    mFixture->set(keys::slideInterval, before);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advanceSeconds(shownFor);
    QCOMPARE(shown(), QByteArray("1.png"));
    mFixture->set(keys::slideInterval, after);
    QCOMPARE(shown(), QByteArray(changes ? "2.png" : "1.png"));
    QVERIFY(controller.timerRuns());
    QCOMPARE(secondsFromDuration(controller.nextSlideChange() - mFixture->clock.now()), left);
    QVERIFY(mFixture->rest());
    mFixture->clock.advanceSeconds(left);
    QCOMPARE(shown(), QByteArray(changes ? "3.png" : "2.png"));
}

void PlaybackRulesTest::aTimeToLookCountsAsTimeThatIsLeft()
{
    mFixture->set(keys::slideInterval, 4);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(3s);
    controller.delayNextImage();
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
    mFixture->set(keys::slideInterval, 6); // as if it had been shown for one second less than nothing
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 7s);
}

void PlaybackRulesTest::anIntervalThatIsUpDuringATransitionTriesAgain()
{
    mFixture->set(keys::transition, QStringLiteral("Cross Fade"));
    mFixture->set(keys::slideInterval, 10);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(10s);
    QCoreApplication::processEvents();
    QCOMPARE(onScreen(), QByteArray("2.png"));
    QVERIFY(controller.slideView()->isBusy());
    mFixture->clock.advance(500ms);
    mFixture->set(keys::slideInterval, 0.5);
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(1));
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 500ms);
}

void PlaybackRulesTest::anIntervalThatIsUpWhileASlideIsWaitedForDoesNotStep()
{
    HeldPictures held(mFixture->folder);
    held.add("1 held.png", Qt::green);
    mFixture->addPictures({"0.png", "2.png"});
    mFixture->set(keys::slideInterval, 10);
    auto& controller = mFixture->start();
    QVERIFY(mFixture->collectFolder());
    QTRY_COMPARE(onScreen(), QByteArray("0.png"));
    controller.Start();
    controller.nextSlide();
    QVERIFY(controller.isWaitingForSlide());
    mFixture->clock.advance(8s);
    mFixture->set(keys::slideInterval, 5);
    QCOMPARE(shown(), QByteArray("1 held.png"));
    mFixture->clock.advance(3s);
    held.release("1 held.png");
    QTRY_COMPARE(onScreen(), QByteArray("1 held.png"));
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
    QVERIFY(staysTrueFor(100ms, [&] { return onScreen() == "1 held.png"; }));
}

void PlaybackRulesTest::everyFiringBeginsAWholeInterval()
{
    mFixture->set(keys::slideInterval, 5);
    auto& controller = openThree();
    controller.Start();
    const TimePoint begin = mFixture->clock.now();
    for (int i = 1; i <= 5; ++i) {
        QVERIFY(controller.nextSlideChange() == begin + i * 5s);
        mFixture->clock.advance(5s);
        QVERIFY(mFixture->rest());
    }
    QCOMPARE(shown(), QByteArray("3.png")); // 1 2 3 1 2 3
}

void PlaybackRulesTest::anUnloadableLastFileMeetsTheEndMode_data()
{
    addEndModes();
}

void PlaybackRulesTest::anUnloadableLastFileMeetsTheEndMode()
{
    QFETCH(const QString, mode);
    mFixture->set(keys::endMode, mode);
    mFixture->folder.addFile("4.png", "no picture");
    auto& controller = openThree();
    step();
    step();
    QCOMPARE(shown(), QByteArray("3.png"));
    step();
    if (mode == keys::endModeClose) {
        QVERIFY(controller.screenWindow() == nullptr);
        QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
        return;
    }
    QCOMPARE(controller.fileSequence().count(), size_t(3));
    if (mode == keys::endModeRewind) {
        QCOMPARE(onScreen(), QByteArray("1.png"));
    } else {
        QCOMPARE(onScreen(), QByteArray("3.png"));
        QCOMPARE(controller.fileSequence().currentIndex(), size_t(2));
        step();
        QCOMPARE(onScreen(), QByteArray("3.png"));
    }
}

void PlaybackRulesTest::anUnloadableFileBehindTheFirstLeadsForward_data()
{
    addEndModes();
}

// Going back meets a file that cannot be shown: what follows it comes, whatever the direction.
void PlaybackRulesTest::anUnloadableFileBehindTheFirstLeadsForward()
{
    QFETCH(const QString, mode);
    mFixture->set(keys::endMode, mode);
    auto& controller = openThree();
    step();
    step();
    QVERIFY(QFile::remove(QString::fromUtf8(mFixture->folder.pathOf("2.png"))));
    KLImageCache::purge();
    controller.previousSlide();
    QVERIFY(mFixture->rest());
    QCOMPARE(onScreen(), QByteArray("3.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(2));
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(1));
}

void PlaybackRulesTest::whereNoSlideStandsAnUnloadableLastFileLeadsToTheFirst()
{
    mFixture->set(keys::endMode, keys::endModeWait);
    auto& controller = openThree();
    step();
    step();
    controller.slideView()->clearImage();
    mFixture->folder.addFile("3.png", "no picture any more");
    KLImageCache::purge();
    controller.reloadCurrent();
    QVERIFY(mFixture->rest());
    QCOMPARE(onScreen(), QByteArray("1.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(2));
}

void PlaybackRulesTest::anUnloadableHintMakesWayForTheSlide()
{
    mFixture->resourceFolder.addFile("hint screen.png", "no picture");
    mFixture->set(keys::hintsShown, false);
    auto& controller = openThree();
    QCOMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(!controller.hintsScreenShown());
    QCOMPARE(controller.fileSequence().count(), size_t(3));
}

void PlaybackRulesTest::everyFileTurnsUnloadable_data()
{
    addEndModes();
}

void PlaybackRulesTest::everyFileTurnsUnloadable()
{
    QFETCH(const QString, mode);
    mFixture->set(keys::endMode, mode);
    auto& controller = openThree();
    for (const char* const name : {"1.png", "2.png", "3.png"}) {
        mFixture->folder.addFile(name, "no picture any more");
    }
    controller.nextSlide();
    QTRY_VERIFY(!controller.isWaitingForSlide());
    if (mode == keys::endModeClose) {
        QVERIFY(controller.screenWindow() == nullptr);
        return;
    }
    // The one on screen stays there, as its file was, until it is stepped to again.
    QCOMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(controller.fileSequence().count() <= 1);
    step();
    QCOMPARE(onScreen(), QByteArray("1.png"));
}

void PlaybackRulesTest::theSlideStaysWhileUnloadableFilesAreSteppedOver()
{
    HeldPictures held(mFixture->folder);
    held.add("1a held.png", Qt::green);
    mFixture->folder.addFile("1b.png", "no picture");
    auto& controller = mFixture->start();
    mFixture->addPictures({"1.png", "2.png"});
    QVERIFY(mFixture->collectFolder());
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    QVERIFY(staysTrueFor(100ms, [&] { return onScreen() == "1.png"; }));
    held.spoil("1a held.png");
    QTRY_COMPARE(onScreen(), QByteArray("2.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(2));
}

void PlaybackRulesTest::thePointerIsHiddenWithEverySlide()
{
    auto& controller = openThree();
    const auto* const view = controller.slideView();
    QCOMPARE(view->cursor().shape(), Qt::BlankCursor);
    const auto moveMouse = [&](const QPoint& place) {
        QCursor::setPos(place);
        QTest::mouseMove(controller.slideView(), controller.slideView()->mapFromGlobal(place));
    };
    moveMouse({100, 100});
    QTRY_COMPARE(view->cursor().shape(), Qt::ArrowCursor);
    for (int i = 0; i < 2; ++i) {
        step();
        QCOMPARE(view->cursor().shape(), Qt::BlankCursor);
        moveMouse({120 + 10 * i, 130});
        QTRY_COMPARE(view->cursor().shape(), Qt::ArrowCursor);
    }
}

void PlaybackRulesTest::openingNothingMakesTheWindowAlone()
{
    auto& controller = mFixture->start();
    controller.openImageURL({}, true);
    QVERIFY(controller.screenWindow() != nullptr);
    QVERIFY(controller.imageURL().isEmpty());
    QVERIFY(!controller.isWaitingForSlide());
}

void PlaybackRulesTest::theTimeOnScreenIsThatOfTheSlideBefore()
{
    auto& controller = openThree();
    for (const double seconds : {2.5, 0.25, 60.0}) {
        mFixture->clock.advanceSeconds(seconds);
        step();
        QCOMPARE(controller.lastSlideTime(), seconds);
    }
    controller.Start(); // the interval comes from the settings all the same
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
}

void PlaybackRulesTest::newFilesWithNothingOnScreenAreShownInARunningShowToo()
{
    mFixture->set(keys::endMode, keys::endModeWait);
    mFixture->set(keys::showNewItemsASAP, false);
    mFixture->set(keys::autoStart, true);
    auto& controller = openThree();
    QVERIFY(controller.timerRuns());
    controller.openImageURL({}, true); // nothing is on screen any more
    controller.newFilesFound();
    QVERIFY(mFixture->rest());
    QCOMPARE(shown(), QByteArray("2.png"));
    QVERIFY(controller.timerRuns());
}

void PlaybackRulesTest::newFilesBesideAWaitingShowComeInTheirTurn()
{
    mFixture->set(keys::endMode, keys::endModeWait);
    mFixture->set(keys::showNewItemsASAP, true);
    auto& controller = openThree();
    controller.previousSlide();
    controller.Start();
    mFixture->clock.advance(5s);
    QCOMPARE(shown(), QByteArray("3.png"));
    controller.fileSequence().addURL(mFixture->addPicture("4.png"));
    controller.newFilesFound();
    QCOMPARE(shown(), QByteArray("3.png"));
    mFixture->clock.advance(5s);
    QTRY_COMPARE(onScreen(), QByteArray("4.png"));
}

void PlaybackRulesTest::autoPlayWithoutAFileDoesNothing()
{
    mFixture->set(keys::autoStart, true);
    auto& controller = mFixture->start();
    controller.applicationDidFinishLaunching();
    controller.autoPlay();
    QVERIFY(controller.screenWindow() == nullptr);
    QVERIFY(!controller.timerRuns());
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("Welcome")});
}

void PlaybackRulesTest::theEndModeIsReadAtTheEnd()
{
    mFixture->set(keys::endMode, keys::endModeWait);
    auto& controller = openThree();
    controller.previousSlide();
    QVERIFY(mFixture->rest());
    step();
    QCOMPARE(shown(), QByteArray("3.png"));
    mFixture->set(keys::endMode, keys::endModeRewind);
    step();
    QCOMPARE(shown(), QByteArray("1.png"));
    controller.previousSlide();
    QVERIFY(mFixture->rest());
    mFixture->set(keys::endMode, keys::endModeClose);
    controller.nextSlide();
    QVERIFY(controller.screenWindow() == nullptr);
}

void PlaybackRulesTest::aShowThatClosedCanBeginAgain()
{
    mFixture->set(keys::endMode, keys::endModeClose);
    auto& controller = openThree();
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(onScreen(), QByteArray("1.png"));
        step();
        step();
        QCOMPARE(onScreen(), QByteArray("3.png"));
        controller.nextSlide();
        QVERIFY(controller.screenWindow() == nullptr);
        QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
        QVERIFY(mFixture->openFolder());
    }
}

void PlaybackRulesTest::rewindingSortsAnew()
{
    mFixture->set(keys::endMode, keys::endModeRewind);
    auto& controller = openThree();
    controller.previousSlide();
    QVERIFY(mFixture->rest());
    controller.fileSequence().addURL(mFixture->addPicture("0.png"));
    step();
    QCOMPARE(shown(), QByteArray("0.png")); // added at the end
    step();
    QCOMPARE(shown(), QByteArray("0.png")); // and the first of the order
    step();
    QCOMPARE(shown(), QByteArray("1.png"));
}

QTEST_MAIN(PlaybackRulesTest)
#include "PlaybackRulesTest.moc"
