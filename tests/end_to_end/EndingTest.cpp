#include "HeldDecoderCopy.h"
#include "HeldPictures.h"
#include "MovieFiles.h"
#include "OwnXServer.h"
#include "PictureFiles.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <cstdio>

#include <unistd.h>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);

} // namespace

// The end of the program in the middle of whatever it does: asked for by a signal, or because the display's server has
// gone. It leaves nothing behind, and the last change of the settings is kept.
class EndingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void aSignalEndsTheProgramInEveryState_data() { states(); }
    void aSignalEndsTheProgramInEveryState();
    void everySignalThatEndsProgramsDoes_data();
    void everySignalThatEndsProgramsDoes();
    void aSignalAtTheStartEndsTheProgram_data();
    void aSignalAtTheStartEndsTheProgram();
    void signalsWhileItEndsChangeNothing();
    void aDisplayWhoseServerGoesEndsTheProgramInEveryState_data() { states(); }
    void aDisplayWhoseServerGoesEndsTheProgramInEveryState();
    void whatCouldNotBeWrittenIsWrittenAtTheEnd_data();
    void whatCouldNotBeWrittenIsWrittenAtTheEnd();

private:
    using State = void (EndingTest::*)();

    static void states();
    // The program as it is started for all of them, with three pictures of which the first is small.
    void prepare();
    // Each brings the program into its state; a failure is one of the test.
    void welcome();
    void show();
    void running();
    void collecting();
    void waiting();
    void transition();
    void zoom();
    void movie();
    void thumbnails();
    void preferences();
    void openPanel();
    void menu();
    void about();
    void minimised();

    // A show at rest on whose screen the last change of the settings is seen.
    void stretch();
    void addMany() const;
    bool isActive(const QString& title) const
    {
        return waitFor([&] {
            const auto window = server().windowWithTitle(processId(), title);
            return window && server().isActive(*window);
        });
    }
    QColor middle() const { return QColor(server().pixel(server().bounds().center())); }
    const XServer& server() const { return mShow->server(); }
    qint64 processId() const { return mShow->program().processId(); }
    void signal(int number) const { ::kill(static_cast<pid_t>(processId()), number); }
    void press(const char* key) const { mShow->press(QString::fromLatin1(key)); }
    // Fails unless the program ends with that status and leaves nothing behind.
    void endsWith(int status);
    void settingsAreKept() const;

    static QStringList entriesOf(const QString& folder)
    {
        return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    static QStringList entriesOfRuntimeFolder()
    {
        QStringList entries = entriesOf(qEnvironmentVariable("XDG_RUNTIME_DIR"));
        // The sound library's own, for as long as the session lasts; made when a movie has played for a moment.
        entries.removeAll(QStringLiteral("pulse"));
        return entries;
    }
    static QString settingsFolder() { return qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/quillory"); }

    std::unique_ptr<MovieFiles> mMovies;
    std::unique_ptr<OwnXServer> mDisplay;
    std::unique_ptr<TestFolder> mInstalled;
    std::unique_ptr<ShowDriver> mShow;
    std::unique_ptr<HeldPictures> mHeld;
    std::unique_ptr<TestFolder> mTemporary;
    QStringList mRuntimeBefore;
    QVariantMap mChanged; // what must be in the settings at the end
};

void EndingTest::initTestCase()
{
    mMovies = std::make_unique<MovieFiles>();
    QVERIFY(mMovies->make("movie.mkv",
        "-f lavfi -i color=0x1ea01e:s=320x200:r=25 -f lavfi -i sine=440 -t 30 -c:v libx264 -preset ultrafast "
        "-pix_fmt yuv420p -c:a aac"));
}

void EndingTest::cleanup()
{
    mHeld.reset();
    mShow.reset();
    mInstalled.reset();
    mDisplay.reset();
    mTemporary.reset();
    mChanged.clear();
}

void EndingTest::states()
{
    QTest::addColumn<State>("enter");
    QTest::newRow("welcome") << &EndingTest::welcome;
    QTest::newRow("show at rest") << &EndingTest::show;
    QTest::newRow("running show") << &EndingTest::running;
    QTest::newRow("collecting a large folder") << &EndingTest::collecting;
    QTest::newRow("waiting for a decoder") << &EndingTest::waiting;
    QTest::newRow("transition") << &EndingTest::transition;
    QTest::newRow("zoom") << &EndingTest::zoom;
    QTest::newRow("movie") << &EndingTest::movie;
    QTest::newRow("thumbnails") << &EndingTest::thumbnails;
    QTest::newRow("preferences, a change just made") << &EndingTest::preferences;
    QTest::newRow("open panel") << &EndingTest::openPanel;
    QTest::newRow("open menu") << &EndingTest::menu;
    QTest::newRow("message") << &EndingTest::about;
    QTest::newRow("minimised") << &EndingTest::minimised;
}

// ---- The states

void EndingTest::prepare()
{
    mInstalled = std::make_unique<TestFolder>();
    mShow = std::make_unique<ShowDriver>(copyWithHeldDecoder(*mInstalled));
    mHeld = std::make_unique<HeldPictures>(mShow->folder);
    mShow->program().useOwnSession();
    mTemporary = std::make_unique<TestFolder>();
    mShow->setVariable(QStringLiteral("TMPDIR"), QString::fromUtf8(mTemporary->path()));
    mShow->addColour("1.png", red, QSize(400, 300));
    mShow->addColour("2.png", green);
    mShow->set(keys::endMode, keys::endModeWait);
    mRuntimeBefore = entriesOfRuntimeFolder();
}

void EndingTest::stretch()
{
    QVERIFY(mShow->startWithFolder());
    const auto window = mShow->showWindow();
    QVERIFY(window && waitFor([&] { return server().isActive(*window) && middle() == red; }));
    press("ctrl+4");
    QVERIFY(mShow->waitForColour(red));
    mChanged.insert(keys::imageFitMode, keys::fitModeStretch);
}

void EndingTest::welcome()
{
    QVERIFY(mShow->start({}));
    QVERIFY(mShow->showWindow().has_value());
}

void EndingTest::show()
{
    stretch();
    QVERIFY(mShow->waitUntilAtRest());
}

void EndingTest::running()
{
    mShow->set(keys::transition, QStringLiteral("Cross Fade"));
    mShow->set(keys::slideInterval, 2);
    mShow->set(keys::endMode, keys::endModeRewind);
    stretch();
    press("1");
    QVERIFY(waitFor([&] { return middle() == green; }));
    mChanged.insert(keys::slideInterval, 1);
}

void EndingTest::addMany() const
{
    const QByteArray picture = mShow->folder.pathOf("2.png");
    for (int folder = 0; folder < 100; ++folder) {
        const QByteArray name = mShow->folder.addFolder(QByteArray::number(folder));
        for (int i = 0; i < 300; ++i) {
            QCOMPARE(link(picture.constData(), (name + '/' + QByteArray::number(i) + ".png").constData()), 0);
        }
    }
}

void EndingTest::collecting()
{
    addMany();
    QVERIFY(mShow->startWithFolder());
    // It holds the folders open that it walks through.
    QVERIFY(waitFor([&] {
        for (const QString& file : entriesOf(QStringLiteral("/proc/%1/fd").arg(processId()))) {
            const QString target = QFile::symLinkTarget(QStringLiteral("/proc/%1/fd/%2").arg(processId()).arg(file));
            if (target.startsWith(QString::fromUtf8(mShow->folder.path()))) {
                return true;
            }
        }
        return false;
    }));
}

void EndingTest::waiting()
{
    mHeld->add("2.png", green);
    stretch();
    press("Right");
    QVERIFY(waitFor([&] { return !mHeld->decodersOf("2.png").isEmpty(); }));
}

void EndingTest::transition()
{
    mShow->set(keys::transition, QStringLiteral("Cross Fade"));
    stretch();
    press("Right");
    QVERIFY(waitFor([&] { return middle() != red; }));
}

void EndingTest::zoom()
{
    mShow->folder.addFile("0.png", encoded(quartersPicture(QSize(400, 300)), "png"));
    QVERIFY(mShow->startAndRest());
    const QImage before = mShow->screen();
    press("plus");
    QVERIFY(waitFor([&] { return mShow->screen() != before; }));
}

void EndingTest::movie()
{
    mShow->folder.addFile("2.mkv", mMovies->contentsOf("movie.mkv"));
    QCOMPARE(unlink(mShow->folder.pathOf("2.png").constData()), 0);
    stretch();
    press("Right");
    QVERIFY(waitFor([&] { return isNear(middle().rgb(), green.rgb(), 14); }));
}

void EndingTest::thumbnails()
{
    stretch();
    press("ctrl+t");
    QVERIFY(isActive(QStringLiteral("Thumbnails — Frameflow")));
}

void EndingTest::preferences()
{
    stretch();
    press("ctrl+comma");
    const QString title = QStringLiteral("Preferences — Frameflow");
    QVERIFY(isActive(title));
    QVERIFY(mShow->waitUntilAtRest());
    const QRect place = server().geometry(*server().windowWithTitle(processId(), title));
    press("alt+t"); // the transitions
    QVERIFY(mShow->waitUntilAtRest());
    const QImage before = server().grab(place);
    press("Down");
    QVERIFY(waitFor([&] { return server().grab(place) != before; }));
    mChanged.insert(keys::transition, QStringLiteral("Cross Fade"));
}

void EndingTest::openPanel()
{
    stretch();
    press("ctrl+o");
    QVERIFY(isActive(QStringLiteral("Open — Frameflow")));
}

void EndingTest::menu()
{
    stretch();
    QVERIFY(mShow->waitUntilAtRest());
    const QImage before = mShow->screen();
    press("alt+v");
    QVERIFY(waitFor([&] { return mShow->screen() != before; }));
}

void EndingTest::about()
{
    stretch();
    press("alt+r");
    press("a");
    QVERIFY(isActive(QStringLiteral("About Frameflow")));
}

void EndingTest::minimised()
{
    stretch();
    const auto window = mShow->showWindow();
    QVERIFY(window.has_value());
    server().minimise(*window);
    QVERIFY(waitFor([&] { return server().isMinimised(*window); }));
}

// ---- What is left

void EndingTest::endsWith(int status)
{
    const qint64 session = processId();
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode(), std::optional(status));
    QVERIFY(waitFor([&] { return processesOfSession(session).isEmpty(); }));
    QCOMPARE(entriesOfRuntimeFolder(), mRuntimeBefore);
    QCOMPARE(entriesOf(QString::fromUtf8(mTemporary->path())), QStringList());
    settingsAreKept();
}

void EndingTest::settingsAreKept() const
{
    QCOMPARE(entriesOf(settingsFolder()), QStringList{QStringLiteral("frameflow.conf")});
    QVERIFY(storedSetting(keys::hintsShown).toBool()); // what was there before
    for (auto it = mChanged.cbegin(); it != mChanged.cend(); ++it) {
        QCOMPARE(storedSetting(it.key()).toString(), it.value().toString());
    }
}

// ---- The ends

void EndingTest::aSignalEndsTheProgramInEveryState()
{
    QFETCH(const State, enter);
    prepare();
    (this->*enter)();
    if (!QTest::currentTestFailed()) {
        signal(SIGTERM);
        endsWith(0);
        QVERIFY(!mShow->program().output().contains("X11"));
    }
}

void EndingTest::everySignalThatEndsProgramsDoes_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("hang-up") << SIGHUP;
    QTest::newRow("interrupt") << SIGINT;
    QTest::newRow("end") << SIGTERM;
}

void EndingTest::everySignalThatEndsProgramsDoes()
{
    QFETCH(const int, number);
    prepare();
    stretch();
    signal(number);
    endsWith(0);
}

void EndingTest::aSignalAtTheStartEndsTheProgram_data()
{
    QTest::addColumn<bool>("isListening");
    QTest::newRow("before it listens") << false;
    QTest::newRow("before its first window") << true;
}

void EndingTest::aSignalAtTheStartEndsTheProgram()
{
    QFETCH(const bool, isListening);
    for (int round = 0; round < 5; ++round) {
        prepare();
        QVERIFY(mShow->startWithFolder());
        const auto blocksTerm = [&] {
            QFile file(QStringLiteral("/proc/%1/status").arg(processId()));
            const QByteArray status = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
            const QByteArray mask = status.mid(status.indexOf("\nSigBlk:") + 8).trimmed().left(16);
            return (mask.toULongLong(nullptr, 16) & (quint64(1) << (SIGTERM - 1))) != 0;
        };
        QVERIFY(!isListening || waitFor(blocksTerm));
        signal(SIGTERM);
        QVERIFY(mShow->program().waitForExit());
        // Before it has said that it listens, the system ends it.
        QVERIFY(!isListening || mShow->program().exitCode() == 0);
        QVERIFY(mShow->program().exitCode().value_or(0) == 0);
        QCOMPARE(entriesOfRuntimeFolder(), mRuntimeBefore);
        settingsAreKept();
        cleanup();
    }
}

void EndingTest::signalsWhileItEndsChangeNothing()
{
    prepare();
    movie();
    press("ctrl+q");
    while (mShow->program().isRunning()) {
        signal(SIGTERM);
        mShow->program().waitForExit(1ms);
    }
    QCOMPARE(mShow->program().exitCode(), std::optional(0));
    settingsAreKept();
}

void EndingTest::aDisplayWhoseServerGoesEndsTheProgramInEveryState()
{
    QFETCH(const State, enter);
    mDisplay = std::make_unique<OwnXServer>();
    prepare();
    (this->*enter)();
    if (!QTest::currentTestFailed()) {
        mDisplay->kill();
        endsWith(1);
    }
}

void EndingTest::whatCouldNotBeWrittenIsWrittenAtTheEnd_data()
{
    QTest::addColumn<bool>("bySignal");
    QTest::newRow("signal") << true;
    QTest::newRow("the display's server goes") << false;
}

void EndingTest::whatCouldNotBeWrittenIsWrittenAtTheEnd()
{
    QFETCH(const bool, bySignal);
    mDisplay = std::make_unique<OwnXServer>();
    prepare();
    show();
    // A folder that is away stands for a disk that takes nothing.
    const QString away = settingsFolder() + QStringLiteral(".away");
    QVERIFY(QFile::rename(settingsFolder(), away));
    QFile inTheWay(settingsFolder());
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    press("ctrl+1");
    QVERIFY(waitFor([&] { return server().pixel(QPoint(5, 400)) == QColor(Qt::black).rgb(); }));
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(inTheWay.remove());
    QVERIFY(QFile::rename(away, settingsFolder()));
    QCOMPARE(storedSetting(keys::imageFitMode).toString(), keys::fitModeStretch);
    mChanged.insert(keys::imageFitMode, keys::fitModeFit);
    if (bySignal) {
        signal(SIGTERM);
    } else {
        mDisplay->kill();
    }
    endsWith(bySignal ? 0 : 1);
}

QTEST_GUILESS_MAIN(EndingTest)
#include "EndingTest.moc"
