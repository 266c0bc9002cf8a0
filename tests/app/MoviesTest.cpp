#include "MovieControls.h"
#include "MovieShow.h"
#include "StaysTrue.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

// Movies in a show: how they hold it up, and what a person does meanwhile.
class MoviesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { mShow = std::make_unique<MovieShow>(*mFiles); }
    void cleanup();

    void aMoviePausesTheShowWhichGoesOnAfterwards();
    void aStoppedShowStaysStoppedAfterAMovie();
    void aMovieIsThereAtOnceWhenItWasAhead();
    void aShowMayBeginWithAMovie();
    void anAutomaticStartHoldsUntilTheFirstMovieIsOver();
    void navigationEndsAMovie_data();
    void navigationEndsAMovie();
    void checkingWithoutAMovieDoesNothing();
    void startingWhileAMoviePlaysMarksTheShow();
    void aDigitWhileAMoviePlaysMarksTheShow();
    void otherKeysLeaveTheMarkAlone();
    void spacePausesAndResumesTheMovie();
    void theControlsAndTheSpaceKeyAgree();
    void theControlsStandAboveTheName_data();
    void theControlsStandAboveTheName();
    void theControlsFollowTheName();
    void whatCannotBePlayedIsSteppedOverAndKept_data();
    void whatCannotBePlayedIsSteppedOverAndKept();
    void aShowOfNothingButBrokenMoviesEnds();
    void aMovieThatFailsIsOver();
    void moviesThatAllFailAreTriedOnceASecond();
    void theEndOfAReplacedPlayerIsIgnored();
    void anEndWhileTheViewIsBusyIsActedOnAfterwards();
    void aMovieDoesNotCutATransitionOff();
    void aPictureInAMoviesPlaceLetsTheShowGoOn();
    void aMovieThatIsPlayedAgainIsPausedByTheSpaceKey();

private:
    // Of a.mkv, b.png and c.png: the transition to the last one runs, and the first one has been asked for.
    void askForAMovieDuringATransition()
    {
        mShow->fixture.set(keys::transition, QStringLiteral("Cross Fade"));
        mShow->addMovie("a.mkv", "long.mkv");
        mShow->fixture.addPictures({"b.png", "c.png"});
        mShow->open();
        mShow->controller().nextSlide();
        QVERIFY(mShow->waitFor("b.png"));
        QVERIFY(mShow->fixture.rest());
        mShow->controller().nextSlide();
        QVERIFY(mShow->waitFor("c.png"));
        QTRY_VERIFY(mShow->view().isBusy());
        mShow->controller().firstSlide();
    }

    std::unique_ptr<MovieFiles> mFiles;
    std::unique_ptr<MovieShow> mShow;
};

void MoviesTest::initTestCase()
{
    mFiles = MovieShow::makeFiles();
    QVERIFY(mFiles != nullptr);
}

void MoviesTest::cleanup()
{
    mShow.reset();
    QVERIFY(MovieEngine::waitForThreads(10s));
}

void MoviesTest::aMoviePausesTheShowWhichGoesOnAfterwards()
{
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mkv");
    mShow->open();
    mShow->controller().Start();
    mShow->fixture.clock.advance(5s); // the interval
    QVERIFY(mShow->waitFor("b.mkv"));
    QVERIFY(mShow->isMovieOn());
    QVERIFY(mShow->controller().movieIsPlaying());
    QVERIFY(!mShow->controller().timerRuns());
    QVERIFY(mShow->controller().wasPlaying());
    mShow->fixture.clock.advance(1min); // the movie takes its own time
    QCOMPARE(mShow->fixture.shown(), QByteArray("b.mkv"));
    QVERIFY(mShow->waitFor("c.png"));
    QVERIFY(!mShow->controller().movie() && !mShow->view().isMovieActive());
    QVERIFY(!mShow->controller().movieIsPlaying());
    QVERIFY(mShow->controller().timerRuns());
    mShow->fixture.clock.advance(5s);
    QVERIFY(mShow->waitFor("a.png"));
}

void MoviesTest::aStoppedShowStaysStoppedAfterAMovie()
{
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mkv");
    mShow->open();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    QVERIFY(!mShow->controller().wasPlaying());
    QVERIFY(mShow->waitFor("c.png")); // it goes on by one slide
    QVERIFY(!mShow->controller().timerRuns());
}

void MoviesTest::aMovieIsThereAtOnceWhenItWasAhead()
{
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    QVERIFY(mShow->fixture.filesAhead().contains("b.mkv"));
    QVERIFY(mShow->fixture.waitUntilAhead("b.mkv"));
    mShow->controller().next();
    QVERIFY(!mShow->controller().isWaitingForSlide());
    QVERIFY(mShow->isMovieOn());
    QVERIFY(mShow->view().moviePlayer()->picture()->isPreparedFor(mShow->view().frameRule()));
}

void MoviesTest::aShowMayBeginWithAMovie()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.addPictures({"b.png"});
    mShow->open();
    QVERIFY(mShow->waitFor("a.mkv"));
    QVERIFY(mShow->isMovieOn());
    QVERIFY(mShow->controller().screenWindow()->isVisible());
    QCOMPARE(mShow->controller().screenWindow()->windowTitle(), QStringLiteral("a.mkv"));
    QVERIFY(!mShow->view().currentImage());
    QTRY_VERIFY(mShow->fixture.filesAhead().contains("b.png"));
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.png"));
    QVERIFY(mShow->view().currentImage() && !mShow->view().isBusy());
}

void MoviesTest::anAutomaticStartHoldsUntilTheFirstMovieIsOver()
{
    mShow->fixture.set(keys::autoStart, true);
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.addPictures({"b.png"});
    mShow->open();
    QVERIFY(mShow->waitFor("a.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    QVERIFY(!mShow->controller().timerRuns());
    QVERIFY(mShow->controller().wasPlaying());
    Q_EMIT mShow->controller().movie()->didPlayToEnd();
    QVERIFY(mShow->waitFor("b.png"));
    QVERIFY(mShow->controller().timerRuns());
}

void MoviesTest::navigationEndsAMovie_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("next") << QByteArray("nextSlide") << QByteArray("c.png");
    QTest::newRow("previous") << QByteArray("previousSlide") << QByteArray("a.png");
    QTest::newRow("first") << QByteArray("firstSlide") << QByteArray("a.png");
}

void MoviesTest::navigationEndsAMovie()
{
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, shown);
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    mShow->controller().Start();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    const MoviePlayerPtr player = mShow->controller().movie();
    QVERIFY(player && player->isPlaying());
    QVERIFY(mShow->fixture.trigger(command.constData()));
    QVERIFY(!player->isPlaying());
    QVERIFY(!mShow->controller().movie());
    QVERIFY(mShow->controller().timerRuns());
    QVERIFY(mShow->waitFor(shown));
    QVERIFY(!mShow->view().isMovieActive());
    QVERIFY(!mShow->view().isBusy());
}

void MoviesTest::checkingWithoutAMovieDoesNothing()
{
    mShow->fixture.addPictures({"a.png"});
    mShow->open();
    QVERIFY(!mShow->controller().checkMovie());
    QVERIFY(!mShow->controller().timerRuns());
}

void MoviesTest::startingWhileAMoviePlaysMarksTheShow()
{
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    QVERIFY(mShow->fixture.trigger("Play"));
    QVERIFY(!mShow->controller().timerRuns());
    QVERIFY(mShow->controller().wasPlaying());
    QVERIFY(mShow->fixture.trigger("Play"));
    QVERIFY(!mShow->controller().wasPlaying());
    QVERIFY(mShow->fixture.trigger("Play"));
    Q_EMIT mShow->controller().movie()->didPlayToEnd();
    QVERIFY(mShow->waitFor("c.png"));
    QVERIFY(mShow->controller().timerRuns());
}

void MoviesTest::aDigitWhileAMoviePlaysMarksTheShow()
{
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    mShow->fixture.press(Qt::Key_7, QStringLiteral("7"));
    QCOMPARE(mShow->fixture.settings().value(keys::slideInterval).toFloat(), 7.0F);
    QVERIFY(!mShow->controller().timerRuns() && mShow->controller().wasPlaying());
    mShow->fixture.clock.advance(30s);
    QCOMPARE(mShow->fixture.shown(), QByteArray("b.mkv"));
    Q_EMIT mShow->controller().movie()->didPlayToEnd();
    QVERIFY(mShow->waitFor("c.png"));
    QVERIFY(mShow->controller().timerRuns());
    QCOMPARE(mShow->controller().nextSlideChange() - mShow->fixture.clock.now(), Duration(7s));
}

void MoviesTest::otherKeysLeaveTheMarkAlone()
{
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    mShow->controller().Start();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    mShow->fixture.press(Qt::Key_X, QStringLiteral("x"));
    QVERIFY(mShow->isMovieOn() && mShow->controller().wasPlaying() && mShow->controller().movieIsPlaying());
}

void MoviesTest::spacePausesAndResumesTheMovie()
{
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    const MoviePlayerPtr player = mShow->controller().movie();
    mShow->fixture.press(Qt::Key_Space, QStringLiteral(" "));
    QVERIFY(!player->isPlaying() && !mShow->controller().movieIsPlaying());
    QCOMPARE(mShow->fixture.shown(), QByteArray("b.mkv"));
    mShow->fixture.press(Qt::Key_Space, QStringLiteral(" "));
    QVERIFY(player->isPlaying() && mShow->controller().movieIsPlaying());
    QCOMPARE(mShow->controller().movie(), player);
}

void MoviesTest::theControlsAndTheSpaceKeyAgree()
{
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    QVERIFY(mShow->waitFor("b.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    mShow->controller().movie()->pause(); // as the controls do
    QVERIFY(!mShow->controller().movieIsPlaying());
    mShow->fixture.press(Qt::Key_Space, QStringLiteral(" "));
    QVERIFY(mShow->controller().movie()->isPlaying());
}

void MoviesTest::theControlsStandAboveTheName_data()
{
    QTest::addColumn<QSize>("size"); // empty for the whole screen
    QTest::addColumn<bool>("isPath");
    for (const bool isPath : {true, false}) {
        const char* const what = isPath ? "path" : "name";
        QTest::addRow("%s, full screen", what) << QSize() << isPath;
        QTest::addRow("%s, window", what) << QSize(640, 400) << isPath;
        QTest::addRow("%s, small window", what) << QSize(300, 200) << isPath;
        QTest::addRow("%s, the smallest window", what) << QSize(160, 120) << isPath;
    }
}

void MoviesTest::theControlsStandAboveTheName()
{
    QFETCH(QSize, size);
    QFETCH(bool, isPath);
    mShow->fixture.set(isPath ? keys::showFilePath : keys::showFileName, true);
    mShow->fixture.addPictures({"a.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    if (!size.isEmpty()) {
        mShow->controller().WindowMode();
        mShow->controller().screenWindow()->resize(size);
        QTRY_COMPARE(mShow->controller().screenWindow()->size(), size);
    }
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    MovieControls& controls = *mShow->view().moviePlayerView()->controls();
    controls.reveal();
    QCoreApplication::processEvents();
    const QRect label = mShow->controller().label()->geometry();
    QVERIFY(mShow->controller().label()->isVisible() && controls.isVisible());
    QVERIFY(label.top() > controls.geometry().bottom() + 1);
    QVERIFY(mShow->view().rect().contains(controls.geometry()));
    QCOMPARE(label.bottomLeft(), mShow->view().rect().bottomLeft());
}

void MoviesTest::theControlsFollowTheName()
{
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    SlideController& controller = mShow->controller();
    const MovieControls& controls = *mShow->view().moviePlayerView()->controls();
    mShow->view().moviePlayerView()->controls()->reveal();
    const auto showName = [&](bool isShown) {
        mShow->fixture.set(keys::showFileName, isShown);
        controller.updateInfoDisplayForURL(controller.imageURL());
    };
    const QRect alone = controls.geometry();
    showName(true);
    QCOMPARE(controls.geometry(), alone.translated(0, -controller.label()->height()));
    const QRect before = controls.geometry();
    controller.label()->resize(200, controller.label()->height() + 30); // as with a larger script
    QCOMPARE(controls.geometry(), before.translated(0, -30));
    QCOMPARE(controller.label()->geometry().bottomLeft(), mShow->view().rect().bottomLeft());
    showName(false);
    QCOMPARE(controls.geometry(), alone);
    showName(true);
    QCOMPARE(controls.geometry(), before);
    controller.screenWindow()->hide();
    controller.screenWindow()->show();
    QCOMPARE(controls.geometry(), before);
}

void MoviesTest::whatCannotBePlayedIsSteppedOverAndKept_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("no movie at all") << QByteArray("This is no movie.");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("a play list") << QByteArray("#EXTM3U\n/etc/passwd\n");
}

void MoviesTest::whatCannotBePlayedIsSteppedOverAndKept()
{
    QFETCH(QByteArray, contents);
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->fixture.folder.addFile("b.mp4", contents);
    mShow->open();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("c.png"));
    QVERIFY(!mShow->controller().movie());
    QCOMPARE(mShow->controller().fileSequence().count(), size_t(3));
}

void MoviesTest::aShowOfNothingButBrokenMoviesEnds()
{
    mShow->fixture.folder.addFile("a.mp4", "no");
    mShow->fixture.folder.addFile("b.mp4", "no");
    mShow->fixture.start();
    QVERIFY(mShow->fixture.collectFolder());
    QTRY_VERIFY(mShow->controller().screenWindow() == nullptr);
}

void MoviesTest::aMovieThatFailsIsOver()
{
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    mShow->controller().Start();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    Q_EMIT mShow->controller().movie()->failedToPlayToEnd();
    QVERIFY(mShow->waitFor("c.png"));
    QVERIFY(mShow->controller().timerRuns());
}

void MoviesTest::moviesThatAllFailAreTriedOnceASecond()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    QVERIFY(mShow->waitFor("a.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    Q_EMIT mShow->controller().movie()->failedToPlayToEnd();
    QVERIFY(mShow->waitFor("b.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    Q_EMIT mShow->controller().movie()->failedToPlayToEnd();
    QVERIFY(mShow->waitFor("a.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    const MoviePlayerPtr again = mShow->controller().movie();
    Q_EMIT again->failedToPlayToEnd(); // a whole round
    QVERIFY(staysTrueFor(200ms, [&] { return mShow->controller().movie() == again; }));
    mShow->fixture.clock.advance(990ms);
    QCOMPARE(mShow->controller().movie(), again);
    mShow->fixture.clock.advance(10ms);
    QVERIFY(mShow->waitFor("b.mkv"));
    // One that plays is a slide that was shown.
    QTRY_VERIFY(mShow->isMovieOn());
    Q_EMIT mShow->controller().movie()->didPlayToEnd();
    QVERIFY(mShow->waitFor("a.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    Q_EMIT mShow->controller().movie()->failedToPlayToEnd();
    QVERIFY(mShow->waitFor("b.mkv"));
}

void MoviesTest::theEndOfAReplacedPlayerIsIgnored()
{
    mShow->fixture.addPictures({"b.png"});
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->open();
    QVERIFY(mShow->waitFor("a.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    const MoviePlayerPtr first = mShow->controller().movie();
    mShow->controller().reloadCurrent();
    QTRY_VERIFY(mShow->controller().movie() != first && !mShow->controller().isWaitingForSlide());
    Q_EMIT first->didPlayToEnd();
    Q_EMIT first->failedToPlayToEnd();
    QCOMPARE(mShow->fixture.shown(), QByteArray("a.mkv"));
    QVERIFY(mShow->isMovieOn());
    // Nor does one that ends while another slide is waited for count for that one.
    const MoviePlayerPtr second = mShow->controller().movie();
    mShow->controller().reloadCurrent();
    QVERIFY(mShow->controller().isWaitingForSlide());
    Q_EMIT second->didPlayToEnd();
    QVERIFY(mShow->waitFor("a.mkv"));
    QVERIFY(staysTrueFor(200ms, [&] { return mShow->fixture.shown() == "a.mkv" && mShow->isMovieOn(); }));
}

void MoviesTest::anEndWhileTheViewIsBusyIsActedOnAfterwards()
{
    askForAMovieDuringATransition();
    mShow->fixture.letTransitionEnd();
    QVERIFY(mShow->waitFor("a.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    const AnimationPtr animation = makeAnimation(PropertyChange{KeyPath::PositionX, 0, 1}, 1s, Curve::Linear, nullptr);
    static_cast<AnimationDelegate&>(mShow->view()).animationDidStart(animation);
    QVERIFY(mShow->view().isBusy());
    Q_EMIT mShow->controller().movie()->didPlayToEnd();
    QVERIFY(mShow->isMovieOn());
    static_cast<AnimationDelegate&>(mShow->view()).animationDidStop(animation, true);
    QVERIFY(mShow->waitFor("b.png"));
}

void MoviesTest::aMovieDoesNotCutATransitionOff()
{
    askForAMovieDuringATransition();
    QVERIFY(staysTrueFor(200ms, [&] { return mShow->view().isBusy() && !mShow->view().isMovieActive(); }));
    mShow->fixture.letTransitionEnd();
    QTRY_VERIFY(mShow->isMovieOn());
    QVERIFY(!mShow->view().isBusy());
}

// As when a movie is deleted while it plays, and the file that is then the current one is rewritten.
void MoviesTest::aPictureInAMoviesPlaceLetsTheShowGoOn()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.addPictures({"b.png", "c.png"});
    mShow->open();
    QVERIFY(mShow->waitFor("a.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    mShow->controller().Play();
    QVERIFY(mShow->controller().wasPlaying());
    mShow->controller().fileSequence().gotoIndex(2);
    mShow->controller().currentFileChanged();
    QVERIFY(mShow->waitFor("c.png"));
    QTRY_VERIFY(!mShow->view().isMovieActive());
    QVERIFY(!mShow->controller().movie());
    QVERIFY(mShow->controller().timerRuns());
}

void MoviesTest::aMovieThatIsPlayedAgainIsPausedByTheSpaceKey()
{
    mShow->fixture.set(keys::endMode, keys::endModeWait);
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->open();
    QVERIFY(mShow->waitFor("a.mkv"));
    QTRY_VERIFY(mShow->isMovieOn());
    mShow->controller().Play();
    const MoviePlayerPtr player = mShow->controller().movie();
    QTRY_VERIFY(player->isPlaying());
    player->pause();
    QTRY_VERIFY(!player->isPlaying());
    Q_EMIT player->didPlayToEnd();
    QTRY_VERIFY(!mShow->controller().movie());
    QVERIFY(mShow->view().isMovieActive()); // it stays where it ended
    QVERIFY(mShow->controller().timerRuns());
    player->play(); // as its controls do
    QTRY_COMPARE(mShow->controller().movie(), player);
    QVERIFY(!mShow->controller().timerRuns());
    QVERIFY(mShow->controller().wasPlaying());
    mShow->fixture.press(Qt::Key_Space, QStringLiteral(" "));
    QTRY_VERIFY(!player->isPlaying());
    QVERIFY(mShow->isMovieOn());
}

QTEST_MAIN(MoviesTest)
#include "MoviesTest.moc"
