#include "MainThread.h"
#include "SettingsKeys.h"
#include "TestFiles.h"
#include "UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <atomic>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace frameflow;

namespace {

const QString writerProgram = QStringLiteral(DEFAULTS_WRITER);
constexpr int childTime = 60000; // milliseconds

QByteArray contentsOf(const QByteArray& path)
{
    QFile file(QString::fromUtf8(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(not readable)");
}

void turnEventLoop()
{
    bool turned = false;
    postToMainThread([&] { turned = true; });
    QTRY_VERIFY(turned);
}

} // namespace

// What stands in the file when, and what becomes of files that cannot be used.
class UserDefaultsFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void valueIsOnDiskAfterTheNextTurn();
    void valueSurvivesAKillAfterTheNextTurn();
    void valueIsOnDiskWhenTheStoreIsGone();
    void foldersAreMadeAndTheFileIsPrivate();
    void permissionsOfTheFileAreKept();
    void fileBehindALinkIsReplacedAndTheLinkKept();
    void changesOfAnotherProgramAreTakenOverAndTold();
    void changeOfAnotherProgramAtTheSameMomentIsKept();
    void twoProgramsLoseNothing();
    void fileIsWholeAtEveryMoment();
    void nothingIsLeftBesideTheFile();
    void damagedFileIsSetAside_data();
    void damagedFileIsSetAside();
    void keysThatCannotBeWrittenAgainDoNotKeepOthersFromTheFile_data();
    void keysThatCannotBeWrittenAgainDoNotKeepOthersFromTheFile();
    void secondDamagedFileIsKeptToo();
    void fileDamagedLaterIsSetAsideAndWrittenAnew();
    void removedFileIsStartedAnew();
    void folderAtItsPlaceIsLeftAlone();
    void fileWithoutPermissionIsLeftAlone();
    void hugeFileIsLeftAlone();
    void pipeAtItsPlaceIsLeftAlone();
    void fullDiskKeepsTheOldFileAndTheValues();
    void readOnlyFolderKeepsTheValuesForLater();
    void damagedFileInAReadOnlyFolderIsLeftAlone();

private:
    QByteArray bytesPath() const { return mFolder->pathOf("frameflow.conf"); }
    QString path() const { return QString::fromUtf8(bytesPath()); }
    QStringList entries() const
    {
        return QDir(QString::fromUtf8(mFolder->path())).entryList(QDir::Files | QDir::Hidden);
    }

    std::optional<TestFolder> mFolder;
};

void UserDefaultsFileTest::init()
{
    mFolder.emplace();
}

void UserDefaultsFileTest::valueIsOnDiskAfterTheNextTurn()
{
    UserDefaults defaults(path());
    defaults.setValue(keys::sort, QStringLiteral("date"));
    defaults.setValue(keys::sort, QStringLiteral("url"));
    QVERIFY(!QFile::exists(path())); // several changes cost one write
    turnEventLoop();
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nsort=url\n"));
    defaults.removeValue(keys::sort);
    turnEventLoop();
    QVERIFY(!contentsOf(bytesPath()).contains("sort"));
}

void UserDefaultsFileTest::valueSurvivesAKillAfterTheNextTurn()
{
    QProcess writer;
    writer.start(writerProgram, {QStringLiteral("die"), path()});
    QVERIFY(writer.waitForFinished(childTime));
    QCOMPARE(writer.exitStatus(), QProcess::CrashExit);
    const UserDefaults defaults(path());
    QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("date"));
    QCOMPARE(defaults.floatValue(keys::slideInterval), 7.5F);
}

void UserDefaultsFileTest::valueIsOnDiskWhenTheStoreIsGone()
{
    {
        UserDefaults defaults(path());
        defaults.setValue(keys::sort, QStringLiteral("date"));
    }
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nsort=date\n"));
}

void UserDefaultsFileTest::foldersAreMadeAndTheFileIsPrivate()
{
    const QByteArray deep = mFolder->pathOf("a/b/frameflow.conf");
    UserDefaults defaults(QString::fromUtf8(deep));
    defaults.setValue(keys::sort, QStringLiteral("date"));
    QVERIFY(defaults.synchronize());
    struct stat status
    {
    };
    QCOMPARE(stat(deep.constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777, mode_t(0600));
}

void UserDefaultsFileTest::permissionsOfTheFileAreKept()
{
    mFolder->addFile("frameflow.conf", "[General]\nsort=date\n");
    QCOMPARE(chmod(bytesPath().constData(), 0640), 0);
    {
        UserDefaults defaults(path());
        defaults.setValue(keys::sort, QStringLiteral("url"));
    }
    struct stat status
    {
    };
    QCOMPARE(stat(bytesPath().constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777, mode_t(0640));
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nsort=url\n"));
}

void UserDefaultsFileTest::fileBehindALinkIsReplacedAndTheLinkKept()
{
    const QByteArray target = mFolder->addFile("elsewhere/target.conf", "[General]\nsort=date\n");
    mFolder->addLink("frameflow.conf", "elsewhere/target.conf");
    {
        UserDefaults defaults(path());
        defaults.setValue(keys::sort, QStringLiteral("url"));
    }
    QCOMPARE(QFile::symLinkTarget(path()), QString::fromUtf8(target));
    QCOMPARE(contentsOf(target), QByteArray("[General]\nsort=url\n"));
}

void UserDefaultsFileTest::changesOfAnotherProgramAreTakenOverAndTold()
{
    UserDefaults defaults(path());
    defaults.registerDefaults({{keys::slideInterval, 5}});
    defaults.setValue(keys::addInterval, 3);
    defaults.setValue(keys::autoStart, true);
    QStringList told;
    const auto note = [&](const QString& key) { told.append(key); };
    const auto sort = defaults.observe(keys::sort, note);
    const auto interval = defaults.observe(keys::slideInterval, note);
    const auto add = defaults.observe(keys::addInterval, note);
    const auto start = defaults.observe(keys::autoStart, note);
    turnEventLoop();
    QProcess writer;
    writer.start(writerProgram, {QStringLiteral("die"), path()});
    QVERIFY(writer.waitForFinished(childTime));
    QVERIFY(defaults.synchronize());
    told.sort();
    QCOMPARE(told, (QStringList{keys::slideInterval, keys::sort}));
    QCOMPARE(defaults.floatValue(keys::slideInterval), 7.5F);
    QCOMPARE(defaults.integerValue(keys::addInterval), qint64(3));
}

// File times may be as coarse as two seconds: size and time do not tell whether a file has changed.
void UserDefaultsFileTest::changeOfAnotherProgramAtTheSameMomentIsKept()
{
    UserDefaults defaults(path());
    defaults.setValue(keys::sort, QStringLiteral("name"));
    defaults.setValue(keys::slideInterval, 5.5);
    QVERIFY(defaults.synchronize());
    struct stat before
    {
    };
    QCOMPARE(stat(bytesPath().constData(), &before), 0);
    QProcess writer;
    writer.start(writerProgram, {QStringLiteral("die"), path()});
    QVERIFY(writer.waitForFinished(childTime));
    const timespec times[2] = {before.st_atim, before.st_mtim};
    QCOMPARE(utimensat(AT_FDCWD, bytesPath().constData(), times, 0), 0);
    QCOMPARE(QFileInfo(path()).size(), qint64(before.st_size));
    defaults.setValue(keys::sort, QStringLiteral("url"));
    QVERIFY(defaults.synchronize());
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nslideInterval=7.5\nsort=url\n"));
}

void UserDefaultsFileTest::twoProgramsLoseNothing()
{
    const QString rounds = QStringLiteral("300");
    QProcess first;
    QProcess second;
    first.start(writerProgram, {QStringLiteral("race"), path(), QStringLiteral("a"), rounds});
    second.start(writerProgram, {QStringLiteral("race"), path(), QStringLiteral("b"), rounds});
    QVERIFY(first.waitForFinished(childTime));
    QVERIFY(second.waitForFinished(childTime));
    QVERIFY2(first.exitStatus() == QProcess::NormalExit && first.exitCode() == 0, first.readAllStandardError());
    QVERIFY2(second.exitStatus() == QProcess::NormalExit && second.exitCode() == 0, second.readAllStandardError());
    const UserDefaults defaults(path());
    for (int number = 0; number < 5; ++number) {
        const qint64 last = 10000 + 295 + number;
        QCOMPARE(defaults.integerValue(QStringLiteral("a%1").arg(number)), last);
        QCOMPARE(defaults.integerValue(QStringLiteral("b%1").arg(number)), last);
    }
}

void UserDefaultsFileTest::fileIsWholeAtEveryMoment()
{
    const auto textOf
        = [](const QByteArray& fill) { return "[General]\nfill=" + fill + "\nlast=" + fill.right(1) + "\n"; };
    const auto fillOf
        = [](int round) { return QByteArray(20000 + round % 7 * 1000, static_cast<char>('a' + round % 7)); };
    UserDefaults defaults(path());
    const auto write = [&](int round) {
        const QByteArray fill = fillOf(round);
        defaults.setValue(QStringLiteral("fill"), QString::fromLatin1(fill));
        defaults.setValue(QStringLiteral("last"), QString::fromLatin1(fill.right(1)));
        return defaults.synchronize();
    };
    QVERIFY(write(0));
    std::atomic<bool> ended = false;
    std::atomic<int> looks = 0;
    std::atomic<int> broken = 0;
    std::thread reader([&] {
        while (!ended) {
            const QByteArray text = contentsOf(bytesPath());
            bool whole = false;
            for (int round = 0; round < 7; ++round) {
                whole = whole || text == textOf(fillOf(round));
            }
            broken += !whole;
            ++looks;
        }
    });
    bool written = true;
    for (int round = 1; round < 200 || (looks < 20 && round < 20000); ++round) {
        written = written && write(round);
    }
    ended = true;
    reader.join();
    QVERIFY(written);
    QVERIFY(looks >= 20);
    QCOMPARE(broken.load(), 0);
}

void UserDefaultsFileTest::nothingIsLeftBesideTheFile()
{
    {
        UserDefaults defaults(path());
        for (int round = 0; round < 10; ++round) {
            defaults.setValue(keys::slideInterval, round);
            QVERIFY(defaults.synchronize());
        }
    }
    QCOMPARE(entries(), QStringList{QStringLiteral("frameflow.conf")});
}

void UserDefaultsFileTest::damagedFileIsSetAside_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("text") << QByteArray("this is no settings file\n");
    QTest::newRow("truncated") << QByteArray("[General]\nslideInterval=5\ntransi");
    QTest::newRow("truncated group") << QByteArray("[General]\nslideInterval=5\n[Oth");
    QTest::newRow("zeros") << QByteArray(4096, '\0');
    QByteArray binary;
    quint32 state = 1;
    for (int i = 0; i < 5000; ++i) {
        state = state * 1664525 + 1013904223;
        binary += static_cast<char>(state >> 24);
    }
    QTest::newRow("binary") << binary;
    QTest::newRow("picture") << QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\1\0\0\0\1\b\0\0\0\0", 30);
    QTest::newRow("property list") << QByteArray("<plist><dict/></plist>\n");
}

void UserDefaultsFileTest::damagedFileIsSetAside()
{
    QFETCH(QByteArray, contents);
    mFolder->addFile("frameflow.conf", contents);
    {
        UserDefaults defaults(path());
        defaults.registerDefaults({{keys::sort, QStringLiteral("name")}});
        QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("name"));
        defaults.setValue(keys::slideInterval, 8);
        QVERIFY(defaults.synchronize());
    }
    QCOMPARE(contentsOf(mFolder->pathOf("frameflow.conf.damaged-1")), contents);
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nslideInterval=8\n"));
}

void UserDefaultsFileTest::keysThatCannotBeWrittenAgainDoNotKeepOthersFromTheFile_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("slash before") << QByteArray("/a=1");
    QTest::newRow("backslash before") << QByteArray("\\a=1");
    QTest::newRow("slash behind") << QByteArray("a/=1");
    QTest::newRow("two slashes") << QByteArray("a//b=1");
}

void UserDefaultsFileTest::keysThatCannotBeWrittenAgainDoNotKeepOthersFromTheFile()
{
    QFETCH(QByteArray, line);
    mFolder->addFile("frameflow.conf", "[General]\nsort=name\n" + line + '\n');
    UserDefaults defaults(path());
    defaults.setValue(keys::slideInterval, 8);
    QVERIFY(defaults.synchronize());
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nslideInterval=8\nsort=name\n"));
}

void UserDefaultsFileTest::secondDamagedFileIsKeptToo()
{
    for (const char* contents : {"first", "second"}) {
        mFolder->addFile("frameflow.conf", contents);
        const UserDefaults defaults(path());
    }
    QCOMPARE(contentsOf(mFolder->pathOf("frameflow.conf.damaged-1")), QByteArray("first"));
    QCOMPARE(contentsOf(mFolder->pathOf("frameflow.conf.damaged-2")), QByteArray("second"));
}

void UserDefaultsFileTest::fileDamagedLaterIsSetAsideAndWrittenAnew()
{
    UserDefaults defaults(path());
    defaults.setValue(keys::sort, QStringLiteral("date"));
    QVERIFY(defaults.synchronize());
    mFolder->addFile("frameflow.conf", "garbage");
    defaults.setValue(keys::slideInterval, 8);
    QVERIFY(defaults.synchronize());
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nslideInterval=8\nsort=date\n"));
    QCOMPARE(contentsOf(mFolder->pathOf("frameflow.conf.damaged-1")), QByteArray("garbage"));
    mFolder->addFile("frameflow.conf", "more garbage");
    QVERIFY(defaults.synchronize());
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nslideInterval=8\nsort=date\n"));
}

void UserDefaultsFileTest::removedFileIsStartedAnew()
{
    UserDefaults defaults(path());
    defaults.setValue(keys::sort, QStringLiteral("date"));
    QVERIFY(defaults.synchronize());
    QVERIFY(QFile::remove(path()));
    defaults.setValue(keys::slideInterval, 8);
    QVERIFY(defaults.synchronize());
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nslideInterval=8\n"));
}

void UserDefaultsFileTest::folderAtItsPlaceIsLeftAlone()
{
    mFolder->addFile("frameflow.conf/inside", "kept");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be used")));
    UserDefaults defaults(path());
    defaults.registerDefaults({{keys::sort, QStringLiteral("name")}});
    int told = 0;
    const auto observation = defaults.observe(keys::sort, [&](const QString&) { ++told; });
    defaults.setValue(keys::sort, QStringLiteral("date"));
    QCOMPARE(told, 1);
    QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("date"));
    turnEventLoop();
    QVERIFY(!defaults.synchronize());
    QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("date"));
    defaults.removeValue(keys::sort);
    QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("name"));
    QCOMPARE(contentsOf(mFolder->pathOf("frameflow.conf/inside")), QByteArray("kept"));
}

void UserDefaultsFileTest::fileWithoutPermissionIsLeftAlone()
{
    mFolder->addFile("frameflow.conf", "[General]\nsort=name\n");
    QCOMPARE(chmod(bytesPath().constData(), 0), 0);
    QProcess reader;
    if (geteuid() == 0) {
        // Root may read everything, and the build may lie where nobody else may look: the program goes along.
        QCOMPARE(chmod(mFolder->path().constData(), 0777), 0);
        const QString program = QString::fromUtf8(mFolder->pathOf("writer"));
        QVERIFY(QFile::copy(writerProgram, program));
        QCOMPARE(chmod(mFolder->pathOf("writer").constData(), 0755), 0);
        reader.start(QStringLiteral("setpriv"),
            {QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups"),
                program, QStringLiteral("read-unreadable"), path()});
    } else {
        reader.start(writerProgram, {QStringLiteral("read-unreadable"), path()});
    }
    QVERIFY(reader.waitForFinished(childTime));
    QVERIFY2(reader.exitStatus() == QProcess::NormalExit && reader.exitCode() == 0, reader.readAllStandardError());
    QCOMPARE(chmod(bytesPath().constData(), 0600), 0);
    QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nsort=name\n"));
}

void UserDefaultsFileTest::hugeFileIsLeftAlone()
{
    mFolder->addFile("frameflow.conf", "[General]\nsort=name\n");
    constexpr off_t size = off_t(1) << 40;
    QCOMPARE(truncate(bytesPath().constData(), size), 0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be used")));
    UserDefaults defaults(path());
    defaults.setValue(keys::sort, QStringLiteral("date"));
    QVERIFY(!defaults.synchronize());
    QCOMPARE(QFileInfo(path()).size(), qint64(size));
}

void UserDefaultsFileTest::pipeAtItsPlaceIsLeftAlone()
{
    QCOMPARE(mkfifo(bytesPath().constData(), 0600), 0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be used")));
    UserDefaults defaults(path());
    defaults.setValue(keys::sort, QStringLiteral("date"));
    QVERIFY(!defaults.synchronize());
    QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("date"));
}

void UserDefaultsFileTest::fullDiskKeepsTheOldFileAndTheValues()
{
    mFolder->addFile("frameflow.conf", "[General]\nsort=name\n");
    for (const auto& limit : {QStringLiteral("0"), QStringLiteral("10"), QStringLiteral("50000")}) {
        QProcess writer;
        writer.start(writerProgram, {QStringLiteral("fill-disk"), path(), limit});
        QVERIFY(writer.waitForFinished(childTime));
        QVERIFY2(writer.exitStatus() == QProcess::NormalExit && writer.exitCode() == 0, writer.readAllStandardError());
        QCOMPARE(contentsOf(bytesPath()), QByteArray("[General]\nsort=name\n"));
        QCOMPARE(entries(), QStringList{QStringLiteral("frameflow.conf")});
    }
}

void UserDefaultsFileTest::readOnlyFolderKeepsTheValuesForLater()
{
    // A folder that vanishes stands for one that is closed: root may write into every folder.
    const QByteArray folder = mFolder->addFolder("settings");
    const QByteArray file = folder + "/frameflow.conf";
    UserDefaults defaults(QString::fromUtf8(file));
    QCOMPARE(rmdir(folder.constData()), 0);
    mFolder->addFile("settings", "in the way");
    defaults.setValue(keys::sort, QStringLiteral("date"));
    QVERIFY(!defaults.synchronize());
    QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("date"));
    QVERIFY(QFile::remove(QString::fromUtf8(folder)));
    defaults.setValue(keys::slideInterval, 8);
    QVERIFY(defaults.synchronize());
    QCOMPARE(contentsOf(file), QByteArray("[General]\nslideInterval=8\nsort=date\n"));
}

void UserDefaultsFileTest::damagedFileInAReadOnlyFolderIsLeftAlone()
{
    mFolder->addFile("frameflow.conf", "garbage");
    QProcess reader;
    if (geteuid() == 0) {
        QCOMPARE(chmod(mFolder->path().constData(), 0755), 0);
        const QString program = QString::fromUtf8(mFolder->pathOf("writer"));
        QVERIFY(QFile::copy(writerProgram, program));
        QCOMPARE(chmod(mFolder->pathOf("writer").constData(), 0755), 0);
        QCOMPARE(chmod(bytesPath().constData(), 0644), 0);
        reader.start(QStringLiteral("setpriv"),
            {QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups"),
                program, QStringLiteral("read-unreadable"), path()});
    } else {
        QCOMPARE(chmod(mFolder->path().constData(), 0555), 0);
        reader.start(writerProgram, {QStringLiteral("read-unreadable"), path()});
    }
    QVERIFY(reader.waitForFinished(childTime));
    QCOMPARE(chmod(mFolder->path().constData(), 0755), 0);
    QVERIFY2(reader.exitStatus() == QProcess::NormalExit && reader.exitCode() == 0, reader.readAllStandardError());
    QCOMPARE(contentsOf(bytesPath()), QByteArray("garbage"));
}

QTEST_GUILESS_MAIN(UserDefaultsFileTest)
#include "UserDefaultsFileTest.moc"
