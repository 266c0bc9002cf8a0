#include "OneProgram.h"

#include "NameOwner.h"
#include "SessionBus.h"
#include "StaysTrue.h"
#include "TestFiles.h"

#include <QDBusMessage>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

constexpr auto patience = 15s;

// A program that takes what it is asked for, as one text for each request.
class Receiver
{
public:
    explicit Receiver(const QString& busAddress, const OneProgram::Purpose& purpose = {}) : program(purpose, busAddress)
    {
    }

    void serve()
    {
        OneProgram::Requests requests;
        requests.activate = [this](const LaunchToken& launchToken) { note("activate", launchToken); };
        requests.open = [this](const QList<FileUrl>& files, const LaunchToken& launchToken) {
            opened = files;
            note("open " + QByteArray::number(files.size()), launchToken);
        };
        requests.perform = [this](const QByteArray& command, const LaunchToken& launchToken) {
            note("perform " + command, launchToken);
            return command == "known";
        };
        requests.placeIsKnown = [this](OneProgram::Place known) { place = known; };
        program.serve(requests);
    }

    OneProgram program;
    QList<QByteArray> seen;
    QList<FileUrl> opened;
    LaunchToken token;
    std::optional<OneProgram::Place> place;

private:
    void note(const QByteArray& text, const LaunchToken& launchToken)
    {
        seen.append(text);
        token = launchToken;
    }
};

OneProgram::Purpose toShow(const QList<FileUrl>& files, const LaunchToken& token = {})
{
    return {false, files, token};
}

} // namespace

// Over a real bus.
class OneProgramTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mBus = std::make_unique<SessionBus>(); }
    void cleanup() { mBus.reset(); }

    void theFirstProgramHasTheName();
    void aSecondProgramHandsItsFilesOver();
    void aSecondProgramWithoutFilesBringsTheFirstToTheFront();
    void pathsOfAnyBytesArriveAsTheyAre();
    void theRightToComeToTheFrontIsPassedOn();
    void requestsBeforeTheProgramIsReadyWait();
    void whenTheFirstEndsTheNextTakesItsPlace();
    void aProgramThatEndsWithoutAnsweringIsReplaced();
    void withoutABusTheProgramIsAlone_data();
    void withoutABusTheProgramIsAlone();
    void anotherOwnerOfTheNameIsLeftAlone_data();
    void anotherOwnerOfTheNameIsLeftAlone();
    void aServiceHandsNothingOver();
    void aBusThatHangsHoldsUpNobody_data();
    void aBusThatHangsHoldsUpNobody();
    void aBusThatAnswersGarbageIsNone_data();
    void aBusThatAnswersGarbageIsNone();
    void aPlaceThatBecomesKnownLateIsTold();
    void aBusThatEndsIsHarmless();

    void callsWithWrongParametersNeverArrive_data();
    void callsWithWrongParametersNeverArrive();
    void onlyFilesOfThisMachineAreOpened_data();
    void onlyFilesOfThisMachineAreOpened();
    void platformDataOfTheWrongKindIsLeftOut_data();
    void platformDataOfTheWrongKindIsLeftOut();
    void moreFilesThanCanBeTakenAreBounded();
    void unknownCommandsAreRefused_data();
    void unknownCommandsAreRefused();
    void theObjectDescribesItself();

private:
    std::unique_ptr<Receiver> first() const
    {
        auto receiver = std::make_unique<Receiver>(mBus->address());
        if (receiver->program.wait(patience) == OneProgram::Place::First) {
            receiver->serve();
        }
        return receiver;
    }
    // Turns the event loop meanwhile, as the first program's does.
    static std::optional<OneProgram::Place> placeOf(OneProgram& program)
    {
        std::optional<OneProgram::Place> place;
        return QTest::qWaitFor([&] { return (place = program.wait(0ms)).has_value(); }, 15000) ? place : std::nullopt;
    }

    std::unique_ptr<SessionBus> mBus;
};

void OneProgramTest::theFirstProgramHasTheName()
{
    const DesktopCaller caller(mBus->address());
    QVERIFY(caller.owner().isEmpty());
    {
        OneProgram program({}, mBus->address());
        QCOMPARE(program.wait(patience).value(), OneProgram::Place::First);
        QVERIFY(!caller.owner().isEmpty());
    }
    QTRY_VERIFY(caller.owner().isEmpty());
}

void OneProgramTest::aSecondProgramHandsItsFilesOver()
{
    const NameOwner owner(mBus->address());
    OneProgram second(
        toShow({FileUrl::fromPath(QByteArray("/a b/1.png")), FileUrl::fromPath(QByteArray("/ä%"))}), mBus->address());
    QTRY_COMPARE(owner.calls(), QStringList{QStringLiteral("Open file:///a%20b/1.png file:///%C3%A4%25")});
    QCOMPARE(second.wait(patience).value(), OneProgram::Place::Second);
}

void OneProgramTest::aSecondProgramWithoutFilesBringsTheFirstToTheFront()
{
    const NameOwner owner(mBus->address());
    OneProgram second(toShow({}), mBus->address());
    QTRY_COMPARE(owner.calls(), QStringList{QStringLiteral("Activate")});
    QCOMPARE(second.wait(patience).value(), OneProgram::Place::Second);
}

void OneProgramTest::pathsOfAnyBytesArriveAsTheyAre()
{
    const auto receiver = first();
    QByteArray everyByte("/");
    for (int byte = 1; byte < 256; ++byte) {
        everyByte += static_cast<char>(byte);
    }
    everyByte += "x"; // a slash at the end would go
    const QList<FileUrl> files{FileUrl::fromPath(everyByte), FileUrl::fromPath(QByteArray("/a\xff\xfe.png")),
        FileUrl::fromPath(QByteArray("/%41"))};
    OneProgram second(toShow(files), mBus->address());
    QTRY_COMPARE(receiver->opened, files);
}

void OneProgramTest::theRightToComeToTheFrontIsPassedOn()
{
    const NameOwner owner(mBus->address());
    OneProgram second(toShow({}, {"launcher_TIME4294967295", "wayland-1"}), mBus->address());
    QTRY_COMPARE(owner.calls().size(), 1);
    const QVariantMap expected{{QStringLiteral("desktop-startup-id"), QStringLiteral("launcher_TIME4294967295")},
        {QStringLiteral("activation-token"), QStringLiteral("wayland-1")}};
    QCOMPARE(owner.lastPlatformData(), expected);
}

void OneProgramTest::requestsBeforeTheProgramIsReadyWait()
{
    Receiver receiver(mBus->address());
    QCOMPARE(receiver.program.wait(patience).value(), OneProgram::Place::First);
    OneProgram second(toShow({FileUrl::fromPath(QByteArray("/1.png"))}), mBus->address());
    OneProgram third(toShow({}), mBus->address());
    QVERIFY(staysTrueFor(100ms, [&] { return receiver.seen.isEmpty(); }));
    receiver.serve();
    QTRY_COMPARE(receiver.seen.size(), 2);
    QCOMPARE(second.wait(patience).value(), OneProgram::Place::Second);
    QCOMPARE(third.wait(patience).value(), OneProgram::Place::Second);
    QVERIFY(!receiver.place); // was known before
}

void OneProgramTest::whenTheFirstEndsTheNextTakesItsPlace()
{
    auto receiver = first();
    QCOMPARE(receiver->program.wait(0ms).value(), OneProgram::Place::First);
    receiver.reset();
    OneProgram next({}, mBus->address());
    QCOMPARE(next.wait(patience).value(), OneProgram::Place::First);
}

void OneProgramTest::aProgramThatEndsWithoutAnsweringIsReplaced()
{
    auto leaving = std::make_unique<OneProgram>(OneProgram::Purpose(), mBus->address());
    QCOMPARE(leaving->wait(patience).value(), OneProgram::Place::First);
    OneProgram next(toShow({FileUrl::fromPath(QByteArray("/1.png"))}), mBus->address());
    QVERIFY(staysTrueFor(100ms, [&] { return true; })); // it has called by then, or will call nobody
    leaving.reset();
    QCOMPARE(next.wait(patience).value(), OneProgram::Place::First);
}

void OneProgramTest::withoutABusTheProgramIsAlone_data()
{
    QTest::addColumn<QByteArray>("address");
    QTest::newRow("gone") << QByteArray();
    QTest::newRow("no socket") << QByteArray("unix:path=/nowhere/bus");
    QTest::newRow("no address") << QByteArray("here");
    QTest::newRow("a kind that nobody knows") << QByteArray("carrier-pigeon:coop=7");
}

void OneProgramTest::withoutABusTheProgramIsAlone()
{
    QFETCH(const QByteArray, address);
    mBus->stop();
    OneProgram program(toShow({}), address.isEmpty() ? mBus->address() : QString::fromUtf8(address));
    QCOMPARE(program.wait(patience).value(), OneProgram::Place::Alone);
}

void OneProgramTest::anotherOwnerOfTheNameIsLeftAlone_data()
{
    QTest::addColumn<OwnerAnswer>("answer");
    QTest::newRow("that refuses") << OwnerAnswer::No;
    QTest::newRow("that never answers") << OwnerAnswer::Never;
}

void OneProgramTest::anotherOwnerOfTheNameIsLeftAlone()
{
    QFETCH(const OwnerAnswer, answer);
    const NameOwner owner(mBus->address(), answer);
    OneProgram second(toShow({FileUrl::fromPath(QByteArray("/1.png"))}), mBus->address());
    QTRY_COMPARE(owner.calls().size(), 1);
    QCOMPARE(second.wait(patience).value(), OneProgram::Place::Alone);
    QCOMPARE(owner.calls().size(), 1); // asked once
}

void OneProgramTest::aServiceHandsNothingOver()
{
    const NameOwner owner(mBus->address());
    OneProgram service({true, {}, {}}, mBus->address());
    QCOMPARE(service.wait(patience).value(), OneProgram::Place::Second);
    QVERIFY(staysTrueFor(100ms, [&] { return owner.calls().isEmpty(); }));
}

void OneProgramTest::aBusThatHangsHoldsUpNobody_data()
{
    QTest::addColumn<bool>("isConnected");
    QTest::newRow("before the connection") << false;
    QTest::newRow("with the name taken") << true;
}

void OneProgramTest::aBusThatHangsHoldsUpNobody()
{
    QFETCH(const bool, isConnected);
    QElapsedTimer timer;
    {
        std::unique_ptr<Receiver> receiver;
        if (isConnected) {
            receiver = first();
        }
        mBus->suspend();
        timer.start();
        OneProgram program(toShow({FileUrl::fromPath(QByteArray("/1.png"))}), mBus->address());
        QVERIFY(!program.wait(10ms));
        program.serve({{}, {}, {}, [](OneProgram::Place) {}});
    }
    // Nor does the end wait.
    QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
}

void OneProgramTest::aBusThatAnswersGarbageIsNone_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("bytes") << QByteArray(100000, '\xff');
    QTest::newRow("lines") << QByteArray("HTTP/1.1 400 Bad Request\r\n\r\n");
    QTest::newRow("the first step, then bytes")
        << QByteArray("OK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n") + QByteArray(5000, '\x7f');
    QTest::newRow("a message of the largest size")
        << QByteArray("OK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n")
            + QByteArray("l\2\1\1\xff\xff\xff\x07\1\0\0\0\xff\xff\xff\3", 16);
    QTest::newRow("nothing") << QByteArray();
}

void OneProgramTest::aBusThatAnswersGarbageIsNone()
{
    QFETCH(const QByteArray, answer);
    const TestFolder folder;
    QLocalServer server;
    QVERIFY(server.listen(QString::fromUtf8(folder.pathOf("bus"))));
    connect(&server, &QLocalServer::newConnection, this, [&] {
        auto* const socket = server.nextPendingConnection();
        connect(socket, &QLocalSocket::readyRead, socket, [socket, answer, isFirst = true]() mutable {
            if (std::exchange(isFirst, false)) {
                socket->write(answer);
                socket->flush();
                socket->disconnectFromServer();
            }
        });
    });
    OneProgram program(
        toShow({FileUrl::fromPath(QByteArray("/1.png"))}), QStringLiteral("unix:path=") + server.fullServerName());
    QCOMPARE(placeOf(program).value(), OneProgram::Place::Alone);
}

void OneProgramTest::aPlaceThatBecomesKnownLateIsTold()
{
    NameOwner owner(mBus->address());
    mBus->suspend();
    Receiver second(mBus->address(), toShow({FileUrl::fromPath(QByteArray("/1.png"))}));
    QVERIFY(!second.program.wait(10ms));
    second.serve();
    mBus->resume();
    QTRY_COMPARE(second.place, OneProgram::Place::Second);
    QCOMPARE(owner.calls().size(), 1);
}

void OneProgramTest::aBusThatEndsIsHarmless()
{
    const auto receiver = first();
    DesktopCaller(mBus->address()).activate();
    QCOMPARE(receiver->seen, QList<QByteArray>{"activate"});
    mBus->stop();
    QVERIFY(staysTrueFor(100ms, [&] { return receiver->seen.size() == 1; }));
}

// ---- What may come over the bus

void OneProgramTest::callsWithWrongParametersNeverArrive_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("parameters");
    const QVariantMap none;
    QTest::newRow("Activate without") << QStringLiteral("Activate") << QVariantList{};
    QTest::newRow("Activate a number") << QStringLiteral("Activate") << QVariantList{7};
    QTest::newRow("Activate two") << QStringLiteral("Activate") << QVariantList{none, none};
    QTest::newRow("Open without") << QStringLiteral("Open") << QVariantList{};
    QTest::newRow("Open one text") << QStringLiteral("Open") << QVariantList{QStringLiteral("file:///1.png"), none};
    QTest::newRow("Open numbers") << QStringLiteral("Open")
                                  << QVariantList{QVariant::fromValue(QList<int>{1, 2}), none};
    QTest::newRow("Open bytes") << QStringLiteral("Open") << QVariantList{QByteArray("file:///1.png"), none};
    QTest::newRow("Open without the rest")
        << QStringLiteral("Open") << QVariantList{QStringList{QStringLiteral("file:///1.png")}};
    QTest::newRow("ActivateAction a number")
        << QStringLiteral("ActivateAction") << QVariantList{7, QVariant(QVariantList()), none};
    QTest::newRow("a method that is none") << QStringLiteral("Quit") << QVariantList{};
}

void OneProgramTest::callsWithWrongParametersNeverArrive()
{
    QFETCH(const QString, method);
    QFETCH(const QVariantList, parameters);
    const auto receiver = first();
    DesktopCaller caller(mBus->address());
    QVERIFY(!caller.call(method, parameters).isEmpty());
    QVERIFY(receiver->seen.isEmpty());
    QCOMPARE(caller.activate(), QString());
    QCOMPARE(receiver->seen, QList<QByteArray>{"activate"});
}

void OneProgramTest::onlyFilesOfThisMachineAreOpened_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QByteArray>("path"); // empty: it is left out
    const QByteArray none;
    QTest::newRow("file") << QStringLiteral("file:///a/1.png") << QByteArray("/a/1.png");
    QTest::newRow("folder") << QStringLiteral("file:///a/") << QByteArray("/a");
    QTest::newRow("capitals") << QStringLiteral("FILE:///a/1.png") << QByteArray("/a/1.png");
    QTest::newRow("doubled slashes") << QStringLiteral("file:////a//1.png") << QByteArray("/a/1.png");
    QTest::newRow("this machine") << QStringLiteral("file://localhost/a/1.png") << QByteArray("/a/1.png");
    QTest::newRow("bytes") << QStringLiteral("file:///%FF%fe") << QByteArray("/\xff\xfe");
    QTest::newRow("text") << QStringLiteral("file:///ä") << QByteArray("/\xc3\xa4");
    QTest::newRow("percent garbage") << QStringLiteral("file:///a%zz%4%") << QByteArray("/a%zz%4%");
    QTest::newRow("NUL") << QStringLiteral("file:///a%00b") << none;
    QTest::newRow("another machine") << QStringLiteral("file://elsewhere/a/1.png") << none;
    QTest::newRow("web") << QStringLiteral("https://frameflow.example/1.png") << none;
    QTest::newRow("script") << QStringLiteral("javascript:alert(1)") << none;
    QTest::newRow("a path") << QStringLiteral("/a/1.png") << none;
    QTest::newRow("relative") << QStringLiteral("1.png") << none;
    QTest::newRow("relative with a scheme") << QStringLiteral("file:1.png") << none;
    QTest::newRow("empty") << QString() << none;
    QTest::newRow("only a scheme") << QStringLiteral("file://") << none;
    QTest::newRow("longer than a path") << QStringLiteral("file:///") + QString(5000, QLatin1Char('x')) << none;
    QTest::newRow("endless") << QStringLiteral("file:///") + QString(3'000'000, QLatin1Char('x')) << none;
}

void OneProgramTest::onlyFilesOfThisMachineAreOpened()
{
    QFETCH(const QString, url);
    QFETCH(const QByteArray, path);
    const auto receiver = first();
    DesktopCaller caller(mBus->address());
    QCOMPARE(caller.open({url, QStringLiteral("file:///last")}), QString());
    QList<FileUrl> expected{FileUrl::fromPath(QByteArray("/last"))};
    if (!path.isEmpty()) {
        expected.prepend(FileUrl::fromPath(path));
    }
    QCOMPARE(receiver->opened, expected);
}

void OneProgramTest::platformDataOfTheWrongKindIsLeftOut_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("text") << QVariant(QStringLiteral("id_TIME1")) << QByteArray("id_TIME1");
    QTest::newRow("number") << QVariant(7) << QByteArray();
    QTest::newRow("list") << QVariant(QStringList{QStringLiteral("id")}) << QByteArray();
    QTest::newRow("line ends") << QVariant(QStringLiteral("a\nb")) << QByteArray();
    QTest::newRow("long") << QVariant(QString(2000, QLatin1Char('x'))) << QByteArray();
}

void OneProgramTest::platformDataOfTheWrongKindIsLeftOut()
{
    QFETCH(const QVariant, value);
    QFETCH(const QByteArray, expected);
    const auto receiver = first();
    DesktopCaller caller(mBus->address());
    QCOMPARE(caller.activate({{QStringLiteral("desktop-startup-id"), value},
                 {QStringLiteral("activation-token"), value}, {QStringLiteral("something else"), value}}),
        QString());
    QCOMPARE(receiver->token, (LaunchToken{expected, expected}));
}

void OneProgramTest::moreFilesThanCanBeTakenAreBounded()
{
    const auto receiver = first();
    DesktopCaller caller(mBus->address());
    QStringList urls;
    for (int i = 0; i < 120'000; ++i) {
        urls.append(QStringLiteral("file:///a/%1.png").arg(i));
    }
    QCOMPARE(caller.open(urls), QString());
    QCOMPARE(receiver->opened.size(), 100'000);
    QCOMPARE(receiver->opened.last(), FileUrl::fromPath(QByteArray("/a/99999.png")));
}

void OneProgramTest::unknownCommandsAreRefused_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QVariantList>("values");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("known") << QStringLiteral("known") << QVariantList{} << true;
    QTest::newRow("unknown") << QStringLiteral("format") << QVariantList{} << false;
    QTest::newRow("empty") << QString() << QVariantList{} << false;
    QTest::newRow("endless") << QString(1'000'000, QLatin1Char('x')) << QVariantList{} << false;
    QTest::newRow("with values") << QStringLiteral("known") << QVariantList{7} << false;
}

void OneProgramTest::unknownCommandsAreRefused()
{
    QFETCH(const QString, command);
    QFETCH(const QVariantList, values);
    QFETCH(const bool, isTaken);
    const auto receiver = first();
    DesktopCaller caller(mBus->address());
    QCOMPARE(caller.perform(command, values).isEmpty(), isTaken);
}

void OneProgramTest::theObjectDescribesItself()
{
    const auto receiver = first();
    const QString name = QStringLiteral("describing");
    auto bus = QDBusConnection::connectToBus(mBus->address(), name);
    const QDBusMessage answer = bus.call(QDBusMessage::createMethodCall(QString::fromLatin1(OneProgram::busName),
        QStringLiteral("/com/quillory/Frameflow"), QStringLiteral("org.freedesktop.DBus.Introspectable"),
        QStringLiteral("Introspect")));
    const QString text = answer.arguments().value(0).toString();
    for (const char* method : {"Activate", "Open", "ActivateAction"}) {
        QVERIFY2(text.contains(QStringLiteral("<method name=\"%1\">").arg(QLatin1String(method))), qPrintable(text));
    }
    QDBusConnection::disconnectFromBus(name);
}

QTEST_GUILESS_MAIN(OneProgramTest)
#include "OneProgramTest.moc"
