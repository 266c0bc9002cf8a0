#include "NameOwner.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTest>

#undef signals
#include <gio/gdesktopappinfo.h>

using namespace frameflow;
using namespace frameflow::e2e;

// The program as it is installed, in a folder whose name is no simple one.
class InstallTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { mShow = std::make_unique<ShowDriver>(installed(BIN_FOLDER "/frameflow")); }
    void cleanup() { mShow.reset(); }

    void everythingStandsWhereDesktopsLook_data();
    void everythingStandsWhereDesktopsLook();
    void anotherRootIsRespected();
    void theVersionIsThatOfTheProject();
    void theEntriesAreValid_data();
    void theEntriesAreValid();
    void theInstalledProgramShowsPictures_data();
    void theInstalledProgramShowsPictures();
    void theInstalledProgramFindsItsHint();
    void aFileManagerOpensFiles();
    void theWindowHasTheIconAndTheNameOfTheEntry();

private:
    QString installed(const QString& name) const { return mPrefix + QLatin1Char('/') + name; }
    QString installed(const char* name) const { return installed(QString::fromLatin1(name)); }
    static QByteArray run(const QString& program, const QStringList& arguments, const QString& root = {});

    QTemporaryDir mFolder;
    const QString mPrefix = mFolder.filePath(QStringLiteral("a b$c'd"));
    std::unique_ptr<ShowDriver> mShow;
    const QColor mRed{200, 30, 30};
};

namespace {

constexpr const char* desktopEntry = DATA_FOLDER "/applications/com.quillory.Frameflow.desktop";
constexpr const char* busEntry = DATA_FOLDER "/dbus-1/services/com.quillory.Frameflow.service";
constexpr const char* metainfo = DATA_FOLDER "/metainfo/com.quillory.Frameflow.metainfo.xml";
constexpr const char* manualPage = MANUAL_FOLDER "/man1/frameflow.1";

QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// What it says, empty when all is well.
QByteArray InstallTest::run(const QString& program, const QStringList& arguments, const QString& root)
{
    QProcess process;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DESTDIR"), root);
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool hasEnded = process.waitForFinished(60000);
    const QByteArray text = process.readAll();
    return hasEnded && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 ? QByteArray()
                                                                                               : "failed: " + text;
}

void InstallTest::initTestCase()
{
    QCOMPARE(run(QStringLiteral(CMAKE),
                 {QStringLiteral("--install"), QStringLiteral(BUILD_FOLDER), QStringLiteral("--prefix"), mPrefix}),
        QByteArray());
}

void InstallTest::everythingStandsWhereDesktopsLook_data()
{
    QTest::addColumn<QString>("name");
    const QString icons = QStringLiteral(DATA_FOLDER "/icons/hicolor/%1/apps/com.quillory.Frameflow.%2");
    QStringList names{QStringLiteral(BIN_FOLDER "/frameflow"),
        QStringLiteral(LIBEXEC_FOLDER "/frameflow/frameflow-decoder"),
        QStringLiteral(LIBEXEC_FOLDER "/frameflow/frameflow-decoder-extra"),
        QStringLiteral(LIBEXEC_FOLDER "/frameflow/frameflow-service"),
        QStringLiteral(LIB_FOLDER "/frameflow/frameflow-decoders.so"),
        QStringLiteral(DATA_FOLDER "/frameflow/hint screen.png"), QString::fromLatin1(desktopEntry),
        QString::fromLatin1(busEntry), QString::fromLatin1(metainfo), QString::fromLatin1(manualPage),
        icons.arg(QStringLiteral("scalable"), QStringLiteral("svg"))};
    for (const int size : {16, 24, 32, 48, 64, 128, 256, 512}) {
        names.append(icons.arg(QStringLiteral("%1x%1").arg(size), QStringLiteral("png")));
    }
    for (const QString& name : names) {
        QTest::newRow(qPrintable(name)) << name;
    }
}

void InstallTest::everythingStandsWhereDesktopsLook()
{
    QFETCH(const QString, name);
    const QFileInfo file(installed(name));
    QVERIFY(file.isFile());
    QVERIFY(file.size() > 0);
}

void InstallTest::anotherRootIsRespected()
{
    const QString root = mFolder.filePath(QStringLiteral("root of a package"));
    QCOMPARE(run(QStringLiteral(CMAKE),
                 {QStringLiteral("--install"), QStringLiteral(BUILD_FOLDER), QStringLiteral("--prefix"),
                     QStringLiteral("/usr")},
                 root),
        QByteArray());
    const QString inRoot = root + QStringLiteral("/usr/");
    QVERIFY(contentsOf(inRoot + QLatin1String(desktopEntry)).contains("\nExec=/usr/" BIN_FOLDER "/frameflow %U\n"));
    QVERIFY(contentsOf(inRoot + QLatin1String(busEntry))
                .contains("\nExec=/usr/" LIBEXEC_FOLDER "/frameflow/frameflow-service\n"));
    QCOMPARE(QFileInfo(inRoot + QStringLiteral(LIBEXEC_FOLDER "/frameflow/frameflow-service")).canonicalFilePath(),
        QFileInfo(inRoot + QStringLiteral(BIN_FOLDER "/frameflow")).canonicalFilePath());
}

// The program's own stands in its windows, as the text of two bytes a character that these want.
void InstallTest::theVersionIsThatOfTheProject()
{
    const QString version = QStringLiteral(VERSION);
    const QByteArray wide(reinterpret_cast<const char*>(version.utf16()), 2 * version.size());
    QVERIFY(contentsOf(installed(BIN_FOLDER "/frameflow")).contains(wide));
    QVERIFY(contentsOf(installed(metainfo)).contains("<release version=\"" VERSION "\""));
    QVERIFY(contentsOf(installed(manualPage)).contains("\"Frameflow " VERSION "\""));
}

void InstallTest::theEntriesAreValid_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("desktop entry") << QStringLiteral("desktop-file-validate") << QStringList{installed(desktopEntry)};
    QTest::newRow("description") << QStringLiteral("appstreamcli")
                                 << QStringList{QStringLiteral("validate"), QStringLiteral("--no-net"),
                                        QStringLiteral("--strict"), installed(metainfo)};
}

void InstallTest::theEntriesAreValid()
{
    QFETCH(const QString, program);
    QFETCH(const QStringList, arguments);
    QCOMPARE(run(program, arguments), QByteArray());
}

void InstallTest::theInstalledProgramShowsPictures_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("by one decoder") << QByteArray("1.png");
    QTest::newRow("by the other") << QByteArray("1.pcx");
}

void InstallTest::theInstalledProgramShowsPictures()
{
    QFETCH(const QByteArray, name);
    mShow->addColour("1.png", mRed);
    if (name != "1.png") {
        QCOMPARE(run(QStringLiteral("convert"),
                     {QString::fromUtf8(mShow->folder.pathOf("1.png")), QString::fromUtf8(mShow->folder.pathOf(name))}),
            QByteArray());
        QVERIFY(QFile::remove(QString::fromUtf8(mShow->folder.pathOf("1.png"))));
    }
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->waitForColour(mRed));
    const auto decoders = childrenOf(mShow->program().processId());
    QVERIFY(!decoders.isEmpty());
    for (const qint64 decoder : decoders) {
        const QString path = QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(decoder));
        QVERIFY2(path.startsWith(installed(LIBEXEC_FOLDER)), qPrintable(path));
    }
}

void InstallTest::theInstalledProgramFindsItsHint()
{
    mShow->addColour("1.png", mRed);
    mShow->set(keys::hintsShown, false);
    QVERIFY(mShow->startWithFolder());
    QVERIFY(waitFor([] { return storedSetting(keys::hintsShown).toBool(); }));
    mShow->press(QStringLiteral("space"));
    QVERIFY(mShow->waitForColour(mRed));
}

// Through the desktop's own library: it reads the entry, and asks the bus, which starts the program.
void InstallTest::aFileManagerOpensFiles()
{
    QVERIFY(mShow->start({})); // for the settings
    mShow->program().end();
    mShow->addColour("1 %20.png", mRed);
    const QString services = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/dbus-1/services");
    QVERIFY(QDir().mkpath(services));
    const QString service = services + QStringLiteral("/com.quillory.Frameflow.service");
    QVERIFY(QFile::copy(installed(busEntry), service));
    DesktopCaller desktop(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"));
    desktop.reloadServices();

    GDesktopAppInfo* const entry = g_desktop_app_info_new_from_filename(QFile::encodeName(installed(desktopEntry)));
    QVERIFY(entry != nullptr);
    QVERIFY(g_desktop_app_info_get_boolean(entry, "DBusActivatable") != FALSE);
    QByteArray url = mShow->folder.urlOf("1 %20.png").toUrl().toEncoded();
    GList* const urls = g_list_append(nullptr, url.data());
    QVERIFY(g_app_info_launch_uris(G_APP_INFO(entry), urls, nullptr, nullptr) != FALSE);
    g_list_free(urls);
    g_object_unref(entry);
    QVERIFY(mShow->waitForColour(mRed));
    QVERIFY(QFile::remove(service));
    QCOMPARE(desktop.perform(QStringLiteral("quit")), QString());
    QVERIFY(waitFor([&] { return desktop.owner().isEmpty(); }));
}

void InstallTest::theWindowHasTheIconAndTheNameOfTheEntry()
{
    QVERIFY(mShow->start({}));
    const auto window = mShow->showWindow();
    QVERIFY(window.has_value());
    QProcess xprop;
    xprop.start(QStringLiteral("xprop"),
        {QStringLiteral("-id"), QString::number(*window), QStringLiteral("-len"), QStringLiteral("64"),
            QStringLiteral("-notype"), QStringLiteral("-f"), QStringLiteral("_NET_WM_ICON"), QStringLiteral("32c"),
            QStringLiteral("WM_CLASS"), QStringLiteral("_NET_WM_ICON")});
    QVERIFY(xprop.waitForFinished());
    const QByteArray text = xprop.readAll();
    const QByteArray entry = contentsOf(installed(desktopEntry));
    QVERIFY2(text.contains("_NET_WM_ICON = 16, 16, "), text);
    const auto place = entry.indexOf("\nStartupWMClass=");
    const QByteArray wanted = entry.mid(place + 16, entry.indexOf('\n', place + 1) - place - 16);
    QVERIFY2(text.contains("\"" + wanted + "\""), text);
}

QTEST_GUILESS_MAIN(InstallTest)
#include "InstallTest.moc"
