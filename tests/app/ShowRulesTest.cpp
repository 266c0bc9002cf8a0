#include "ChooseScreenWindow.h"
#include "ControllerFixture.h"
#include "KLImageCache.h"
#include "KLThumbnailCache.h"
#include "OpenPanel.h"
#include "Presentation.h"
#include "RectText.h"

#include <QApplication>
#include <QListView>
#include <QTest>
#include <QTimer>

using namespace frameflow;
using namespace std::chrono_literals;

Q_DECLARE_METATYPE(void (SlideController::*)())

// Rules of a show that only show themselves where two of its concerns meet.
class ShowRulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    // Start-up and activation
    void theTimeOfTheLastSlideBeginsAsTheInterval();
    void theVersionIsTheApplications();
    void launchingWithFilesOnScreenShowsNoWelcome();
    void activationAfterAnEmptyReopening_data();
    void activationAfterAnEmptyReopening();

    // What is opened
    void companionsOfJpegsAreLeftOutOnlyWhenHandedOver_data();
    void companionsOfJpegsAreLeftOutOnlyWhenHandedOver();

    // Windows and displays
    void goingFullScreenKeepsTheWindow();
    void aMissingDisplayIsNoError();
    void aShowAfterOneInAWindowIsFullScreen();
    void activationRebuildsAWindowThatDoesNotCoverTheDisplay();
    void resizingReadsAChangedFileAgain();
    void fullScreenOnTheSameDisplayStoresNothing();
    void theChosenDisplayIsStoredAfterwards();

    // The timer
    void stoppingAndStartingGivesAFullInterval();
    void aNewIntervalDoesNotStartAStoppedShow();
    void aTimerThatFiresDuringATransitionTriesAgain();
    void theTimerClosesTheShowAtItsEnd();
    void automaticStartLeavesARunningTimerAlone();

    // Stepping
    void everyWayToAnotherSlideHasItsDirection_data();
    void everyWayToAnotherSlideHasItsDirection();
    void theCurrentFileIsReadAgain();
    void reloadingDuringATransitionIsDropped();
    void newFilesWithNothingOnScreenAreShown();
    void droppedFilesAreRemembered();

    // The hint
    void theHintGivesWay_data();
    void theHintGivesWay();

    // Keys
    void zeroKeepsTheInterval();
    void spaceStepsAStoppedShow();
    void digitsArePassedOn();

    // The end
    void endingTheShowEmptiesTheCaches_data();
    void endingTheShowEmptiesTheCaches();

private:
    SlideController& openThree()
    {
        mOpened = mFixture->openThree();
        return mFixture->controller();
    }
    QByteArray shown() const { return mFixture->shown(); }

    bool mOpened = false;
    std::unique_ptr<ControllerFixture> mFixture;
    const QStringList mStartOnly{QStringLiteral("Welcome")};
    const QStringList mSlideOnly{QStringLiteral("SlideWindow")};
};

void ShowRulesTest::theTimeOfTheLastSlideBeginsAsTheInterval()
{
    QCOMPARE(mFixture->start().lastSlideTime(), 5.0); // registered
    mFixture->destroyController();
    mFixture->set(keys::slideInterval, 12.5);
    QCOMPARE(mFixture->start().lastSlideTime(), 12.5);
}

void ShowRulesTest::theVersionIsTheApplications()
{
    QCoreApplication::setApplicationVersion(QStringLiteral("9.8.7"));
    QCOMPARE(SlideController::getVersionString(), QStringLiteral("9.8.7"));
}

void ShowRulesTest::launchingWithFilesOnScreenShowsNoWelcome()
{
    auto& controller = openThree();
    controller.applicationDidFinishLaunching();
    QCOMPARE(mFixture->visibleWindows(), mSlideOnly);
}

void ShowRulesTest::activationAfterAnEmptyReopening_data()
{
    QTest::addColumn<bool>("welcome");
    QTest::newRow("welcome") << true;
    QTest::newRow("no welcome") << false;
}

void ShowRulesTest::activationAfterAnEmptyReopening()
{
    QFETCH(bool, welcome);
    mFixture->set(keys::openLastUsedFolder, true);
    mFixture->set(keys::showWelcome, welcome);
    auto& controller = mFixture->start();
    controller.applicationDidFinishLaunching();
    QCOMPARE(mFixture->visibleWindows(), QStringList());
    controller.applicationWillBecomeActive();
    QCOMPARE(mFixture->visibleWindows(), welcome ? mStartOnly : QStringList());
}

void ShowRulesTest::companionsOfJpegsAreLeftOutOnlyWhenHandedOver_data()
{
    QTest::addColumn<bool>("chosen");
    QTest::addColumn<size_t>("count");
    QTest::newRow("handed over") << false << size_t(1);
    QTest::newRow("chosen in the panel") << true << size_t(2);
}

void ShowRulesTest::companionsOfJpegsAreLeftOutOnlyWhenHandedOver()
{
    QFETCH(bool, chosen);
    QFETCH(size_t, count);
    mFixture->addPictures({"photos/IMG_7.JPG", "photos/IMG_7.png"});
    auto& controller = mFixture->start();
    if (chosen) {
        controller.openMenu();
        controller.openPanel()->setDirectory(QString::fromUtf8(mFixture->folder.path()));
        auto* list = controller.openPanel()->findChild<QListView*>(QStringLiteral("listView"));
        QTRY_COMPARE(list->model()->rowCount(list->rootIndex()), 1);
        list->selectionModel()->select(
            list->model()->index(0, 0, list->rootIndex()), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        QMetaObject::invokeMethod(controller.openPanel(), "accept");
        QTRY_VERIFY(controller.fileSequence().count() > 0 && !controller.fileSequence().isCollecting());
    } else {
        QVERIFY(mFixture->openFolder());
    }
    QCOMPARE(controller.fileSequence().count(), count);
    QCOMPARE(shown(), QByteArray("IMG_7.JPG"));
}

void ShowRulesTest::goingFullScreenKeepsTheWindow()
{
    auto& controller = openThree();
    const QPointer<SlideWindow> window = controller.screenWindow();
    const QPointer<KLLayerView> view = controller.slideView();
    controller.WindowMode();
    controller.goFullScreen(controller.currentScreen());
    QVERIFY(!controller.isWindowMode());
    QCOMPARE(controller.screenWindow(), window.data());
    QCOMPARE(controller.slideView(), view.data());
    QCOMPARE(window->geometry(), controller.currentScreen()->geometry());
    QCOMPARE(view->size(), controller.currentScreen()->size());
}

void ShowRulesTest::aMissingDisplayIsNoError()
{
    auto& controller = openThree();
    controller.goFullScreen(nullptr);
    QVERIFY(controller.screenWindow()->isVisible());
    controller.nextSlide();
    QCOMPARE(shown(), QByteArray("2.png"));
}

void ShowRulesTest::aShowAfterOneInAWindowIsFullScreen()
{
    auto& controller = openThree();
    controller.WindowMode();
    controller.endSlideShow();
    QVERIFY(!controller.isWindowMode());
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    QVERIFY(mFixture->openFolder());
    QVERIFY(!controller.isWindowMode());
    QVERIFY(controller.screenWindow()->isFullScreen());
}

void ShowRulesTest::activationRebuildsAWindowThatDoesNotCoverTheDisplay()
{
    auto& controller = openThree();
    controller.nextSlide();
    controller.goFullScreen(nullptr); // as if the display had had another frame then
    const QPointer<SlideWindow> before = controller.screenWindow();
    controller.applicationWillBecomeActive();
    QVERIFY(controller.screenWindow() != before);
    QCOMPARE(controller.screenWindow()->geometry(), controller.currentScreen()->geometry());
    QCOMPARE(shown(), QByteArray("2.png"));
    QTRY_VERIFY(controller.slideView()->currentImage() != nullptr);
}

void ShowRulesTest::resizingReadsAChangedFileAgain()
{
    auto& controller = openThree();
    controller.WindowMode();
    mFixture->addPicture("1.png", Qt::blue, {60, 20});
    mFixture->folder.setModified("1.png", 1000);
    controller.screenWindow()->resize(300, 200);
    QTRY_COMPARE(controller.slideView()->currentImage()->width(), 60U);
}

void ShowRulesTest::fullScreenOnTheSameDisplayStoresNothing()
{
    auto& controller = openThree();
    controller.WindowMode();
    controller.FullScreen();
    // What is posted later comes after what would have been stored.
    bool turned = false;
    QTimer::singleShot(0, this, [&] { turned = true; });
    QTRY_VERIFY(turned);
    QVERIFY(!mFixture->settings().contains(keys::screenRectFrame));
}

void ShowRulesTest::theChosenDisplayIsStoredAfterwards()
{
    auto& controller = mFixture->start();
    controller.ShowChooseScreen();
    controller.ChangeScreen();
    QVERIFY(!mFixture->settings().contains(keys::screenRectFrame));
    QTRY_COMPARE(
        mFixture->settings().stringValue(keys::screenRectFrame), textFromRect(controller.currentScreen()->geometry()));
}

void ShowRulesTest::stoppingAndStartingGivesAFullInterval()
{
    mFixture->set(keys::slideInterval, 5);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(3s);
    controller.Stop();
    controller.Stop(); // has stopped already: nothing
    QVERIFY(!controller.timerRuns());
    mFixture->clock.advance(1h);
    QCOMPARE(shown(), QByteArray("1.png"));
    controller.Start();
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
}

void ShowRulesTest::aNewIntervalDoesNotStartAStoppedShow()
{
    auto& controller = openThree();
    mFixture->set(keys::slideInterval, 3);
    QVERIFY(!controller.timerRuns());
    mFixture->clock.advance(1h);
    QCOMPARE(shown(), QByteArray("1.png"));
    controller.Start();
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 3s);
}

void ShowRulesTest::aTimerThatFiresDuringATransitionTriesAgain()
{
    mFixture->set(keys::transition, QStringLiteral("Cross Fade"));
    mFixture->set(keys::slideInterval, 0.3);
    auto& controller = openThree();
    mFixture->letTransitionEnd();
    controller.next();
    QCoreApplication::processEvents();
    QVERIFY(controller.slideView()->isBusy());
    controller.Start();
    mFixture->clock.advance(700ms); // two firings; the fade takes a second
    QVERIFY(controller.slideView()->isBusy());
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(1));
    QVERIFY(controller.timerRuns());
    mFixture->clock.advance(400ms);
    QCoreApplication::processEvents();
    mFixture->clock.advance(300ms);
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(2));
    QCOMPARE(shown(), QByteArray("3.png"));
}

void ShowRulesTest::theTimerClosesTheShowAtItsEnd()
{
    mFixture->set(keys::endMode, keys::endModeClose);
    mFixture->set(keys::slideInterval, 5);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(10s);
    QCOMPARE(shown(), QByteArray("3.png"));
    mFixture->clock.advance(5s);
    QVERIFY(!controller.timerRuns());
    QVERIFY(controller.screenWindow() == nullptr);
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    QTRY_COMPARE(mFixture->visibleWindows(), mStartOnly);
}

void ShowRulesTest::automaticStartLeavesARunningTimerAlone()
{
    mFixture->set(keys::autoStart, true);
    mFixture->set(keys::slideInterval, 5);
    auto& controller = openThree();
    QVERIFY(controller.timerRuns());
    const TimePoint due = controller.nextSlideChange();
    mFixture->clock.advance(1s);
    controller.autoPlay();
    QVERIFY(controller.timerRuns());
    QVERIFY(controller.nextSlideChange() == due);
}

void ShowRulesTest::everyWayToAnotherSlideHasItsDirection_data()
{
    QTest::addColumn<void (SlideController::*)()>("step");
    QTest::addColumn<bool>("forward");
    QTest::newRow("next") << &SlideController::nextSlide << true;
    QTest::newRow("previous") << &SlideController::previousSlide << false;
    QTest::newRow("first") << &SlideController::firstSlide << false;
    QTest::newRow("trash") << &SlideController::trashSlide << true;
    QTest::newRow("shown afresh") << &SlideController::reloadCurrent << true;
}

void ShowRulesTest::everyWayToAnotherSlideHasItsDirection()
{
    using Step = void (SlideController::*)();
    QFETCH(const Step, step);
    QFETCH(const bool, forward);
    auto& controller = openThree();
    controller.nextSlide();
    QVERIFY(mFixture->rest());
    mFixture->set(keys::transition, QStringLiteral("Slide"));
    (controller.*step)();
    QTRY_VERIFY(controller.slideView()->isBusy());
    // Forwards the slide comes from the right.
    mFixture->clock.advance(300ms);
    const Layer& layer = *controller.slideView()->currentLayer();
    const double x = presentedValues(layer, mFixture->clock.now()).position.x();
    const double middle = controller.slideView()->width() / 2.0;
    QVERIFY2(forward ? x > middle : x < middle, QByteArray::number(x).constData());
}

void ShowRulesTest::theCurrentFileIsReadAgain()
{
    auto& controller = openThree();
    controller.nextSlide();
    const FileUrl url = controller.imageURL();
    mFixture->addPicture("2.png", Qt::blue, {60, 20});
    KLImageCache::removeImageWithURL(url);
    controller.currentFileChanged();
    QCOMPARE(controller.imageURL(), url);
    QTRY_COMPARE(controller.slideView()->currentImage()->width(), 60U);
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(1));
}

void ShowRulesTest::reloadingDuringATransitionIsDropped()
{
    mFixture->set(keys::transition, QStringLiteral("Cross Fade"));
    auto& controller = openThree();
    mFixture->letTransitionEnd();
    controller.next();
    QCoreApplication::processEvents();
    QVERIFY(controller.slideView()->isBusy());
    mFixture->clock.advance(500ms);
    controller.currentFileChanged();
    mFixture->clock.advance(700ms);
    QCoreApplication::processEvents();
    // Not made up for either: the time since the slide came would have begun anew.
    QVERIFY(!controller.slideView()->isBusy());
    controller.previous();
    QCOMPARE(controller.lastSlideTime(), 1.2);
}

void ShowRulesTest::newFilesWithNothingOnScreenAreShown()
{
    mFixture->set(keys::showNewItemsASAP, false);
    mFixture->addPictures({"1.png", "2.png"});
    auto& controller = mFixture->start();
    // As a watched folder that was empty brings them: without a first file.
    controller.fileSequence().setDelegate(nullptr);
    controller.fileSequence().addDirectory(mFixture->folder.path());
    controller.fileSequence().sort();
    controller.fileSequence().setDelegate(&controller);
    QVERIFY(controller.imageURL().isEmpty());
    controller.newFilesFound();
    QCOMPARE(shown(), QByteArray("2.png"));
    QVERIFY(controller.screenWindow() != nullptr);
}

void ShowRulesTest::droppedFilesAreRemembered()
{
    mFixture->folder.addFile("2a.jpg", "no picture");
    auto& controller = openThree();
    controller.nextSlide();
    controller.nextSlide();
    QCOMPARE(shown(), QByteArray("3.png"));
    QVERIFY(controller.fileSequence().removedURLs().contains(mFixture->folder.urlOf("2a.jpg")));
}

void ShowRulesTest::theHintGivesWay_data()
{
    QTest::addColumn<QByteArray>("to");
    QTest::newRow("the timer") << QByteArray("timer");
    QTest::newRow("the first slide") << QByteArray("first");
    QTest::newRow("the current file, changed") << QByteArray("changed");
}

void ShowRulesTest::theHintGivesWay()
{
    QFETCH(QByteArray, to);
    QImage hint(64, 36, QImage::Format_RGB32);
    hint.fill(Qt::darkGray);
    QVERIFY(hint.save(QString::fromUtf8(mFixture->resourceFolder.addFile("hint screen.png"))));
    mFixture->set(keys::hintsShown, false);
    mFixture->set(keys::autoStart, true);
    mFixture->set(keys::slideInterval, 5);
    auto& controller = openThree();
    QCOMPARE(shown(), QByteArray("hint screen.png"));
    QVERIFY(mFixture->settings().boolValue(keys::hintsShown));
    QVERIFY(controller.timerRuns());
    if (to == "timer") {
        mFixture->clock.advance(5s);
    } else if (to == "first") {
        controller.firstSlide();
    } else {
        controller.currentFileChanged();
    }
    QCOMPARE(shown(), QByteArray("1.png"));
    QVERIFY(!controller.hintsScreenShown());
    mFixture->clock.advance(5s);
    QCOMPARE(shown(), QByteArray("2.png"));
}

void ShowRulesTest::zeroKeepsTheInterval()
{
    auto& controller = openThree();
    mFixture->press(Qt::Key_4, QStringLiteral("4"));
    QVERIFY(controller.timerRuns());
    mFixture->press(Qt::Key_0, QStringLiteral("0"));
    QVERIFY(!controller.timerRuns());
    QCOMPARE(mFixture->settings().floatValue(keys::slideInterval), 4.0F);
}

void ShowRulesTest::spaceStepsAStoppedShow()
{
    auto& controller = openThree();
    mFixture->press(Qt::Key_Space, QStringLiteral(" "));
    QCOMPARE(shown(), QByteArray("2.png"));
    QVERIFY(!controller.timerRuns());
}

void ShowRulesTest::digitsArePassedOn()
{
    auto& controller = openThree();
    QKeyEvent digit(QEvent::KeyPress, Qt::Key_3, Qt::NoModifier, QStringLiteral("3"));
    digit.ignore();
    controller.keyDown(&digit);
    QVERIFY(controller.timerRuns());
    QVERIFY(!digit.isAccepted());
}

void ShowRulesTest::endingTheShowEmptiesTheCaches_data()
{
    QTest::addColumn<bool>("destroyed");
    QTest::newRow("the show ends") << false;
    QTest::newRow("the controller goes") << true;
}

void ShowRulesTest::endingTheShowEmptiesTheCaches()
{
    QFETCH(bool, destroyed);
    auto& controller = openThree();
    const FileUrl url = controller.imageURL();
    QVERIFY(!KLThumbnailCache::cacheImageWithURL(url).isNull());
    QVERIFY(!KLImageCache::instance().images().empty());
    if (destroyed) {
        mFixture->destroyController();
    } else {
        controller.endSlideShow();
    }
    QVERIFY(KLImageCache::instance().images().empty());
    QVERIFY(KLThumbnailCache::imageWithURL(url).isNull());
}

QTEST_MAIN(ShowRulesTest)
#include "ShowRulesTest.moc"
