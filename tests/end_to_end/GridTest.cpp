#include "PictureFiles.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QFile>
#include <QTest>

#include <algorithm>

using namespace frameflow;
using namespace frameflow::e2e;

// The thumbnails of a show, used as a person uses them.
class GridTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mShow = std::make_unique<ShowDriver>(); }
    void cleanup() { mShow.reset(); }

    void theKeyOpensItAndTheKeyboardAloneChooses();
    void theMenuOpensIt();
    void aClickShowsTheFileInFrontOfTheGrid();
    void aDoubleClickShowsTheFileToo();
    void escapeInTheGridLeavesItAndTheShow();
    void endingTheShowTakesTheGridAway();
    void theWindowThatIsClosedLeavesTheShowAndIsThereAgain();
    void filesThatComeAreSeen();
    void damagedAndVanishedFilesDoNoHarm();
    void aSmallWindowShowsOneColumn();
    void aWindowThatIsNotMaximisedHasTheFrameOfTheLastTime();
    void theFrameOutlivesAMaximisedWindowThatIsClosed();

private:
    static constexpr QRgb red = qRgb(200, 30, 30);
    static constexpr QRgb green = qRgb(30, 160, 30);
    static constexpr QRgb blue = qRgb(30, 30, 200);

    bool open()
    {
        mShow->addColour("1.png", QColor(red));
        mShow->addColour("2.png", QColor(green));
        mShow->addColour("3.png", QColor(blue));
        return mShow->startAndRest() && mShow->waitForColour(QColor(red));
    }
    std::optional<WindowId> grid() const
    {
        const auto all = mShow->server().windowsOf(mShow->program().processId());
        for (const WindowId window : all) {
            if (mShow->server().title(window).startsWith(QStringLiteral("Thumbnails"))
                && mShow->server().isVisible(window)) {
                return window;
            }
        }
        return std::nullopt;
    }
    // The middle of an area of that colour in the grid: a thumbnail.
    std::optional<QPoint> thumbnail(QRgb colour) const
    {
        const QImage now = mShow->screen();
        for (int y = 60; y < now.height() - 60; y += 10) {
            for (int x = 60; x < now.width() - 60; x += 10) {
                const QRect around(x - 50, y - 50, 101, 101);
                if (isNear(now.pixel(around.topLeft()), colour, 4) && isNear(now.pixel(around.bottomRight()), colour, 4)
                    && isNear(now.pixel(x, y), colour, 4)) {
                    return QPoint(x, y);
                }
            }
        }
        return std::nullopt;
    }
    // Opens the grid by its key and waits until it has the keyboard and these thumbnails.
    bool openGrid(const QList<QRgb>& colours = {red, green, blue}) const
    {
        mShow->press(QStringLiteral("ctrl+t"));
        return waitFor([&] {
            const auto window = grid();
            return window && mShow->server().isActive(*window)
                && std::all_of(colours.begin(), colours.end(), [this](QRgb one) { return thumbnail(one).has_value(); });
        });
    }

    std::unique_ptr<ShowDriver> mShow;
};

void GridTest::theKeyOpensItAndTheKeyboardAloneChooses()
{
    QVERIFY(open());
    QVERIFY(openGrid());
    mShow->press(QStringLiteral("End"));
    mShow->press(QStringLiteral("Return"));
    QVERIFY(mShow->waitForColour(QColor(blue)));
    // The show has the keyboard now.
    mShow->press(QStringLiteral("Left"));
    QVERIFY(mShow->waitForColour(QColor(green)));
    // Again: it begins at the slide on screen.
    QVERIFY(openGrid());
    mShow->press(QStringLiteral("Left"));
    mShow->press(QStringLiteral("space"));
    QVERIFY(mShow->waitForColour(QColor(red)));
    QVERIFY(openGrid());
    mShow->press(QStringLiteral("ctrl+w"));
    QVERIFY(waitFor([this] { return !grid(); }));
    QVERIFY(mShow->waitForColour(QColor(red)));
}

void GridTest::theMenuOpensIt()
{
    QVERIFY(open());
    const auto& server = mShow->server();
    mShow->press(QStringLiteral("alt+v"));
    QVERIFY(waitFor([&] { return QColor(server.pixel(QPoint(1200, 5))).value() > 150; }));
    mShow->press(QStringLiteral("b"));
    QVERIFY(waitFor([this] { return grid() && thumbnail(red) && thumbnail(blue); }));
    // The grid has the menus too.
    mShow->press(QStringLiteral("alt+s"));
    mShow->press(QStringLiteral("n"));
    mShow->press(QStringLiteral("ctrl+w"));
    QVERIFY(mShow->waitForColour(QColor(green)));
}

void GridTest::aClickShowsTheFileInFrontOfTheGrid()
{
    QVERIFY(open());
    QVERIFY(openGrid());
    mShow->server().click(*thumbnail(green));
    QVERIFY(mShow->waitForColour(QColor(green)));
    QVERIFY(grid().has_value()); // behind the show
}

void GridTest::aDoubleClickShowsTheFileToo()
{
    QVERIFY(open());
    QVERIFY(openGrid());
    mShow->server().doubleClick(*thumbnail(blue));
    QVERIFY(mShow->waitForColour(QColor(blue)));
}

void GridTest::escapeInTheGridLeavesItAndTheShow()
{
    QVERIFY(open());
    QVERIFY(openGrid());
    mShow->press(QStringLiteral("Escape"));
    mShow->press(QStringLiteral("Delete"));
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(grid().has_value());
    QVERIFY(thumbnail(red).has_value());
    QVERIFY(QFile::exists(QString::fromUtf8(mShow->folder.pathOf("1.png"))));
}

void GridTest::endingTheShowTakesTheGridAway()
{
    QVERIFY(open());
    QVERIFY(openGrid());
    mShow->press(QStringLiteral("Return"));
    QVERIFY(mShow->waitForColour(QColor(red)));
    mShow->press(QStringLiteral("Escape"));
    QVERIFY(waitFor([this] { return !grid(); }));
    QVERIFY(waitFor([this] { return mShow->server().windowsOf(mShow->program().processId()).size() == 1; }));
}

void GridTest::theWindowThatIsClosedLeavesTheShowAndIsThereAgain()
{
    QVERIFY(open());
    QVERIFY(openGrid());
    mShow->server().close(*grid());
    QVERIFY(waitFor([this] { return !grid(); }));
    QVERIFY(mShow->waitForColour(QColor(red)));
    QVERIFY(mShow->program().isRunning());
    QVERIFY(openGrid());
}

void GridTest::filesThatComeAreSeen()
{
    mShow->set(keys::showNewItemsASAP, false);
    QVERIFY(open());
    QVERIFY(openGrid());
    mShow->addColour("4.png", QColor(200, 180, 30));
    QVERIFY(waitFor([this] { return thumbnail(qRgb(200, 180, 30)).has_value(); }, std::chrono::seconds(20)));
    QVERIFY(QFile::remove(QString::fromUtf8(mShow->folder.pathOf("2.png"))));
    QVERIFY(waitFor([this] { return !thumbnail(green).has_value(); }, std::chrono::seconds(20)));
    QVERIFY(thumbnail(blue).has_value());
}

void GridTest::damagedAndVanishedFilesDoNoHarm()
{
    mShow->folder.addFile("4.png", "no picture");
    mShow->folder.addFile("5.jpg", "");
    mShow->folder.addFile("6.mp4", "no movie");
    mShow->folder.addFile(QByteArray("7\xff ") + QByteArray(240, 'n') + ".png", "no picture");
    QVERIFY(open());
    QVERIFY(openGrid());
    mShow->press(QStringLiteral("End"));
    mShow->press(QStringLiteral("Return"));
    // From the last, which cannot be shown, to the first.
    QVERIFY(mShow->waitForColour(QColor(red)));
    QVERIFY(mShow->program().isRunning());
}

void GridTest::aSmallWindowShowsOneColumn()
{
    QVERIFY(open());
    QVERIFY(openGrid());
    const auto& server = mShow->server();
    const WindowId window = *grid();
    QVERIFY(waitFor([&] { return server.isMaximised(window); }));
    server.unmaximise(window);
    QVERIFY(waitFor([&] { return !server.isMaximised(window); }));
    server.moveTo(window, QRect(100, 60, 400, 500));
    QVERIFY(waitFor([&] { return server.geometry(window).width() == 400; }));
    // One below the other, and no two beside each other.
    QVERIFY(waitFor([&] {
        const QImage now = server.grab(window);
        int reds = 0;
        int greens = 0;
        for (int y = 0; y < now.height(); ++y) {
            reds += isNear(now.pixel(200, y), red, 4) ? 1 : 0;
            greens += isNear(now.pixel(200, y), green, 4) ? 1 : 0;
        }
        return reds > 100 && greens > 100;
    }));
}

void GridTest::aWindowThatIsNotMaximisedHasTheFrameOfTheLastTime()
{
    mShow->set(keys::gridWindowRect, QStringLiteral("{{150, 120}, {700, 400}}"));
    QVERIFY(open());
    QVERIFY(openGrid());
    const auto& server = mShow->server();
    const WindowId window = *grid();
    QVERIFY(waitFor([&] { return server.isMaximised(window) && server.geometry(window).width() == 1280; }));
    server.unmaximise(window);
    QVERIFY(waitFor([&] { return server.geometry(window) == QRect(150, 120, 700, 400); }));
}

void GridTest::theFrameOutlivesAMaximisedWindowThatIsClosed()
{
    mShow->set(keys::gridWindowRect, QStringLiteral("{{150, 120}, {700, 400}}"));
    QVERIFY(open());
    const auto& server = mShow->server();
    for (int i = 0; i < 2; ++i) {
        QVERIFY(openGrid());
        QVERIFY(waitFor([&] { return server.isMaximised(*grid()); }));
        mShow->press(QStringLiteral("ctrl+w"));
        QVERIFY(waitFor([this] { return !grid(); }));
    }
    QVERIFY(openGrid());
    const WindowId window = *grid();
    QVERIFY(waitFor([&] { return server.isMaximised(window); }));
    server.unmaximise(window);
    QVERIFY(waitFor([&] { return server.geometry(window) == QRect(150, 120, 700, 400); }));
}

QTEST_GUILESS_MAIN(GridTest)
#include "GridTest.moc"
