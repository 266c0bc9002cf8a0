#include "MovieControls.h"
#include "MovieShow.h"
#include "StaysTrue.h"

#include <QtTest>

#include <algorithm>
#include <functional>

#include <unistd.h>

using namespace frameflow;
using namespace std::chrono_literals;

// Movies in a show whose sequence ends, whose file, window or size changes.
class MovieChangesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { mShow = std::make_unique<MovieShow>(*mFiles); }
    void cleanup();

    void theEndOfTheSequenceIsAMovie_data();
    void theEndOfTheSequenceIsAMovie();
    void aShowOfOneMovieRepeatsIt();
    void endingTheShowEndsTheMovie();
    void aMovieThatIsDeletedPlaysToItsEnd();
    void aMovieThatChangesIsShownAnewAndStillHoldsUpTheShow();
    void aBrokenChangeOfAMovieIsSteppedOver();
    void anotherWindowPlaysTheMovieAnew();
    void anotherWindowIsAsLoud_data();
    void anotherWindowIsAsLoud();
    void resizingPlacesTheMovieAndReloadsNoPicture();
    void fitCommandsPlaceTheMovie();
    void zoomCommandsDoNothing();
    void musicIsShownUntilItIsOver();
    void aPictureThatCannotBeLoadedLeavesTheMovieStanding();
    void trashingAMovieShowsTheNext();
    void choosingAThumbnailEndsTheMovie();
    void moviesAndPicturesInARow();

private:
    template <typename Widget>
    Widget* control(const QString& name) const
    {
        const QList<Widget*> all = mShow->view().moviePlayerView()->controls()->findChildren<Widget*>();
        const auto it
            = std::find_if(all.begin(), all.end(), [&](Widget* one) { return one->accessibleName() == name; });
        return it != all.end() ? *it : nullptr;
    }

    std::unique_ptr<MovieFiles> mFiles;
    std::unique_ptr<MovieShow> mShow;
};

void MovieChangesTest::initTestCase()
{
    mFiles = MovieShow::makeFiles();
    QVERIFY(mFiles != nullptr);
}

void MovieChangesTest::cleanup()
{
    mShow.reset();
    QVERIFY(MovieEngine::waitForThreads(10s));
}

void MovieChangesTest::theEndOfTheSequenceIsAMovie_data()
{
    QTest::addColumn<QString>("endMode");
    QTest::newRow("wait") << keys::endModeWait;
    QTest::newRow("rewind") << keys::endModeRewind;
    QTest::newRow("close") << keys::endModeClose;
}

void MovieChangesTest::theEndOfTheSequenceIsAMovie()
{
    QFETCH(QString, endMode);
    mShow->fixture.set(keys::endMode, endMode);
    mShow->fixture.addPictures({"a.png"});
    mShow->addMovie("b.mkv");
    mShow->open();
    mShow->controller().Start();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    if (endMode == keys::endModeRewind) {
        QVERIFY(mShow->waitFor("a.png"));
        QVERIFY(mShow->controller().timerRuns());
    } else if (endMode == keys::endModeClose) {
        QTRY_VERIFY_WITH_TIMEOUT(mShow->controller().screenWindow() == nullptr, 10000);
        QVERIFY(!mShow->controller().movie() && !mShow->controller().timerRuns());
    } else {
        QTRY_VERIFY_WITH_TIMEOUT(!mShow->controller().movie(), 10000);
        // Its last frame stands while the timer keeps asking for more.
        QVERIFY(mShow->view().isMovieActive());
        QTRY_COMPARE(numberIn(mShow->view().moviePlayer()->frame()), 9);
        QVERIFY(mShow->controller().timerRuns());
        mShow->fixture.clock.advance(20s);
        QVERIFY(mShow->view().isMovieActive() && mShow->controller().timerRuns());
        mShow->controller().previousSlide();
        QVERIFY(mShow->waitFor("a.png"));
    }
}

void MovieChangesTest::aShowOfOneMovieRepeatsIt()
{
    mShow->addMovie("a.mkv");
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    const MoviePlayerPtr first = mShow->controller().movie();
    QTRY_VERIFY_WITH_TIMEOUT(mShow->controller().movie() != first && mShow->isMovieOn(), 10000);
    QCOMPARE(mShow->fixture.shown(), QByteArray("a.mkv"));
}

void MovieChangesTest::endingTheShowEndsTheMovie()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.addPictures({"b.png"});
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    const MoviePlayerPtr player = mShow->controller().movie();
    QVERIFY(mShow->fixture.trigger("Play")); // marked to go on
    mShow->controller().cancel();
    QVERIFY(!mShow->controller().movie() && !mShow->controller().movieIsPlaying());
    QVERIFY(player->isClosed());
    // Nothing of it is left for the next show.
    QVERIFY(mShow->fixture.open({mShow->fixture.folder.urlOf("b.png")}));
    QVERIFY(mShow->waitFor("b.png"));
    mShow->controller().next();
    QVERIFY(!mShow->controller().timerRuns());
    mShow->controller().Play();
    QVERIFY(mShow->controller().timerRuns());
}

void MovieChangesTest::aMovieThatIsDeletedPlaysToItsEnd()
{
    mShow->addMovie("a.mkv");
    mShow->fixture.addPictures({"b.png"});
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    QCOMPARE(unlink(mShow->fixture.folder.pathOf("a.mkv").constData()), 0);
    QVERIFY(mShow->waitFor("b.png"));
}

void MovieChangesTest::aMovieThatChangesIsShownAnewAndStillHoldsUpTheShow()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.addPictures({"b.png"});
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    QVERIFY(mShow->fixture.trigger("Play"));
    const MoviePlayerPtr first = mShow->controller().movie();
    QCOMPARE(first->naturalSize(), numbersSize);
    mShow->addMovie("a.mkv", "wide.mkv");
    mShow->controller().currentFileChanged();
    QVERIFY(first->isPlaying()); // until the other one is there
    QTRY_VERIFY(mShow->controller().movie() && mShow->controller().movie() != first);
    QVERIFY(first->isClosed());
    QCOMPARE(mShow->controller().movie()->naturalSize(), QSize(256, 96));
    QCOMPARE(mShow->view().moviePlayerView()->frame().size(), QSizeF(256, 96));
    QVERIFY(!mShow->controller().timerRuns() && mShow->controller().wasPlaying());
    Q_EMIT mShow->controller().movie()->didPlayToEnd();
    QVERIFY(mShow->waitFor("b.png"));
    QVERIFY(mShow->controller().timerRuns());
}

void MovieChangesTest::aBrokenChangeOfAMovieIsSteppedOver()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.addPictures({"b.png"});
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    mShow->fixture.folder.addFile("a.mkv", "no movie any more");
    mShow->controller().currentFileChanged();
    QVERIFY(mShow->waitFor("b.png"));
    QVERIFY(!mShow->view().isMovieActive());
}

void MovieChangesTest::anotherWindowPlaysTheMovieAnew()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.addPictures({"b.png"});
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    QVERIFY(mShow->fixture.trigger("Play"));
    const MoviePlayerPtr first = mShow->controller().movie();
    mShow->controller().WindowMode();
    mShow->controller().applicationWillBecomeActive();
    QVERIFY(first->isClosed());
    QTRY_VERIFY(mShow->controller().movie() && mShow->controller().movie() != first && mShow->isMovieOn());
    QVERIFY(mShow->controller().movie()->isPlaying());
    QVERIFY(mShow->controller().wasPlaying());
}

void MovieChangesTest::anotherWindowIsAsLoud_data()
{
    QTest::addColumn<std::function<void(MovieShow&)>>("makeWindow");
    const auto add = [](const char* name, const std::function<void(MovieShow&)>& makeWindow) {
        QTest::newRow(name) << makeWindow;
    };
    add("full screen again", [](MovieShow& show) {
        show.controller().WindowMode();
        show.controller().applicationWillBecomeActive();
    });
    add("another display", [](MovieShow& show) {
        show.controller().ShowChooseScreen();
        show.controller().ChangeScreen();
    });
    add("the next show", [](MovieShow& show) {
        show.controller().endSlideShow();
        QTRY_COMPARE(show.controller().fileSequence().count(), size_t(0));
        QVERIFY(show.fixture.openFolder());
    });
}

void MovieChangesTest::anotherWindowIsAsLoud()
{
    QFETCH(const std::function<void(MovieShow&)>, makeWindow);
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    const auto volume = [&] { return control<MovieSlider>(QStringLiteral("Volume")); };
    volume()->setValue(35);
    control<MovieButton>(QStringLiteral("Mute"))->click();
    const QPointer<SlideWindow> before = mShow->controller().screenWindow();
    makeWindow(*mShow);
    QTRY_VERIFY(mShow->isMovieOn() && mShow->controller().screenWindow() != before);
    QCOMPARE(volume()->value(), 35);
    auto* const mute = control<MovieButton>(QStringLiteral("Turn Sound On"));
    QVERIFY(mute != nullptr);
    QCOMPARE(mute->glyph(), MovieGlyph::Silence);
    mute->click();
    QCOMPARE(mute->glyph(), MovieGlyph::Sound);
    QCOMPARE(volume()->value(), 35);
}

void MovieChangesTest::resizingPlacesTheMovieAndReloadsNoPicture()
{
    mShow->fixture.set(keys::imageFitMode, keys::fitModeStretch);
    mShow->fixture.addPictures({"a.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    mShow->fixture.addPicture("a.png", Qt::green, {400, 300}); // the picture before has changed
    mShow->controller().WindowMode();
    QTRY_COMPARE(mShow->view().moviePlayerView()->geometry(), mShow->view().rect());
    QVERIFY(staysTrueFor(300ms, [&] { return mShow->fixture.shown() == "b.mkv" && mShow->isMovieOn(); }));
}

void MovieChangesTest::fitCommandsPlaceTheMovie()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    QCOMPARE(mShow->view().moviePlayerView()->frame().size(), QSizeF(numbersSize));
    QVERIFY(mShow->fixture.trigger("Stretch"));
    QCOMPARE(mShow->view().moviePlayerView()->geometry(), mShow->view().rect());
    QVERIFY(mShow->fixture.trigger("ShrinkToFit"));
    QCOMPARE(mShow->view().moviePlayerView()->frame().size(), QSizeF(numbersSize));
}

void MovieChangesTest::zoomCommandsDoNothing()
{
    mShow->fixture.addPictures({"a.png"});
    mShow->addMovie("b.mkv", "long.mkv");
    mShow->open();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mkv"));
    for (const char* const command : {"ZoomIn", "ZoomOne", "ZoomOff"}) {
        QVERIFY(mShow->fixture.trigger(command));
        QCoreApplication::processEvents();
        QVERIFY(!mShow->view().isBusy() && !mShow->view().isZoomed());
    }
}

void MovieChangesTest::musicIsShownUntilItIsOver()
{
    mShow->fixture.addPictures({"a.png", "c.png"});
    mShow->addMovie("b.mp3", "sound.mp3");
    mShow->open();
    mShow->controller().Start();
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("b.mp3"));
    QVERIFY(mShow->isMovieOn());
    QCOMPARE(mShow->view().moviePlayerView()->geometry(), mShow->view().rect());
    QVERIFY(mShow->waitFor("c.png"));
    QVERIFY(mShow->controller().timerRuns());
}

void MovieChangesTest::aPictureThatCannotBeLoadedLeavesTheMovieStanding()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.folder.addFile("b.png", "no picture");
    mShow->addMovie("c.mkv", "long.mkv");
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    mShow->controller().nextSlide();
    QVERIFY(mShow->waitFor("c.mkv"));
    QVERIFY(mShow->isMovieOn());
    QCOMPARE(mShow->controller().fileSequence().count(), size_t(2));
}

void MovieChangesTest::trashingAMovieShowsTheNext()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.addPictures({"b.png"});
    mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    const MoviePlayerPtr player = mShow->controller().movie();
    QVERIFY(mShow->fixture.trigger("trashSlide"));
    QVERIFY(!player->isPlaying());
    QVERIFY(!mShow->controller().movie());
}

void MovieChangesTest::choosingAThumbnailEndsTheMovie()
{
    mShow->addMovie("a.mkv", "long.mkv");
    mShow->fixture.addPictures({"b.png", "c.png"});
    auto& controller = mShow->open();
    QTRY_VERIFY(mShow->isMovieOn());
    const MoviePlayerPtr player = controller.movie();
    controller.gotoImageIndex(2);
    QVERIFY(!player->isPlaying());
    QVERIFY(mShow->waitFor("c.png"));
    QVERIFY(!controller.movie());
    // And back to the movie, which plays from its beginning.
    controller.gotoImageIndex(0);
    QTRY_VERIFY(mShow->isMovieOn());
    QVERIFY(controller.movie() != player);
}

void MovieChangesTest::moviesAndPicturesInARow()
{
    QList<QByteArray> names;
    for (int i = 0; i < 6; ++i) {
        names.append(QByteArray::number(i) + (i % 3 == 0 ? ".png" : ".mkv"));
        if (i % 3 == 0) {
            mShow->fixture.addPicture(names.last());
        } else {
            mShow->addMovie(names.last());
        }
    }
    mShow->open();
    mShow->controller().Start();
    for (const QByteArray& name : names + names) {
        QVERIFY2(mShow->waitFor(name), name.constData());
        QCOMPARE(mShow->view().isMovieActive(), name.endsWith("mkv"));
        QCOMPARE(mShow->controller().timerRuns(), name.endsWith("png"));
        mShow->fixture.clock.advance(name.endsWith("png") ? 5s : 0s);
    }
}

QTEST_MAIN(MovieChangesTest)
#include "MovieChangesTest.moc"
