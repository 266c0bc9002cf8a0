// Movies on a view that draws with OpenGL, in a window: what becomes of them when they, their window or OpenGL go.
#include "LayerSurface.h"
#include "MovieSurfaceFixture.h"

#include <QDir>

#include <algorithm>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

qsizetype entriesOf(const char* folder)
{
    return QDir(QString::fromUtf8(folder)).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

// In pieces: a process that is stopped for a while, or gets no processor, loses one of them and not the whole time.
bool begins(const MoviePlayer& player)
{
    constexpr int pieces = 100;
    for (int i = 0; i < pieces; ++i) {
        if (QTest::qWaitFor([&] { return player.position() > 0; }, 200)) {
            return true;
        }
    }
    return false;
}

} // namespace

class MovieSurfaceEndsTest : public MovieSurfaceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void moviesInARowLeaveNothingBehind();
    void leavingAPlayingMovieTakesNoTime();
    void whatCannotBePlayedFails();
    void aMovieOnAMinimisedWindowComesToItsEnd();
    void aMovieTooThinToBeSeenComesToItsEnd();
    void aHiddenWindowShowsItsMovieAgain();
    void thePlayerGivenOnceMoreGoesOn();
    void inAnotherWindowItGoesOnWhereItWas();
    void inAnotherWindowAPausedOneStaysPaused();
    void withoutOpenGLItGoesOnInRaster();
    void withoutOpenGLForTheLayersItStays();
    void whatCannotBeginToDrawLeavesThePlayerToOthers();
    void closingInTheMiddleOfAFrame();
    void aViewThatGoesEndsTheMovie();
    void aMovieThatIsNeverDrawnEndsToo();
};

void MovieSurfaceEndsTest::moviesInARowLeaveNothingBehind()
{
    mWindow->setTransition(QStringLiteral("None"));
    const auto round = [&](int i) {
        const MoviePlayerPtr player = movie(i % 2 == 0 ? "still.mkv" : "long.mkv");
        view().showMovie(player, true);
        const bool hasBegun = i % 5 == 4 || begins(*player);
        if (!hasBegun) {
            qWarning() << "movie" << i << player->hasVideo() << player->isClosed() << player->isPlaying()
                       << static_cast<int>(player->output()) << view().windowHandle()->isExposed();
        }
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
    // Libraries start threads of their own now and then; one of each movie would be twenty.
    constexpr qsizetype byOthers = 4;
    QTRY_VERIFY(entriesOf("/proc/self/task") <= threads + byOthers);
    QTRY_VERIFY(entriesOf("/proc/self/fd") <= descriptors + byOthers);
}

// The player library would wait a fifth of a second for a frame to be drawn.
void MovieSurfaceEndsTest::leavingAPlayingMovieTakesNoTime()
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

void MovieSurfaceEndsTest::whatCannotBePlayedFails()
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

void MovieSurfaceEndsTest::aMovieOnAMinimisedWindowComesToItsEnd()
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

void MovieSurfaceEndsTest::aMovieTooThinToBeSeenComesToItsEnd()
{
    QVERIFY(mFiles->make("thin.mkv", "-f lavfi -i color=white:s=2x2000:r=10:d=1 -c:v ffv1 -pix_fmt yuv444p"));
    mWindow->setFitMode(keys::fitModeFit);
    QVERIFY(playToEnd("thin.mkv"));
    QCOMPARE(seen(), solid(viewSize, Qt::black));
    mWindow->setFitMode(keys::fitModeStretch);
    QVERIFY(playToEnd("still.mkv"));
    QCOMPARE(quarters(seen(), 40), QByteArray("RGBY"));
}

void MovieSurfaceEndsTest::aHiddenWindowShowsItsMovieAgain()
{
    QVERIFY(play("long.mkv"));
    QTRY_VERIFY(numberIn(seen()) > 5);
    view().hide();
    QTRY_VERIFY_WITH_TIMEOUT(view().moviePlayer()->position() > 1.5, 10000); // it plays on
    view().show();
    QVERIFY(QTest::qWaitForWindowExposed(&view()));
    QTRY_VERIFY(numberIn(seen()) > 30);
}

void MovieSurfaceEndsTest::thePlayerGivenOnceMoreGoesOn()
{
    QVERIFY(play("long.mkv"));
    QTRY_VERIFY(numberIn(seen()) > 10);
    const MoviePlayerPtr player = view().moviePlayer();
    {
        const Watch watch(place(), [](const QImage& picture) {
            const int number = numberIn(picture);
            return number < 0 || number >= 10;
        });
        view().showMovie(player, true);
        QTRY_VERIFY_WITH_TIMEOUT(numberIn(seen()) > 30, 10000);
        QCOMPARE(watch.surprises(), QByteArray());
    }
    QVERIFY(player->isPlaying());
}

void MovieSurfaceEndsTest::inAnotherWindowItGoesOnWhereItWas()
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

void MovieSurfaceEndsTest::inAnotherWindowAPausedOneStaysPaused()
{
    QVERIFY(play("long.mkv"));
    const MoviePlayerPtr player = view().moviePlayer();
    player->pause();
    player->seek(4, MovieEngine::Seek::Exact);
    constexpr int patience = 20000; // drawn by software, beside other tests
    QTRY_COMPARE_WITH_TIMEOUT(numberIn(seen()), 100, patience);
    view().setWindowFlags(Qt::Window);
    view().show();
    QVERIFY(QTest::qWaitForWindowExposed(&view()));
    QTRY_COMPARE_WITH_TIMEOUT(numberIn(seen()), 100, patience);
    QVERIFY(!player->isPlaying());
    QTRY_VERIFY(qAbs(player->position() - 4) < 0.05);
    player->step(true);
    QTRY_COMPARE(numberIn(seen()), 101);
}

void MovieSurfaceEndsTest::withoutOpenGLItGoesOnInRaster()
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

void MovieSurfaceEndsTest::withoutOpenGLForTheLayersItStays()
{
    QVERIFY(play("long.mkv"));
    Q_EMIT view().layerSurface()->failed();
    QVERIFY(!view().layerSurface());
    QTRY_VERIFY_WITH_TIMEOUT(numberIn(seen()) > 20, 10000);
    QCOMPARE(view().movieOutput(), MovieOutput::Raster); // of the next one
    mWindow->show(solid(viewSize, Qt::red));
    QTRY_COMPARE(seen(), solid(viewSize, Qt::red));
}

void MovieSurfaceEndsTest::whatCannotBeginToDrawLeavesThePlayerToOthers()
{
    const MoviePlayerPtr player = movie("short.mkv");
    PlayerLog log(player);
    auto drawing = player->drawWithOpenGL();
    player->play();
    const MovieOpenGL::Functions none{[](void*, const char*) -> void* { return nullptr; }, nullptr};
    QTRY_COMPARE(drawing->draw(none, 0, 10, 10), MovieOpenGL::Drawn::Failed);
    QCOMPARE(drawing->draw(none, 0, 10, 10), MovieOpenGL::Drawn::Failed);
    QVERIFY(drawing->canEnd());
    drawing.reset();
    player->setTarget({numbersSize.width(), numbersSize.height()});
    player->changeOutput(MovieOutput::Raster, {});
    QVERIFY(log.waitForEnd());
    QCOMPARE(log.began, 1);
    QCOMPARE(log.ended, 1);
    QCOMPARE(log.failed, 0);
    QCOMPARE(log.numbers.last(), 24);
}

void MovieSurfaceEndsTest::closingInTheMiddleOfAFrame()
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

void MovieSurfaceEndsTest::aViewThatGoesEndsTheMovie()
{
    QVERIFY(play("long.mkv"));
    const MoviePlayerPtr player = view().moviePlayer();
    mWindow->view.reset();
    QVERIFY(player->isClosed());
    QVERIFY(MovieEngine::waitForThreads(10s));
}

void MovieSurfaceEndsTest::aMovieThatIsNeverDrawnEndsToo()
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

QTEST_MAIN(MovieSurfaceEndsTest)
#include "MovieSurfaceEndsTest.moc"
