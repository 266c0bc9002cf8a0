#include "MovieFiles.h"
#include "PictureFiles.h"
#include "RectText.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QProcess>
#include <QTest>

#include <utility>

using namespace frameflow;
using namespace frameflow::e2e;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);
// The outputs' server knows the first one from run-isolated, and the others by itself.
constexpr QSize displaySize(1280, 800);
constexpr QSize secondSize(1024, 768);
constexpr QSize thirdSize(800, 600);

} // namespace

// Displays that go and come under the running program. There are two, side by side, of different sizes.
class UnpluggingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void theShowMovesFromADisplayThatIsUnplugged_data();
    void theShowMovesFromADisplayThatIsUnplugged();
    void aDisplayWithoutTheShowChangesNothing();
    void theShowFollowsItsDisplayThatMoves();
    void theShowGoesDownWithItsDisplay();
    void theKeyboardStaysWithAnotherProgram_data();
    void theKeyboardStaysWithAnotherProgram();
    void aShowThatIsMinimisedStaysSo();
    void windowsAboveTheShowStayAbove();
    void theControlsComeAlong();
    void theShowComesBackToTheRememberedDisplay();
    void aTransitionGoesOnOnTheOtherDisplay();
    void aMovieGoesOnOnTheOtherDisplay();
    void aWindowIsSeenOnTheOtherDisplay();
    void otherWindowsAreSeenOnTheOtherDisplay();
    void displaysThatComeAndGoInARow();
    void aDisplayOfAnotherSizeInItsPlace();

private:
    // What is left stands at the origin then.
    void unplug(int number) const { randr({QStringLiteral("--output"), output(number), QStringLiteral("--off")}); }
    // Both, wherever they have been, the second one in that size.
    void plugIn(QSize second = {}) const
    {
        const QSize size = second.isEmpty() ? mRight.size() : second;
        randr({QStringLiteral("--output"), output(1), QStringLiteral("--mode"), textOf(mLeft.size()),
            QStringLiteral("--pos"), QStringLiteral("0x0"), QStringLiteral("--output"), output(2),
            QStringLiteral("--mode"), textOf(size), QStringLiteral("--pos"), QStringLiteral("%1x0").arg(mRight.x())});
    }
    static QString textOf(QSize size) { return QStringLiteral("%1x%2").arg(size.width()).arg(size.height()); }
    static QString output(int number) { return QStringLiteral("DUMMY%1").arg(number - 1); }
    static void randr(const QStringList& arguments)
    {
        if (QProcess::execute(QStringLiteral("xrandr"), arguments) != 0) {
            qFatal("xrandr failed");
        }
    }
    // A show on that display, which is remembered.
    bool openOn(int number);
    void makeBothAlike()
    {
        mRight.setSize(mLeft.size());
        plugIn();
    }
    bool fills(const QRect& display) const
    {
        return waitFor([&] { return server().geometry(mWindow) == display && server().isFullScreen(mWindow); });
    }
    bool shows(const QColor& colour, const QRect& display) const
    {
        return waitFor([&] {
            return isNear(server().pixel(display.center()), colour.rgb(), 14)
                && isNear(server().pixel(display.bottomRight() - QPoint(8, 8)), colour.rgb(), 14);
        });
    }
    const XServer& server() const { return mShow->server(); }
    void press(const char* key) const { mShow->press(QString::fromLatin1(key)); }

    QRect mLeft;
    QRect mRight;
    WindowId mWindow = 0;
    std::unique_ptr<ShowDriver> mShow;
};

void UnpluggingTest::init()
{
    mShow = std::make_unique<ShowDriver>();
    mLeft = QRect({}, displaySize);
    mRight = QRect({mLeft.width(), 0}, secondSize);
    for (const QSize size : {secondSize, thirdSize}) {
        randr({QStringLiteral("--addmode"), output(2), textOf(size)});
    }
    plugIn();
    server().moveMouse(mLeft.center());
    mShow->addColour("1.png", red, mLeft.size());
    mShow->addColour("2.png", green, mLeft.size());
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
}

void UnpluggingTest::cleanup()
{
    mShow.reset();
}

bool UnpluggingTest::openOn(int number)
{
    const QRect display = number == 1 ? mLeft : mRight;
    mShow->set(keys::screenRectFrame, textFromRect(display));
    if (!mShow->startWithFolder()) {
        return false;
    }
    mWindow = mShow->showWindow().value_or(0);
    return fills(display) && shows(red, display) && mShow->waitUntilAtRest();
}

void UnpluggingTest::theShowMovesFromADisplayThatIsUnplugged_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("the left one") << 1;
    QTest::newRow("the right one") << 2;
}

void UnpluggingTest::theShowMovesFromADisplayThatIsUnplugged()
{
    QFETCH(const int, number);
    QVERIFY(openOn(number));
    unplug(number);
    const QRect other({}, number == 1 ? mRight.size() : mLeft.size());
    QVERIFY(fills(other));
    QVERIFY(shows(red, other));
    press("Right");
    QVERIFY(shows(green, other));
}

void UnpluggingTest::aDisplayWithoutTheShowChangesNothing()
{
    QVERIFY(openOn(1));
    unplug(2);
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(fills(mLeft));
    plugIn();
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(fills(mLeft));
    press("Right");
    QVERIFY(shows(green, mLeft));
}

void UnpluggingTest::theShowFollowsItsDisplayThatMoves()
{
    QVERIFY(openOn(2));
    unplug(1);
    const QRect moved({}, mRight.size());
    QVERIFY(fills(moved));
    QVERIFY(shows(red, moved));
    plugIn();
    QVERIFY(fills(mRight));
    press("Right");
    QVERIFY(shows(green, mRight));
}

void UnpluggingTest::theShowGoesDownWithItsDisplay()
{
    makeBothAlike();
    randr({QStringLiteral("--output"), output(2), QStringLiteral("--primary")});
    QVERIFY(openOn(2));
    for (int round = 0; round < 3; ++round) {
        randr({QStringLiteral("--output"), output(2), QStringLiteral("--pos"), QStringLiteral("0x800")});
        const QRect below({0, mLeft.height()}, mRight.size());
        QVERIFY(fills(below));
        QVERIFY(mShow->waitUntilAtRest());
        QVERIFY(fills(below));
        QVERIFY(shows(red, below));
        plugIn();
        QVERIFY(fills(mRight));
        QVERIFY(mShow->waitUntilAtRest());
        QVERIFY(fills(mRight));
    }
    QVERIFY(shows(red, mRight));
}

void UnpluggingTest::theKeyboardStaysWithAnotherProgram_data()
{
    QTest::addColumn<bool>("isUnplugged");
    QTest::newRow("display unplugged") << true;
    QTest::newRow("another size") << false;
}

void UnpluggingTest::theKeyboardStaysWithAnotherProgram()
{
    QFETCH(const bool, isUnplugged);
    QVERIFY(openOn(2));
    Program other(QStringLiteral(STAND_IN));
    QVERIFY(other.start({QStringLiteral("other")}));
    const auto window = server().waitForWindow(other.processId());
    QVERIFY(window);
    QVERIFY(server().putInFrontAt(*window, QRect(10, 30, 200, 150)));
    if (isUnplugged) {
        unplug(2);
    } else {
        plugIn(thirdSize);
    }
    QVERIFY(fills(isUnplugged ? mLeft : QRect(mRight.topLeft(), thirdSize)));
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(server().isActive(*window));
}

void UnpluggingTest::aShowThatIsMinimisedStaysSo()
{
    QVERIFY(openOn(2));
    server().minimise(mWindow);
    QVERIFY(waitFor([&] { return server().isMinimised(mWindow); }));
    unplug(2);
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(server().isMinimised(mWindow));
    server().activate(mWindow);
    QVERIFY(fills(mLeft));
    QVERIFY(shows(red, mLeft));
}

void UnpluggingTest::windowsAboveTheShowStayAbove()
{
    makeBothAlike();
    mShow->set(keys::gridWindowRect, textFromRect(mRight.adjusted(50, 100, -600, -200)));
    QVERIFY(openOn(2));
    const auto process = mShow->program().processId();
    press("ctrl+t");
    const auto thumbnails = server().waitForWindow(process, QStringLiteral("Thumbnails — Frameflow"));
    QVERIFY(thumbnails && waitFor([&] { return server().isMaximised(*thumbnails); }));
    press("ctrl+comma");
    const auto preferences = server().waitForWindow(process, QStringLiteral("Preferences — Frameflow"));
    QVERIFY(preferences && waitFor([&] { return server().isActive(*preferences); }));
    QVERIFY(mShow->waitUntilAtRest());
    const auto isShowAt = [&](const QPoint& place) { return isNear(server().pixel(place), red.rgb(), 14); };
    const QPoint edge(8, 700); // of the thumbnails, beside the preferences
    QVERIFY(!isShowAt(mRight.topLeft() + edge));
    unplug(2); // the show has to be moved
    QVERIFY(fills(mLeft));
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(server().isActive(*preferences));
    QVERIFY(!server().geometry(*preferences).contains(edge));
    QVERIFY(waitFor([&] { return !isShowAt(edge); }));
}

void UnpluggingTest::theControlsComeAlong()
{
    makeBothAlike();
    QVERIFY(openOn(2));
    press("ctrl+shift+c");
    std::optional<WindowId> controls;
    QVERIFY(waitFor([&] {
        const auto windows = server().windowsOf(mShow->program().processId());
        controls = windows.size() == 2 ? std::optional(windows.at(0) == mWindow ? windows.at(1) : windows.at(0))
                                       : std::nullopt;
        return controls && server().isVisible(*controls) && mRight.contains(server().geometry(*controls));
    }));
    unplug(2);
    QVERIFY(fills(mLeft));
    QVERIFY(waitFor([&] { return mLeft.contains(server().geometry(*controls)); }));
}

void UnpluggingTest::theShowComesBackToTheRememberedDisplay()
{
    QVERIFY(openOn(2));
    unplug(2);
    QVERIFY(fills(mLeft));
    QVERIFY(mShow->waitUntilAtRest());
    QCOMPARE(storedSetting(keys::screenRectFrame).toString(), textFromRect(mRight));
    mShow->program().end();
    plugIn();
    QVERIFY(openOn(2)); // at the next start
}

void UnpluggingTest::aTransitionGoesOnOnTheOtherDisplay()
{
    mShow->set(keys::transition, QStringLiteral("Cross Fade"));
    QVERIFY(openOn(2));
    press("Right");
    QVERIFY(waitFor([&] { return !isNear(server().pixel(mRight.center()), red.rgb(), 4); }));
    unplug(2);
    QVERIFY(fills(mLeft));
    QVERIFY(shows(green, mLeft));
    QVERIFY(mShow->waitUntilAtRest());
    press("Left");
    QVERIFY(shows(red, mLeft));
}

void UnpluggingTest::aMovieGoesOnOnTheOtherDisplay()
{
    const MovieFiles movies;
    QVERIFY(movies.make("2.mkv",
        "-f lavfi -i color=0x1ea01e:s=640x400:r=25,"
        "format=yuv420p -t 30 -c:v ffv1"));
    mShow->folder.addFile("1a.mkv", movies.contentsOf("2.mkv"));
    QVERIFY(openOn(2));
    press("Right");
    QVERIFY(shows(green, mRight));
    unplug(2);
    QVERIFY(fills(mLeft));
    QVERIFY(shows(green, mLeft));
    press("Left");
    QVERIFY(shows(red, mLeft));
}

void UnpluggingTest::aWindowIsSeenOnTheOtherDisplay()
{
    QVERIFY(openOn(2));
    press("F11");
    QVERIFY(waitFor([&] { return server().geometry(mWindow).width() == mRight.width() / 2; }));
    unplug(2);
    QVERIFY(waitFor([&] { return mLeft.contains(server().geometry(mWindow).center()); }));
    press("F11");
    QVERIFY(fills(mLeft));
    QVERIFY(shows(red, mLeft));
}

void UnpluggingTest::otherWindowsAreSeenOnTheOtherDisplay()
{
    QVERIFY(openOn(2));
    for (const auto& [key, title] : {std::pair("ctrl+t", "Thumbnails — Frameflow"),
             std::pair("ctrl+comma", "Preferences — Frameflow"), std::pair("ctrl+o", "Open — Frameflow")}) {
        const QString name = QString::fromUtf8(title);
        press(key);
        std::optional<WindowId> window;
        const auto isActive = [&] {
            window = server().windowWithTitle(mShow->program().processId(), name);
            return window && server().isActive(*window);
        };
        QVERIFY2(waitFor(isActive), title);
        QVERIFY(mShow->waitUntilAtRest());
        unplug(2);
        QVERIFY2(waitFor([&] { return mLeft.contains(server().geometry(*window).center()); }), title);
        QVERIFY(fills(mLeft)); // and the show
        QVERIFY2(waitFor([&] { return server().isActive(*window); }), title);
        QVERIFY(mShow->waitUntilAtRest());
        press(QByteArray(key) == "ctrl+t" ? "ctrl+w" : "Escape");
        QVERIFY2(waitFor([&] { return !server().isVisible(*window); }), title);
        mShow->program().end();
        plugIn();
        QVERIFY(openOn(2));
    }
}

void UnpluggingTest::displaysThatComeAndGoInARow()
{
    QVERIFY(openOn(2));
    for (int round = 0; round < 5; ++round) {
        unplug(2);
        plugIn();
        unplug(1);
        plugIn();
        press(round % 2 == 0 ? "Right" : "Left");
    }
    QVERIFY(mShow->waitUntilAtRest());
    const QRect place = server().geometry(mWindow);
    QVERIFY(place == mLeft || place == mRight);
    QVERIFY(shows(green, place));
}

// As when another one is plugged in in its place, while nobody sees a show on it.
void UnpluggingTest::aDisplayOfAnotherSizeInItsPlace()
{
    QVERIFY(openOn(2));
    unplug(2);
    QVERIFY(fills(mLeft));
    plugIn(thirdSize);
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(fills(mLeft));
    QVERIFY(shows(red, mLeft));
}

QTEST_GUILESS_MAIN(UnpluggingTest)
#include "UnpluggingTest.moc"
