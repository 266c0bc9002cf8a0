#include "UpdateLibrary.h"

#include "HttpsServer.h"

#include <QElapsedTimer>
#include <QTest>

#include <array>
#include <thread>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

QByteArray bytes(const std::string& text)
{
    return QByteArray::fromStdString(text);
}

} // namespace

// Requests to a real web server over HTTPS.
class UpdateLibraryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { mAuthority = std::make_unique<TestAuthority>(); }

    void theReplyIsAppended();
    void thePageOfTheProductIsAskedForAndNothingElse();
    void usableRepliesAreTaken_data();
    void usableRepliesAreTaken();
    void theStatusOfTheReplyDoesNotCount();
    void aRedirectIsNotFollowed_data();
    void aRedirectIsNotFollowed();
    void aReplyOfTheLargestSizeIsTakenAndAByteMoreIsNot();
    void failedTransfers_data();
    void failedTransfers();
    void onlyHttpsIsSpoken();
    void aHostThatNobodyKnowsIsAFailure();
    void aServerThatIsNotThereIsAFailure();
    void withoutTheTestsAuthorityTheServerIsNotTrusted();
    void theVersionIsCutToTheBuffer();
    void stoppingEndsARequestThatWaits_data();
    void stoppingEndsARequestThatWaits();
    void whatWasStoppedAsksNobody();
    void requestsAtTheSameTimeDoNotMeet();

private:
    UpdateServer at(const std::string& host, std::chrono::milliseconds timeout = 8s) const
    {
        return {host, {mAuthority->certificateFile(), timeout, nullptr}};
    }
    struct Answer
    {
        int result;
        QByteArray version;
    };
    Answer check(const UpdateServer& server, const char* current = "2.4") const
    {
        std::array<char, 128> buffer;
        buffer.fill('#');
        const int result = checkForUpdate("frameflow", current, buffer.data(), buffer.size(), server);
        return {result, QByteArray(buffer.data())};
    }

    std::unique_ptr<TestAuthority> mAuthority;
};

void UpdateLibraryTest::theReplyIsAppended()
{
    const HttpsServer server(*mAuthority, QStringLiteral("text"), QStringLiteral(" 2.4.1\n"));
    std::string output = "before:";
    QVERIFY(fetchURL("https://" + server.host() + "/some/page", output, at(server.host()).options));
    QCOMPARE(bytes(output), QByteArray("before: 2.4.1\n"));
}

void UpdateLibraryTest::thePageOfTheProductIsAskedForAndNothingElse()
{
    HttpsServer server(*mAuthority, QStringLiteral("text"), QStringLiteral("2.4.1"));
    QCOMPARE(check(at(server.host())).result, 1);
    QCOMPARE(server.requests(), QList<QByteArray>{"GET /currentversion/frameflow HTTP/1.1"});
}

void UpdateLibraryTest::usableRepliesAreTaken_data()
{
    QTest::addColumn<QString>("reply");
    QTest::addColumn<QByteArray>("current");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("version");
    const auto row = [](const char* name, const char* reply, const char* current, int result, const char* version) {
        QTest::newRow(name) << QString::fromUtf8(reply) << QByteArray(current) << result << QByteArray(version);
    };
    row("blanks and a line end", "  2.4.1\n", "2.4", 1, "2.4.1");
    row("minor by number", "2.10", "2.9.5", 1, "2.10");
    row("the same", "2.4", "2.4", 0, "2.4");
    row("an older one", "2.3.9", "2.4", 0, "2.3.9");
    row("three characters", "3.0", "2.4", 1, "3.0");
    row("eleven characters", "12.345.6789", "2.4", 1, "12.345.6789");
    row("more than three fields", "1.2.3.4.5.6", "1.2.2", 1, "1.2.3.4.5.6");
    row("of which three count", "1.2.3.4.5.6", "1.2.3", 0, "1.2.3.4.5.6");
    row("twelve characters", "12.345.67890", "2.4", 0, "");
    row("no dot", "5", "2.4", 0, "");
    row("no dot in three", "500", "2.4", 0, "");
    row("two characters", "5.", "2.4", 0, "");
    row("zero", "0.0.0", "2.4", 0, "");
    row("a field that is no number", "9.x.9", "2.4", 0, "");
    row("empty", "", "2.4", 0, "");
    row("words", "closed for good", "2.4", 0, "");
    row("a page", "<!DOCTYPE html><html><head><title>404</title></head><body>nginx/1.18.0</body></html>", "2.4", 0, "");
    row("newer than nonsense", "0.1", "trunk", 1, "0.1");
}

void UpdateLibraryTest::usableRepliesAreTaken()
{
    QFETCH(QString, reply);
    QFETCH(QByteArray, current);
    QFETCH(int, result);
    QFETCH(QByteArray, version);
    const HttpsServer server(*mAuthority, QStringLiteral("text"), reply);
    const Answer answer = check(at(server.host()), current.constData());
    QCOMPARE(answer.result, result);
    QCOMPARE(answer.version, version);
}

void UpdateLibraryTest::theStatusOfTheReplyDoesNotCount()
{
    const HttpsServer server(*mAuthority, QStringLiteral("not-found"), QStringLiteral("2.4.1"));
    QCOMPARE(check(at(server.host())).result, 1);
}

void UpdateLibraryTest::aRedirectIsNotFollowed_data()
{
    QTest::addColumn<QString>("scheme");
    for (const char* scheme : {"https", "http", "file", "ftp"}) {
        QTest::newRow(scheme) << QString::fromLatin1(scheme);
    }
}

void UpdateLibraryTest::aRedirectIsNotFollowed()
{
    QFETCH(QString, scheme);
    HttpsServer elsewhere(*mAuthority, QStringLiteral("text"), QStringLiteral("9.9.9"));
    HttpsServer server(*mAuthority, QStringLiteral("redirect"),
        QStringLiteral("%1://localhost:%2/currentversion/frameflow").arg(scheme).arg(elsewhere.port()));
    const Answer answer = check(at(server.host()));
    QCOMPARE(answer.result, 0); // the reply itself holds no version
    QCOMPARE(answer.version, QByteArray());
    QCOMPARE(server.requests().size(), 1);
    QCOMPARE(elsewhere.connections(), 0);
}

void UpdateLibraryTest::aReplyOfTheLargestSizeIsTakenAndAByteMoreIsNot()
{
    for (const int size : {65535, 65536, 65537}) {
        const HttpsServer server(*mAuthority, QStringLiteral("large"), QString::number(size));
        std::string output;
        QCOMPARE(fetchURL("https://" + server.host() + "/", output, at(server.host()).options), size <= 65536);
        QVERIFY(output.size() <= largestReply);
    }
}

void UpdateLibraryTest::failedTransfers_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::addColumn<Certificate>("certificate");
    for (const char* behaviour :
        {"endless", "endless-headers", "silent", "drip", "cut-off", "hang-up", "no-http", "reset", "plain"}) {
        QTest::newRow(behaviour) << QString::fromLatin1(behaviour) << Certificate::Good;
    }
    QTest::newRow("certificate of another host") << QStringLiteral("text") << Certificate::OfAnotherHost;
    QTest::newRow("certificate that has expired") << QStringLiteral("text") << Certificate::Expired;
    QTest::newRow("certificate of a stranger") << QStringLiteral("text") << Certificate::OfAStranger;
}

void UpdateLibraryTest::failedTransfers()
{
    QFETCH(QString, behaviour);
    QFETCH(Certificate, certificate);
    HttpsServer server(*mAuthority, behaviour, QStringLiteral("9.9.9"), certificate);
    const Answer answer = check(at(server.host(), 1s));
    QCOMPARE(answer.result, -1);
    QCOMPARE(answer.version, QByteArray());
    QVERIFY(server.connections() > 0);
    if (certificate != Certificate::Good) {
        QCOMPARE(server.requests(), QList<QByteArray>()); // it was told nothing
    }
}

void UpdateLibraryTest::onlyHttpsIsSpoken()
{
    HttpsServer server(*mAuthority, QStringLiteral("plain"), QStringLiteral("9.9.9"));
    std::string output;
    QVERIFY(!fetchURL("http://" + server.host() + "/", output, at(server.host()).options));
    QVERIFY(!fetchURL("file:///etc/hostname", output, at(server.host()).options));
    QVERIFY(!fetchURL("", output, at(server.host()).options));
    QCOMPARE(bytes(output), QByteArray());
    QCOMPARE(server.connections(), 0);
}

void UpdateLibraryTest::aHostThatNobodyKnowsIsAFailure()
{
    QCOMPARE(check(at("nobody.invalid")).result, -1);
}

void UpdateLibraryTest::aServerThatIsNotThereIsAFailure()
{
    std::string host;
    {
        const HttpsServer server(*mAuthority, QStringLiteral("text"));
        host = server.host();
    }
    QCOMPARE(check(at(host)).result, -1);
}

void UpdateLibraryTest::withoutTheTestsAuthorityTheServerIsNotTrusted()
{
    HttpsServer server(*mAuthority, QStringLiteral("text"), QStringLiteral("9.9.9"));
    UpdateServer trusting = at(server.host());
    trusting.options.certificateFile.clear();
    QCOMPARE(check(trusting).result, -1);
    QCOMPARE(server.requests(), QList<QByteArray>());
}

void UpdateLibraryTest::theVersionIsCutToTheBuffer()
{
    const HttpsServer server(*mAuthority, QStringLiteral("text"), QStringLiteral("2.4.1"));
    std::array<char, 5> buffer{'#', '#', '#', '#', '#'};
    QCOMPARE(checkForUpdate("frameflow", "2.4", buffer.data(), 4, at(server.host())), 1);
    QCOMPARE(QByteArray(buffer.data()), QByteArray("2.4"));
    QCOMPARE(buffer[4], '#');
    QCOMPARE(checkForUpdate("frameflow", "2.4", buffer.data(), 1, at(server.host())), 1);
    QCOMPARE(QByteArray(buffer.data()), QByteArray());
    QCOMPARE(checkForUpdate("frameflow", "2.4", nullptr, 0, at(server.host())), 1);
}

void UpdateLibraryTest::stoppingEndsARequestThatWaits_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::newRow("for the reply") << QStringLiteral("silent");
    QTest::newRow("for its rest") << QStringLiteral("drip");
}

void UpdateLibraryTest::stoppingEndsARequestThatWaits()
{
    QFETCH(QString, behaviour);
    HttpsServer server(*mAuthority, behaviour);
    UpdateServer waiting = at(server.host(), 60s);
    waiting.options.stop = std::make_shared<RequestStop>();
    std::atomic<int> result{7};
    std::thread asking([&] { result = check(waiting).result; });
    const bool asked = QTest::qWaitFor([&] { return server.requests().size() == 1; }, 20000);
    QElapsedTimer timer;
    timer.start();
    waiting.options.stop->stop();
    asking.join();
    QVERIFY(asked);
    QCOMPARE(result.load(), -1);
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
}

void UpdateLibraryTest::whatWasStoppedAsksNobody()
{
    HttpsServer server(*mAuthority, QStringLiteral("text"), QStringLiteral("9.9.9"));
    UpdateServer stopped = at(server.host());
    stopped.options.stop = std::make_shared<RequestStop>();
    stopped.options.stop->stop();
    QCOMPARE(check(stopped).result, -1);
    QCOMPARE(server.connections(), 0);
}

void UpdateLibraryTest::requestsAtTheSameTimeDoNotMeet()
{
    const HttpsServer first(*mAuthority, QStringLiteral("text"), QStringLiteral("2.4.1"));
    const HttpsServer second(*mAuthority, QStringLiteral("text"), QStringLiteral("3.0"));
    QByteArray fromFirst;
    QByteArray fromSecond;
    std::thread one([&] { fromFirst = check(at(first.host())).version; });
    std::thread other([&] { fromSecond = check(at(second.host())).version; });
    one.join();
    other.join();
    QCOMPARE(fromFirst, QByteArray("2.4.1"));
    QCOMPARE(fromSecond, QByteArray("3.0"));
}

QTEST_GUILESS_MAIN(UpdateLibraryTest)
#include "UpdateLibraryTest.moc"
