#include "RectText.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;

// Two displays side by side.
class DisplaysTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mShow = std::make_unique<ShowDriver>();
        const QRect all = mShow->server().bounds();
        mLeft = QRect(0, 0, all.width() / 2, all.height());
        mRight = mLeft.translated(mLeft.width(), 0);
        mShow->server().moveMouse(mLeft.center());
    }
    void cleanup() { mShow.reset(); }

    void theShowCoversTheMainDisplayAlone();
    void theRememberedDisplayIsTaken();
    void aFrameThatMatchesNoDisplayFallsBackToTheMainOne();
    void theChosenDisplayIsTakenAndRemembered();
    void aWindowDraggedToTheOtherDisplayGoesFullScreenThere();
    void thumbnailsMovedToTheOtherDisplayFillIt();

private:
    std::optional<WindowId> open()
    {
        mShow->addColour("1.png", QColor(200, 30, 30));
        return mShow->startWithFolder() ? mShow->showWindow() : std::nullopt;
    }
    bool waitForGeometry(WindowId window, const QRect& wanted) const
    {
        return waitFor([&] { return mShow->server().geometry(window) == wanted; });
    }

    QRect mLeft;
    QRect mRight;
    std::unique_ptr<ShowDriver> mShow;
};

void DisplaysTest::theShowCoversTheMainDisplayAlone()
{
    const auto window = open();
    QVERIFY(window.has_value());
    QVERIFY(waitForGeometry(*window, mLeft));
}

void DisplaysTest::theRememberedDisplayIsTaken()
{
    mShow->set(keys::screenRectFrame, textFromRect(mRight));
    const auto window = open();
    QVERIFY(window.has_value());
    QVERIFY(waitForGeometry(*window, mRight));
    QVERIFY(mShow->server().isFullScreen(*window));
}

void DisplaysTest::aFrameThatMatchesNoDisplayFallsBackToTheMainOne()
{
    mShow->set(keys::screenRectFrame, textFromRect(mRight.adjusted(0, 0, -1, 0)));
    const auto window = open();
    QVERIFY(window.has_value());
    QVERIFY(waitForGeometry(*window, mLeft));
}

void DisplaysTest::theChosenDisplayIsTakenAndRemembered()
{
    const auto window = open();
    QVERIFY(window.has_value());
    QVERIFY(waitForGeometry(*window, mLeft));
    mShow->press(QStringLiteral("alt+v"));
    mShow->press(QStringLiteral("c")); // Choose Display…
    std::optional<WindowId> chooser;
    QVERIFY(waitFor([&] {
        chooser = mShow->server().windowWithTitle(
            mShow->program().processId(), QStringLiteral("Choose Display — Frameflow"));
        return chooser && mShow->server().isVisible(*chooser);
    }));
    mShow->server().moveTo(*chooser, QRect(mRight.center(), QSize(360, 150)));
    QVERIFY(waitFor([&] { return mRight.contains(mShow->server().geometry(*chooser).center()); }));
    mShow->server().activate(*chooser);
    QVERIFY(waitFor([&] { return mShow->server().isActive(*chooser); }));
    mShow->press(QStringLiteral("Return"));
    QVERIFY(waitFor([&] {
        const auto windows = mShow->server().windowsOf(mShow->program().processId());
        return windows.size() == 1 && mShow->server().geometry(windows.first()) == mRight;
    }));
    QVERIFY(waitFor([&] { return storedSetting(keys::screenRectFrame).toString() == textFromRect(mRight); }));
}

void DisplaysTest::aWindowDraggedToTheOtherDisplayGoesFullScreenThere()
{
    const auto window = open();
    QVERIFY(window.has_value());
    QVERIFY(waitForGeometry(*window, mLeft));
    mShow->press(QStringLiteral("F11"));
    // At its own place first, at the lower left.
    QVERIFY(waitFor([&] {
        const QRect now = mShow->server().geometry(*window);
        return now.size() == mLeft.size() / 2 && mLeft.bottom() - now.bottom() < 12;
    }));
    mShow->server().moveTo(*window, QRect(mRight.left() + 200, 200, 500, 300));
    QVERIFY(waitFor([&] { return mRight.contains(mShow->server().geometry(*window)); }));
    mShow->press(QStringLiteral("F11"));
    QVERIFY(waitForGeometry(*window, mRight));
    QVERIFY(waitFor([&] { return storedSetting(keys::screenRectFrame).toString() == textFromRect(mRight); }));
}

void DisplaysTest::thumbnailsMovedToTheOtherDisplayFillIt()
{
    QVERIFY(open().has_value());
    const auto& server = mShow->server();
    mShow->press(QStringLiteral("ctrl+t"));
    std::optional<WindowId> grid;
    QVERIFY(waitFor([&] {
        grid = server.windowWithTitle(mShow->program().processId(), QStringLiteral("Thumbnails — Frameflow"));
        return grid && server.isMaximised(*grid) && mLeft.contains(server.geometry(*grid));
    }));
    server.unmaximise(*grid);
    QVERIFY(waitFor([&] { return !server.isMaximised(*grid); }));
    // When it has rested there, it is maximised again.
    server.moveTo(*grid, QRect(mRight.left() + 200, 200, 500, 300));
    QVERIFY(waitFor([&] { return server.isMaximised(*grid) && mRight.contains(server.geometry(*grid)); }));
    QVERIFY(server.geometry(*grid).width() == mRight.width());
}

QTEST_GUILESS_MAIN(DisplaysTest)
#include "DisplaysTest.moc"
