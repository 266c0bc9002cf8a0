#include "CGRectUtils.h"
#include "PictureFiles.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;

// The windows of the program among a window manager's.
class WindowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mRunning = false;
        mShow = std::make_unique<ShowDriver>();
    }
    void cleanup() { mShow.reset(); }

    void windowModeAndBackKeepTheSlide();
    void theShowFitsAWindowThatIsResized();
    void theMenuBarComesWithThePointerAtTheTopEdge();
    void menuCommandsWorkWithTheMouse();
    void closingTheWindowThroughTheWindowManagerEndsTheShow();
    void comingBackFromAnotherProgramLeavesWindowMode();
    void aMinimisedShowStaysMinimised();
    void controlQQuits();

private:
    WindowId open()
    {
        mShow->folder.addFile("1.png", encoded(mPicture, "png"));
        mShow->addColour("2.png", QColor(30, 160, 30));
        const bool started = mRunning ? mShow->startWithFolder() : mShow->startAndRest();
        const auto window = started ? mShow->showWindow() : std::nullopt;
        mOpened = window && mShow->waitForScreen(fullScreenSlide(), QStringLiteral("first"), {0, 0.0});
        return window.value_or(0);
    }
    QImage fullScreenSlide() const
    {
        const QSize screen = mShow->server().bounds().size();
        return onBlack(mPicture, CGRectUtils::rectToFitSize(mPicture.size(), screen, false), screen);
    }
    QList<WindowId> windows() const { return mShow->server().windowsOf(mShow->program().processId()); }
    // The program's window when it has exactly one.
    std::optional<WindowId> onlyWindow() const
    {
        const auto all = windows();
        return all.size() == 1 ? std::optional(all.first()) : std::nullopt;
    }

    bool mOpened = false;
    bool mRunning = false; // a show that steps by itself never rests
    const QImage mPicture = quartersPicture(QSize(300, 200));
    std::unique_ptr<ShowDriver> mShow;
};

void WindowsTest::windowModeAndBackKeepTheSlide()
{
    const WindowId window = open();
    QVERIFY(mOpened);
    const auto& server = mShow->server();
    mShow->press(QStringLiteral("ctrl+shift+w"));
    QVERIFY(waitFor([&] { return !server.isFullScreen(window) && server.geometry(window).width() == 640; }));
    // At the lower left, its decoration included.
    QVERIFY(waitFor([&] {
        const QRect now = server.geometry(window);
        return now.height() == 400 && now.left() < 12 && server.bounds().bottom() - now.bottom() < 12;
    }));
    // The slide stands in the middle of what the menu bar leaves.
    QImage inside;
    const bool right = waitFor([&] {
        inside = server.grab(window);
        const int x = (inside.width() - mPicture.width()) / 2;
        for (int bar = 10; bar < 60; ++bar) {
            const int y = bar + (inside.height() - bar - mPicture.height()) / 2;
            if (inside.copy(QRect(QPoint(x, y), mPicture.size())) == mPicture) {
                return true;
            }
        }
        return false;
    });
    QVERIFY(right);
    mShow->press(QStringLiteral("F11"));
    QVERIFY(waitFor([&] { return server.isFullScreen(window); }));
    QVERIFY(mShow->waitForScreen(fullScreenSlide(), QStringLiteral("back"), {0, 0.0}));
    QCOMPARE(windows().size(), 1);
}

void WindowsTest::theShowFitsAWindowThatIsResized()
{
    const WindowId window = open();
    QVERIFY(mOpened);
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(QColor(30, 160, 30)));
    mShow->press(QStringLiteral("F11"));
    const auto& server = mShow->server();
    QVERIFY(waitFor([&] { return server.geometry(window).width() == 640; }));
    server.moveTo(window, QRect(100, 100, 900, 300));
    // The picture has the display's shape and is as high as the view: wider than high, black on both sides.
    QVERIFY(waitFor([&] {
        const QImage now = server.grab(window);
        return now.width() == 900 && now.pixelColor(5, 200).value() == 0 && now.pixelColor(894, 200).value() == 0
            && isNear(now.pixel(450, 290), qRgb(30, 160, 30), 3) && isNear(now.pixel(300, 200), qRgb(30, 160, 30), 3);
    }));
}

void WindowsTest::theMenuBarComesWithThePointerAtTheTopEdge()
{
    open();
    QVERIFY(mOpened);
    const auto& server = mShow->server();
    const QPoint corner(1200, 5);
    QCOMPARE(QColor(server.pixel(corner)), QColor(Qt::black));
    server.moveMouse(QPoint(600, 0));
    QVERIFY(waitFor([&] { return QColor(server.pixel(corner)).value() > 150; }));
    server.moveMouse(QPoint(600, 10)); // on the bar
    QVERIFY(QColor(server.pixel(corner)).value() > 150);
    server.moveMouse(QPoint(600, 300));
    QVERIFY(mShow->waitForScreen(fullScreenSlide(), QStringLiteral("bar-gone"), {0, 0.0}));
}

void WindowsTest::menuCommandsWorkWithTheMouse()
{
    open();
    QVERIFY(mOpened);
    // The bar's mnemonics work out of sight: Slideshow, then its second entry.
    mShow->press(QStringLiteral("alt+s"));
    const auto& server = mShow->server();
    QVERIFY(waitFor([&] { return QColor(server.pixel(QPoint(1200, 5))).value() > 150; }));
    mShow->press(QStringLiteral("n"));
    QVERIFY(mShow->waitForColour(QColor(30, 160, 30)));
}

void WindowsTest::closingTheWindowThroughTheWindowManagerEndsTheShow()
{
    const WindowId window = open();
    QVERIFY(mOpened);
    mShow->press(QStringLiteral("F11"));
    QVERIFY(waitFor([&] { return !mShow->server().isFullScreen(window); }));
    mShow->server().close(window);
    std::optional<WindowId> welcome;
    QVERIFY(waitFor([&] { return (welcome = onlyWindow()) && *welcome != window; }));
    mShow->server().close(*welcome);
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode().value_or(-1), 0);
}

void WindowsTest::comingBackFromAnotherProgramLeavesWindowMode()
{
    const WindowId window = open();
    QVERIFY(mOpened);
    const auto& server = mShow->server();
    mShow->press(QStringLiteral("F11"));
    QVERIFY(waitFor([&] { return !server.isFullScreen(window) && server.isActive(window); }));
    Program other(QStringLiteral(STAND_IN));
    QVERIFY(other.start());
    const auto dialog = server.waitForWindow(other.processId());
    QVERIFY(dialog.has_value());
    server.activate(*dialog);
    QVERIFY(waitFor([&] { return server.isActive(*dialog); }));
    // The program takes note of being left only after a while.
    QVERIFY(!waitFor([&] { return server.isActive(window); }, std::chrono::milliseconds(600)));
    server.activate(window);
    QVERIFY(waitFor([&] {
        const auto now = onlyWindow();
        return now && *now != window && server.isFullScreen(*now);
    }));
    QVERIFY(mShow->waitForScreen(fullScreenSlide(), QStringLiteral("rebuilt"), {0, 0.0}));
}

void WindowsTest::aMinimisedShowStaysMinimised()
{
    mShow->set(keys::slideInterval, 1);
    mShow->set(keys::autoStart, true);
    mRunning = true;
    const WindowId window = open();
    QVERIFY(window != 0);
    mShow->server().minimise(window);
    QVERIFY(waitFor([&] { return mShow->server().isMinimised(window); }));
    // The timer has fired at least twice by then, and has not brought the window back.
    QVERIFY(!waitFor([&] { return !mShow->server().isMinimised(window); }, std::chrono::milliseconds(2500)));
    mShow->server().activate(window);
    QVERIFY(waitFor([&] { return !mShow->server().isMinimised(window); }));
    QCOMPARE(windows().size(), 1);
}

void WindowsTest::controlQQuits()
{
    open();
    QVERIFY(mOpened);
    mShow->press(QStringLiteral("ctrl+q"));
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode().value_or(-1), 0);
}

QTEST_GUILESS_MAIN(WindowsTest)
#include "WindowsTest.moc"
