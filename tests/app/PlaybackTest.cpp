#include "ControllerFixture.h"

#include <QLabel>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

class PlaybackTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    // Opening
    void theFirstOfTheOrderedSequenceIsOnScreenAfterOpening();
    void withAutoStartTheTimerRunsFromTheFirstSlide();
    void withoutAutoStartTheTimerStandsStill();
    void aSecondHandOverAddsToTheFirst();

    // The timer
    void theTimerStepsOneSlidePerInterval();
    void startingDoesNotChangeTheSlide();
    void aManualStepGivesTheNewSlideAFullInterval_data();
    void aManualStepGivesTheNewSlideAFullInterval();
    void aManualStepDoesNotStartAStoppedShow();
    void playTogglesTheTimer();
    void raisingTheIntervalMovesTheChange();
    void loweringTheIntervalBelowTheTimeShownChangesTheSlideAtOnce();
    void delayNextImageGivesFiveSeconds();
    void delayNextImageLeavesAStoppedShowAlone();
    void theIntervalAlwaysComesFromTheSetting();

    // Stepping and ends
    void nextPastTheEndFollowsTheEndMode_data();
    void nextPastTheEndFollowsTheEndMode();
    void previousFromTheFirstWrapsInEveryEndMode_data();
    void previousFromTheFirstWrapsInEveryEndMode();
    void waitingAtTheEndTheTimerKeepsFiring();
    void filesThatArriveLaterContinueAWaitingShow();
    void navigationWhileATransitionRunsIsDropped();
    void theTrashIsRefusedDuringATransition();
    void aBusyViewCostsNoFile();
    void theTitleIsOneLineThatReadsAsItStands();

    // Files that cannot be shown
    void anUndecodableFileDisappearsAndTheShowMovesOn_data();
    void anUndecodableFileDisappearsAndTheShowMovesOn();
    void anUndecodableFirstFileDoesNotEndTheShow_data();
    void anUndecodableFirstFileDoesNotEndTheShow();
    void aFolderOfBrokenFilesEndsTheShow();
    void manyBrokenFilesLeaveTheWindowItsTurns();
    void aCollectionThatEndsWhileBrokenFilesAreSteppedOverLeavesTheShow();
    void aFileThatVanishedIsSteppedOver();
    void moviesAreSteppedOverAndStayInTheSequence();
    void aFolderOfMoviesAloneEndsTheShow();

    // Notifications
    void newFilesFoundMovesOnWhenTheRulesSaySo_data();
    void newFilesFoundMovesOnWhenTheRulesSaySo();

    // The hint
    void theHintIsShownOnceAndCoversTheCurrentFile_data();
    void theHintIsShownOnceAndCoversTheCurrentFile();
    void aMissingHintPictureDoesNotHideTheShow();

    // The end
    void endingTheShowStopsClosesAndClears();
    void theTimeThatASlideWasShownIsKept();

private:
    SlideController& openThree()
    {
        mOpened = mFixture->openThree();
        return mFixture->controller();
    }
    QByteArray onScreen() const { return mFixture->onScreen(); }
    QByteArray shown() const { return mFixture->shown(); }

    bool mOpened = false;
    std::unique_ptr<ControllerFixture> mFixture;
};

void PlaybackTest::theFirstOfTheOrderedSequenceIsOnScreenAfterOpening()
{
    auto& controller = openThree();
    QVERIFY(mOpened);
    QCOMPARE(shown(), QByteArray("1.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(3));
    QVERIFY(controller.screenWindow() != nullptr);
    QVERIFY(controller.screenWindow()->isVisible());
    QVERIFY(controller.slideView()->ImageOK());
}

void PlaybackTest::withAutoStartTheTimerRunsFromTheFirstSlide()
{
    mFixture->set(keys::autoStart, true);
    mFixture->set(keys::slideInterval, 7);
    auto& controller = openThree();
    QVERIFY(controller.timerRuns());
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 7s);
}

void PlaybackTest::withoutAutoStartTheTimerStandsStill()
{
    auto& controller = openThree();
    QVERIFY(!controller.timerRuns());
    mFixture->clock.advance(1h);
    QCOMPARE(shown(), QByteArray("1.png"));
}

void PlaybackTest::aSecondHandOverAddsToTheFirst()
{
    auto& controller = openThree();
    TestFolder other;
    const QByteArray path = other.addFile("0.png");
    QImage picture(4, 4, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    QVERIFY(picture.save(QString::fromUtf8(path)));
    QVERIFY(mFixture->open({other.url()}));
    QCOMPARE(controller.fileSequence().count(), size_t(4));
    QCOMPARE(shown(), QByteArray("0.png"));
}

void PlaybackTest::theTimerStepsOneSlidePerInterval()
{
    mFixture->set(keys::slideInterval, 5);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(4999ms);
    QCOMPARE(shown(), QByteArray("1.png"));
    mFixture->clock.advance(1ms);
    QCOMPARE(shown(), QByteArray("2.png"));
    mFixture->clock.advance(5s);
    QCOMPARE(shown(), QByteArray("3.png"));
    QVERIFY(controller.timerRuns());
}

void PlaybackTest::startingDoesNotChangeTheSlide()
{
    auto& controller = openThree();
    controller.Start();
    QCOMPARE(shown(), QByteArray("1.png"));
    const TimePoint due = controller.nextSlideChange();
    mFixture->clock.advance(1s);
    controller.Start(); // runs already: nothing
    QVERIFY(controller.nextSlideChange() == due);
}

void PlaybackTest::aManualStepGivesTheNewSlideAFullInterval_data()
{
    QTest::addColumn<QByteArray>("step");
    QTest::newRow("next") << QByteArray("nextSlide");
    QTest::newRow("previous") << QByteArray("previousSlide");
    QTest::newRow("first") << QByteArray("firstSlide");
}

void PlaybackTest::aManualStepGivesTheNewSlideAFullInterval()
{
    QFETCH(QByteArray, step);
    mFixture->set(keys::slideInterval, 5);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(3s);
    QVERIFY(mFixture->trigger(step.constData()));
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
}

void PlaybackTest::aManualStepDoesNotStartAStoppedShow()
{
    auto& controller = openThree();
    controller.nextSlide();
    QCOMPARE(shown(), QByteArray("2.png"));
    QVERIFY(!controller.timerRuns());
}

void PlaybackTest::playTogglesTheTimer()
{
    auto& controller = openThree();
    controller.Play();
    QVERIFY(controller.timerRuns());
    controller.Play();
    QVERIFY(!controller.timerRuns());
    mFixture->clock.advance(1h);
    QCOMPARE(shown(), QByteArray("1.png"));
}

void PlaybackTest::raisingTheIntervalMovesTheChange()
{
    mFixture->set(keys::slideInterval, 10);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(8s);
    mFixture->set(keys::slideInterval, 20);
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 12s);
    QCOMPARE(shown(), QByteArray("1.png"));
}

void PlaybackTest::loweringTheIntervalBelowTheTimeShownChangesTheSlideAtOnce()
{
    mFixture->set(keys::slideInterval, 10);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(8s);
    mFixture->set(keys::slideInterval, 5);
    QCOMPARE(shown(), QByteArray("2.png"));
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
}

void PlaybackTest::delayNextImageGivesFiveSeconds()
{
    mFixture->set(keys::slideInterval, 10);
    auto& controller = openThree();
    controller.Start();
    controller.delayNextImage(); // ten seconds away: enough
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 10s);
    mFixture->clock.advance(8s);
    controller.delayNextImage();
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
}

void PlaybackTest::delayNextImageLeavesAStoppedShowAlone()
{
    auto& controller = openThree();
    controller.delayNextImage();
    QVERIFY(!controller.timerRuns());
    mFixture->clock.advance(1h);
    QCOMPARE(shown(), QByteArray("1.png"));
}

void PlaybackTest::theIntervalAlwaysComesFromTheSetting()
{
    mFixture->set(keys::slideInterval, QStringLiteral("3 seconds"));
    auto& controller = openThree();
    controller.Start();
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 3s);
}

void PlaybackTest::nextPastTheEndFollowsTheEndMode_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("wait") << keys::endModeWait << QByteArray("3.png");
    QTest::newRow("rewind") << keys::endModeRewind << QByteArray("1.png");
    QTest::newRow("close") << keys::endModeClose << QByteArray();
    QTest::newRow("unknown") << QStringLiteral("EndModeOther") << QByteArray("3.png");
}

void PlaybackTest::nextPastTheEndFollowsTheEndMode()
{
    QFETCH(QString, mode);
    QFETCH(QByteArray, after);
    mFixture->set(keys::endMode, mode);
    auto& controller = openThree();
    for (int i = 0; i < 3; ++i) {
        controller.nextSlide();
    }
    QCOMPARE(shown(), after);
    if (after.isEmpty()) {
        QVERIFY(controller.screenWindow() == nullptr);
        QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    }
}

void PlaybackTest::previousFromTheFirstWrapsInEveryEndMode_data()
{
    QTest::addColumn<QString>("mode");
    QTest::newRow("wait") << keys::endModeWait;
    QTest::newRow("rewind") << keys::endModeRewind;
    QTest::newRow("close") << keys::endModeClose;
}

void PlaybackTest::previousFromTheFirstWrapsInEveryEndMode()
{
    QFETCH(QString, mode);
    mFixture->set(keys::endMode, mode);
    auto& controller = openThree();
    controller.previousSlide();
    QCOMPARE(shown(), QByteArray("3.png"));
}

void PlaybackTest::waitingAtTheEndTheTimerKeepsFiring()
{
    mFixture->set(keys::endMode, keys::endModeWait);
    mFixture->set(keys::slideInterval, 5);
    auto& controller = openThree();
    controller.previousSlide();
    controller.Start();
    for (int i = 0; i < 3; ++i) {
        mFixture->clock.advance(5s);
        QCOMPARE(shown(), QByteArray("3.png"));
        QVERIFY(controller.timerRuns());
        QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
    }
}

void PlaybackTest::filesThatArriveLaterContinueAWaitingShow()
{
    mFixture->set(keys::endMode, keys::endModeWait);
    mFixture->set(keys::slideInterval, 5);
    auto& controller = openThree();
    controller.previousSlide();
    controller.Start();
    mFixture->clock.advance(5s);
    controller.fileSequence().addURL(mFixture->addPicture("4.png"));
    mFixture->clock.advance(5s);
    QCOMPARE(shown(), QByteArray("4.png"));
}

void PlaybackTest::navigationWhileATransitionRunsIsDropped()
{
    mFixture->set(keys::transition, QStringLiteral("Cross Fade"));
    auto& controller = openThree();
    mFixture->letTransitionEnd();
    controller.next();
    QCoreApplication::processEvents();
    QCOMPARE(shown(), QByteArray("2.png"));
    QVERIFY(controller.slideView()->isBusy());
    controller.next();
    QCOMPARE(shown(), QByteArray("2.png"));
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(1));
    controller.previous();
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(1));
    controller.firstSlide();
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(0));
    QCOMPARE(shown(), QByteArray("1.png"));
    QCOMPARE(onScreen(), QByteArray("2.png"));
    mFixture->letTransitionEnd();
    QTRY_COMPARE(onScreen(), QByteArray("1.png")); // in its turn, with a transition of its own
    mFixture->letTransitionEnd();
    QVERIFY(!controller.slideView()->isBusy());
    controller.next();
    QCOMPARE(shown(), QByteArray("2.png"));
}

void PlaybackTest::theTrashIsRefusedDuringATransition()
{
    mFixture->set(keys::transition, QStringLiteral("Cross Fade"));
    auto& controller = openThree();
    mFixture->letTransitionEnd();
    controller.next();
    QCoreApplication::processEvents();
    QVERIFY(controller.slideView()->isBusy());
    QVERIFY(mFixture->trigger("trashSlide"));
    controller.trashSlide();
    QCOMPARE(controller.fileSequence().count(), size_t(3));
    mFixture->letTransitionEnd();
    QCOMPARE(onScreen(), QByteArray("2.png"));
    controller.trashSlide();
    QCOMPARE(controller.fileSequence().count(), size_t(2));
    QVERIFY(!QFile::exists(QString::fromUtf8(mFixture->folder.pathOf("2.png"))));
    QVERIFY(QFile::exists(QString::fromUtf8(mFixture->folder.pathOf("3.png"))));
    QTRY_COMPARE(onScreen(), QByteArray("3.png"));
}

// After a file that could not be shown, a picture that the view does not take yet is none of those.
void PlaybackTest::aBusyViewCostsNoFile()
{
    mFixture->set(keys::endMode, keys::endModeWait);
    mFixture->addPictures({"1.png", "2.png"});
    mFixture->folder.addFile("3.png", "no picture");
    auto& controller = mFixture->start();
    QVERIFY(mFixture->openFolder());
    controller.next();
    QTRY_COMPARE(onScreen(), QByteArray("2.png"));
    controller.next();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(2));
    QVERIFY(mFixture->rest());
    QCOMPARE(onScreen(), QByteArray("2.png"));
    QCOMPARE(controller.screenWindow()->windowTitle(), QStringLiteral("2.png"));
    controller.ZoomIn();
    QCoreApplication::processEvents();
    QVERIFY(controller.slideView()->isBusy());
    controller.firstSlide();
    QCOMPARE(controller.fileSequence().count(), size_t(2));
    mFixture->letTransitionEnd();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(2));
}

// A name cannot turn the title around, and thus pass for another one.
void PlaybackTest::theTitleIsOneLineThatReadsAsItStands()
{
    mFixture->addPictures({"two\nlines \xE2\x80\xAEgnp.png"}); // from there on to be read from the right
    auto& controller = mFixture->start();
    QVERIFY(mFixture->openFolder());
    QCOMPARE(controller.screenWindow()->windowTitle(), QStringLiteral("two lines \uFFFDgnp.png"));
}

void PlaybackTest::anUndecodableFileDisappearsAndTheShowMovesOn_data()
{
    QTest::addColumn<QString>("mode");
    QTest::newRow("wait") << keys::endModeWait;
    QTest::newRow("rewind") << keys::endModeRewind;
    QTest::newRow("close") << keys::endModeClose;
}

void PlaybackTest::anUndecodableFileDisappearsAndTheShowMovesOn()
{
    QFETCH(QString, mode);
    mFixture->set(keys::endMode, mode);
    mFixture->folder.addFile("2a.jpg", "no picture");
    mFixture->folder.addFile("2b.jpg", "");
    auto& controller = openThree();
    // In file-system order one of the broken files may have been tried, and dropped, before the order was known.
    QVERIFY(controller.fileSequence().count() >= size_t(3));
    controller.nextSlide();
    controller.nextSlide();
    QTRY_COMPARE(shown(), QByteArray("3.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(3));
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(2));
}

void PlaybackTest::anUndecodableFirstFileDoesNotEndTheShow_data()
{
    anUndecodableFileDisappearsAndTheShowMovesOn_data();
}

void PlaybackTest::anUndecodableFirstFileDoesNotEndTheShow()
{
    QFETCH(QString, mode);
    mFixture->set(keys::endMode, mode);
    mFixture->folder.addFile("0.jpg", "no picture");
    mFixture->folder.addFile("0a.jpg", "no picture either");
    auto& controller = openThree();
    QCOMPARE(shown(), QByteArray("1.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(3));
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(0));
    controller.nextSlide();
    QCOMPARE(shown(), QByteArray("2.png"));
}

void PlaybackTest::aFolderOfBrokenFilesEndsTheShow()
{
    for (int i = 0; i < 20; ++i) {
        mFixture->folder.addFile(QByteArray::number(i) + ".jpg", "no picture");
    }
    auto& controller = mFixture->start();
    QVERIFY(mFixture->openFolder());
    QTRY_COMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("Welcome")});
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    QVERIFY(controller.imageURL().isEmpty());
    QCOMPARE(controller.welcomeController()->window()->findChild<QLabel*>()->text(), QStringLiteral("Nothing to show"));
}

void PlaybackTest::manyBrokenFilesLeaveTheWindowItsTurns()
{
    for (int i = 0; i < 40; ++i) {
        mFixture->folder.addFile("1a" + QByteArray::number(100 + i) + ".jpg", "no picture");
    }
    auto& controller = openThree();
    controller.nextSlide();
    // The event loop turns meanwhile, and whoever steps back is heard when the slide is there.
    controller.previousSlide();
    int turns = 0;
    QTRY_VERIFY((++turns, controller.fileSequence().count() == 3));
    QVERIFY2(turns > 3, QByteArray::number(turns).constData());
    QTRY_COMPARE(shown(), QByteArray("1.png"));
    controller.nextSlide();
    QTRY_COMPARE(shown(), QByteArray("2.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(3));
}

void PlaybackTest::aCollectionThatEndsWhileBrokenFilesAreSteppedOverLeavesTheShow()
{
    mFixture->addPictures({"z.png"});
    auto& controller = mFixture->start();
    QVERIFY(mFixture->openFolder());
    QTRY_COMPARE(shown(), QByteArray("z.png"));
    for (int i = 0; i < 40; ++i) {
        mFixture->folder.addFile("y" + QByteArray::number(100 + i) + ".jpg", "no picture");
    }
    // A window without a picture, as after a first file that turned out to be broken.
    controller.slideView()->clearImage();
    QVERIFY(mFixture->openFolder());
    QTRY_COMPARE(controller.fileSequence().count(), size_t(2)); // handed over twice
    QTRY_COMPARE(shown(), QByteArray("z.png"));
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("SlideWindow")});
}

void PlaybackTest::aFileThatVanishedIsSteppedOver()
{
    auto& controller = openThree();
    QVERIFY(QFile::remove(QString::fromUtf8(mFixture->folder.pathOf("2.png"))));
    controller.nextSlide();
    QTRY_COMPARE(shown(), QByteArray("3.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(2));
}

void PlaybackTest::moviesAreSteppedOverAndStayInTheSequence()
{
    mFixture->folder.addFile("1a.mp4", "moving");
    auto& controller = openThree();
    QCOMPARE(controller.fileSequence().count(), size_t(4));
    controller.nextSlide();
    QCOMPARE(shown(), QByteArray("2.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(4));
}

void PlaybackTest::aFolderOfMoviesAloneEndsTheShow()
{
    mFixture->folder.addFile("1.mp4", "moving");
    mFixture->folder.addFile("2.mov", "moving");
    mFixture->start();
    QVERIFY(mFixture->openFolder());
    QTRY_COMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("Welcome")});
}

void PlaybackTest::newFilesFoundMovesOnWhenTheRulesSaySo_data()
{
    QTest::addColumn<bool>("playing");
    QTest::addColumn<bool>("asSoonAsPossible");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("stopped, as soon as possible") << false << true << QByteArray("2.png");
    QTest::newRow("stopped, in its turn") << false << false << QByteArray("1.png");
    QTest::newRow("playing, as soon as possible") << true << true << QByteArray("1.png");
    QTest::newRow("playing, in its turn") << true << false << QByteArray("1.png");
}

void PlaybackTest::newFilesFoundMovesOnWhenTheRulesSaySo()
{
    QFETCH(bool, playing);
    QFETCH(bool, asSoonAsPossible);
    QFETCH(QByteArray, after);
    mFixture->set(keys::showNewItemsASAP, asSoonAsPossible);
    auto& controller = openThree();
    if (playing) {
        controller.Start();
    }
    controller.newFilesFound();
    QCOMPARE(shown(), after);
}

void PlaybackTest::theHintIsShownOnceAndCoversTheCurrentFile_data()
{
    QTest::addColumn<QByteArray>("step");
    QTest::newRow("next") << QByteArray("nextSlide");
    QTest::newRow("previous") << QByteArray("previousSlide");
}

void PlaybackTest::theHintIsShownOnceAndCoversTheCurrentFile()
{
    QFETCH(QByteArray, step);
    QImage hint(64, 36, QImage::Format_RGB32);
    hint.fill(Qt::darkGray);
    QVERIFY(hint.save(QString::fromUtf8(mFixture->resourceFolder.addFile("hint screen.png"))));
    mFixture->set(keys::hintsShown, false);
    auto& controller = openThree();
    QVERIFY(controller.hintsScreenShown());
    QCOMPARE(shown(), QByteArray("hint screen.png"));
    QVERIFY(mFixture->trigger(step.constData()));
    QVERIFY(!controller.hintsScreenShown());
    QCOMPARE(shown(), QByteArray("1.png"));
    QVERIFY(mFixture->trigger("nextSlide"));
    QCOMPARE(shown(), QByteArray("2.png"));

    controller.endSlideShow();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    QVERIFY(mFixture->openFolder());
    QCOMPARE(shown(), QByteArray("1.png"));
}

void PlaybackTest::aMissingHintPictureDoesNotHideTheShow()
{
    mFixture->set(keys::hintsShown, false);
    openThree();
    QCOMPARE(shown(), QByteArray("1.png"));
}

void PlaybackTest::endingTheShowStopsClosesAndClears()
{
    auto& controller = openThree();
    controller.Start();
    controller.endSlideShow();
    QVERIFY(!controller.timerRuns());
    QVERIFY(controller.screenWindow() == nullptr);
    QVERIFY(controller.imageURL().isEmpty());
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
}

void PlaybackTest::theTimeThatASlideWasShownIsKept()
{
    auto& controller = openThree();
    mFixture->clock.advance(2500ms);
    controller.nextSlide();
    QCOMPARE(controller.lastSlideTime(), 2.5);
}

QTEST_MAIN(PlaybackTest)
#include "PlaybackTest.moc"
