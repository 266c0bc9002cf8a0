#include "HttpsServer.h"
#include "MovieFiles.h"
#include "PictureFiles.h"
#include "ProbeApplications.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QFile>
#include <QtTest>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

// What the program asks of the network: the newest version, if the user wants that, and nothing else.
class NetworkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mShow = std::make_unique<ShowDriver>(QStringLiteral(UPDATE_PROGRAM));
        mShow->addColour("1.png", red);
        mShow->addColour("2.png", green);
    }
    void cleanup() { mShow.reset(); }

    void anEveningWithoutTheCheckAsksForNothing();
    void theCheckAsksItsServerAlone();

private:
    bool start(const HttpsServer& server, const TestAuthority& authority)
    {
        qputenv("LD_PRELOAD", NETWORK_WATCH_LIBRARY);
        qputenv("NETWORK_WATCH", mNotes.pathOf("notes"));
        const bool isStarted = mShow->start({QByteArray::fromStdString(server.host()),
            QByteArray::fromStdString(authority.certificateFile()), mShow->folder.path()});
        qunsetenv("LD_PRELOAD");
        return isStarted;
    }
    QByteArrayList notes() const
    {
        QFile file(QString::fromUtf8(mNotes.pathOf("notes")));
        return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().split('\n') : QByteArrayList();
    }
    bool waitForMiddle(QColor colour) const
    {
        const QPoint middle = mShow->server().bounds().center();
        return waitFor([&] { return isNear(mShow->server().pixel(middle), colour.rgb(), 20); });
    }
    std::optional<WindowId> window(const char* title) const
    {
        return mShow->server().waitForWindow(mShow->program().processId(), QString::fromUtf8(title));
    }

    const QColor red{200, 30, 30};
    const QColor green{30, 160, 30};
    const QColor blue{30, 30, 200};
    const QColor olive{128, 128, 0};
    const TestFolder mNotes;
    std::unique_ptr<ShowDriver> mShow;
};

void NetworkTest::anEveningWithoutTheCheckAsksForNothing()
{
    const TestAuthority authority;
    HttpsServer server(authority, QStringLiteral("text"), QStringLiteral("2.4.1"));
    ProbeApplications applications;
    applications.add("browser", "Network;", {"x-scheme-handler/http"}, "%u");
    applications.setDefault("x-scheme-handler/http", "browser");
    // What names places elsewhere, for a program that would follow it.
    mShow->folder.addFile("3.svg",
        R"(<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" width="90" height="60">
           <rect width="90" height="60" fill="#1e1ec8"/>
           <image width="9" height="9" xlink:href="http://localhost:9/picture.png"/></svg>)");
    MovieFiles movies;
    QVERIFY(movies.make("4.mp4", "-f lavfi -i color=0x808000:s=320x240:r=25:d=1"));
    mShow->folder.addFile("4.mp4", movies.contentsOf("4.mp4"));
    mShow->folder.addFile("5.m3u8", "#EXTM3U\n#EXTINF:10,\nhttp://localhost:9/movie.ts\n");
    mShow->folder.addFile("6.mp4", "#EXTM3U\n#EXTINF:10,\nhttp://localhost:9/movie.ts\n");
    mShow->addColour("7.png", red);
    mShow->set(keys::autoCheckNewVersion, false);
    QVERIFY(start(server, authority));
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(green));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(waitForMiddle(blue));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(waitForMiddle(olive));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(red)); // the list of movies was no movie
    mShow->press(QStringLiteral("F1"));
    QVERIFY(waitFor([&] { return applications.openedBy("browser").size() == 1; }));
    mShow->press(QStringLiteral("ctrl+t"));
    QVERIFY(waitFor([&] { return mShow->server().windowsOf(mShow->program().processId()).size() >= 2; }));
    QVERIFY(mShow->waitUntilAtRest());
    mShow->press(QStringLiteral("ctrl+q"));
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(notes(), QByteArrayList());
    QCOMPARE(server.connections(), 0);
}

void NetworkTest::theCheckAsksItsServerAlone()
{
    const TestAuthority authority;
    HttpsServer server(authority, QStringLiteral("text"), QStringLiteral("2.4.1"));
    mShow->set(keys::autoCheckNewVersion, true);
    QVERIFY(start(server, authority));
    QVERIFY(window("New Version — Frameflow"));
    for (const QByteArray& line : notes()) {
        QVERIFY2(line == "host localhost" || line == "socket IPv4" || line == "socket IPv6", line.constData());
    }
    QVERIFY(notes().contains("socket IPv4") || notes().contains("socket IPv6"));
    QCOMPARE(server.connections(), 1);
}

QTEST_MAIN(NetworkTest)
#include "NetworkTest.moc"
