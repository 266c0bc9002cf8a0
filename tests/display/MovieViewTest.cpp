#include "MovieControls.h"
#include "MoviePlayerView.h"
#include "PictureFiles.h"
#include "PlayedMovies.h"
#include "ViewFixture.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

// What a probe would have found, of a movie that is never played.
MoviePlayerPtr playerOfSize(QSize size)
{
    ProbedMovie movie;
    movie.facts.hasVideo = true;
    movie.facts.size = size;
    return MoviePlayer::playerWithURL(FileUrl::fromPath(QByteArray("/nowhere/movie.mkv")), movie);
}

} // namespace

// The slide view's movie side.
class MovieViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { mFixture = std::make_unique<ViewFixture>(); }
    void cleanup();

    void aMovieTakesThePlaceOfThePicture();
    void itsViewIsBelowAllSiblings();
    void frameByFitMode_data();
    void frameByFitMode();
    void withoutAPictureTheFrameIsTheViewsBounds();
    void aNewFitModePlacesThePlayerViewAnew();
    void aMissingPlayerHidesThePictureAndShowsNothing();
    void aMissingPlayerInAMoviesPlaceEndsIt();
    void theFirstMovieResetsTheHiddenPicture();
    void aPictureAfterAMovieIsThereAtOnce();
    void theMovieViewIsHiddenOnceMoreAtTheNextAnimationEnd();
    void clearingTakesTheMovieAway();
    void aSecondMovieReplacesThePlayerInTheSameView();
    void zoomAndPanDoNothing();
    void driftRunsAllTheSame();
    void aMovieEndsTheZoomOfTheSlideBeforeIt();
    void thePointersPictureIsAboveTheMovie();
    void aPressOnTheControlsIsNotOneOnTheSlide();
    void theFirstFrameStandsUntilThePlayersOwn();
    void fromPictureToMovieToPictureNothingElseIsSeen();
    void nothingStaleBetweenTwoMovies();
    void fillingCutsOffEvenly();
    void aResizedViewShowsTheMovieInItsNewSize();
    void musicShowsItsCoverAndItsName();
    void musicWithoutACoverShowsANote();
    void aViewThatGoesTakesItsMovieWithIt();

private:
    KLLayerView& view() const { return *mFixture->view; }
    MoviePlayerPtr movie(const QByteArray& name) const { return playerFor(mFiles->folder().urlOf(name)); }
    bool waitForFrame() const
    {
        return QTest::qWaitFor([this] { return !view().moviePlayer()->frame().isNull(); }, 10000);
    }

    std::unique_ptr<MovieFiles> mFiles;
    std::unique_ptr<ViewFixture> mFixture;
};

void MovieViewTest::initTestCase()
{
    mFiles = std::make_unique<MovieFiles>();
    const QByteArray still = MovieFiles::quarters() + " -c:v ffv1 -pix_fmt yuv444p";
    QVERIFY(mFiles->make("still.mkv", still));
    QVERIFY(mFiles->make("numbers.mp4", MovieFiles::numbers() + " -c:v libx264"));
    QVERIFY(mFiles->make("sound.mp3", MovieFiles::sound() + " -t 5"));
    QVERIFY(mFiles->make("cover.mp3",
        MovieFiles::sound() + " -i %folder/quarters.png -map 0 -map 1 -c:v png -disposition:v attached_pic -t 5"));
}

void MovieViewTest::cleanup()
{
    mFixture.reset();
    QVERIFY(MovieEngine::waitForThreads(10s));
}

void MovieViewTest::aMovieTakesThePlaceOfThePicture()
{
    mFixture->show(solid({40, 40}, Qt::red));
    QVERIFY(!view().isMovieActive() && view().moviePlayerView() == nullptr);
    const MoviePlayerPtr player = movie("still.mkv");
    view().showMovie(player, true);
    QVERIFY(view().isMovieActive());
    QVERIFY(!view().isBusy());
    QVERIFY(!view().removesMovieLayer());
    QCOMPARE(view().currentLayer()->opacity(), 0.0);
    QVERIFY(view().currentImage()); // hidden, not forgotten
    QCOMPARE(view().moviePlayer(), player);
    QVERIFY(!view().moviePlayerView()->isHidden());
    QCOMPARE(view().moviePlayerView()->frame(), QRectF(60, 26, 80, 48));
    QCOMPARE(view().moviePlayerView()->geometry(), QRect(60, 26, 80, 48));
    QVERIFY(player->isPlaying());
}

void MovieViewTest::itsViewIsBelowAllSiblings()
{
    QWidget label(&view());
    view().showMovie(movie("still.mkv"), true);
    const auto children = view().findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
    QCOMPARE(children.first(), view().moviePlayerView());
    QCOMPARE(children.last(), view().moviePlayerView()->controls());
}

void MovieViewTest::frameByFitMode_data()
{
    QTest::addColumn<QVariant>("mode");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRectF>("frame"); // in a view of 200 by 100
    const QSize small(40, 40);
    const QSize large(800, 200);
    QTest::newRow("missing, small") << QVariant() << small << QRectF(80, 30, 40, 40);
    QTest::newRow("missing, large") << QVariant() << large << QRectF(0, 25, 200, 50);
    QTest::newRow("fit, small") << QVariant(keys::fitModeFit) << small << QRectF(80, 30, 40, 40);
    QTest::newRow("fit, large") << QVariant(keys::fitModeFit) << large << QRectF(0, 25, 200, 50);
    QTest::newRow("zoom, small") << QVariant(keys::fitModeZoom) << small << QRectF(50, 0, 100, 100);
    QTest::newRow("zoom, large") << QVariant(keys::fitModeZoom) << large << QRectF(0, 25, 200, 50);
    QTest::newRow("fill, small") << QVariant(keys::fitModeFill) << small << QRectF(0, -50, 200, 200);
    QTest::newRow("fill, large") << QVariant(keys::fitModeFill) << large << QRectF(-100, 0, 400, 100);
    QTest::newRow("stretch") << QVariant(keys::fitModeStretch) << small << QRectF(0, 0, 200, 100);
    QTest::newRow("unknown word") << QVariant(QStringLiteral("sideways")) << small << QRectF(0, 0, 200, 100);
    QTest::newRow("no width") << QVariant(keys::fitModeFit) << QSize(0, 40) << QRectF(0, 0, 200, 100);
    QTest::newRow("negative height") << QVariant(keys::fitModeFit) << QSize(40, -1) << QRectF(0, 0, 200, 100);
}

void MovieViewTest::frameByFitMode()
{
    QFETCH(QVariant, mode);
    QFETCH(QSize, size);
    QFETCH(QRectF, frame);
    mFixture->setFitMode(mode);
    QCOMPARE(view().rectForMovie(playerOfSize(size)), frame);
}

void MovieViewTest::withoutAPictureTheFrameIsTheViewsBounds()
{
    mFixture->setFitMode(keys::fitModeFit);
    QCOMPARE(view().rectForMovie(nullptr), QRectF(0, 0, 200, 100));
    QCOMPARE(view().rectForMovie(movie("sound.mp3")), QRectF(0, 0, 200, 100));
    QCOMPARE(view().rectForMovie(movie("cover.mp3")), QRectF(0, 0, 200, 100));
}

void MovieViewTest::aNewFitModePlacesThePlayerViewAnew()
{
    mFixture->setFitMode(keys::fitModeFit);
    mFixture->show(solid({40, 40}, Qt::red));
    view().showMovie(movie("still.mkv"), true);
    const QRectF layer = view().currentLayer()->frame();
    mFixture->setFitMode(keys::fitModeStretch);
    view().updateFitMode();
    QCOMPARE(view().moviePlayerView()->frame(), QRectF(0, 0, 200, 100));
    QCOMPARE(view().moviePlayerView()->geometry(), QRect(0, 0, 200, 100));
    QCOMPARE(view().currentLayer()->frame(), layer);
    QTRY_COMPARE(view().moviePlayer()->frame().size(), QSize(200, 100));
}

void MovieViewTest::aMissingPlayerHidesThePictureAndShowsNothing()
{
    mFixture->show(solid({200, 100}, Qt::red));
    view().showMovie(nullptr, true);
    QCOMPARE(view().currentLayer()->opacity(), 0.0);
    QVERIFY(!view().isMovieActive());
    QVERIFY(view().moviePlayerView() == nullptr);
    QCOMPARE(mFixture->grab(), solid({200, 100}, Qt::black));
}

void MovieViewTest::aMissingPlayerInAMoviesPlaceEndsIt()
{
    mFixture->show(solid({40, 40}, Qt::red));
    const MoviePlayerPtr player = movie("numbers.mp4");
    view().showMovie(player, true);
    view().showMovie(nullptr, true);
    QVERIFY(!player->isPlaying());
    QVERIFY(view().moviePlayer() == nullptr);
    QCOMPARE(view().currentLayer()->opacity(), 0.0);
    QVERIFY(view().moviePlayerView()->isHidden());
    QCOMPARE(mFixture->grab(), solid({200, 100}, Qt::black));
    mFixture->show(solid({200, 100}, Qt::blue));
    QVERIFY(!view().isBusy());
    QCOMPARE(mFixture->grab(), solid({200, 100}, Qt::blue));
}

void MovieViewTest::theFirstMovieResetsTheHiddenPicture()
{
    mFixture->setFitMode(keys::fitModeFit);
    mFixture->show(solid({40, 40}, Qt::red));
    const QRectF fitted = view().currentLayer()->frame();
    const QRectF elsewhere(1, 2, 30, 40);
    view().currentLayer()->setFrame(elsewhere);
    view().showMovie(movie("still.mkv"), true);
    QCOMPARE(view().currentLayer()->frame(), fitted);
    view().currentLayer()->setFrame(elsewhere);
    view().showMovie(movie("numbers.mp4"), true); // not the first one
    QCOMPARE(view().currentLayer()->frame(), elsewhere);
}

void MovieViewTest::aPictureAfterAMovieIsThereAtOnce()
{
    mFixture->setTransition(QStringLiteral("Cross Fade"));
    mFixture->show(solid({40, 40}, Qt::red));
    const MoviePlayerPtr player = movie("numbers.mp4");
    view().showMovie(player, true);
    mFixture->show(solid({200, 100}, Qt::blue));
    QVERIFY(!view().isBusy());
    QVERIFY(view().ImageOK());
    QVERIFY(!view().isMovieActive());
    QVERIFY(view().removesMovieLayer());
    QVERIFY(view().moviePlayerView()->isHidden());
    QVERIFY(!player->isPlaying());
    QCOMPARE(view().currentLayer()->opacity(), 1.0);
    QCOMPARE(view().currentLayer()->frame(), QRectF(0, 0, 200, 100));
    QVERIFY(!view().previousImage()); // it is the same layer: none has changed its role
    QCOMPARE(mFixture->grab(), solid({200, 100}, Qt::blue));
    // The next picture comes with a transition again.
    mFixture->show(solid({200, 100}, Qt::green));
    QVERIFY(view().isBusy());
}

void MovieViewTest::theMovieViewIsHiddenOnceMoreAtTheNextAnimationEnd()
{
    mFixture->setTransition(QStringLiteral("Cross Fade"));
    view().showMovie(movie("still.mkv"), true);
    mFixture->show(solid({200, 100}, Qt::blue));
    mFixture->show(solid({200, 100}, Qt::green));
    QVERIFY(view().removesMovieLayer());
    view().moviePlayerView()->show();
    int ends = 0;
    connect(&view(), &KLLayerView::animationEnded, this, [&] { ++ends; });
    mFixture->clock.advance(2s);
    QVERIFY(ends > 0);
    QVERIFY(!view().removesMovieLayer());
    QVERIFY(view().moviePlayerView()->isHidden());
    // Another movie takes the mark away.
    mFixture->show(solid({200, 100}, Qt::blue));
    mFixture->clock.advance(2s);
    view().showMovie(movie("still.mkv"), true);
    mFixture->show(solid({200, 100}, Qt::red));
    QVERIFY(view().removesMovieLayer());
    view().showMovie(movie("still.mkv"), true);
    QVERIFY(!view().removesMovieLayer());
    QVERIFY(!view().moviePlayerView()->isHidden());
}

void MovieViewTest::clearingTakesTheMovieAway()
{
    const MoviePlayerPtr player = movie("still.mkv");
    view().showMovie(player, true);
    view().clearImage();
    QVERIFY(!view().isMovieActive());
    QVERIFY(!view().removesMovieLayer());
    QVERIFY(view().moviePlayerView()->isHidden());
    QVERIFY(!player->isPlaying());
    QCOMPARE(mFixture->grab(), solid({200, 100}, Qt::black));
    // The first picture afterwards comes without a transition.
    mFixture->show(solid({200, 100}, Qt::blue));
    QVERIFY(!view().isBusy());
}

void MovieViewTest::aSecondMovieReplacesThePlayerInTheSameView()
{
    const MoviePlayerPtr first = movie("numbers.mp4");
    const MoviePlayerPtr second = movie("still.mkv");
    view().showMovie(first, true);
    const MoviePlayerView* const playerView = view().moviePlayerView();
    view().showMovie(second, false);
    QCOMPARE(view().moviePlayerView(), playerView);
    QCOMPARE(playerView->player(), second);
    QCOMPARE(playerView->frame(), QRectF(60, 26, 80, 48));
    QVERIFY(view().isMovieActive());
    QVERIFY(!first->isPlaying());
    QVERIFY(second->isPlaying());
}

void MovieViewTest::zoomAndPanDoNothing()
{
    mFixture->show(solid({400, 400}, Qt::red));
    view().showMovie(movie("still.mkv"), true);
    const QRectF frame = view().currentLayer()->frame();
    view().zoomIn();
    view().zoomOne();
    view().zoomOff();
    view().panX(10, 10);
    view().zoomToHeight(10, 10);
    view().moveToPosition(1, 1);
    view().compositor().deliverPending();
    QCOMPARE(view().currentLayer()->frame(), frame);
    QVERIFY(!view().isZoomed());
    QVERIFY(!view().isBusy());
}

void MovieViewTest::driftRunsAllTheSame()
{
    mFixture->show(solid({400, 400}, Qt::red));
    view().showMovie(movie("still.mkv"), true);
    view().driftEffect();
    QVERIFY(view().currentLayer()->animation(QStringLiteral("driftx")));
}

void MovieViewTest::aMovieEndsTheZoomOfTheSlideBeforeIt()
{
    mFixture->show(solid({400, 400}, Qt::red));
    const QRectF fitted = view().currentLayer()->frame();
    view().zoomIn();
    view().showMovie(movie("still.mkv"), true);
    QCOMPARE(view().currentLayer()->frame(), fitted);
    QVERIFY(!view().isZoomed());
}

void MovieViewTest::thePointersPictureIsAboveTheMovie()
{
    mFixture->defaults.setValue(keys::cursor, QStringLiteral("Arrow"));
    view().showMovie(movie("still.mkv"), true);
    const QImage before = mFixture->grab();
    const QPoint place(70, 30);
    // As they come: to the movie's own view first, which has no use for them.
    const auto send = [&](QEvent::Type type, Qt::MouseButtons buttons) {
        QWidget* const under = view().moviePlayerView();
        QVERIFY(under->geometry().contains(place));
        const QPointF within = under->mapFrom(&view(), place);
        QMouseEvent event(type, within, place, place, Qt::LeftButton, buttons, {});
        QCoreApplication::sendEvent(under, &event);
    };
    send(QEvent::MouseButtonPress, Qt::LeftButton);
    QCOMPARE(view().cursorLayer()->frame().topLeft(), QPointF(70, view().height() - 30 - 96));
    const QImage after = mFixture->grab();
    QVERIFY(after.pixelColor(80, 60).lightness() > 200); // the arrow's face
    QVERIFY(before.pixelColor(80, 60).lightness() < 200);
    send(QEvent::MouseButtonRelease, Qt::NoButton);
    QVERIFY(mFixture->grab().pixelColor(80, 60).lightness() < 200);
}

void MovieViewTest::aPressOnTheControlsIsNotOneOnTheSlide()
{
    mFixture->defaults.setValue(keys::cursor, QStringLiteral("Arrow"));
    view().resize(800, 400);
    view().showMovie(movie("still.mkv"), true);
    MovieControls* const controls = view().moviePlayerView()->controls();
    QMouseEvent event(QEvent::MouseButtonPress, QPointF(2, 2), QPointF(2, 2), Qt::LeftButton, Qt::LeftButton, {});
    QCoreApplication::sendEvent(controls, &event);
    QVERIFY(event.isAccepted());
    QVERIFY(view().cursorLayer()->contents().isNull());
}

void MovieViewTest::theFirstFrameStandsUntilThePlayersOwn()
{
    mFixture->setFitMode(keys::fitModeFit);
    const MoviePlayerPtr player = movie("still.mkv");
    view().showMovie(player, true);
    const QImage first = mFixture->grab();
    QVERIFY(player->frame().isNull()); // its own is not there yet
    QCOMPARE(first.pixelColor(10, 10), QColor(Qt::black));
    QCOMPARE(quarters(first.copy(60, 26, 80, 48), 12), QByteArray("RGBY"));
    QVERIFY(waitForFrame());
    const QImage own = mFixture->grab();
    QCOMPARE(quarters(own.copy(60, 26, 80, 48), 12), QByteArray("RGBY"));
    // A person does not see the change.
    int worst = 0;
    for (int y = 28; y < 72; ++y) {
        for (int x = 62; x < 138; ++x) {
            const bool isEdge = qAbs(x - 100) < 3 || qAbs(y - 50) < 3;
            worst = std::max(worst, isEdge ? 0 : qAbs(qRed(first.pixel(x, y)) - qRed(own.pixel(x, y))));
        }
    }
    QVERIFY2(worst <= 4, QByteArray::number(worst).constData());
}

void MovieViewTest::fromPictureToMovieToPictureNothingElseIsSeen()
{
    mFixture->setFitMode(keys::fitModeStretch);
    mFixture->show(solid({200, 100}, Qt::magenta));
    view().showMovie(movie("still.mkv"), true);
    const auto isMovie = [&] { return quarters(mFixture->grab(), 40) == "RGBY"; };
    bool wasAlwaysThere = isMovie();
    QVERIFY(QTest::qWaitFor([&] {
        wasAlwaysThere = wasAlwaysThere && isMovie();
        return !view().moviePlayer()->frame().isNull();
    }));
    QVERIFY(wasAlwaysThere && isMovie());
    view().moviePlayer()->pause();
    QVERIFY(isMovie());
    mFixture->show(solid({200, 100}, Qt::cyan));
    QCOMPARE(mFixture->grab(), solid({200, 100}, Qt::cyan));
}

void MovieViewTest::nothingStaleBetweenTwoMovies()
{
    mFixture->setFitMode(keys::fitModeStretch);
    view().showMovie(movie("numbers.mp4"), true);
    QVERIFY(waitForFrame());
    view().moviePlayer()->seek(5, MovieEngine::Seek::Exact);
    QTRY_VERIFY(numberIn(mFixture->grab()) >= 125);
    view().showMovie(movie("still.mkv"), true);
    QCOMPARE(quarters(mFixture->grab(), 40), QByteArray("RGBY"));
    view().showMovie(movie("numbers.mp4"), true);
    QCOMPARE(numberIn(mFixture->grab()), 0);
}

void MovieViewTest::fillingCutsOffEvenly()
{
    mFixture->setFitMode(keys::fitModeFill);
    view().showMovie(movie("still.mkv"), true); // 80 by 48 on 200 by 100: 10 lines are cut off above and below
    QCOMPARE(view().moviePlayerView()->frame(), QRectF(0, -10, 200, 120));
    QCOMPARE(view().moviePlayerView()->geometry(), QRect(0, 0, 200, 100));
    QCOMPARE(quarters(mFixture->grab(), 40), QByteArray("RGBY"));
    QVERIFY(waitForFrame());
    QCOMPARE(view().moviePlayer()->frame().size(), QSize(200, 100));
    QTRY_COMPARE(quarters(mFixture->grab(), 40), QByteArray("RGBY"));
    QTRY_VERIFY(isNear(mFixture->grab().pixel(50, 46), qRgb(255, 0, 0), 60));
    QVERIFY(isNear(mFixture->grab().pixel(50, 53), qRgb(0, 0, 255), 60));
    const QRect bounds = view().rect();
    view().moviePlayerView()->controls()->reveal();
    QVERIFY(bounds.contains(view().moviePlayerView()->controls()->geometry()));
}

void MovieViewTest::aResizedViewShowsTheMovieInItsNewSize()
{
    mFixture->setFitMode(keys::fitModeZoom);
    view().showMovie(movie("still.mkv"), true);
    QVERIFY(waitForFrame());
    view().resize(400, 96);
    view().updateFitMode(); // as its controller does
    QCOMPARE(view().moviePlayerView()->geometry(), QRect(120, 0, 160, 96));
    QCOMPARE(quarters(mFixture->grab().copy(120, 0, 160, 96), 40), QByteArray("RGBY")); // before the new frame comes
    QTRY_COMPARE(view().moviePlayer()->frame().size(), QSize(160, 96));
    QCOMPARE(quarters(mFixture->grab().copy(120, 0, 160, 96), 40), QByteArray("RGBY"));
}

void MovieViewTest::musicShowsItsCoverAndItsName()
{
    view().resize(400, 300);
    view().showMovie(movie("cover.mp3"), true);
    QCOMPARE(view().moviePlayerView()->geometry(), QRect(0, 0, 400, 300));
    const QImage seen = mFixture->grab();
    // In the middle, in its own shape.
    QCOMPARE(quarters(seen.copy(145, 100, 110, 66), 30), QByteArray("RGBY"));
    const auto brightness = [&](const QRect& rect) {
        int brightest = 0;
        for (int y = rect.top(); y <= rect.bottom(); ++y) {
            for (int x = rect.left(); x <= rect.right(); ++x) {
                brightest = std::max(brightest, qGray(seen.pixel(x, y)));
            }
        }
        return brightest;
    };
    QVERIFY(brightness({150, 216, 100, 30}) > 150); // the name
    QVERIFY(brightness({0, 0, 400, 60}) < 60); // quiet
    QVERIFY(view().moviePlayerView()->accessibleName().contains(QLatin1String("cover.mp3")));
}

void MovieViewTest::musicWithoutACoverShowsANote()
{
    view().resize(400, 300);
    view().showMovie(movie("sound.mp3"), true);
    const QImage seen = mFixture->grab();
    QVERIFY(qGray(seen.pixel(200, 90)) > qGray(seen.pixel(20, 20)) + 10); // the sheet
    QVERIFY(!view().moviePlayerView()->controls()->isRevealed());
    // However small the view is.
    for (const QSize size : {QSize(1, 1), QSize(40, 10), QSize(10, 200)}) {
        view().resize(size);
        view().updateFitMode();
        QCOMPARE(mFixture->grab().size(), size);
    }
}

void MovieViewTest::aViewThatGoesTakesItsMovieWithIt()
{
    const MoviePlayerPtr player = movie("numbers.mp4");
    view().showMovie(player, true);
    QVERIFY(waitForFrame());
    mFixture->view.reset();
    QVERIFY(player->isClosed());
    QVERIFY(MovieEngine::waitForThreads(10s));
}

QTEST_MAIN(MovieViewTest)
#include "MovieViewTest.moc"
