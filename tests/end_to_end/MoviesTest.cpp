#include "MovieFiles.h"
#include "PictureFiles.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QtTest>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);
const QColor blue(30, 30, 200);

bool isColour(QRgb pixel, const QColor& colour)
{
    return frameflow::isNear(pixel, colour.rgb(), 14);
}

} // namespace

// Movies between pictures, as a person sees them.
class MoviesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { mFiles = std::make_unique<MovieFiles>(); }
    void init() { mShow = std::make_unique<ShowDriver>(); }
    void cleanup() { mShow.reset(); }

    void nothingElseIsSeenBetweenPicturesAndMovies();
    void aMixedFolderPlaysThroughByTimer_data();
    void aMixedFolderPlaysThroughByTimer();
    void aRotatedMovieStandsUpright();
    void theSpaceKeyPausesAndResumes();
    void thePointerBringsTheControlsWhichPause();
    void theWindowMayChangeItsSize();
    void theProgramEndsWhileAMoviePlays();

private:
    // Of one colour, over the whole screen.
    void addMovie(const QByteArray& name, const QColor& colour, const QByteArray& options) const
    {
        const QSize size = mShow->server().bounds().size();
        const QByteArray source = "-f lavfi -i color=0x" + colour.name().mid(1).toUtf8()
            + ":s=" + QByteArray::number(size.width()) + 'x' + QByteArray::number(size.height())
            + ":r=25,format=rgb24,scale=out_color_matrix=bt709:out_range=tv,format=yuv420p ";
        QVERIFY(mFiles->make(name, source + options));
        mShow->folder.addFile(name, mFiles->contentsOf(name));
    }
    void addFile(const QByteArray& name, const QByteArray& options) const
    {
        QVERIFY(mFiles->make(name, options));
        mShow->folder.addFile(name, mFiles->contentsOf(name));
    }
    bool waitForMiddle(const QColor& colour) const
    {
        return waitFor([&] { return isColour(middle(), colour); }, 20s);
    }
    QRgb middle() const { return mShow->server().pixel(mShow->server().bounds().center()); }

    std::unique_ptr<MovieFiles> mFiles;
    std::unique_ptr<ShowDriver> mShow;
};

void MoviesTest::nothingElseIsSeenBetweenPicturesAndMovies()
{
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    mShow->addColour("1.png", red);
    addMovie("2.mp4", green, "-t 5 -c:v libx264");
    addMovie("3.mkv", blue, "-t 5 -c:v ffv1");
    mShow->addColour("4.png", red);
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(red));
    const QList<QColor> order{red, green, blue, red};
    for (qsizetype i = 1; i < order.size(); ++i) {
        mShow->press(QStringLiteral("Right"));
        QRgb stranger = 0;
        int looks = 0;
        // From the slide before to the next, which then stays while the player takes over.
        bool isThere = false;
        QElapsedTimer sinceThere;
        while (looks < 100000 && !(isThere && sinceThere.elapsed() > 700)) {
            const QRgb pixel = middle();
            ++looks;
            const bool isBefore = isColour(pixel, order[i - 1]);
            const bool isNext = isColour(pixel, order[i]);
            if (isNext && !isThere) {
                isThere = true;
                sinceThere.start();
            }
            if ((!isBefore && !isNext) || (isBefore && isThere)) {
                stranger = pixel;
                break;
            }
        }
        QVERIFY2(stranger == 0, qPrintable(QStringLiteral("%1: %2").arg(i).arg(QColor(stranger).name())));
        QVERIFY(isThere);
        QVERIFY(looks > 50);
    }
}

void MoviesTest::aMixedFolderPlaysThroughByTimer_data()
{
    QTest::addColumn<QString>("endMode");
    QTest::newRow("wait") << keys::endModeWait;
    QTest::newRow("rewind") << keys::endModeRewind;
    QTest::newRow("close") << keys::endModeClose;
}

void MoviesTest::aMixedFolderPlaysThroughByTimer()
{
    QFETCH(QString, endMode);
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    mShow->set(keys::endMode, endMode);
    mShow->set(keys::autoStart, true);
    mShow->set(keys::slideInterval, 2);
    mShow->addColour("1.png", red);
    addMovie("2.mp4", green, "-f lavfi -i sine=440 -t 2 -c:v libx264 -c:a aac");
    mShow->folder.addFile("3.mp4", "no movie");
    mShow->folder.addFile("4.png", "no picture");
    addFile("5.mp3", MovieFiles::sound() + " -t 1");
    addMovie("6.webm", blue, "-t 2 -c:v libvpx -b:v 1M");
    addFile("7.mp4", MovieFiles::sound() + " -t 0.2 -c:a aac");
    mShow->folder.addFile("8.mp4", mFiles->contentsOf("2.mp4").left(700));
    QVERIFY(mShow->startWithFolder());
    QVERIFY(waitForMiddle(red));
    QVERIFY(waitForMiddle(green));
    const auto isMusic = [&] { return qGray(mShow->server().pixel({40, 40})) < 40; };
    QVERIFY(waitFor(isMusic));
    QVERIFY(waitForMiddle(blue));
    QVERIFY(waitFor(isMusic));
    if (endMode == keys::endModeRewind) {
        QVERIFY(waitForMiddle(red));
    } else if (endMode == keys::endModeClose) {
        QVERIFY(waitFor([&] {
            const auto windows = mShow->server().windowsOf(mShow->program().processId());
            return windows.size() == 1 && !mShow->server().isFullScreen(windows.first());
        }));
    } else {
        mShow->press(QStringLiteral("Home"));
        QVERIFY(waitForMiddle(red));
    }
    QVERIFY(mShow->program().isRunning());
    // Not a word about what could not be played, nor about sound; only that no desktop keeps the display awake.
    QCOMPARE(mShow->program().output(), QByteArray("Failed to prevent sleep!\n"));
}

void MoviesTest::aRotatedMovieStandsUpright()
{
    mShow->set(keys::imageFitMode, keys::fitModeZoom);
    QVERIFY(mFiles->make("plain.mp4", MovieFiles::quarters() + " -t 3 -c:v libx264 -pix_fmt yuv420p"));
    mShow->folder.addFile("1.mp4", withOrientation(mFiles->contentsOf("plain.mp4"), 6));
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->showWindow());
    const QSize screen = mShow->server().bounds().size();
    const QSize shown = quartersSize.transposed().scaled(screen, Qt::KeepAspectRatio);
    const QRect place(QPoint((screen.width() - shown.width()) / 2, 0), shown);
    const auto isUpright = [&] { return quarters(mShow->screen().copy(place), 60) == uprightQuarters(6); };
    QVERIFY(waitFor(isUpright));
    QElapsedTimer timer; // while it plays, too
    timer.start();
    while (timer.elapsed() < 1500) {
        QVERIFY(isUpright());
    }
}

void MoviesTest::theSpaceKeyPausesAndResumes()
{
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    addFile("1.mkv", MovieFiles::numbers() + " -c:v ffv1");
    QVERIFY(mShow->startWithFolder());
    const auto number = [&] { return numberIn(mShow->screen()); };
    QVERIFY(waitFor([&] { return number() > 20; }));
    mShow->press(QStringLiteral("space"));
    int standing = -1;
    QVERIFY(waitFor([&] {
        const int now = number();
        return std::exchange(standing, now) == now && now == number();
    }));
    QVERIFY(mShow->waitUntilAtRest()); // a paused movie takes nothing
    QCOMPARE(number(), standing);
    mShow->press(QStringLiteral("space"));
    QVERIFY(waitFor([&] { return number() > standing + 5; }));
}

void MoviesTest::thePointerBringsTheControlsWhichPause()
{
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    addMovie("1.mp4", green, "-f lavfi -i sine=440 -t 20 -c:v libx264 -preset ultrafast -c:a aac");
    QVERIFY(mShow->startWithFolder());
    QVERIFY(waitForMiddle(green));
    const QRect screen = mShow->server().bounds();
    mShow->server().moveMouse(screen.center() + QPoint(50, 20));
    const auto areRevealed = [&] {
        // Dark, translucent, at the lower edge.
        return !isColour(mShow->server().pixel({screen.center().x() - 340, screen.bottom() - 52}), green);
    };
    QVERIFY(waitFor(areRevealed));
    // The second of the buttons at the left.
    mShow->server().click({screen.center().x() - 310 + 12, screen.bottom() - 52});
    QVERIFY(waitFor([&] {
        mShow->server().moveMouse(screen.center() + QPoint(60, 20));
        return !areRevealed() && mShow->waitUntilAtRest(300ms);
    }));
    QVERIFY(waitForMiddle(green));
}

void MoviesTest::theWindowMayChangeItsSize()
{
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    addMovie("1.mkv", green, "-t 20 -c:v libx264 -preset ultrafast");
    QVERIFY(mShow->startWithFolder());
    QVERIFY(waitForMiddle(green));
    mShow->press(QStringLiteral("ctrl+shift+w"));
    std::optional<WindowId> window;
    QVERIFY(waitFor([&] {
        window = mShow->showWindow();
        return window && !mShow->server().isFullScreen(*window)
            && isColour(mShow->server().pixel(mShow->server().geometry(*window).center()), green);
    }));
    // The window manager may still be at it.
    QVERIFY(waitFor([&] {
        const QRect inside = mShow->server().geometry(*window);
        return isColour(mShow->server().pixel(inside.bottomRight() - QPoint(20, 20)), green);
    }));
    mShow->press(QStringLiteral("F11"));
    QVERIFY(waitForMiddle(green));
}

void MoviesTest::theProgramEndsWhileAMoviePlays()
{
    addMovie("1.mkv", green, "-f lavfi -i sine=440 -t 20 -c:v libx264 -preset ultrafast -c:a aac");
    QVERIFY(mShow->startWithFolder());
    QVERIFY(waitForMiddle(green));
    mShow->press(QStringLiteral("ctrl+q"));
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode(), std::optional(0));
}

QTEST_GUILESS_MAIN(MoviesTest)
#include "MoviesTest.moc"
