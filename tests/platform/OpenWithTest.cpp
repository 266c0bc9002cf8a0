#include "OpenWith.h"

#include "ProbeApplications.h"
#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>

#include <sys/stat.h>

using namespace frameflow;

// Files and pages opened with other applications of the desktop.
class OpenWithTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { mApplications->forget(); }

    void namesOfAllKindsReachTheApplication_data();
    void namesOfAllKindsReachTheApplication();
    void fieldCodesAreFilledIn_data();
    void fieldCodesAreFilledIn();
    void theDesktopsChoiceIsAnEditorWhereThereIsOne_data();
    void theDesktopsChoiceIsAnEditorWhereThereIsOne();
    void whatIsNoApplicationOpensNothing_data();
    void whatIsNoApplicationOpensNothing();
    void aFileThatIsNotThereIsNotOpened_data();
    void aFileThatIsNotThereIsNotOpened();
    void anApplicationHearsTheSignalsThatTheProgramBlocks();
    void aPageIsOpenedInTheDefaultBrowser();
    void aPageOfAnUnknownKindOpensNothing();

private:
    TestFolder mFolder;
    std::unique_ptr<ProbeApplications> mApplications;
    QString mEditor;
};

void OpenWithTest::initTestCase()
{
    mApplications = std::make_unique<ProbeApplications>();
    mEditor = mApplications->add("editor", "Graphics;RasterGraphics;GTK;", {"text/x-python"});
    mApplications->add("viewer", "Graphics;Viewer;", {"text/x-python", "text/x-lilypond", "text/x-lua"});
    mApplications->add("second", "AudioVideo;AudioVideoEditing;", {"text/x-lua"});
    mApplications->add("photographs", "Photography", {"text/x-tcl"});
    mApplications->add("addresses", "Photography", {}, "--open=%u");
    mApplications->add("plain", "Photography", {}, "");
    mApplications->add("browser", "Network;", {"x-scheme-handler/http"}, "%u");
    mApplications->setDefault("text/x-python", "viewer");
    mApplications->setDefault("text/x-lilypond", "viewer");
    mApplications->setDefault("text/x-lua", "viewer");
    mApplications->setDefault("text/x-tcl", "photographs");
    mApplications->setDefault("x-scheme-handler/http", "browser");
}

void OpenWithTest::namesOfAllKindsReachTheApplication_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("plain") << QByteArray("a.png");
    QTest::newRow("spaces") << QByteArray(" a  b .png");
    QTest::newRow("quotes") << QByteArray("a'b\"c.png");
    QTest::newRow("shell") << QByteArray("$(touch x)`touch y`;touch z|&.png");
    QTest::newRow("percent") << QByteArray("50%f%25.png");
    QTest::newRow("option") << QByteArray("--help.png");
    QTest::newRow("line end") << QByteArray("a\nb.png");
    QTest::newRow("not UTF-8") << QByteArray("a\xff\xfe.png");
    QTest::newRow("emoji") << QByteArray("\xf0\x9f\x8c\x84.png");
    QTest::newRow("backslash") << QByteArray("a\\b.png");
    QTest::newRow("no extension") << QByteArray("picture");
}

void OpenWithTest::namesOfAllKindsReachTheApplication()
{
    QFETCH(const QByteArray, name);
    const QByteArray path = mFolder.addFile(name);
    QVERIFY(openInEditor(FileUrl::fromPath(path), mEditor));
    QTRY_COMPARE(mApplications->openedBy("editor"), QByteArrayList{path});
    QVERIFY(!QFile::exists(QStringLiteral("x")) && !QFile::exists(QStringLiteral("y")));
}

void OpenWithTest::fieldCodesAreFilledIn_data()
{
    QTest::addColumn<QByteArray>("application");
    QTest::addColumn<QByteArray>("before");
    QTest::newRow("address") << QByteArray("addresses") << QByteArray("--open=");
    QTest::newRow("none: the path comes last") << QByteArray("plain") << QByteArray();
}

void OpenWithTest::fieldCodesAreFilledIn()
{
    QFETCH(const QByteArray, application);
    QFETCH(const QByteArray, before);
    const QByteArray path = mFolder.addFile("a.png");
    const QString entry
        = QFileInfo(mEditor).path() + QLatin1Char('/') + QString::fromLatin1(application) + QStringLiteral(".desktop");
    QVERIFY(openInEditor(FileUrl::fromPath(path), entry));
    QTRY_COMPARE(mApplications->openedBy(application), QByteArrayList{before + path});
}

void OpenWithTest::theDesktopsChoiceIsAnEditorWhereThereIsOne_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("application");
    QTest::newRow("the default is an editor") << QByteArray("a.tcl") << QByteArray("photographs");
    QTest::newRow("another one is") << QByteArray("a.py") << QByteArray("editor");
    QTest::newRow("another one is, of movies") << QByteArray("a.lua") << QByteArray("second");
    QTest::newRow("none is: the default") << QByteArray("a.ly") << QByteArray("viewer");
}

void OpenWithTest::theDesktopsChoiceIsAnEditorWhereThereIsOne()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, application);
    const QByteArray path = mFolder.addFile(name);
    QVERIFY(openInEditor(FileUrl::fromPath(path), {}));
    QTRY_COMPARE(mApplications->openedBy(application), QByteArrayList{path});
}

void OpenWithTest::whatIsNoApplicationOpensNothing_data()
{
    QTest::addColumn<QByteArray>("entry");
    QTest::newRow("missing") << mFolder.pathOf("missing.desktop");
    QTest::newRow("folder") << mFolder.addFolder("folder.desktop");
    QTest::newRow("garbage") << mFolder.addFile("garbage.desktop", QByteArray(5000, '\xff'));
    QTest::newRow("a name, not a path") << QByteArray("editor");
    QTest::newRow("its program is gone") << mFolder.addFile(
        "gone.desktop", "[Desktop Entry]\nType=Application\nName=Gone\nExec=/nowhere/gone %f\n");
    QTest::newRow("a link to a page") << mFolder.addFile(
        "link.desktop", "[Desktop Entry]\nType=Link\nName=L\nURL=http://x\n");
    const QByteArray fifo = mFolder.pathOf("fifo.desktop");
    QCOMPARE(mkfifo(fifo.constData(), 0600), 0);
    QTest::newRow("nobody writes to it") << fifo;
    QTest::newRow("endless") << QByteArray("/dev/zero");
    QTest::newRow("by default, for a type that nobody knows") << QByteArray();
}

void OpenWithTest::whatIsNoApplicationOpensNothing()
{
    QFETCH(const QByteArray, entry);
    const QByteArray path = mFolder.addFile("a.frameflow-unknown");
    QVERIFY(!openInEditor(FileUrl::fromPath(path), QFile::decodeName(entry)));
}

void OpenWithTest::aFileThatIsNotThereIsNotOpened_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("none") << QByteArray();
    QTest::newRow("missing") << mFolder.pathOf("missing.png");
    QTest::newRow("dangling link") << mFolder.addLink("link.png", "nowhere");
}

void OpenWithTest::aFileThatIsNotThereIsNotOpened()
{
    QFETCH(const QByteArray, path);
    QVERIFY(!openInEditor(FileUrl::fromPath(path), mEditor));
    // What comes afterwards shows that nothing came before it.
    const QByteArray there = mFolder.addFile("there.png");
    QVERIFY(openInEditor(FileUrl::fromPath(there), mEditor));
    QTRY_COMPARE(mApplications->openedBy("editor"), QByteArrayList{there});
}

void OpenWithTest::anApplicationHearsTheSignalsThatTheProgramBlocks()
{
    sigset_t ending;
    sigset_t before;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, &before);
    const bool started = openInEditor(FileUrl::fromPath(mFolder.addFile("a.png")), mEditor);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    QVERIFY(started);
    QTRY_COMPARE(mApplications->openedBy("editor").size(), 1);
    QCOMPARE(mApplications->blockedSignals("editor"), QByteArray("0000000000000000"));
}

void OpenWithTest::aPageIsOpenedInTheDefaultBrowser()
{
    QVERIFY(openInBrowser("http://frameflow.example/page.html"));
    QTRY_COMPARE(mApplications->openedBy("browser"), QByteArrayList{"http://frameflow.example/page.html"});
}

void OpenWithTest::aPageOfAnUnknownKindOpensNothing()
{
    QVERIFY(!openInBrowser("frameflow-unknown://page"));
    QVERIFY(!openInBrowser("no address"));
    QVERIFY(!openInBrowser({}));
}

QTEST_GUILESS_MAIN(OpenWithTest)
#include "OpenWithTest.moc"
