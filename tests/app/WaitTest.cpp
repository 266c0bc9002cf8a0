#include "ControllerFixture.h"
#include "DecoderPool.h"
#include "HeldPictures.h"
#include "KLImageCache.h"
#include "MainThread.h"
#include "StaysTrue.h"

#include <QFile>
#include <QTest>

#include <cstdio>

using namespace frameflow;
using namespace std::chrono_literals;

// What happens while a slide is being decoded that is asked for.
class WaitTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void theOldSlideStaysUntilTheNewOneIsThere();
    void theFirstStepsAreTakenAtOnce();
    void theEventLoopTurnsMeanwhile();
    void whatIsDecodedAlreadyIsShownAtOnce();
    void whatTheCacheHoldsIsShownAtOnce();
    void commandsWaitInTheirOrder();
    void keysWaitInTheirOrder();
    void theFitModeWaitsForTheSlide();
    void theTimerDoesNotStepMeanwhile();
    void theTimerBeginsAnewWhenTheSlideAppears();
    void aSlideThatWasThereKeepsTheTimersDeadline();
    void movingToTheTrashIsRefused();
    void movingToTheTrashWorksOtherwise();
    void endingTheShowCancels();
    void endingTheShowWithNewsInTheLine_data();
    void endingTheShowWithNewsInTheLine();
    void openingSomethingElseCancels();
    void destroyingTheControllerCancels();
    void whatTheSequenceFindsWaits();
    void aBadFileThatWasWaitedForIsSteppedOver();
    void aFileThatIsRemovedMeanwhileIsSteppedOver();
    void aFileThatIsReplacedMeanwhileIsShownAsItWasOrIs();
    void theHintIsWaitedForToo();
    void windowModeDoesNotWait();
    void newFilesAreNotPresentedTwice();
    void newFilesAreNotPresentedTwiceBeforeAPress();
    void pressesBehindASlideWithATransitionAreDropped();
    void whatComesNextIsReadAhead();
    void nothingIsReadAheadWithoutAShow();

private:
    SlideController& openThree()
    {
        mFixture->addPictures({"1.png", "2.png", "3.png"});
        auto& controller = mFixture->start();
        mFixture->openFolder();
        return controller;
    }
    // A show of 1.png, held.png and z.png that rests on the first; the second is not decoded before release().
    SlideController& openHeld()
    {
        mFixture->addPicture("1.png");
        mHeld->add("held.png", Qt::green);
        mFixture->addPicture("z.png", Qt::blue);
        auto& controller = mFixture->start();
        mFixture->collectFolder();
        return controller;
    }
    QByteArray onScreen() const { return mFixture->onScreen(); }
    QByteArray shown() const { return mFixture->shown(); }

    std::unique_ptr<ControllerFixture> mFixture;
    std::unique_ptr<HeldPictures> mHeld;
};

void WaitTest::initTestCase()
{
    HeldPictures::useDecoder();
}

void WaitTest::init()
{
    mFixture = std::make_unique<ControllerFixture>();
    mHeld = std::make_unique<HeldPictures>(mFixture->folder);
}

void WaitTest::cleanup()
{
    mFixture.reset();
    mHeld.reset();
}

void WaitTest::theOldSlideStaysUntilTheNewOneIsThere()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    QVERIFY(controller.isWaitingForSlide());
    QVERIFY(staysTrueFor(200ms, [&] { return onScreen() == "1.png"; }));
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("held.png"));
    QVERIFY(!controller.isWaitingForSlide());
}

void WaitTest::theFirstStepsAreTakenAtOnce()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    const QString titleBefore = controller.screenWindow()->windowTitle();
    controller.nextSlide();
    QCOMPARE(shown(), QByteArray("held.png")); // the current URL is the new one
    QCOMPARE(controller.fileSequence().current().fileName().toByteArray(), QByteArray("held.png"));
    QCOMPARE(controller.screenWindow()->windowTitle(), titleBefore); // the title comes with the picture
    mHeld->release("held.png");
    QTRY_COMPARE(controller.screenWindow()->windowTitle(), QStringLiteral("held.png"));
}

void WaitTest::theEventLoopTurnsMeanwhile()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    bool turned = false;
    postToMainThread([&] { turned = true; });
    QTRY_VERIFY(turned);
    QVERIFY(controller.isWaitingForSlide());
    mHeld->release("held.png");
}

void WaitTest::whatIsDecodedAlreadyIsShownAtOnce()
{
    auto& controller = openThree();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(mFixture->waitUntilAhead("2.png"));
    controller.nextSlide();
    QVERIFY(!controller.isWaitingForSlide());
    QCOMPARE(onScreen(), QByteArray("2.png"));
}

void WaitTest::whatTheCacheHoldsIsShownAtOnce()
{
    auto& controller = openThree();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    QTRY_COMPARE(onScreen(), QByteArray("2.png"));
    controller.previousSlide();
    QCOMPARE(onScreen(), QByteArray("1.png"));
}

void WaitTest::commandsWaitInTheirOrder()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide(); // held.png
    controller.nextSlide(); // z.png
    controller.nextSlide(); // 1.png
    controller.previousSlide(); // z.png
    QCOMPARE(shown(), QByteArray("held.png"));
    mHeld->release("held.png");
    QTRY_VERIFY(!controller.isWaitingForSlide());
    QTRY_COMPARE(onScreen(), QByteArray("z.png"));
    QVERIFY(staysTrueFor(100ms, [&] { return onScreen() == "z.png"; }));
}

void WaitTest::keysWaitInTheirOrder()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    mFixture->press(Qt::Key_3, QStringLiteral("3")); // would start the show
    mFixture->press(Qt::Key_Space, QStringLiteral(" ")); // stops it, and steps
    QVERIFY(!controller.timerRuns());
    QCOMPARE(mFixture->settings().floatValue(keys::slideInterval), 5.0F);
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("z.png"));
    QVERIFY(!controller.timerRuns());
    QCOMPARE(mFixture->settings().floatValue(keys::slideInterval), 3.0F);
}

void WaitTest::theFitModeWaitsForTheSlide()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    controller.Stretch();
    QVERIFY(mFixture->settings().stringValue(keys::imageFitMode) != keys::fitModeStretch);
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("held.png"));
    QCOMPARE(mFixture->settings().stringValue(keys::imageFitMode), keys::fitModeStretch);
    QCOMPARE(controller.slideView()->currentLayer()->frame(), QRectF(QPointF(), controller.slideView()->size()));
}

void WaitTest::theTimerDoesNotStepMeanwhile()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.Start();
    mFixture->clock.advance(5s); // to held.png
    QVERIFY(controller.isWaitingForSlide());
    mFixture->clock.advance(60s);
    QVERIFY(controller.timerRuns());
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("held.png"));
    QVERIFY(staysTrueFor(100ms, [&] { return shown() == "held.png"; }));
}

void WaitTest::theTimerBeginsAnewWhenTheSlideAppears()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.Start();
    controller.nextSlide();
    mFixture->clock.advance(3s);
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("held.png"));
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
}

void WaitTest::aSlideThatWasThereKeepsTheTimersDeadline()
{
    auto& controller = openThree();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(mFixture->waitUntilAhead("2.png"));
    controller.Start();
    mFixture->clock.advance(2s);
    const TimePoint deadline = controller.nextSlideChange();
    controller.next();
    QCOMPARE(onScreen(), QByteArray("2.png"));
    QVERIFY(controller.nextSlideChange() == deadline);
}

void WaitTest::movingToTheTrashIsRefused()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    QVERIFY(mFixture->trigger("trashSlide"));
    controller.trashSlide();
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("held.png"));
    for (const char* const name : {"1.png", "held.png", "z.png"}) {
        QVERIFY(QFile::exists(QString::fromUtf8(mFixture->folder.pathOf(name))));
    }
    QCOMPARE(controller.fileSequence().count(), size_t(3));
}

void WaitTest::movingToTheTrashWorksOtherwise()
{
    auto& controller = openThree();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(mFixture->trigger("trashSlide"));
    QTRY_COMPARE(onScreen(), QByteArray("2.png"));
    QVERIFY(!QFile::exists(QString::fromUtf8(mFixture->folder.pathOf("1.png"))));
    QCOMPARE(controller.fileSequence().count(), size_t(2));
}

void WaitTest::endingTheShowCancels()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    controller.nextSlide();
    QVERIFY(mFixture->trigger("cancel"));
    QVERIFY(!controller.isWaitingForSlide());
    QVERIFY(!controller.screenWindow());
    mHeld->release("held.png");
    QVERIFY(staysTrueFor(200ms, [&] { return !controller.screenWindow(); }));
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
}

void WaitTest::openingSomethingElseCancels()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    controller.nextSlide();
    TestFolder other;
    QFile::copy(QString::fromUtf8(mFixture->folder.pathOf("z.png")), QString::fromUtf8(other.pathOf("other.png")));
    controller.endSlideShow();
    QVERIFY(mFixture->open({other.url()}));
    QTRY_COMPARE(onScreen(), QByteArray("other.png"));
    mHeld->release("held.png");
    QVERIFY(staysTrueFor(200ms, [&] { return onScreen() == "other.png"; }));
}

void WaitTest::destroyingTheControllerCancels()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    controller.nextSlide();
    mFixture->destroyController();
    mHeld->release("held.png");
    QVERIFY(staysTrueFor(200ms, [] { return true; })); // what was posted finds nobody
}

void WaitTest::whatTheSequenceFindsWaits()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    TestFolder other;
    QFile::copy(QString::fromUtf8(mFixture->folder.pathOf("z.png")), QString::fromUtf8(other.pathOf("0.png")));
    controller.applicationOpenFiles({other.url()});
    QVERIFY(staysTrueFor(300ms, [&] { return controller.fileSequence().count() == 3; }));
    QCOMPARE(shown(), QByteArray("held.png"));
    mHeld->release("held.png");
    QTRY_COMPARE(controller.fileSequence().count(), size_t(4));
    QTRY_COMPARE(onScreen(), QByteArray("0.png")); // the first of the new order
}

void WaitTest::aBadFileThatWasWaitedForIsSteppedOver()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    mHeld->spoil("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("z.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(2));
}

void WaitTest::aFileThatIsRemovedMeanwhileIsSteppedOver()
{
    auto& controller = openThree();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(mFixture->waitUntilAhead("2.png"));
    QVERIFY(QFile::remove(QString::fromUtf8(mFixture->folder.pathOf("2.png"))));
    controller.nextSlide();
    QTRY_COMPARE(onScreen(), QByteArray("3.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(2));
}

void WaitTest::aFileThatIsReplacedMeanwhileIsShownAsItWasOrIs()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    // Another file takes its place while its decoder works: what the decoder was given is what is shown. In one step,
    // because its turn may come late on a busy machine.
    const TestFolder elsewhere;
    const QByteArray other = elsewhere.addFile("other.png");
    QImage picture(10, 10, QImage::Format_RGB32);
    picture.fill(Qt::yellow);
    QVERIFY(picture.save(QString::fromUtf8(other)));
    QCOMPARE(std::rename(other.constData(), mFixture->folder.pathOf("held.png").constData()), 0);
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("held.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(3));
}

void WaitTest::theHintIsWaitedForToo()
{
    mHeld->addTo(mFixture->resourceFolder, "hint screen.png", Qt::gray);
    mFixture->set(keys::hintsShown, false);
    mFixture->addPictures({"1.png", "2.png"});
    auto& controller = mFixture->start();
    QVERIFY(mFixture->collectFolder());
    QTRY_VERIFY(controller.isWaitingForSlide());
    controller.nextSlide();
    mHeld->release("hint screen.png");
    // The hint stood for the slide that it covered.
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(!controller.hintsScreenShown());
}

void WaitTest::windowModeDoesNotWait()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    QVERIFY(mFixture->trigger("WindowMode"));
    QVERIFY(controller.isWindowMode());
    QVERIFY(controller.isWaitingForSlide());
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("held.png"));
}

// A press that waits behind them goes on from there.
void WaitTest::newFilesAreNotPresentedTwiceBeforeAPress()
{
    mHeld->add("later.png", Qt::cyan);
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    mFixture->set(keys::showNewItemsASAP, true);
    controller.nextSlide(); // held.png
    controller.newFilesFound(); // steps to later.png, and then asks for the current file once more
    controller.nextSlide(); // z.png
    mHeld->release("held.png");
    QTRY_COMPARE(shown(), QByteArray("later.png"));
    QVERIFY(controller.isWaitingForSlide());
    mHeld->release("later.png");
    QTRY_VERIFY(!controller.isWaitingForSlide() && onScreen() == "z.png");
    QVERIFY(staysTrueFor(100ms, [&] { return onScreen() == "z.png"; }));
    QCOMPARE(controller.fileSequence().current().fileName(), QByteArrayView("z.png"));
}

// As those that come during a transition are.
void WaitTest::pressesBehindASlideWithATransitionAreDropped()
{
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    mFixture->set(keys::transition, QStringLiteral("Cross Fade"));
    controller.nextSlide(); // held.png
    controller.nextSlide();
    controller.nextSlide();
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("held.png"));
    QTRY_VERIFY(controller.slideView()->isBusy());
    QVERIFY(staysTrueFor(100ms, [&] { return onScreen() == "held.png"; }));
    mFixture->letTransitionEnd();
    QVERIFY(staysTrueFor(100ms, [&] { return onScreen() == "held.png"; }));
    controller.nextSlide();
    QTRY_COMPARE(onScreen(), QByteArray("z.png"));
}

// What the background has found meanwhile opens nothing any more.
void WaitTest::endingTheShowWithNewsInTheLine_data()
{
    QTest::addColumn<bool>("isRewritten");
    QTest::newRow("a new file") << false;
    QTest::newRow("the file that is waited for") << true;
}

void WaitTest::endingTheShowWithNewsInTheLine()
{
    QFETCH(const bool, isRewritten);
    mFixture->set(keys::showWelcome, true);
    mFixture->set(keys::autoStart, true);
    auto& controller = openHeld();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.Stop();
    QTRY_VERIFY(!controller.fileSequence().isRescanning());
    controller.nextSlide();
    QVERIFY(controller.isWaitingForSlide());
    if (isRewritten) {
        QFile file(QString::fromUtf8(mFixture->folder.pathOf("held.png")));
        // In its place and never cut short, so that it is held again if it is decoded again.
        QVERIFY(file.open(QIODevice::ReadWrite));
        const QByteArray contents = file.readAll();
        QVERIFY(file.seek(0));
        QCOMPARE(file.write(contents), contents.size());
    } else {
        mFixture->addPicture("new.png");
    }
    // The line takes it in when it is told; that it was told cannot be seen from outside.
    QVERIFY(staysTrueFor(300ms, [&] {
        mFixture->clock.advance(500ms);
        return controller.isWaitingForSlide();
    }));
    QVERIFY(mFixture->trigger("cancel"));
    QVERIFY(!controller.isWaitingForSlide());
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    QTRY_VERIFY(controller.welcomeController() && controller.welcomeController()->window()->isVisible());
    QVERIFY(!controller.screenWindow());
    QVERIFY(!controller.timerRuns());
}

void WaitTest::newFilesAreNotPresentedTwice()
{
    auto& controller = openThree();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    mFixture->set(keys::transition, QStringLiteral("Cross Fade"));
    mFixture->set(keys::showNewItemsASAP, true);
    QVERIFY(mFixture->waitUntilAhead("2.png"));
    controller.newFilesFound(); // steps, and then asks for the current file once more
    QCOMPARE(onScreen(), QByteArray("2.png"));
    QCOMPARE(controller.slideView()->previousImage()->mURL().fileName().toByteArray(), QByteArray("1.png"));
}

void WaitTest::whatComesNextIsReadAhead()
{
    mFixture->addPictures({"1.png", "2.png", "3.png", "4.png", "5.png"});
    auto& controller = mFixture->start();
    QVERIFY(mFixture->openFolder());
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(mFixture->waitUntilAhead("2.png"));
    QVERIFY(mFixture->waitUntilAhead("3.png"));
    QVERIFY(mFixture->waitUntilAhead("5.png")); // the one behind
    const auto cursor = controller.fileSequence().currentIndex();
    controller.nextSlide();
    QVERIFY(mFixture->waitUntilAhead("4.png"));
    QCOMPARE(controller.fileSequence().currentIndex(), cursor + 1); // nothing of it moves the cursor
}

void WaitTest::nothingIsReadAheadWithoutAShow()
{
    auto& controller = openThree();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(mFixture->waitUntilAhead("2.png"));
    controller.endSlideShow();
    QVERIFY(mFixture->filesAhead().isEmpty());
    QVERIFY(KLImageCache::instance().images().empty());
    QVERIFY(staysTrueFor(200ms, [&] { return mFixture->filesAhead().isEmpty(); }));
}

QTEST_MAIN(WaitTest)
#include "WaitTest.moc"
