#include "XServer.h"

#include "PictureCompare.h"
#include "Program.h"

#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;

namespace {

constexpr QRgb red = 0xFFC81E28;
constexpr QRgb blue = 0xFF0A78FA;

QImage standInPicture(const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(red);
    for (int y = 20; y < 80; ++y) {
        for (int x = 10; x < 60; ++x) {
            image.setPixel(x, y, blue);
        }
    }
    return image;
}

} // namespace

class XServerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void findsTheWindowOfAProcess();
    void grabsWhatIsOnScreen();
    void grabOutsideIsNull();
    void keysReachTheWindow();
    void mouseReachesTheWindow();
    void fullScreenIsSeen();
    void minimisesAndRestores();
    void movesAndResizes();
    void closes();
    void goneWindowHasEmptyAnswers();
    void windowManagerShowsNothingOfItsOwn();

private:
    bool said(const QByteArray& text)
    {
        return waitFor([&] { return mProgram->output().contains(text + '\n'); });
    }

    std::unique_ptr<XServer> mServer;
    std::unique_ptr<Program> mProgram;
    WindowId mWindow = 0;
};

void XServerTest::initTestCase()
{
    mServer = XServer::open();
    QVERIFY(mServer);
    QCOMPARE(mServer->bounds(), QRect(0, 0, 1280, 800));
}

void XServerTest::init()
{
    mProgram = std::make_unique<Program>(QStringLiteral(STAND_IN));
    QVERIFY(mProgram->start());
    const auto window = mServer->waitForWindow(mProgram->processId(), QStringLiteral("Stand-in"));
    QVERIFY(window);
    mWindow = *window;
    QVERIFY(waitFor([&] { return mServer->isActive(mWindow); }));
    QVERIFY(waitFor([&] { return mServer->pixel(mServer->geometry(mWindow).center()) == red; }));
}

void XServerTest::cleanup()
{
    mProgram.reset();
}

void XServerTest::findsTheWindowOfAProcess()
{
    QCOMPARE(mServer->windowsOf(mProgram->processId()), QList<WindowId>{mWindow});
    QCOMPARE(mServer->windowWithTitle(mProgram->processId(), QStringLiteral("Stand-in")), std::optional(mWindow));
    QVERIFY(!mServer->windowWithTitle(mProgram->processId(), QStringLiteral("Another")));
    QVERIFY(mServer->windowsOf(1).isEmpty());
    QCOMPARE(mServer->processOf(mWindow), mProgram->processId());
    QCOMPARE(mServer->title(mWindow), QStringLiteral("Stand-in"));
    QCOMPARE(mServer->geometry(mWindow).size(), QSize(300, 200));
    QVERIFY(!mServer->isFullScreen(mWindow));
    QVERIFY(!mServer->isMinimised(mWindow));
}

void XServerTest::grabsWhatIsOnScreen()
{
    QVERIFY(isSamePicture(mServer->grab(mWindow), standInPicture(QSize(300, 200)), QStringLiteral("stand-in")));
    const QPoint corner = mServer->geometry(mWindow).topLeft();
    QCOMPARE(mServer->pixel(corner + QPoint(10, 20)), blue);
    QCOMPARE(mServer->pixel(corner + QPoint(9, 20)), red);
    QCOMPARE(mServer->pixel(corner + QPoint(60, 79)), red);
}

void XServerTest::grabOutsideIsNull()
{
    QVERIFY(mServer->grab(QRect(1279, 0, 2, 1)).isNull());
    QVERIFY(mServer->grab(QRect()).isNull());
    QCOMPARE(mServer->grab(mServer->bounds()).size(), QSize(1280, 800));
}

void XServerTest::keysReachTheWindow()
{
    mServer->pressKey(QStringLiteral("Right"));
    QVERIFY(said("key Right"));
    mServer->pressKey(QStringLiteral("ctrl+shift+w"));
    QVERIFY(said("key Ctrl+Shift+W"));
    mServer->pressKey(QStringLiteral("F11"));
    QVERIFY(said("key F11"));
    mServer->type(QStringLiteral("x7"));
    QVERIFY(said("key X"));
    QVERIFY(said("key 7"));
}

void XServerTest::mouseReachesTheWindow()
{
    const QPoint corner = mServer->geometry(mWindow).topLeft();
    mServer->moveMouse(corner + QPoint(5, 6));
    QCOMPARE(mServer->mousePosition(), corner + QPoint(5, 6));
    mServer->click(corner + QPoint(100, 50));
    QVERIFY(said("press 1 at 100,50"));
    QVERIFY(said("release at 100,50"));
    mServer->click(corner + QPoint(101, 51), MouseButton::Right);
    QVERIFY(said("press 2 at 101,51"));
    mServer->doubleClick(corner + QPoint(200, 150));
    QVERIFY(said("double click"));
    mServer->drag(corner + QPoint(20, 30), corner + QPoint(250, 180));
    QVERIFY(said("press 1 at 20,30"));
    QVERIFY(said("release at 250,180"));
    mServer->turnWheel(1);
    QVERIFY(said("wheel 1"));
    mServer->turnWheel(-2);
    QVERIFY(waitFor([&] { return mProgram->output().count("wheel -1\n") == 2; }));
}

void XServerTest::fullScreenIsSeen()
{
    mServer->pressKey(QStringLiteral("f"));
    QVERIFY(waitFor([&] { return mServer->isFullScreen(mWindow); }));
    QVERIFY(waitFor([&] { return mServer->geometry(mWindow) == mServer->bounds(); }));
    QVERIFY(waitFor([&] { return mServer->grab(mWindow) == standInPicture(QSize(1280, 800)); }));
    mServer->pressKey(QStringLiteral("f"));
    QVERIFY(waitFor([&] { return !mServer->isFullScreen(mWindow); }));
}

void XServerTest::minimisesAndRestores()
{
    mServer->minimise(mWindow);
    QVERIFY(waitFor([&] { return mServer->isMinimised(mWindow) && !mServer->isVisible(mWindow); }));
    mServer->activate(mWindow);
    QVERIFY(waitFor([&] { return mServer->isVisible(mWindow) && mServer->isActive(mWindow); }));
    QVERIFY(!mServer->isMinimised(mWindow));
}

void XServerTest::movesAndResizes()
{
    const QRect wanted(400, 300, 500, 350);
    mServer->moveTo(mWindow, wanted);
    QVERIFY(waitFor([&] { return mServer->geometry(mWindow) == wanted; }));
    QVERIFY(waitFor([&] { return mServer->grab(mWindow) == standInPicture(wanted.size()); }));
}

void XServerTest::closes()
{
    mServer->close(mWindow);
    QVERIFY(said("close"));
    QVERIFY(mProgram->waitForExit());
    QCOMPARE(mProgram->exitCode(), std::optional<int>(0));
    QVERIFY(waitFor([&] { return mServer->windows().isEmpty(); }));
}

void XServerTest::goneWindowHasEmptyAnswers()
{
    mProgram.reset();
    QVERIFY(waitFor([&] { return mServer->windows().isEmpty(); }));
    QCOMPARE(mServer->title(mWindow), QString());
    QCOMPARE(mServer->geometry(mWindow), QRect());
    QVERIFY(!mServer->isVisible(mWindow));
    QVERIFY(!mServer->isFullScreen(mWindow));
    QVERIFY(waitFor([&] { return !mServer->isActive(mWindow); }));
    QVERIFY(mServer->grab(mWindow).isNull());
    QCOMPARE(mServer->processOf(mWindow), qint64(0));
}

void XServerTest::windowManagerShowsNothingOfItsOwn()
{
    mProgram.reset();
    QVERIFY(waitFor([&] { return mServer->windows().isEmpty(); }));
    QImage empty(1280, 800, QImage::Format_RGB32);
    empty.fill(mServer->pixel(QPoint(640, 400)));
    QVERIFY(waitFor([&] { return mServer->grab(mServer->bounds()) == empty; }));
    mServer->click(QPoint(640, 400), MouseButton::Right); // many window managers have a menu there
    mServer->click(QPoint(640, 400), MouseButton::Middle);
    mServer->turnWheel(3);
    mServer->pressKey(QStringLiteral("super+e"));
    mServer->pressKey(QStringLiteral("alt+space"));
    mServer->pressKey(QStringLiteral("ctrl+alt+Right"));
    // A window that comes afterwards is where and as it would have been.
    init();
    QVERIFY(isSamePicture(mServer->grab(mWindow), standInPicture(QSize(300, 200)), QStringLiteral("stand-in-after")));
    mProgram.reset();
    QVERIFY(waitFor([&] { return mServer->grab(mServer->bounds()) == empty; }));
}

QTEST_GUILESS_MAIN(XServerTest)
#include "XServerTest.moc"
