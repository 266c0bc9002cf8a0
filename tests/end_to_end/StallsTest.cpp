#include "Bookmark.h"
#include "MovieFiles.h"
#include "OwnMounts.h"
#include "PictureFiles.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"
#include "StallingFolder.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <csignal>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);
const QColor blue(30, 30, 200);

} // namespace

// A file system that does not answer any more, under everything that the program may have on it. The windows answer.
class StallsTest : public QObject
{
    Q_OBJECT

public:
    explicit StallsTest(StallingFolder::Kind kind) : mKind(kind) { }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void aFolderThatStallsWhileItIsShown_data();
    void aFolderThatStallsWhileItIsShown();
    void aHotFolderThatIsLookedAtWhileItStalls();
    void aFolderThatStallsBeforeItsFirstSlide();
    void closingTheWelcomeOfASilentFolderEndsTheProgram();
    void aFolderThatStallsWhileItIsCollected();
    void anotherFolderIsOpenedWhileOneStalls();
    void aMovieWhoseFileStalls();
    void thumbnailsWhoseFilesStall();
    void recentFoldersThatStall();
    void aRecentFolderIsOpenedWhileItStalls();
    void adsThatStall();
    void preferencesWhileTheAdFolderStalls();
    void aTrashThatStalls_data();
    void aTrashThatStalls();
    void theOpenPanelWhereItWasLeft();
    void theProgramEndsWhileAFolderStalls_data();
    void theProgramEndsWhileAFolderStalls();

private:
    // The welcome window, with the keyboard in its list: a folder that does not answer, and the usual one.
    bool welcomeWithASilentFolder()
    {
        mShow->set(keys::recentFolderBookmarks,
            QVariantList{
                bookmarkForFolder(FileUrl::fromPath(mVolume->path())), bookmarkForFolder(mShow->folder.url())});
        mVolume->stall();
        if (!mShow->start({}) || !isWelcome()) {
            return false;
        }
        press("Tab"); // to the list
        return true;
    }
    bool openStalling()
    {
        return mShow->start({mVolume->path()}) && mShow->showWindow() && mShow->waitForColour(red)
            && mShow->waitUntilAtRest();
    }
    // Another program that hands a folder over.
    bool handOver(const QByteArray& folder)
    {
        Program second(ShowDriver::builtProgram());
        return second.start({QString::fromUtf8(folder)}) && second.waitForExit() && second.exitCode() == 0;
    }
    // Whether the show's window does what it is told, again and again for a while, each time soon.
    bool answersFor(std::chrono::milliseconds span);
    bool comesToFront(const QString& title) const
    {
        return waitFor(
            [&] {
                const auto window = server().windowWithTitle(mShow->program().processId(), title);
                return window && server().isActive(*window);
            },
            soon + 3s);
    }
    bool isWelcome() const { return comesToFront(QStringLiteral("Frameflow")); }
    const XServer& server() const { return mShow->server(); }
    void press(const char* key) const { mShow->press(QString::fromLatin1(key)); }
    // Without a volume only those who open a file wait.
    bool waitsForAnswers() const
    {
        return waitFor([&] { return mVolume->isWaitedFor() || mKind == StallingFolder::Kind::Leases; });
    }

    // A window that needs longer has frozen.
    static constexpr std::chrono::milliseconds soon = 2s;

    const StallingFolder::Kind mKind;
    std::unique_ptr<ShowDriver> mShow;
    std::unique_ptr<StallingFolder> mVolume;
};

void StallsTest::initTestCase()
{
    if (mKind == StallingFolder::Kind::Leases) {
        qInfo("No volume can be mounted here: only files that are opened do not answer.");
    }
}

void StallsTest::init()
{
    mShow = std::make_unique<ShowDriver>();
    mVolume = std::make_unique<StallingFolder>(mKind);
    mShow->addColourTo(mVolume->files(), "1.png", red);
    mShow->addColourTo(mVolume->files(), "2.png", green);
    mShow->addColourTo(mVolume->files(), "3.png", red);
    mShow->addColourTo(mVolume->files(), "4.png", blue);
    mShow->addColour("1.png", blue);
    mShow->addColour("2.png", green);
}

void StallsTest::cleanup()
{
    mVolume->go();
    mShow.reset();
    mVolume.reset();
}

bool StallsTest::answersFor(std::chrono::milliseconds span)
{
    const auto windows = server().windowsOf(mShow->program().processId());
    if (windows.isEmpty()) {
        return false;
    }
    const WindowId window = windows.first();
    QElapsedTimer time;
    time.start();
    do {
        for (const bool isFull : {false, true}) {
            press(isFull ? "F11" : "ctrl+shift+w");
            if (!waitFor([&] { return server().isFullScreen(window) == isFull; }, soon)) {
                qWarning("frozen %lld ms after the first look", time.elapsed());
                return false;
            }
        }
    } while (time.elapsed() < span.count());
    return true;
}

void StallsTest::aFolderThatStallsWhileItIsShown_data()
{
    QTest::addColumn<int>("calls");
    QTest::newRow("everything") << int(FileCall::All);
    QTest::newRow("attributes") << int(FileCall::Look);
    QTest::newRow("opening") << int(FileCall::Open);
    QTest::newRow("reading") << int(FileCall::Read);
    QTest::newRow("listing") << int(FileCall::List);
}

void StallsTest::aFolderThatStallsWhileItIsShown()
{
    QFETCH(const int, calls);
    QVERIFY(openStalling());
    mVolume->stall(calls);
    QVERIFY(answersFor(1s));
    press("Right"); // this one has been read ahead, the next ones not
    press("Right");
    press("Right");
    QVERIFY(answersFor(1s));
    mVolume->go();
    press("Home");
    QVERIFY(mShow->waitForColour(red));
    press("Right");
    QVERIFY(mShow->waitForColour(green));
}

void StallsTest::aHotFolderThatIsLookedAtWhileItStalls()
{
    QVERIFY(openStalling());
    mVolume->stall();
    QVERIFY(waitsForAnswers()); // of itself it looks every few seconds
    QVERIFY(answersFor(2s));
    mVolume->go();
    mShow->set(keys::showNewItemsASAP, true);
    mShow->addColourTo(mVolume->files(), "5.png", green);
    QVERIFY(mShow->waitForColour(green)); // it is watched again
}

void StallsTest::aFolderThatStallsBeforeItsFirstSlide()
{
    mVolume->stall();
    QVERIFY(mShow->start({mVolume->path()}));
    QVERIFY(waitsForAnswers());
    // Nobody has to do without a window.
    QVERIFY(isWelcome() || mKind == StallingFolder::Kind::Leases);
    mVolume->go();
    QVERIFY(mShow->waitForColour(red));
    QCOMPARE(server().windowsOf(mShow->program().processId()).size(), 1);
}

void StallsTest::closingTheWelcomeOfASilentFolderEndsTheProgram()
{
    mVolume->stall();
    QVERIFY(mShow->start({mVolume->path()}));
    if (mKind == StallingFolder::Kind::Leases) {
        return; // it is not silent
    }
    QVERIFY(isWelcome());
    server().close(*mShow->showWindow());
    QVERIFY(mShow->program().waitForExit(soon + 3s));
    QCOMPARE(mShow->program().exitCode(), std::optional(0));
}

void StallsTest::aFolderThatStallsWhileItIsCollected()
{
    const TestFolder answering;
    mShow->addColourTo(answering, "0.png", blue);
    mVolume->stall(FileCall::List);
    QVERIFY(mShow->start({answering.path(), mVolume->path()}));
    QVERIFY(mShow->waitForColour(blue));
    QVERIFY(waitsForAnswers());
    QVERIFY(answersFor(1s));
    mVolume->go();
    QVERIFY(mShow->waitUntilAtRest());
    press("Right");
    QVERIFY(mShow->waitForColour(red));
}

void StallsTest::anotherFolderIsOpenedWhileOneStalls()
{
    QVERIFY(openStalling());
    mVolume->stall();
    press("Right");
    press("Right");
    press("Escape"); // the end of the show
    QVERIFY(isWelcome());
    QVERIFY(handOver(mShow->folder.path()));
    QVERIFY(mShow->waitForColour(blue));
    press("Right");
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(answersFor(500ms));
}

void StallsTest::aMovieWhoseFileStalls()
{
    const MovieFiles movies;
    QVERIFY(movies.make("2.mkv",
        "-f lavfi -i color=0x1ea01e:s=320x200:r=25,format=yuv420p,noise=alls=4:allf=t "
        "-t 20 -c:v ffv1"));
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    mVolume->files().addFile("2.mkv", movies.contentsOf("2.mkv"));
    QVERIFY(QFile::remove(QString::fromUtf8(mVolume->files().pathOf("2.png"))));
    QVERIFY(openStalling());
    press("Right");
    QVERIFY(waitFor([&] { return isNear(server().pixel(server().bounds().center()), green.rgb(), 14); }));
    mVolume->stall();
    QVERIFY(waitsForAnswers());
    QVERIFY(answersFor(1s));
    press("Left"); // this one is remembered
    QVERIFY(mShow->waitForColour(red));
    QVERIFY(answersFor(500ms));
}

void StallsTest::thumbnailsWhoseFilesStall()
{
    QVERIFY(openStalling());
    mVolume->stall();
    press("ctrl+t");
    QVERIFY(comesToFront(QStringLiteral("Thumbnails — Frameflow")));
    QVERIFY(waitsForAnswers());
    press("End");
    press("ctrl+w");
    QVERIFY(comesToFront(QStringLiteral("1.png — Frameflow")));
    QVERIFY(answersFor(500ms));
}

void StallsTest::recentFoldersThatStall()
{
    QVERIFY(welcomeWithASilentFolder());
    press("Down");
    press("Return");
    QVERIFY(mShow->waitForColour(blue));
    QVERIFY(answersFor(500ms));
    press("Escape");
    QVERIFY(isWelcome());
    QCOMPARE(storedSetting(keys::recentFolderBookmarks).toList().size(), 2);
}

void StallsTest::aRecentFolderIsOpenedWhileItStalls()
{
    QVERIFY(welcomeWithASilentFolder());
    press("Return");
    QVERIFY(waitsForAnswers());
    QVERIFY(mShow->waitUntilAtRest());
    press("ctrl+comma");
    QVERIFY(comesToFront(QStringLiteral("Preferences — Frameflow")));
    if (mKind == StallingFolder::Kind::Leases) {
        return; // there is a show already, without a slide
    }
    press("Escape");
    QVERIFY(isWelcome());
    mVolume->go();
    QVERIFY(waitFor([&] { return server().isFullScreen(*mShow->showWindow()); }));
    press("Home");
    QVERIFY(mShow->waitForColour(red));
}

void StallsTest::adsThatStall()
{
    mShow->set(keys::showAdds, true);
    mShow->set(keys::addInterval, 2);
    mShow->set(keys::addFolder, bookmarkForFolder(FileUrl::fromPath(mVolume->path())));
    mVolume->stall();
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->waitForColour(blue));
    QVERIFY(waitsForAnswers());
    for (const QColor& colour : {green, blue, green, blue}) {
        press("Right");
        QVERIFY(mShow->waitForColour(colour));
    }
    QVERIFY(answersFor(500ms));
    mVolume->go();
    QVERIFY(waitFor([&] {
        press("Right");
        return waitFor([&] { return QColor(server().pixel(server().bounds().center())) == red; }, 500ms);
    }));
}

void StallsTest::preferencesWhileTheAdFolderStalls()
{
    mShow->set(keys::addFolder, bookmarkForFolder(FileUrl::fromPath(mVolume->path())));
    mVolume->stall();
    QVERIFY(mShow->startAndRest());
    press("ctrl+comma");
    QVERIFY(comesToFront(QStringLiteral("Preferences — Frameflow")));
    QVERIFY(waitsForAnswers());
    press("Escape");
    QVERIFY(waitFor([&] { return server().isActive(*mShow->showWindow()); }, soon));
    QVERIFY(answersFor(500ms));
}

void StallsTest::aTrashThatStalls_data()
{
    QTest::addColumn<bool>("comesBack");
    QTest::newRow("for a while") << true;
    QTest::newRow("for good") << false;
}

void StallsTest::aTrashThatStalls()
{
    QFETCH(const bool, comesBack);
    QVERIFY(openStalling());
    mVolume->stall();
    press("Delete");
    QVERIFY(waitsForAnswers());
    QVERIFY(answersFor(1s));
    if (mKind == StallingFolder::Kind::Leases) {
        return; // it has gone: nothing was opened
    }
    QVERIFY(mShow->waitForColour(red)); // it has not gone yet
    if (comesBack) {
        mVolume->go();
        QVERIFY(mShow->waitForColour(green));
        QVERIFY(!QFile::exists(QString::fromUtf8(mVolume->files().pathOf("1.png"))));
    } else {
        press("Escape");
        QVERIFY(isWelcome());
        QVERIFY(handOver(mShow->folder.path()));
        QVERIFY(mShow->waitForColour(blue));
        press("Delete"); // another Trash
        QVERIFY(mShow->waitForColour(green));
    }
}

void StallsTest::theOpenPanelWhereItWasLeft()
{
    mShow->set(keys::lastUsedOpenDirectory, FileUrl::fromPath(mVolume->path()).toUrl().toString(QUrl::FullyEncoded));
    QVERIFY(mShow->startAndRest());
    mVolume->stall();
    press("ctrl+o");
    QVERIFY(comesToFront(QStringLiteral("Open — Frameflow")));
    press("Escape");
    QVERIFY(waitFor([&] { return server().isActive(*mShow->showWindow()); }, soon));
    QVERIFY(answersFor(500ms));
}

void StallsTest::theProgramEndsWhileAFolderStalls_data()
{
    QTest::addColumn<bool>("isShown");
    QTest::addColumn<bool>("bySignal");
    QTest::newRow("shown, a signal") << true << true;
    QTest::newRow("shown, the command") << true << false;
    QTest::newRow("before its first slide, a signal") << false << true;
}

void StallsTest::theProgramEndsWhileAFolderStalls()
{
    QFETCH(const bool, isShown);
    QFETCH(const bool, bySignal);
    mShow->program().useOwnSession();
    if (isShown) {
        QVERIFY(openStalling());
        mVolume->stall();
        press("Right");
        press("Right");
    } else {
        mVolume->stall();
        QVERIFY(mShow->start({mVolume->path()}));
    }
    QVERIFY(waitsForAnswers());
    QVERIFY(mKind == StallingFolder::Kind::Volume || mShow->showWindow());
    const qint64 session = mShow->program().processId();
    if (bySignal) {
        ::kill(static_cast<pid_t>(session), SIGTERM);
    } else {
        press("ctrl+q");
    }
    QVERIFY(mShow->program().waitForExit(soon + 3s));
    QCOMPARE(mShow->program().exitCode(), std::optional(0));
    QVERIFY(waitFor([&] { return processesOfSession(session).isEmpty(); }));
}

int main(int argc, char** argv)
{
    const bool hasVolumes = mayMount() && makeOwnMounts() && StallingFolder::canBeVolume();
    const QCoreApplication application(argc, argv);
    StallsTest test(hasVolumes ? StallingFolder::Kind::Volume : StallingFolder::Kind::Leases);
    return QTest::qExec(&test, argc, argv);
}
#include "StallsTest.moc"
