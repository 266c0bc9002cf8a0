// Movies on a view that draws with OpenGL, in a window: what comes to the screen.
#include "LayerSurface.h"
#include "MovieControls.h"
#include "MovieSurfaceFixture.h"

#include <QAbstractButton>
#include <QLabel>

#include <algorithm>

using namespace frameflow;

class MovieSurfaceTest : public MovieSurfaceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void onAViewThatDrawsItselfFramesAreDrawnInto();
    void firstTheDecodersFrameThenThePlayersOwn();
    void framesComeToTheScreenUntilTheEnd();
    void frameByFitMode_data();
    void frameByFitMode();
    void rotatedMoviesStandUpright_data();
    void rotatedMoviesStandUpright();
    void fillingCutsOffEvenly_data();
    void fillingCutsOffEvenly();
    void whatShinesThroughIsBlack();
    void aResizedViewShowsTheMovieInItsNewSize();
    void controlsAndLabelsAreAboveTheMovie();
    void controlsTakeTheMouse();
    void musicIsPaintedAboveTheLayers();
    void fromPictureToMovieToPictureNothingElseIsSeen();
    void fromMovieToMovieNothingElseIsSeen();
};

void MovieSurfaceTest::onAViewThatDrawsItselfFramesAreDrawnInto()
{
    mWindow = std::make_unique<Window>(LayerDrawing::Raster);
    view().show();
    QCOMPARE(view().movieOutput(), MovieOutput::Raster);
    QVERIFY(play("still.mkv"));
    QVERIFY(!surface());
    QTRY_VERIFY(!view().moviePlayer()->frame().isNull());
}

void MovieSurfaceTest::firstTheDecodersFrameThenThePlayersOwn()
{
    QCOMPARE(view().movieOutput(), MovieOutput::OpenGL);
    const WId window = view().winId();
    const MoviePlayerPtr player = movie("still.mkv");
    QCOMPARE(player->output(), MovieOutput::OpenGL);
    view().showMovie(player, true);
    QTRY_COMPARE(quarters(seen(), 40), QByteArray("RGBY"));
    const QImage first = seen();
    int ended = 0;
    connect(player.get(), &MoviePlayer::didPlayToEnd, this, [&] { ++ended; });
    {
        const Watch watch(place(), [](const QImage& picture) { return quarters(picture, 40) == "RGBY"; });
        QTRY_VERIFY_WITH_TIMEOUT(ended == 1 && watch.hasLooked(10), 20000);
        QCOMPARE(watch.surprises(), QByteArray());
    }
    QVERIFY(player->frame().isNull()); // none is drawn into memory
    QCOMPARE(view().winId(), window); // the window is still the same
    // A person does not see the change.
    const QImage own = seen();
    int worst = 0;
    for (int y = 10; y < 230; ++y) {
        for (int x = 10; x < 390; ++x) {
            const bool isEdge = qAbs(x - 200) < 10 || qAbs(y - 120) < 10;
            worst = std::max(worst, isEdge ? 0 : qAbs(qRed(first.pixel(x, y)) - qRed(own.pixel(x, y))));
            worst = std::max(worst, isEdge ? 0 : qAbs(qGreen(first.pixel(x, y)) - qGreen(own.pixel(x, y))));
            worst = std::max(worst, isEdge ? 0 : qAbs(qBlue(first.pixel(x, y)) - qBlue(own.pixel(x, y))));
        }
    }
    QVERIFY2(worst <= 4, QByteArray::number(worst).constData());
}

void MovieSurfaceTest::framesComeToTheScreenUntilTheEnd()
{
    const MoviePlayerPtr player = movie("short.mkv");
    int ended = 0;
    QSet<int> numbers;
    connect(player.get(), &MoviePlayer::didPlayToEnd, this, [&] { ++ended; });
    view().showMovie(player, true);
    QTRY_VERIFY_WITH_TIMEOUT((numbers.insert(numberIn(seen())), ended == 1), 20000);
    numbers.remove(-1);
    QVERIFY2(numbers.size() > 5, QByteArray::number(numbers.size()).constData()); // in software not all may be in time
    QTRY_COMPARE(numberIn(seen()), 24); // and the last one stands
    player->play();
    QTRY_VERIFY(numberIn(seen()) < 24);
    QTRY_COMPARE_WITH_TIMEOUT(ended, 2, 20000);
    QTRY_COMPARE(numberIn(seen()), 24);
}

void MovieSurfaceTest::frameByFitMode_data()
{
    QTest::addColumn<QVariant>("mode");
    QTest::addColumn<QRect>("frame"); // on the screen
    QTest::newRow("fit") << QVariant(keys::fitModeFit) << QRect(160, 96, 80, 48);
    QTest::newRow("zoom") << QVariant(keys::fitModeZoom) << QRect(0, 0, 400, 240);
    QTest::newRow("fill") << QVariant(keys::fitModeFill) << QRect(0, 0, 400, 240);
    QTest::newRow("stretch") << QVariant(keys::fitModeStretch) << QRect(0, 0, 400, 240);
}

void MovieSurfaceTest::frameByFitMode()
{
    QFETCH(QVariant, mode);
    QFETCH(QRect, frame);
    mWindow->setFitMode(mode);
    mWindow->show(solid({400, 240}, Qt::magenta)); // must not be seen around it
    QVERIFY(playToEnd("still.mkv"));
    QImage around = seen();
    QCOMPARE(quarters(around.copy(frame), 12), QByteArray("RGBY"));
    QPainter painter(&around);
    painter.fillRect(frame, Qt::black);
    painter.end();
    QCOMPARE(around, solid(viewSize, Qt::black));
    // Another mode takes hold at once.
    mWindow->setFitMode(keys::fitModeFit);
    view().updateFitMode();
    QTRY_COMPARE(quarters(seen().copy(160, 96, 80, 48), 12), QByteArray("RGBY"));
    QTRY_COMPARE(seen().pixelColor(150, 100), QColor(Qt::black));
}

void MovieSurfaceTest::rotatedMoviesStandUpright_data()
{
    QTest::addColumn<int>("orientation");
    QTest::newRow("upside down") << 3;
    QTest::newRow("turned to the right") << 6;
    QTest::newRow("turned to the left") << 8;
}

void MovieSurfaceTest::rotatedMoviesStandUpright()
{
    QFETCH(int, orientation);
    const QByteArray name = "turned" + QByteArray::number(orientation) + ".mp4";
    mFiles->folder().addFile(name, withOrientation(mFiles->contentsOf("turned.mp4"), orientation));
    const QByteArray upright = uprightQuarters(orientation);
    view().showMovie(movie(name), true);
    QTRY_COMPARE(quarters(seen(), 60), upright);
    const Watch watch(place(), [&](const QImage& picture) { return quarters(picture, 60) == upright; });
    QTRY_VERIFY_WITH_TIMEOUT(view().moviePlayer()->position() > 0 && !view().moviePlayer()->isPlaying(), 20000);
    QTRY_VERIFY(watch.hasLooked(10));
    QCOMPARE(watch.surprises(), QByteArray());
}

void MovieSurfaceTest::fillingCutsOffEvenly_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("above and below") << QByteArray("still.mkv") << QSize(400, 120) << QByteArray("RGBY");
    QTest::newRow("on both sides") << QByteArray("still.mkv") << QSize(120, 240) << QByteArray("RGBY");
    QTest::newRow("of one on its side") << QByteArray("turned6.mp4") << QSize(400, 120) << uprightQuarters(6);
}

void MovieSurfaceTest::fillingCutsOffEvenly()
{
    QFETCH(QByteArray, name);
    QFETCH(QSize, size);
    QFETCH(QByteArray, expected);
    mFiles->folder().addFile("turned6.mp4", withOrientation(mFiles->contentsOf("turned.mp4"), 6));
    view().resize(size);
    mWindow->setFitMode(keys::fitModeFill);
    QTRY_COMPARE(seen().size(), size);
    QVERIFY(playToEnd(name));
    QCOMPARE(quarters(seen(), 60), expected);
    // The middle of the movie is in the middle.
    const QPoint middle(size.width() / 2, size.height() / 2);
    for (const int distance : {-12, 12}) {
        const QImage near = seen().copy(QRect(middle + QPoint(-24, -24), QSize(48, 48)));
        QVERIFY2(quarters(near, 90) == expected, QByteArray::number(distance).constData());
    }
}

void MovieSurfaceTest::whatShinesThroughIsBlack()
{
    mWindow->show(solid(viewSize, Qt::red));
    QVERIFY(playToEnd("glass.mov"));
    // No squares, and nothing of what lies beneath.
    const QColor at = seen().pixelColor(100, 100);
    QVERIFY2(at.red() == at.green() && at.red() == at.blue(), qPrintable(at.name()));
    const QImage own = seen();
    QCOMPARE(own, solid(viewSize, at));
}

void MovieSurfaceTest::aResizedViewShowsTheMovieInItsNewSize()
{
    mWindow->setFitMode(keys::fitModeZoom);
    QVERIFY(playToEnd("still.mkv"));
    view().resize(400, 96);
    view().updateFitMode(); // as its controller does
    QTRY_COMPARE(quarters(seen().copy(120, 0, 160, 96), 40), QByteArray("RGBY"));
    QCOMPARE(seen().pixelColor(60, 50), QColor(Qt::black));
    for (const QSize size : {QSize(3, 1), QSize(40, 300), viewSize}) {
        view().resize(size);
        view().updateFitMode();
        QTRY_COMPARE(seen().size(), size);
    }
    QTRY_COMPARE(quarters(seen(), 40), QByteArray("RGBY"));
}

void MovieSurfaceTest::controlsAndLabelsAreAboveTheMovie()
{
    QLabel label(&view());
    label.setStyleSheet(QStringLiteral("background: magenta"));
    label.setGeometry(10, 10, 60, 20);
    label.show();
    QVERIFY(play("long.mkv"));
    MovieControls& controls = *playerView().controls();
    controls.reveal();
    QTRY_COMPARE(controls.property(fadeProperty).toDouble(), 1.0);
    const QImage frame = seen();
    QCOMPARE(frame.pixelColor(15, 15), QColor(Qt::magenta));
    const QRect area = controls.geometry();
    QVERIFY(view().rect().contains(area));
    const auto grey = [&] { return qGray(seen().pixel(area.topLeft() + QPoint(30, 4))); };
    // They are dark, and let the movie through a little.
    QTRY_VERIFY(grey() > 0 && grey() < 100);
    view().moviePlayer()->pause();
    view().moviePlayer()->seek(4, MovieEngine::Seek::Exact);
    const auto number = [&] { return numberIn(seen().copy(0, 40, 400, 140)); };
    QTRY_COMPARE(number(), 100);
    const QImage paused = seen();
    controls.conceal();
    QTRY_COMPARE(controls.property(fadeProperty).toDouble(), 0.0);
    QTRY_VERIFY(seen().copy(area) != paused.copy(area));
    QCOMPARE(seen().pixelColor(15, 15), QColor(Qt::magenta));
    QCOMPARE(number(), 100);
}

void MovieSurfaceTest::controlsTakeTheMouse()
{
    QVERIFY(play("long.mkv"));
    QVERIFY(surface()->isVisible());
    QCOMPARE(view().childAt(200, 100), static_cast<QWidget*>(&playerView()));
    MovieControls& controls = *playerView().controls();
    mServer->moveMouse(view().mapToGlobal(QPoint(150, 60)));
    mServer->moveMouse(view().mapToGlobal(QPoint(200, 100)));
    QTRY_VERIFY(controls.isRevealed());
    QTRY_COMPARE(controls.property(fadeProperty).toDouble(), 1.0);
    const auto buttons = controls.findChildren<QAbstractButton*>();
    const auto found = std::find_if(buttons.begin(), buttons.end(),
        [](const QAbstractButton* any) { return any->accessibleName() == QLatin1String("Pause"); });
    QVERIFY(found != buttons.end());
    const QAbstractButton* const button = *found;
    mServer->click(button->mapToGlobal(button->rect().center()));
    QTRY_VERIFY(!view().moviePlayer()->isPlaying());
}

void MovieSurfaceTest::musicIsPaintedAboveTheLayers()
{
    mWindow->show(solid(viewSize, Qt::blue));
    const MoviePlayerPtr player = movie("sound.mp3");
    QCOMPARE(player->output(), MovieOutput::Raster);
    view().showMovie(player, true);
    QTRY_VERIFY(seen().pixelColor(10, 10).blue() < 60);
    QTRY_VERIFY(player->position() > 0);
    // Also after a movie, and before one.
    QVERIFY(play("still.mkv"));
    QTRY_COMPARE(quarters(seen(), 40), QByteArray("RGBY"));
    view().showMovie(movie("sound.mp3"), true);
    QTRY_VERIFY(qGray(seen().pixel(10, 10)) < 60);
    QVERIFY(!surface()->isVisible());
}

void MovieSurfaceTest::fromPictureToMovieToPictureNothingElseIsSeen()
{
    mWindow->setTransition(QStringLiteral("None"));
    mWindow->show(solid(viewSize, Qt::magenta));
    QTRY_COMPARE(seen(), solid(viewSize, Qt::magenta));
    for (int i = 0; i < 3; ++i) {
        const MoviePlayerPtr player = movie("still.mkv");
        const Watch watch(place(), [](const QImage& picture) {
            return picture == solid(viewSize, Qt::magenta) || quarters(picture, 40) == "RGBY";
        });
        view().showMovie(player, true);
        QTRY_VERIFY_WITH_TIMEOUT(player->position() > 0, 20000);
        QTRY_COMPARE(quarters(seen(), 40), QByteArray("RGBY"));
        mWindow->show(solid(viewSize, Qt::magenta));
        QVERIFY(playerView().isHidden());
        QTRY_COMPARE(seen(), solid(viewSize, Qt::magenta));
        QCOMPARE(watch.surprises(), QByteArray());
        QTRY_VERIFY_WITH_TIMEOUT(MovieEngine::waitForThreads(std::chrono::seconds(0)), 10000);
    }
}

void MovieSurfaceTest::fromMovieToMovieNothingElseIsSeen()
{
    QVERIFY(mFiles->make("other.mkv", "-f lavfi -i color=magenta:s=80x48:r=10:d=3 -c:v ffv1 -pix_fmt yuv444p"));
    QVERIFY(play("still.mkv"));
    QTRY_COMPARE(quarters(seen(), 40), QByteArray("RGBY"));
    const Watch watch(place(), [](const QImage& picture) {
        return quarters(picture, 40) == "RGBY" || isNear(picture.pixel(100, 60), qRgb(255, 0, 255), 40);
    });
    for (int i = 0; i < 3; ++i) {
        QVERIFY(play("other.mkv"));
        QTRY_VERIFY(isNear(seen().pixel(100, 60), qRgb(255, 0, 255), 40));
        QVERIFY(play("still.mkv"));
        QTRY_COMPARE(quarters(seen(), 40), QByteArray("RGBY"));
    }
    QCOMPARE(watch.surprises(), QByteArray());
}

QTEST_MAIN(MovieSurfaceTest)
#include "MovieSurfaceTest.moc"
