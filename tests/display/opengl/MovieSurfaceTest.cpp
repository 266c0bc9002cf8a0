// Movies on a view that draws with OpenGL, in a window: what comes to the screen, and what stays when they go.
#include "MovieSurface.h"

#include "LayerSurface.h"
#include "MovieControls.h"
#include "MoviePlayerView.h"
#include "PictureFiles.h"
#include "PlayedMovies.h"
#include "ViewFixture.h"
#include "XServer.h"

#include <QDir>
#include <QLabel>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <thread>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

const QSize viewSize(400, 240);

struct Window : ViewFixture
{
    explicit Window(LayerDrawing drawing = LayerDrawing::OpenGL) : ViewFixture(viewSize)
    {
        view = std::make_unique<KLLayerView>(defaults, clock, nullptr, drawing);
        view->setWindowFlags(Qt::FramelessWindowHint);
        view->resize(viewSize);
        setFitMode(keys::fitModeStretch);
    }
};

// Looks at the screen all the time, from a thread of its own.
class Watch
{
public:
    // "IsExpected" is asked on that thread, of each picture.
    Watch(const QRect& area, std::function<bool(const QImage&)> isExpected)
        : mThread([this, area, isExpected = std::move(isExpected)] {
              const auto server = e2e::XServer::open();
              while (server && !mIsOver) {
                  const QImage seen = server->grab(area);
                  mLooks += 1;
                  if (!isExpected(seen)) {
                      mSurprises += 1;
                      mSurprise = seen.pixel(seen.width() / 4, seen.height() / 4);
                  }
              }
          })
    {
    }
    ~Watch()
    {
        mIsOver = true;
        mThread.join();
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // What was seen and not expected; empty for nothing.
    QByteArray surprises() const
    {
        return mSurprises == 0 && mLooks > 0 ? QByteArray()
                                             : QByteArray::number(mSurprises) + " of " + QByteArray::number(mLooks)
                + ", like " + QByteArray::number(mSurprise, 16);
    }
    bool hasLooked(int times) const { return mLooks >= times; }

private:
    std::atomic<bool> mIsOver = false;
    std::atomic<int> mLooks = 0;
    std::atomic<int> mSurprises = 0;
    std::atomic<QRgb> mSurprise = 0;
    std::thread mThread; // the last: the others are there when it starts
};

qsizetype entriesOf(const char* folder)
{
    return QDir(QString::fromUtf8(folder)).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

} // namespace

class MovieSurfaceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

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
    void moviesInARowLeaveNothingBehind();
    void leavingAPlayingMovieTakesNoTime();
    void whatCannotBePlayedFails();
    void aMovieOnAMinimisedWindowComesToItsEnd();
    void aHiddenWindowShowsItsMovieAgain();
    void inAnotherWindowItGoesOnWhereItWas();
    void inAnotherWindowAPausedOneStaysPaused();
    void withoutOpenGLItGoesOnInRaster();
    void withoutOpenGLForTheLayersItStays();
    void closingInTheMiddleOfAFrame();
    void aViewThatGoesEndsTheMovie();
    void aMovieThatIsNeverDrawnEndsToo();

private:
    KLLayerView& view() const { return *mWindow->view; }
    MoviePlayerView& playerView() const { return *view().moviePlayerView(); }
    MovieSurface* surface() const { return playerView().findChild<MovieSurface*>(); }
    FileUrl url(const QByteArray& name) const { return mFiles->folder().urlOf(name); }
    MoviePlayerPtr movie(const QByteArray& name) const
    {
        return MoviePlayer::playerWithURL(url(name), probed(url(name)), view().movieOutput());
    }
    QRect place() const { return {view().mapToGlobal(QPoint()), view().size()}; }
    QImage seen() const { return mServer->grab(place()); }
    bool play(const QByteArray& name) const;
    bool playToEnd(const QByteArray& name) const;

    std::unique_ptr<e2e::XServer> mServer;
    std::unique_ptr<MovieFiles> mFiles;
    std::unique_ptr<Window> mWindow;
};

void MovieSurfaceTest::initTestCase()
{
    mServer = e2e::XServer::open();
    QVERIFY(mServer);
    mFiles = std::make_unique<MovieFiles>();
    QVERIFY(mFiles->make("still.mkv", MovieFiles::quarters() + " -c:v ffv1 -pix_fmt yuv444p"));
    QVERIFY(mFiles->make("turned.mp4", MovieFiles::quarters() + " -c:v libx264 -pix_fmt yuv420p"));
    QVERIFY(mFiles->make("short.mkv", MovieFiles::numbers() + " -c:v ffv1 -t 1"));
    QVERIFY(mFiles->make("long.mkv", MovieFiles::numbers() + ' ' + MovieFiles::sound() + " -c:v ffv1 -c:a flac"));
    QVERIFY(mFiles->make("sound.mp3", MovieFiles::sound() + " -t 5"));
    QVERIFY(mFiles->make("glass.mov", "-f lavfi -i color=white@0.5:s=80x48:r=10:d=1,format=rgba -c:v qtrle"));
}

void MovieSurfaceTest::init()
{
    mWindow = std::make_unique<Window>();
    view().show();
    QVERIFY(QTest::qWaitForWindowExposed(&view()));
}

void MovieSurfaceTest::cleanup()
{
    mWindow.reset();
    QVERIFY(MovieEngine::waitForThreads(10s));
}

// Until a frame of its own is there.
bool MovieSurfaceTest::play(const QByteArray& name) const
{
    const MoviePlayerPtr player = movie(name);
    view().showMovie(player, true);
    return QTest::qWaitFor([&] { return player->position() > 0; }, 20000);
}

bool MovieSurfaceTest::playToEnd(const QByteArray& name) const
{
    const MoviePlayerPtr player = movie(name);
    int ended = 0;
    connect(player.get(), &MoviePlayer::didPlayToEnd, player.get(), [&] { ++ended; });
    view().showMovie(player, true);
    const bool hasEnded = QTest::qWaitFor([&] { return ended == 1; }, 20000);
    player->disconnect(player.get());
    return hasEnded;
}

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
        QTRY_VERIFY_WITH_TIMEOUT(MovieEngine::waitForThreads(0s), 10000);
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

void MovieSurfaceTest::moviesInARowLeaveNothingBehind()
{
    mWindow->setTransition(QStringLiteral("None"));
    const auto round = [&](int i) {
        const MoviePlayerPtr player = movie(i % 2 == 0 ? "still.mkv" : "long.mkv");
        view().showMovie(player, true);
        const bool hasBegun = QTest::qWaitFor([&] { return i % 5 == 4 || player->position() > 0; }, 20000);
        if (i % 3 == 0) {
            mWindow->show(solid(viewSize, Qt::red));
        }
        return hasBegun;
    };
    const auto end = [&] {
        view().clearImage();
        return QTest::qWaitFor([] { return MovieEngine::waitForThreads(0s); }, 10000);
    };
    for (int i = 0; i < 3; ++i) {
        QVERIFY(round(i));
    }
    QVERIFY(end());
    const qsizetype threads = entriesOf("/proc/self/task");
    const qsizetype descriptors = entriesOf("/proc/self/fd");
    for (int i = 0; i < 20; ++i) {
        QVERIFY(round(i));
    }
    QVERIFY(end());
    QTRY_VERIFY(entriesOf("/proc/self/task") <= threads);
    QTRY_VERIFY(entriesOf("/proc/self/fd") <= descriptors);
}

// The player library would wait a fifth of a second for a frame to be drawn.
void MovieSurfaceTest::leavingAPlayingMovieTakesNoTime()
{
    mWindow->setTransition(QStringLiteral("None"));
    QList<qint64> times;
    for (int i = 0; i < 5; ++i) {
        QVERIFY(play("long.mkv"));
        const int begin = numberIn(seen());
        QTRY_VERIFY(numberIn(seen()) > begin + 2);
        QElapsedTimer timer;
        timer.start();
        mWindow->show(solid(viewSize, Qt::red));
        times.append(timer.elapsed());
    }
    std::sort(times.begin(), times.end());
    QVERIFY2(times.at(2) < 100, QByteArray::number(times.at(2)).constData());
}

void MovieSurfaceTest::whatCannotBePlayedFails()
{
    mFiles->folder().addFile("text.mp4", "This is no movie.");
    const MoviePlayerPtr player
        = MoviePlayer::playerWithURL(url("text.mp4"), probed(url("still.mkv")), MovieOutput::OpenGL);
    int failed = 0;
    connect(player.get(), &MoviePlayer::failedToPlayToEnd, this, [&] { ++failed; });
    view().showMovie(player, true);
    QTRY_COMPARE_WITH_TIMEOUT(failed, 1, 20000);
    QCOMPARE(quarters(seen(), 40), QByteArray("RGBY")); // what is known of it stays
}

void MovieSurfaceTest::aMovieOnAMinimisedWindowComesToItsEnd()
{
    view().showMinimized();
    QTRY_VERIFY(!view().windowHandle()->isExposed());
    QElapsedTimer timer;
    timer.start();
    QVERIFY(playToEnd("short.mkv"));
    QVERIFY2(timer.elapsed() < 4000, QByteArray::number(timer.elapsed()).constData());
    view().showNormal();
    QTRY_COMPARE(numberIn(seen()), 24);
}

void MovieSurfaceTest::aHiddenWindowShowsItsMovieAgain()
{
    QVERIFY(play("long.mkv"));
    QTRY_VERIFY(numberIn(seen()) > 5);
    view().hide();
    QTRY_VERIFY_WITH_TIMEOUT(view().moviePlayer()->position() > 1.5, 10000); // it plays on
    view().show();
    QVERIFY(QTest::qWaitForWindowExposed(&view()));
    QTRY_VERIFY(numberIn(seen()) > 30);
}

void MovieSurfaceTest::inAnotherWindowItGoesOnWhereItWas()
{
    const MoviePlayerPtr player = movie("long.mkv");
    int began = 0;
    int ended = 0;
    connect(player.get(), &MoviePlayer::began, this, [&] { ++began; });
    connect(player.get(), &MoviePlayer::didPlayToEnd, this, [&] { ++ended; });
    view().showMovie(player, true);
    QTRY_VERIFY_WITH_TIMEOUT(numberIn(seen()) > 20, 10000);
    QWidget other;
    other.setWindowFlags(Qt::FramelessWindowHint);
    other.resize(viewSize);
    view().setParent(&other);
    view().move(0, 0);
    view().show();
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    // Its last frame stands, and others follow it.
    QTRY_VERIFY(numberIn(seen()) >= 20);
    const Watch watch(place(), [](const QImage& picture) {
        const int number = numberIn(picture);
        return number < 0 || number >= 20;
    });
    QTRY_VERIFY_WITH_TIMEOUT(numberIn(seen()) > 60, 10000);
    QCOMPARE(watch.surprises(), QByteArray());
    QVERIFY(player->isPlaying());
    QCOMPARE(player->output(), MovieOutput::OpenGL);
    QCOMPARE(began, 1);
    QCOMPARE(ended, 0);
    mWindow->view.reset(); // before the window in which it is
}

void MovieSurfaceTest::inAnotherWindowAPausedOneStaysPaused()
{
    QVERIFY(play("long.mkv"));
    const MoviePlayerPtr player = view().moviePlayer();
    player->pause();
    player->seek(4, MovieEngine::Seek::Exact);
    QTRY_COMPARE(numberIn(seen()), 100);
    view().setWindowFlags(Qt::Window);
    view().show();
    QVERIFY(QTest::qWaitForWindowExposed(&view()));
    QTRY_COMPARE(numberIn(seen()), 100);
    QVERIFY(!player->isPlaying());
    QTRY_VERIFY(qAbs(player->position() - 4) < 0.05);
    player->step(true);
    QTRY_COMPARE(numberIn(seen()), 101);
}

void MovieSurfaceTest::withoutOpenGLItGoesOnInRaster()
{
    QVERIFY(play("long.mkv"));
    const MoviePlayerPtr player = view().moviePlayer();
    QTRY_VERIFY(numberIn(seen()) > 20);
    // More than any software context takes on a side.
    surface()->resize(30000, 40);
    QTRY_COMPARE(player->output(), MovieOutput::Raster);
    QTRY_VERIFY_WITH_TIMEOUT(numberIn(seen()) > 40, 10000);
    QVERIFY(!player->frame().isNull());
    QVERIFY(player->isPlaying());
    // And so will all others.
    QCOMPARE(view().movieOutput(), MovieOutput::Raster);
    QVERIFY(playToEnd("still.mkv"));
    QTRY_COMPARE(quarters(seen(), 40), QByteArray("RGBY"));
    mWindow->setTransition(QStringLiteral("None"));
    mWindow->show(solid(viewSize, Qt::red));
    QTRY_COMPARE(seen(), solid(viewSize, Qt::red));
}

void MovieSurfaceTest::withoutOpenGLForTheLayersItStays()
{
    QVERIFY(play("long.mkv"));
    Q_EMIT view().layerSurface()->failed();
    QVERIFY(!view().layerSurface());
    QTRY_VERIFY_WITH_TIMEOUT(numberIn(seen()) > 20, 10000);
    QCOMPARE(view().movieOutput(), MovieOutput::Raster); // of the next one
    mWindow->show(solid(viewSize, Qt::red));
    QTRY_COMPARE(seen(), solid(viewSize, Qt::red));
}

void MovieSurfaceTest::closingInTheMiddleOfAFrame()
{
    for (int i = 0; i < 4; ++i) {
        const MoviePlayerPtr player = movie("long.mkv");
        int frames = 0;
        connect(player.get(), &MoviePlayer::frameChanged, this, [&] {
            if (++frames == 3 * i + 1) {
                i % 2 == 0 ? mWindow->show(solid(viewSize, Qt::red)) : view().clearImage();
            }
        });
        view().showMovie(player, true);
        QTRY_VERIFY_WITH_TIMEOUT(player->isClosed(), 20000);
    }
}

void MovieSurfaceTest::aViewThatGoesEndsTheMovie()
{
    QVERIFY(play("long.mkv"));
    const MoviePlayerPtr player = view().moviePlayer();
    mWindow->view.reset();
    QVERIFY(player->isClosed());
    QVERIFY(MovieEngine::waitForThreads(10s));
}

void MovieSurfaceTest::aMovieThatIsNeverDrawnEndsToo()
{
    MoviePlayerPtr player = movie("long.mkv");
    player->play();
    player.reset();
    QVERIFY(MovieEngine::waitForThreads(10s));
    player = movie("long.mkv");
    auto drawing = player->drawWithOpenGL();
    player.reset();
    drawing.reset();
    QVERIFY(MovieEngine::waitForThreads(10s));
}

QTEST_MAIN(MovieSurfaceTest)
#include "MovieSurfaceTest.moc"
