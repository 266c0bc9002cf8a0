#include "MovieFiles.h"
#include "OwnMounts.h"
#include "OwnXServer.h"
#include "PictureFiles.h"
#include "ProbeApplications.h"
#include "SessionBus.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"
#include "UserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>

#include <sys/stat.h>
#include <sys/statvfs.h>

using namespace frameflow;
using namespace frameflow::e2e;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);

} // namespace

// What a program counts on is not there, or goes while it runs: the bus, what draws, what sounds, the Trash, room on
// the disk, the right to write.
class LossesTest : public QObject
{
    Q_OBJECT

public:
    explicit LossesTest(bool hasMounts) : mHasMounts(hasMounts) { }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void theBusGoesDuringAShow();
    void theBusHangsDuringAShow();
    void aServerWithoutOpenGLShowsTransitions();
    void soundWithoutADevicePlays();
    void aSoundDeviceThatHangsHoldsUpNobody();
    void theTrashIsAwayForAWhile();
    void aFullDiskLosesNoSettings();
    void aHomeThatMayNotBeWrittenIsLeftAlone_data();
    void aHomeThatMayNotBeWrittenIsLeftAlone();
    void settingsThatAnotherProgramChangesAreTakenOver();
    void settingsThatAnotherProgramRemovesAreWrittenAnew();

private:
    static QString home() { return qEnvironmentVariable("HOME"); }
    static QByteArray settingsFolder() { return qgetenv("XDG_CONFIG_HOME") + "/quillory"; }
    static QString settingsFile() { return QFile::decodeName(settingsFolder() + "/frameflow.conf"); }
    static QByteArray contentsOf(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static QStringList settingsFiles()
    {
        return QDir(QFile::decodeName(settingsFolder())).entryList(QDir::Files | QDir::Hidden);
    }
    static bool isStored(const QString& key, const QString& value)
    {
        return waitFor([&] { return storedSetting(key).toString() == value; });
    }
    // A show whose first slide is small and red: what fits it otherwise is seen at once.
    bool open() { return mShow->startAndRest() && waitForMiddle(red); }
    bool stretch() const
    {
        press("ctrl+4");
        return mShow->waitForColour(red);
    }
    bool shrink() const
    {
        press("ctrl+1");
        return waitFor([&] { return server().pixel(QPoint(5, 400)) == QColor(Qt::black).rgb(); });
    }
    bool waitForMiddle(const QColor& colour) const
    {
        return waitFor([&] { return isNear(server().pixel(server().bounds().center()), colour.rgb(), 14); });
    }
    bool quits()
    {
        press("ctrl+q");
        return mShow->program().waitForExit() && mShow->program().exitCode() == 0;
    }
    void addMovie(const QByteArray& name, const QByteArray& seconds) const;
    const XServer& server() const { return mShow->server(); }
    void press(const char* key) const { mShow->press(QString::fromLatin1(key)); }

    const bool mHasMounts;
    std::unique_ptr<MovieFiles> mMovies;
    std::unique_ptr<OwnXServer> mDisplay;
    std::unique_ptr<ShowDriver> mShow;
};

void LossesTest::initTestCase()
{
    mMovies = std::make_unique<MovieFiles>();
    if (!mHasMounts) {
        qInfo("Nothing can be mounted here: a folder that is away stands for disks that take nothing.");
    }
}

void LossesTest::init()
{
    mShow = std::make_unique<ShowDriver>();
    mShow->addColour("1.png", red, QSize(400, 300));
    mShow->addColour("2.png", green);
}

void LossesTest::cleanup()
{
    mShow.reset();
    mDisplay.reset();
}

void LossesTest::addMovie(const QByteArray& name, const QByteArray& seconds) const
{
    QVERIFY(mMovies->make(name,
        "-f lavfi -i color=0x1ea01e:s=640x400:r=25,"
        "format=yuv420p -f lavfi -i sine=440 -t "
            + seconds + " -c:v ffv1 -c:a pcm_s16le"));
    mShow->folder.addFile(name, mMovies->contentsOf(name));
}

// ---- The session

void LossesTest::theBusGoesDuringAShow()
{
    ProbeApplications applications; // no others, which might take the keyboard
    applications.add("editor", "Graphics;RasterGraphics;", {"image/png"});
    applications.setDefault("image/png", "editor");
    SessionBus bus;
    mShow->setVariable(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus.address());
    QVERIFY(open());
    bus.stop();
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(mShow->program().isRunning());
    press("Delete"); // the desktop's libraries may want the bus
    QVERIFY(mShow->waitForColour(green));
    press("ctrl+o");
    const auto windows = [this] { return server().windowsOf(mShow->program().processId()); };
    QVERIFY(waitFor([&] { return windows().size() == 2 && server().isActive(windows().last()); }));
    press("Escape");
    QVERIFY(waitFor([&] { return windows().size() == 1 && server().isActive(windows().last()); }));
    press("ctrl+e");
    QVERIFY(waitFor([&] { return applications.openedBy("editor").size() == 1; }));
    QVERIFY(quits());
}

void LossesTest::theBusHangsDuringAShow()
{
    SessionBus bus;
    mShow->setVariable(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus.address());
    QVERIFY(open());
    bus.suspend();
    press("ctrl+4");
    QVERIFY(mShow->waitForColour(red));
    press("Escape"); // the display may sleep again, which nobody hears
    QVERIFY(waitFor([&] {
        const auto windows = server().windowsOf(mShow->program().processId());
        return windows.size() == 1 && !server().isFullScreen(windows.first());
    }));
    QVERIFY(quits());
    bus.resume();
}

// ---- Drawing and sounding

void LossesTest::aServerWithoutOpenGLShowsTransitions()
{
    mShow.reset();
    mDisplay = std::make_unique<OwnXServer>(QStringList{QStringLiteral("-extension"), QStringLiteral("GLX")});
    init();
    mShow->set(keys::transition, QStringLiteral("Cross Fade"));
    QVERIFY(open());
    press("Right");
    const auto isMixed = [&] {
        const QColor now(server().pixel(server().bounds().center()));
        return now != red && now != green && now.red() > green.red() && now.red() < red.red();
    };
    QVERIFY(waitFor(isMixed));
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(quits());
}

void LossesTest::soundWithoutADevicePlays()
{
    addMovie("1a.mkv", "2");
    mShow->set(keys::autoStart, true);
    mShow->set(keys::slideInterval, 2);
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    mShow->set(keys::endMode, keys::endModeRewind);
    mShow->setVariable(QStringLiteral("ALSA_CONFIG_PATH"), QStringLiteral("/dev/null"));
    mShow->setVariable(QStringLiteral("PULSE_SERVER"), QStringLiteral("unix:/nowhere"));
    QVERIFY(QFile::remove(QString::fromUtf8(mShow->folder.pathOf("2.png"))));
    QVERIFY(mShow->startWithFolder());
    QVERIFY(waitForMiddle(red));
    QVERIFY(waitForMiddle(green)); // the movie
    QVERIFY(waitForMiddle(red)); // it has come to its end
    QVERIFY(quits());
}

void LossesTest::aSoundDeviceThatHangsHoldsUpNobody()
{
    addMovie("1a.mkv", "30");
    // Whoever opens it waits for somebody at the pipe's other end.
    const TestFolder device;
    QCOMPARE(mkfifo(device.pathOf("pipe").constData(), 0600), 0);
    device.addFile("asound.conf",
        "pcm.!default { type file slave.pcm { type null } file \"" + device.pathOf("pipe") + "\" format raw }\n");
    mShow->setVariable(QStringLiteral("ALSA_CONFIG_PATH"), QString::fromUtf8(device.pathOf("asound.conf")));
    mShow->setVariable(QStringLiteral("PULSE_SERVER"), QStringLiteral("unix:/nowhere"));
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    QVERIFY(open());
    press("Right");
    QVERIFY(waitForMiddle(green)); // its first frame, at least
    const auto window = mShow->showWindow();
    QVERIFY(window.has_value());
    press("ctrl+shift+w");
    QVERIFY(waitFor([&] { return !server().isFullScreen(*window); }));
    press("F11");
    QVERIFY(waitFor([&] { return server().isFullScreen(*window); }));
    press("Left");
    QVERIFY(mShow->waitForColour(red));
    press("Right");
    QVERIFY(waitForMiddle(green));
    QVERIFY(quits());
}

// ---- The Trash

void LossesTest::theTrashIsAwayForAWhile()
{
    const QString place = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Trash");
    QDir(place).removeRecursively();
    QFile inTheWay(place);
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    QVERIFY(open());
    press("Delete");
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(waitForMiddle(red));
    const QString file = QString::fromUtf8(mShow->folder.pathOf("1.png"));
    QVERIFY(QFile::exists(file));
    QVERIFY(inTheWay.remove());
    press("Delete");
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(!QFile::exists(file));
    QVERIFY(QFile::exists(place + QStringLiteral("/files/1.png")));
}

// ---- Settings

namespace {

// The settings are on a disk of their own without room, or, where nothing can be mounted, in a folder that is away.
class FullDisk
{
public:
    FullDisk(const QByteArray& folder, bool hasMounts) : mFolder(folder), mHasMounts(hasMounts)
    {
        QDir().mkpath(QFile::decodeName(mFolder));
        if (mHasMounts && mount("frameflow", mFolder.constData(), "tmpfs", 0, "size=256k") != 0) {
            qFatal("no disk");
        }
    }
    ~FullDisk()
    {
        empty();
        if (mHasMounts) {
            umount2(mFolder.constData(), MNT_DETACH);
        }
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

    // Leaves room for a name, but for no byte in the file.
    void fill()
    {
        if (!mHasMounts) {
            std::rename(mFolder.constData(), away().constData());
            mIsFull = QFile(QFile::decodeName(mFolder)).open(QIODevice::WriteOnly);
            return;
        }
        QFile filler(fillerPath());
        filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
        while (filler.write(QByteArray(1024, 'x')) == 1024) { }
        mIsFull = true;
    }
    void empty()
    {
        if (mIsFull && !mHasMounts) {
            QFile::remove(QFile::decodeName(mFolder));
            std::rename(away().constData(), mFolder.constData());
        } else if (mIsFull) {
            QFile::remove(fillerPath());
        }
        mIsFull = false;
    }
    // Of the settings as they are on the disk now.
    QByteArray contents() const
    {
        QFile file(QFile::decodeName((mIsFull && !mHasMounts ? away() : mFolder) + "/frameflow.conf"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    QByteArray away() const { return mFolder + ".away"; }
    QString fillerPath() const { return QFile::decodeName(mFolder + "/filler"); }

    const QByteArray mFolder;
    const bool mHasMounts;
    bool mIsFull = false;
};

} // namespace

void LossesTest::aFullDiskLosesNoSettings()
{
    QFile::remove(settingsFile());
    FullDisk disk(settingsFolder(), mHasMounts);
    mShow->set(keys::slideInterval, 7);
    QVERIFY(open());
    const QByteArray before = disk.contents();
    QVERIFY(before.contains("slideInterval=7"));
    disk.fill();
    QVERIFY(stretch());
    press("3"); // another setting
    press("0");
    QVERIFY(mShow->waitUntilAtRest());
    QCOMPARE(disk.contents(), before);
    QVERIFY(shrink());
    QVERIFY(stretch()); // what could not be written holds all the same
    disk.empty();
    press("ctrl+shift+n"); // the next change takes the others along
    QVERIFY(isStored(keys::showFileName, QStringLiteral("true")));
    QCOMPARE(storedSetting(keys::imageFitMode).toString(), keys::fitModeStretch);
    QCOMPARE(storedSetting(keys::slideInterval).toInt(), 3);
    QCOMPARE(settingsFiles(), QStringList{QStringLiteral("frameflow.conf")});
    QVERIFY(quits());
}

void LossesTest::aHomeThatMayNotBeWrittenIsLeftAlone_data()
{
    QTest::addColumn<bool>("fromTheStart");
    QTest::newRow("from the start") << true;
    QTest::newRow("during the show") << false;
}

void LossesTest::aHomeThatMayNotBeWrittenIsLeftAlone()
{
    QFETCH(const bool, fromTheStart);
    std::optional<FullDisk> folder; // where nothing can be mounted
    const QByteArray path = QFile::encodeName(home());
    const auto protect = [&] {
        if (!mHasMounts) {
            folder.emplace(settingsFolder(), false);
            folder->fill();
            return true;
        }
        return mount(path.constData(), path.constData(), nullptr, MS_BIND | MS_REC, nullptr) == 0
            && mount("none", path.constData(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    };
    mShow->set(keys::slideInterval, 7);
    mShow->writeSettingsNow();
    QByteArray before = contentsOf(settingsFile());
    QVERIFY(!fromTheStart || protect());
    QVERIFY(mShow->startAsItIs({mShow->folder.path()}));
    QVERIFY(waitForMiddle(red) && mShow->waitUntilAtRest());
    if (!fromTheStart) {
        before = contentsOf(settingsFile());
        QVERIFY(protect());
    }
    QVERIFY(stretch());
    if (mHasMounts) {
        press("Delete"); // there is no Trash
    }
    press("ctrl+comma");
    QVERIFY(server().waitForWindow(mShow->program().processId(), QStringLiteral("Preferences — Frameflow")));
    press("Escape");
    QVERIFY(mShow->waitUntilAtRest());
    press("Right");
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(quits());
    if (mHasMounts) {
        QCOMPARE(umount2(path.constData(), MNT_DETACH), 0);
    }
    folder.reset();
    QCOMPARE(contentsOf(settingsFile()), before);
    QVERIFY(QFile::exists(QString::fromUtf8(mShow->folder.pathOf("1.png"))));
}

void LossesTest::settingsThatAnotherProgramChangesAreTakenOver()
{
    QVERIFY(open());
    {
        UserDefaults other(UserDefaults::standardFilePath());
        other.setValue(keys::imageFitMode, keys::fitModeStretch);
        other.setValue(keys::addInterval, 17);
    }
    press("3"); // a change of its own: with it the others come
    press("0");
    QVERIFY(isStored(keys::slideInterval, QStringLiteral("3")));
    QCOMPARE(storedSetting(keys::addInterval).toInt(), 17);
    QCOMPARE(storedSetting(keys::imageFitMode).toString(), keys::fitModeStretch);
    press("Right");
    QVERIFY(mShow->waitForColour(green));
    press("Left");
    QVERIFY(mShow->waitForColour(red)); // fitted as the other program says
    QVERIFY(quits());
    QCOMPARE(storedSetting(keys::addInterval).toInt(), 17);
}

void LossesTest::settingsThatAnotherProgramRemovesAreWrittenAnew()
{
    QVERIFY(open());
    QVERIFY(QFile::remove(settingsFile()));
    QVERIFY(stretch());
    QVERIFY(isStored(keys::imageFitMode, keys::fitModeStretch));
    QVERIFY(QFile(settingsFile()).open(QIODevice::WriteOnly | QIODevice::Truncate)); // and empties
    QVERIFY(shrink());
    QVERIFY(isStored(keys::imageFitMode, keys::fitModeFit));
    QVERIFY(quits());
}

int main(int argc, char** argv)
{
    const bool hasMounts = mayMount() && makeOwnMounts();
    const QCoreApplication application(argc, argv);
    LossesTest test(hasMounts);
    return QTest::qExec(&test, argc, argv);
}
#include "LossesTest.moc"
