#include "ActionTable.h"
#include "MainMenu.h"
#include "PictureFiles.h"
#include "ProbeApplications.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"
#include "StaysTrue.h"

#include <QAction>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QMap>
#include <QMenu>
#include <QPainter>
#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);
const QColor blue(30, 30, 200);
constexpr int bandHeight = 20;
constexpr QSize bandedSize(300, 200);

// Red, with a green band along its upper edge: how high that is on the screen tells how the picture is fitted.
QImage bandedPicture()
{
    QImage picture(bandedSize, QImage::Format_RGB32);
    picture.fill(red);
    QPainter(&picture).fillRect(0, 0, bandedSize.width(), bandHeight, green);
    return picture;
}

QChar mnemonicOf(const QString& title)
{
    return title.at(title.indexOf(QLatin1Char('&')) + 1).toLower();
}

// The keys of the menu bar that lead to a command: first its menu, then its item. Empty when there is none.
QStringList menuKeys(const QString& command)
{
    const MainMenu menu;
    const std::unique_ptr<QMenuBar> bar(menu.makeMenuBar());
    for (const QAction* entry : bar->actions()) {
        for (const QAction* action : entry->menu()->actions()) {
            if (action->objectName() == command) {
                return {QStringLiteral("alt+") + mnemonicOf(entry->text()), QString(mnemonicOf(action->text()))};
            }
        }
    }
    return {};
}

// As the keyboard of the X server names it.
QString xKey(const QKeySequence& key)
{
    static const QMap<QString, QString> names{{QStringLiteral("pgdown"), QStringLiteral("Next")},
        {QStringLiteral("pgup"), QStringLiteral("Prior")}, {QStringLiteral("del"), QStringLiteral("Delete")},
        {QStringLiteral("esc"), QStringLiteral("Escape")}, {QStringLiteral("ctrl+,"), QStringLiteral("ctrl+comma")},
        {QStringLiteral("+"), QStringLiteral("plus")}, {QStringLiteral("-"), QStringLiteral("minus")},
        {QStringLiteral("right"), QStringLiteral("Right")}, {QStringLiteral("left"), QStringLiteral("Left")},
        {QStringLiteral("home"), QStringLiteral("Home")}, {QStringLiteral("f1"), QStringLiteral("F1")},
        {QStringLiteral("f11"), QStringLiteral("F11")}};
    const QString lower = key.toString().toLower();
    return names.value(lower, lower);
}

} // namespace

// A tour of all menu items and keys: each is triggered as a person does it, and what it brings is seen.
class CommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { mShow.reset(); }

    void theTourLeadsToEveryCommand();
    void commandsDoWhatTheySay_data();
    void commandsDoWhatTheySay();
    void f11LeadsBackToTheWindow();
    void keysWithoutACommandStopTheShow_data();
    void keysWithoutACommandStopTheShow();
    void theControlsAreForTheMouseAndLeaveTheKeyboard();
    void theControlsStayAboveTheNextShow();

private:
    struct Stop
    {
        const char* command;
        bool (CommandsTest::*look)();
    };
    static const std::vector<Stop>& tour();

    // Each opens a show, gives the command and answers whether it was carried out.
    bool about() { return opensWindow(QStringLiteral("About Frameflow")); }
    bool checkUpdate();
    bool preferences() { return opensWindow(QStringLiteral("Preferences — Frameflow")); }
    bool quit();
    bool open() { return opensWindow(QStringLiteral("Open — Frameflow")); }
    bool copyFilePath();
    bool openInEditor();
    bool trash();
    bool end();
    bool play();
    bool next() { return openThree() && give() && mShow->waitForColour(green); }
    bool previous() { return openThree() && give() && mShow->waitForColour(blue); }
    bool first();
    bool shuffle();
    bool shrinkToFit() { return fits(keys::fitModeZoom, keys::fitModeFit, 300, bandHeight); }
    bool zoomToFit() { return fits(keys::fitModeFit, keys::fitModeZoom, 1200, 80); }
    bool fillScreen() { return fits(keys::fitModeFit, keys::fitModeFill, 1280, 59); }
    bool stretch() { return fits(keys::fitModeFit, keys::fitModeStretch, 1280, 80); }
    bool zoomIn();
    bool zoomOne();
    bool zoomOff();
    bool showFilePath() { return showsLabel(keys::showFilePath); }
    bool showFileName() { return showsLabel(keys::showFileName); }
    bool showThumbnails() { return opensWindow(QStringLiteral("Thumbnails — Frameflow")); }
    bool showControls();
    bool chooseDisplay() { return opensWindow(QStringLiteral("Choose Display — Frameflow")); }
    bool windowMode();
    bool fullScreen();
    bool guide();
    bool welcome() { return opensWindow(QStringLiteral("Frameflow")); }

    bool openThree();
    // Of one picture, with a coloured band.
    bool openBanded(const QString& fitMode);
    bool isReady();
    bool give();
    bool opensWindow(const QString& title);
    bool fits(const QString& before, const QString& after, int width, int band);
    bool showsLabel(const QString& key);
    std::optional<WindowId> find(const QString& title) const
    {
        return server().windowWithTitle(mShow->program().processId(), title);
    }
    bool waitForWindow(const QString& title) const
    {
        return waitFor([&] {
            const auto window = find(title);
            return window && server().isVisible(*window);
        });
    }
    // The extent of the picture on the screen, and the height of its band.
    QSize pictureAndBand() const;
    bool waitForBanded(int width, int band) const
    {
        return waitFor([&] {
            const QSize now = pictureAndBand();
            return std::abs(now.width() - width) <= 2 && std::abs(now.height() - band) <= 2;
        });
    }
    const XServer& server() const { return mShow->server(); }
    bool waitForNoShow() const
    {
        return waitFor([&] {
            const auto windows = server().windowsOf(mShow->program().processId());
            return windows.size() == 1 && !server().isFullScreen(windows.first());
        });
    }

    QStringList mKeys; // that give the command, one after another
    WindowId mWindow = 0; // of the show
    QString mProgram = ShowDriver::builtProgram();
    std::unique_ptr<ShowDriver> mShow;
    std::unique_ptr<ProbeApplications> mProbes;
};

const std::vector<CommandsTest::Stop>& CommandsTest::tour()
{
    using T = CommandsTest;
    static const std::vector<Stop> stops{
        {"AboutFrameflow", &T::about},
        {"CheckUpdate", &T::checkUpdate},
        {"ShowPreferences", &T::preferences},
        {"quit", &T::quit},
        {"openMenu", &T::open},
        {"CopyFilePath", &T::copyFilePath},
        {"openSlide", &T::openInEditor},
        {"trashSlide", &T::trash},
        {"cancel", &T::end},
        {"Play", &T::play},
        {"nextSlide", &T::next},
        {"previousSlide", &T::previous},
        {"firstSlide", &T::first},
        {"shuffle", &T::shuffle},
        {"ShrinkToFit", &T::shrinkToFit},
        {"ZoomToFit", &T::zoomToFit},
        {"FillScreen", &T::fillScreen},
        {"Stretch", &T::stretch},
        {"ZoomIn", &T::zoomIn},
        {"ZoomOne", &T::zoomOne},
        {"ZoomOff", &T::zoomOff},
        {"ShowFilePath", &T::showFilePath},
        {"ShowFileName", &T::showFileName},
        {"ShowGridScreen", &T::showThumbnails},
        {"ShowControls", &T::showControls},
        {"ShowChooseScreen", &T::chooseDisplay},
        {"WindowMode", &T::windowMode},
        {"FullScreen", &T::fullScreen},
        {"showHelp", &T::guide},
        {"ShowWelcomeScreen", &T::welcome},
    };
    return stops;
}

void CommandsTest::initTestCase()
{
    mProbes = std::make_unique<ProbeApplications>();
    mProbes->add("editor", "Graphics;RasterGraphics;", {"image/png"});
    mProbes->add("browser", "Network;", {"x-scheme-handler/http"}, "%u");
    mProbes->setDefault("image/png", "editor");
    mProbes->setDefault("x-scheme-handler/http", "browser");
}

void CommandsTest::init()
{
    mShow = std::make_unique<ShowDriver>(mProgram);
    mProbes->forget();
    mKeys.clear();
}

// ---- What the tour is made of

bool CommandsTest::openThree()
{
    mShow->addColour("1.png", red);
    mShow->addColour("2.png", green);
    mShow->addColour("3.png", blue);
    return mShow->startWithFolder() && mShow->waitForColour(red) && isReady();
}

bool CommandsTest::openBanded(const QString& fitMode)
{
    mShow->set(keys::imageFitMode, fitMode);
    const QString path = QString::fromUtf8(mShow->folder.addFile("banded.png"));
    return bandedPicture().save(path) && mShow->startWithFolder()
        && waitFor([this] { return pictureAndBand().width() > 0; }) && isReady();
}

bool CommandsTest::isReady()
{
    const auto window = mShow->showWindow();
    mWindow = window.value_or(0);
    return window && waitFor([&] { return server().isActive(*window); });
}

bool CommandsTest::give()
{
    for (const QString& key : mKeys) {
        mShow->press(key);
    }
    return true;
}

bool CommandsTest::opensWindow(const QString& title)
{
    if (!openThree() || find(title) || !give() || !waitForWindow(title)) {
        return false;
    }
    // In front of the show, with the keyboard.
    const WindowId window = find(title).value_or(0);
    return waitFor([&] {
        const QRect inside = server().geometry(window);
        return server().isActive(window) && !isNear(server().pixel(inside.topLeft() + QPoint(3, 3)), red.rgb(), 40)
            && !isNear(server().pixel(inside.bottomRight() - QPoint(3, 3)), red.rgb(), 40);
    });
}

QSize CommandsTest::pictureAndBand() const
{
    const QImage screen = mShow->screen();
    const int column = screen.width() / 2;
    int band = 0;
    for (int y = 0; y < screen.height(); ++y) {
        band += isNear(screen.pixel(column, y), green.rgb(), 40) ? 1 : 0;
    }
    int width = 0;
    for (int x = 0; x < screen.width(); ++x) {
        width += isNear(screen.pixel(x, screen.height() / 2), red.rgb(), 40) ? 1 : 0;
    }
    return {width, band};
}

bool CommandsTest::fits(const QString& before, const QString& after, int width, int band)
{
    return openBanded(before) && !waitFor([&] { return pictureAndBand() == QSize(width, band); }, 0ms) && give()
        && waitForBanded(width, band) && waitFor([&] { return storedSetting(keys::imageFitMode).toString() == after; });
}

bool CommandsTest::showsLabel(const QString& key)
{
    // Along the lower left the slide is darkened, with white letters in it.
    const QRect place(0, server().bounds().height() - 30, 12, 30);
    const auto isLabelled = [&] {
        const QImage seen = server().grab(place);
        bool hasWhite = false;
        for (int y = 0; y < seen.height(); ++y) {
            for (int x = 0; x < seen.width(); ++x) {
                hasWhite = hasWhite || seen.pixelColor(x, y).blue() > 150;
            }
        }
        return hasWhite && isNear(seen.pixel(0, seen.height() - 1), qRgb(120, 18, 18), 4);
    };
    return openThree() && !isLabelled() && give() && waitFor(isLabelled)
        && waitFor([&] { return storedSetting(key).toBool(); }) && give()
        && waitFor([&] { return !storedSetting(key).toBool(); }) && mShow->waitForColour(red);
}

// ---- Its stops

bool CommandsTest::checkUpdate()
{
    // A server that is not there.
    mShow = std::make_unique<ShowDriver>(QStringLiteral(UPDATE_PROGRAM));
    mShow->set(keys::autoCheckNewVersion, false);
    mShow->addColour("1.png", red);
    return mShow->start({"127.0.0.1:1", "/nowhere", mShow->folder.path()}) && mShow->waitForColour(red) && isReady()
        && give() && waitForWindow(QStringLiteral("Frameflow"));
}

bool CommandsTest::quit()
{
    return openThree() && give() && mShow->program().waitForExit() && mShow->program().exitCode().value_or(-1) == 0;
}

bool CommandsTest::copyFilePath()
{
    QGuiApplication::clipboard()->clear();
    const QString path = QString::fromUtf8(mShow->folder.pathOf("1.png"));
    return openThree() && give() && waitFor([&] { return QGuiApplication::clipboard()->text() == path; });
}

bool CommandsTest::openInEditor()
{
    const QByteArrayList path{mShow->folder.pathOf("1.png")};
    return openThree() && give() && waitFor([&] { return mProbes->openedBy("editor") == path; });
}

bool CommandsTest::trash()
{
    const QString path = QString::fromUtf8(mShow->folder.pathOf("1.png"));
    const QString trashFolder = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Trash");
    QDir(trashFolder).removeRecursively();
    const QString trashed = trashFolder + QStringLiteral("/files/1.png");
    return openThree() && QFile::exists(path) && give() && mShow->waitForColour(green) && !QFile::exists(path)
        && QFile::exists(trashed);
}

bool CommandsTest::end()
{
    return openThree() && give() && waitForNoShow();
}

bool CommandsTest::play()
{
    mShow->set(keys::slideInterval, 1);
    if (!openThree() || !give() || !mShow->waitForColour(green) || !mShow->waitForColour(blue) || !give()) {
        return false;
    }
    // Stopped, on whichever slide it was.
    QImage last = mShow->screen();
    return waitFor([&] {
        const bool isStill = staysTrueFor(1500ms, [&] { return mShow->screen() == last; });
        last = mShow->screen();
        return isStill;
    });
}

bool CommandsTest::first()
{
    if (!openThree()) {
        return false;
    }
    mShow->press(QStringLiteral("Right"));
    return mShow->waitForColour(green) && give() && mShow->waitForColour(red);
}

// Sooner or later another slide is the first.
bool CommandsTest::shuffle()
{
    if (!openThree()) {
        return false;
    }
    for (int round = 0; round < 40; ++round) {
        give();
        if (waitFor([&] { return !isNear(server().pixel(server().bounds().center()), red.rgb(), 4); }, 300ms)) {
            return true;
        }
    }
    return false;
}

bool CommandsTest::zoomIn()
{
    return openBanded(keys::fitModeFit) && waitForBanded(300, bandHeight) && give()
        && waitFor([&] { return pictureAndBand().width() > 330; });
}

bool CommandsTest::zoomOne()
{
    return openBanded(keys::fitModeZoom) && waitForBanded(1200, 80) && give() && waitForBanded(300, bandHeight);
}

bool CommandsTest::zoomOff()
{
    if (!openBanded(keys::fitModeFit)) {
        return false;
    }
    mShow->press(QStringLiteral("plus"));
    return waitFor([&] { return pictureAndBand().width() > 330; }) && give() && waitForBanded(300, bandHeight);
}

bool CommandsTest::showControls()
{
    const QString title = QStringLiteral("Controls — Frameflow");
    if (!openThree() || find(title) || !give() || !waitForWindow(title)) {
        return false;
    }
    const WindowId panel = find(title).value_or(0);
    const auto isAbove = [&] { return !isNear(server().pixel(server().geometry(panel).topLeft()), red.rgb(), 40); };
    return waitFor(isAbove) && server().isActive(mWindow) && give()
        && waitFor([&] { return !find(title) || !server().isVisible(panel); }) && mShow->waitForColour(red);
}

bool CommandsTest::windowMode()
{
    return openThree() && give() && waitFor([&] { return !server().isFullScreen(mWindow); })
        && waitFor([&] { return server().geometry(mWindow).width() == 640; });
}

bool CommandsTest::fullScreen()
{
    if (!openThree()) {
        return false;
    }
    mShow->press(QStringLiteral("ctrl+shift+w"));
    return waitFor([&] { return !server().isFullScreen(mWindow) && server().geometry(mWindow).width() == 640; })
        && give() && waitFor([&] { return server().isFullScreen(mWindow); }) && mShow->waitForColour(red);
}

bool CommandsTest::guide()
{
    const QByteArrayList address{"http://frameflow.example/frameflow-guide.html"};
    return openThree() && give() && waitFor([&] { return mProbes->openedBy("browser") == address; });
}

// ---- The tour

void CommandsTest::theTourLeadsToEveryCommand()
{
    QStringList visited;
    for (const Stop& stop : tour()) {
        visited.append(QString::fromLatin1(stop.command));
        QVERIFY2(!menuKeys(visited.last()).isEmpty(), stop.command);
    }
    QStringList commands;
    for (const ActionRow& row : actionTable()) {
        commands.append(QString::fromLatin1(row.id));
    }
    visited.sort();
    commands.sort();
    QCOMPARE(visited, commands);
}

void CommandsTest::commandsDoWhatTheySay_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("xKeys");
    for (const ActionRow& row : actionTable()) {
        const QString command = QString::fromLatin1(row.id);
        QTest::addRow("%s, menu", row.id) << command << menuKeys(command);
        for (const QKeySequence& key : row.keys) {
            QTest::addRow("%s, %s", row.id, qPrintable(key.toString())) << command << QStringList{xKey(key)};
        }
    }
}

void CommandsTest::commandsDoWhatTheySay()
{
    QFETCH(const QString, command);
    QFETCH(const QStringList, xKeys);
    mKeys = xKeys;
    for (const Stop& stop : tour()) {
        if (command == QLatin1String(stop.command)) {
            QVERIFY((this->*stop.look)());
            return;
        }
    }
    QFAIL("no stop of the tour");
}

void CommandsTest::f11LeadsBackToTheWindow()
{
    mKeys = {QStringLiteral("F11")};
    QVERIFY(windowMode());
}

void CommandsTest::keysWithoutACommandStopTheShow_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("zero") << QStringLiteral("0");
    QTest::newRow("arrow") << QStringLiteral("Up");
    QTest::newRow("letter") << QStringLiteral("x");
}

void CommandsTest::keysWithoutACommandStopTheShow()
{
    QFETCH(const QString, key);
    QVERIFY(openThree());
    mShow->press(QStringLiteral("2"));
    QVERIFY(mShow->waitForColour(green));
    mShow->press(key);
    QVERIFY(staysTrueFor(2500ms, [&] { return isNear(server().pixel(QPoint(300, 300)), green.rgb(), 4); }));
    QCOMPARE(storedSetting(keys::slideInterval).toDouble(), 2.0);
}

void CommandsTest::theControlsAreForTheMouseAndLeaveTheKeyboard()
{
    mKeys = {QStringLiteral("ctrl+shift+c")};
    QVERIFY(openThree() && give());
    const QString title = QStringLiteral("Controls — Frameflow");
    QVERIFY(waitForWindow(title));
    const QRect panel = server().geometry(find(title).value());
    // The fourth of nine buttons, below the menus.
    const auto slideIs = [&](QColor colour) {
        return waitFor([&] { return isNear(server().pixel(QPoint(100, 100)), colour.rgb(), 4); });
    };
    QVERIFY(waitFor([&] { return !isNear(server().pixel(panel.topLeft()), red.rgb(), 40); }));
    server().click(panel.topLeft() + QPoint(10 + 3 * 40 + 18, panel.height() - 26));
    QVERIFY(slideIs(green));
    QVERIFY(server().isActive(mWindow));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(slideIs(blue));
    // And so do its menus: the third, then its second item.
    server().click(panel.topLeft() + QPoint(150, 10));
    mShow->press(QStringLiteral("n"));
    QVERIFY(slideIs(red));
    server().close(find(title).value());
    QVERIFY(waitFor([&] { return !find(title); }));
    QVERIFY(server().isActive(mWindow));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(green));
}

void CommandsTest::theControlsStayAboveTheNextShow()
{
    mKeys = {QStringLiteral("ctrl+shift+c")};
    QVERIFY(openThree() && give());
    const QString title = QStringLiteral("Controls — Frameflow");
    QVERIFY(waitForWindow(title));
    mShow->press(QStringLiteral("Escape"));
    const QString welcomeTitle = QStringLiteral("Frameflow");
    QVERIFY(waitForWindow(welcomeTitle));
    QVERIFY(waitFor([&] { return server().isActive(find(welcomeTitle).value_or(0)); }));
    mShow->press(QStringLiteral("Tab"));
    mShow->press(QStringLiteral("Return")); // the folder opened last
    QVERIFY(waitFor([&] { return isNear(server().pixel(QPoint(100, 100)), red.rgb(), 4); }));
    QVERIFY(waitForWindow(title));
    const QPoint inside = server().geometry(find(title).value()).topLeft() + QPoint(2, 2);
    QVERIFY(waitFor([&] { return !isNear(server().pixel(inside), red.rgb(), 40); }));
    QVERIFY(staysTrueFor(500ms, [&] { return !isNear(server().pixel(inside), red.rgb(), 40); }));
    mShow->press(QStringLiteral("Right")); // the keyboard is the show's
    QVERIFY(waitFor([&] { return isNear(server().pixel(QPoint(100, 100)), green.rgb(), 4); }));
}

QTEST_MAIN(CommandsTest)
#include "CommandsTest.moc"
