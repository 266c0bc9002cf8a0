#include "Applications.h"

#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <algorithm>

#include <sys/stat.h>

using namespace frameflow;

class ApplicationsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const QByteArray folder = qgetenv("XDG_DATA_HOME") + "/applications";
        QVERIFY(QDir().mkpath(QFile::decodeName(folder)));
        write(folder + "/aa-pictures.desktop",
            "Name=AA Pictures\nName[de]=AA Bilder\nIcon=pictures\nExec=/bin/true %f\nMimeType=image/png;text/plain;\n");
        write(folder + "/ab-hidden.desktop", "Name=AB Hidden\nExec=/bin/true\nNoDisplay=true\nMimeType=image/png;\n");
        write(folder + "/ac-plain.desktop", "Name=ac plain\nIcon=/nowhere/icon.png\nExec=/bin/true\n");
        write(folder + "/ad-gone.desktop", "Name=AD Gone\nExec=/nowhere/at/all\nMimeType=image/png;\n");
    }

    void installedApplicationsAreThoseOfTheMenusByName()
    {
        const auto all = installedApplications();
        QStringList names;
        for (const Application& application : all) {
            names.append(application.name);
        }
        QVERIFY(names.contains(QStringLiteral("AA Pictures")));
        QVERIFY(names.contains(QStringLiteral("ac plain")));
        QVERIFY(!names.contains(QStringLiteral("AB Hidden")));
        QVERIFY(!names.contains(QStringLiteral("AD Gone")));
        QVERIFY(names.indexOf(QStringLiteral("AA Pictures")) < names.indexOf(QStringLiteral("ac plain")));
        const auto pictures = std::find_if(all.begin(), all.end(),
            [](const Application& application) { return application.name == QLatin1String("AA Pictures"); });
        QVERIFY(pictures->path.endsWith(QLatin1String("/applications/aa-pictures.desktop")));
        QCOMPARE(pictures->icon, QStringLiteral("pictures"));
        QCOMPARE(pictures->types, QStringList({QStringLiteral("image/png"), QStringLiteral("text/plain")}));
    }

    void anEntryIsReadFromItsPath()
    {
        const QByteArray path
            = mFolder.addFile("one.desktop", entry("Name=One\nIcon=/icons/one.png\nExec=/bin/true\n"));
        const auto application = applicationAt(QFile::decodeName(path));
        QVERIFY(application);
        QCOMPARE(application->name, QStringLiteral("One"));
        QCOMPARE(application->icon, QStringLiteral("/icons/one.png"));
        QCOMPARE(application->path, QFile::decodeName(path));
        QVERIFY(application->types.isEmpty());
    }

    void whatIsNoInstalledApplicationIsAbsent_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::newRow("missing") << mFolder.pathOf("missing.desktop");
        QTest::newRow("no path") << QByteArray();
        QTest::newRow("folder") << mFolder.addFolder("folder.desktop");
        QTest::newRow("empty") << mFolder.addFile("empty.desktop", "");
        QTest::newRow("garbage") << mFolder.addFile("garbage.desktop", QByteArray(5000, '\xff'));
        QTest::newRow("no program") << mFolder.addFile("none.desktop", entry("Name=None\nExec=/nowhere/none\n"));
        QTest::newRow("link") << mFolder.addFile("link.desktop", "[Desktop Entry]\nType=Link\nName=L\nURL=http://x\n");
        QTest::newRow("too large") << mFolder.addFile(
            "large.desktop", entry("Name=Large\nExec=/bin/true\n#" + QByteArray(2 << 20, 'x')));
        const QByteArray fifo = mFolder.pathOf("fifo.desktop");
        QCOMPARE(mkfifo(fifo.constData(), 0600), 0);
        QTest::newRow("nobody writes to it") << fifo;
        QTest::newRow("endless") << QByteArray("/dev/zero");
    }

    void whatIsNoInstalledApplicationIsAbsent()
    {
        QFETCH(QByteArray, path);
        QVERIFY(!applicationAt(QFile::decodeName(path)));
    }

    void applicationsCanBeChosenByTheirTypes_data()
    {
        QTest::addColumn<QStringList>("types");
        QTest::addColumn<bool>("images");
        QTest::addColumn<bool>("movies");
        const auto row = [](const char* types, bool images, bool movies) {
            QTest::newRow(types) << QString::fromLatin1(types).split(QLatin1Char(' '), Qt::SkipEmptyParts) << images
                                 << movies;
        };
        row("", false, false);
        row("text/plain", false, false);
        row("image/jpeg", true, false);
        row("image/png", true, false);
        row("text/plain image/x-exotic", true, false);
        row("image/*", true, false);
        row("IMAGE/JPEG", false, false);
        row("video/quicktime", false, true);
        row("video/mp4", false, false);
        row("video/*", false, true);
        row("VIDEO/QUICKTIME", false, false);
        row("audio/mpeg", false, false);
        row("*/*", true, true);
        row("all/allfiles", true, true);
        row("text/plain video/quicktime image/gif", true, true);
        row("x-scheme-handler/http ;; /", false, false);
    }

    void applicationsCanBeChosenByTheirTypes()
    {
        QFETCH(QStringList, types);
        QFETCH(bool, images);
        QFETCH(bool, movies);
        Application application;
        application.types = types;
        QCOMPARE(canOpen(application, OpenedKind::Images), images);
        QCOMPARE(canOpen(application, OpenedKind::Movies), movies);
    }

private:
    static QByteArray entry(const QByteArray& lines) { return "[Desktop Entry]\nType=Application\n" + lines; }
    static void write(const QByteArray& path, const QByteArray& lines)
    {
        QFile file(QFile::decodeName(path));
        if (!file.open(QIODevice::WriteOnly) || file.write(entry(lines)) < 0) {
            qFatal("no desktop entry");
        }
    }

    TestFolder mFolder;
};

QTEST_GUILESS_MAIN(ApplicationsTest)
#include "ApplicationsTest.moc"
