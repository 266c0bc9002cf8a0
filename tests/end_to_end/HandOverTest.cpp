#include "NameOwner.h"
#include "SessionBus.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"
#include "StaysTrue.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <csignal>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

const QString uriList = QStringLiteral("text/uri-list");
const QString plainText = QStringLiteral("text/plain");

} // namespace

// One program in a session: what is handed to a second one, and what the desktop asks for over the bus.
class HandOverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mShow = std::make_unique<ShowDriver>();
        mSecond = std::make_unique<Program>(ShowDriver::builtProgram());
        mShow->addColour("2.png", mRed);
        mShow->addColour("3.png", mBlue);
        mShow->addColourTo(mOther, "1.png", mGreen); // comes first in the order of names
    }
    void cleanup()
    {
        mSecond.reset();
        mShow.reset();
    }

    void aSecondStartHandsItsFilesOverAndLeaves();
    void relativeArgumentsAreTakenFromTheSecondProgramsFolder();
    void namesThatAreNoTextAreHandedOver();
    void aSecondStartBringsTheFirstToTheFront_data();
    void aSecondStartBringsTheFirstToTheFront();
    void aShowTakesThePlaceOfTheWelcome();
    void aSecondStartNeedsNoDisplay();
    void withoutABusEachStartIsAProgramOfItsOwn();
    void aBusThatHangsDelaysNothing();
    void aNameThatSomebodyElseHasIsHarmless();
    void afterTheFirstHasEndedTheNextIsTheFirst();

    void theDesktopOpensFiles();
    void theDesktopActivatesTheProgram();
    void theDesktopGivesCommands();
    void theTrashIsNotForOthers();
    void hostileCallsAreHarmless();

    void filesAreDroppedFromAnotherProgram_data();
    void filesAreDroppedFromAnotherProgram();
    void otherThingsCannotBeDropped_data();
    void otherThingsCannotBeDropped();
    void aDragWhoseProgramDiesLeavesNoFrame();
    void theNextDragIsJudgedByItself_data();
    void theNextDragIsJudgedByItself();
    void whatIsDraggedWithinTheOpenPanelIsNotOpened();

    void theBusStartsTheProgram_data();
    void theBusStartsTheProgram();
    void aServiceThatNobodyAsksEnds();
    void aServiceWithoutABusEnds();

private:
    static QString bus() { return qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"); }
    static QString service()
    {
        return QFileInfo(ShowDriver::builtProgram()).path() + QStringLiteral("/../libexec/frameflow/frameflow-service");
    }
    QString greenFile() const { return QString::fromUtf8(mOther.pathOf("1.png")); }
    QString greenUrl() const { return mOther.urlOf("1.png").toUrl().toString(QUrl::FullyEncoded); }
    bool hasLeft(Program& program) const { return program.waitForExit() && program.exitCode() == 0; }
    // Has the other program's window offer that, and carries it from there over the program's, with the button still
    // held. Answers what went wrong.
    QByteArray carryHere(Program& other, const QString& text, const QString& type) const;
    // That what is carried would be taken.
    bool isFrameSeen() const;
    // Waits until a frame shows that it would be taken, or sees that none does, and drops it. Answers what the other
    // program says then.
    QByteArray dragHere(const QString& text, const QString& type, bool isTaken) const;
    // The other program dies in the middle of it, and the mouse is used here.
    bool abandonDrag(const QString& text, const QString& type) const;
    bool startFirst() { return mShow->startAndRest() && mShow->waitForColour(mRed); }

    std::unique_ptr<ShowDriver> mShow;
    std::unique_ptr<Program> mSecond;
    TestFolder mOther;
    const QColor mRed{200, 30, 30};
    const QColor mGreen{30, 160, 30};
    const QColor mBlue{30, 30, 200};
    const QColor mFrame{48, 140, 198}; // where no desktop says otherwise
};

void HandOverTest::aSecondStartHandsItsFilesOverAndLeaves()
{
    QVERIFY(startFirst());
    QVERIFY(mSecond->start({greenFile()}));
    QVERIFY(hasLeft(*mSecond));
    QCOMPARE(mSecond->output(), QByteArray());
    QVERIFY(mShow->waitForColour(mGreen));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(mRed)); // the files of the first are still there
    QCOMPARE(mShow->server().windows().size(), 1);
}

void HandOverTest::relativeArgumentsAreTakenFromTheSecondProgramsFolder()
{
    QVERIFY(startFirst());
    QVERIFY(QDir::setCurrent(QString::fromUtf8(mOther.path())));
    const bool isStarted = mSecond->start({QStringLiteral("1.png")});
    QVERIFY(QDir::setCurrent(QStringLiteral("/")));
    QVERIFY(isStarted);
    QVERIFY(hasLeft(*mSecond));
    QVERIFY(mShow->waitForColour(mGreen));
}

void HandOverTest::namesThatAreNoTextAreHandedOver()
{
    const QByteArray name("0\xff\xfe;%#?\n.png");
    QVERIFY(rename(mOther.pathOf("1.png").constData(), mOther.pathOf(name).constData()) == 0);
    QVERIFY(startFirst());
    QVERIFY(mSecond->start({QString::fromLatin1("file://" + mOther.pathOf(name).toPercentEncoding("/"))}));
    QVERIFY(hasLeft(*mSecond));
    QVERIFY(mShow->waitForColour(mGreen));
}

void HandOverTest::aSecondStartBringsTheFirstToTheFront_data()
{
    QTest::addColumn<bool>("withFile");
    QTest::addColumn<bool>("minimised");
    QTest::newRow("alone") << false << false;
    QTest::newRow("with a file") << true << false;
    QTest::newRow("alone, minimised") << false << true;
    QTest::newRow("with a file, minimised") << true << true;
}

void HandOverTest::aSecondStartBringsTheFirstToTheFront()
{
    QFETCH(const bool, withFile);
    QFETCH(const bool, minimised);
    QVERIFY(startFirst());
    const WindowId show = *mShow->showWindow();
    Program other(QStringLiteral(STAND_IN));
    QVERIFY(other.start());
    const auto window = mShow->server().waitForWindow(other.processId());
    QVERIFY(window.has_value());
    mShow->server().activate(*window);
    QVERIFY(waitFor([&] { return mShow->server().isActive(*window); }));
    if (minimised) {
        mShow->server().minimise(show);
        QVERIFY(waitFor([&] { return mShow->server().isMinimised(show); }));
    }
    QVERIFY(mSecond->start(withFile ? QStringList{greenFile()} : QStringList()));
    QVERIFY(hasLeft(*mSecond));
    QVERIFY(waitFor([&] { return mShow->server().isActive(show); }));
    QVERIFY(mShow->waitForColour(withFile ? mGreen : mRed));
}

void HandOverTest::aShowTakesThePlaceOfTheWelcome()
{
    QVERIFY(mShow->start({}));
    QVERIFY(mShow->showWindow().has_value());
    QVERIFY(mSecond->start({greenFile()}));
    QVERIFY(hasLeft(*mSecond));
    QVERIFY(mShow->waitForColour(mGreen));
    QCOMPARE(mShow->server().windowsOf(mShow->program().processId()).size(), 1);
    QVERIFY(waitFor([&] { return mShow->server().isActive(*mShow->showWindow()); }));
}

void HandOverTest::aSecondStartNeedsNoDisplay()
{
    QVERIFY(startFirst());
    Program remote(QStringLiteral("/usr/bin/env"));
    QVERIFY(remote.start({QStringLiteral("-u"), QStringLiteral("DISPLAY"), QStringLiteral("-u"),
        QStringLiteral("QT_QPA_PLATFORM"), ShowDriver::builtProgram(), greenFile()}));
    QVERIFY(hasLeft(remote));
    QVERIFY(mShow->waitForColour(mGreen));
}

void HandOverTest::withoutABusEachStartIsAProgramOfItsOwn()
{
    QVERIFY(startFirst());
    QVERIFY(mSecond->start(
        {greenFile()}, {{QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nowhere/bus")}}));
    QVERIFY(mShow->server().waitForWindow(mSecond->processId()).has_value());
    QVERIFY(mShow->waitForColour(mGreen));
    QCOMPARE(mShow->server().windows().size(), 2);
}

void HandOverTest::aBusThatHangsDelaysNothing()
{
    const SessionBus hanging;
    hanging.suspend();
    mShow->addColour("1.png", mGreen);
    const auto untilShown = [this](const QString& address) {
        QElapsedTimer timer;
        timer.start();
        Program program(ShowDriver::builtProgram());
        const bool isShown = program.start({QString::fromUtf8(mShow->folder.path())},
                                 {{QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address}})
            && mShow->waitForColour(mGreen);
        const qint64 time = timer.elapsed();
        timer.restart();
        program.end();
        const bool hasEnded = program.exitCode() == 0;
        return isShown && hasEnded ? std::pair(time, timer.elapsed()) : std::pair<qint64, qint64>(-1, -1);
    };
    mShow->set(keys::hintsShown, true);
    QVERIFY(mShow->start({})); // for the settings
    mShow->program().end();
    const auto [withBus, endWithBus] = untilShown(bus());
    const auto [hanging1, end1] = untilShown(hanging.address());
    QVERIFY(withBus >= 0);
    QVERIFY(hanging1 >= 0);
    // Whoever waited for the bus would wait for seconds.
    QVERIFY2(hanging1 < withBus + 1000, qPrintable(QStringLiteral("%1 instead of %2 ms").arg(hanging1).arg(withBus)));
    QVERIFY2(end1 < endWithBus + 1000, qPrintable(QStringLiteral("%1 instead of %2 ms").arg(end1).arg(endWithBus)));
}

void HandOverTest::aNameThatSomebodyElseHasIsHarmless()
{
    const NameOwner owner(bus(), OwnerAnswer::No);
    QVERIFY(mShow->start({greenFile().toUtf8()}));
    QVERIFY(mShow->waitForColour(mGreen));
    QCOMPARE(owner.calls().size(), 1);
    QVERIFY(mShow->program().isRunning());
}

void HandOverTest::afterTheFirstHasEndedTheNextIsTheFirst()
{
    QVERIFY(startFirst());
    kill(static_cast<pid_t>(mShow->program().processId()), SIGKILL);
    QVERIFY(mShow->program().waitForExit());
    QVERIFY(mSecond->start({greenFile()}));
    QVERIFY(mShow->waitForColour(mGreen));
    QVERIFY(mSecond->isRunning());
}

// ---- What the desktop asks for

void HandOverTest::theDesktopOpensFiles()
{
    QVERIFY(startFirst());
    DesktopCaller desktop(bus());
    QCOMPARE(desktop.open({greenUrl()}), QString());
    QVERIFY(mShow->waitForColour(mGreen));
}

void HandOverTest::theDesktopActivatesTheProgram()
{
    QVERIFY(startFirst());
    const WindowId show = *mShow->showWindow();
    mShow->server().minimise(show);
    QVERIFY(waitFor([&] { return mShow->server().isMinimised(show); }));
    DesktopCaller desktop(bus());
    QCOMPARE(desktop.activate({{QStringLiteral("desktop-startup-id"), QStringLiteral("panel-1_TIME0")}}), QString());
    QVERIFY(waitFor([&] { return mShow->server().isActive(show); }));
}

void HandOverTest::theDesktopGivesCommands()
{
    QVERIFY(startFirst());
    DesktopCaller desktop(bus());
    QCOMPARE(desktop.perform(QStringLiteral("nextSlide")), QString());
    QVERIFY(mShow->waitForColour(mBlue));
    QCOMPARE(desktop.perform(QStringLiteral("ShowPreferences")), QString());
    QVERIFY(waitFor([&] { return mShow->server().windowsOf(mShow->program().processId()).size() == 2; }));
    QCOMPARE(desktop.perform(QStringLiteral("quit")), QString());
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode().value_or(-1), 0);
}

void HandOverTest::theTrashIsNotForOthers()
{
    QVERIFY(startFirst());
    DesktopCaller desktop(bus());
    QVERIFY(!desktop.perform(QStringLiteral("trashSlide")).isEmpty());
    QVERIFY(!desktop.perform(QStringLiteral("deleteLater")).isEmpty());
    QVERIFY(QFile::exists(QString::fromUtf8(mShow->folder.pathOf("2.png"))));
}

void HandOverTest::hostileCallsAreHarmless()
{
    QVERIFY(startFirst());
    DesktopCaller desktop(bus());
    QStringList many;
    for (int i = 0; i < 100'000; ++i) {
        many.append(QStringLiteral("file:///nowhere/%1.png").arg(i));
    }
    QCOMPARE(desktop.open(many), QString());
    QCOMPARE(desktop.open({QStringLiteral("https://frameflow.example/"), QStringLiteral("file:///%00"), QString(),
                 QStringLiteral("../../etc"), QStringLiteral("file://"), QStringLiteral("%zz%")}),
        QString());
    QVERIFY(!desktop.call(QStringLiteral("Open"), {7}).isEmpty());
    QVERIFY(!desktop.call(QStringLiteral("Activate"), {QStringLiteral("now")}).isEmpty());
    QVERIFY(!desktop.call(QStringLiteral("ActivateAction"), {}).isEmpty());
    QVERIFY(!desktop.perform(QString(1'000'000, QLatin1Char('x'))).isEmpty());
    QCOMPARE(desktop.open({greenUrl()}), QString());
    QVERIFY(mShow->waitForColour(mGreen));
    QCOMPARE(mShow->server().windows().size(), 1);
}

// ---- Dropped on its windows

QByteArray HandOverTest::carryHere(Program& other, const QString& text, const QString& type) const
{
    const auto& server = mShow->server();
    if (!other.start({QStringLiteral("other"), text, type})) {
        return "not started";
    }
    const auto source = server.waitForWindow(other.processId());
    const auto target = mShow->showWindow();
    if (!source || !target) {
        return "no windows";
    }
    const QRect corner(QPoint(0, 30), QSize(200, 150));
    if (!server.putInFrontAt(*source, corner)) {
        return "not in its place";
    }
    const QRect inside = server.geometry(*target);
    const QPoint to(inside.center().x(), inside.bottom() - 20);
    server.holdButton(corner.center());
    server.moveMouse((corner.center() + to) / 2);
    server.moveMouse(to);
    return {};
}

bool HandOverTest::isFrameSeen() const
{
    const auto window = mShow->showWindow();
    const QRect inside = window ? mShow->server().geometry(*window) : QRect();
    return mShow->server().pixel(QPoint(inside.left() + 1, inside.center().y())) == mFrame.rgb();
}

QByteArray HandOverTest::dragHere(const QString& text, const QString& type, bool isTaken) const
{
    Program other(QStringLiteral(STAND_IN));
    const QByteArray problem = carryHere(other, text, type);
    if (!problem.isEmpty()) {
        return problem;
    }
    const auto isSeen = [this] {
        // A hand is never still.
        mShow->server().moveMouse(
            mShow->server().mousePosition() + QPoint(mShow->server().mousePosition().x() % 2 ? -1 : 1, 0));
        return isFrameSeen();
    };
    const bool isAsWished = isTaken ? waitFor(isSeen) : staysTrueFor(300ms, [&] { return !isSeen(); });
    mShow->server().releaseButton();
    if (!isAsWished) {
        return "the wrong frame";
    }
    const bool hasEnded = waitFor([&] { return other.output().contains("dropped"); });
    return hasEnded ? other.output().mid(other.output().indexOf("dropped")).trimmed() : other.output();
}

bool HandOverTest::abandonDrag(const QString& text, const QString& type) const
{
    Program other(QStringLiteral(STAND_IN));
    const bool isCarried = carryHere(other, text, type).isEmpty()
        && (type != uriList || waitFor([this] { return isFrameSeen(); })) && mShow->waitUntilAtRest();
    const bool isDead = isCarried && ::kill(static_cast<pid_t>(other.processId()), SIGKILL) == 0 && other.waitForExit();
    mShow->server().releaseButton();
    mShow->server().moveMouse(mShow->server().bounds().center());
    return isDead;
}

void HandOverTest::filesAreDroppedFromAnotherProgram_data()
{
    QTest::addColumn<bool>("onShow");
    QTest::newRow("welcome") << false;
    QTest::newRow("show") << true;
}

void HandOverTest::filesAreDroppedFromAnotherProgram()
{
    QFETCH(const bool, onShow);
    QVERIFY(onShow ? startFirst() : mShow->start({}));
    const QByteArray name("0\xff\xfe %#.png");
    QVERIFY(rename(mOther.pathOf("1.png").constData(), mOther.pathOf(name).constData()) == 0);
    const QString url = QString::fromLatin1("file://" + mOther.pathOf(name).toPercentEncoding("/"));
    QCOMPARE(dragHere(url, uriList, true), QByteArray("dropped 1")); // copied
    // Away from the other program's window, which the window manager may leave above.
    const QPoint corner = mShow->server().bounds().bottomRight() - QPoint(10, 10);
    const auto isGreen = [&] { return mShow->server().pixel(corner) == mGreen.rgb(); };
    QVERIFY(waitFor(isGreen));
    QVERIFY(QFile::exists(QString::fromUtf8(mOther.path())));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(staysTrueFor(200ms, isGreen)); // the only one
}

void HandOverTest::otherThingsCannotBeDropped_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("type");
    QTest::newRow("text") << QStringLiteral("/etc/hostname") << plainText;
    QTest::newRow("web address") << QStringLiteral("https://frameflow.example/1.png") << uriList;
}

void HandOverTest::otherThingsCannotBeDropped()
{
    QFETCH(const QString, text);
    QFETCH(const QString, type);
    QVERIFY(mShow->start({}));
    QCOMPARE(dragHere(text, type, false), QByteArray("dropped 0"));
    QCOMPARE(mShow->server().windowsOf(mShow->program().processId()).size(), 1);
}

void HandOverTest::aDragWhoseProgramDiesLeavesNoFrame()
{
    QVERIFY(startFirst());
    QVERIFY(abandonDrag(greenUrl(), uriList));
    QVERIFY(mShow->waitForColour(mRed));
    QVERIFY(!isFrameSeen());
}

void HandOverTest::theNextDragIsJudgedByItself_data()
{
    QTest::addColumn<QString>("abandoned"); // what kind
    QTest::addColumn<QString>("next");
    QTest::newRow("files after files") << uriList << uriList;
    QTest::newRow("files after text") << plainText << uriList;
    QTest::newRow("text after files") << uriList << plainText;
}

void HandOverTest::theNextDragIsJudgedByItself()
{
    QFETCH(const QString, abandoned);
    QFETCH(const QString, next);
    const bool isTaken = next == uriList;
    QVERIFY(startFirst());
    QVERIFY(abandonDrag(mShow->folder.urlOf("3.png").toUrl().toString(QUrl::FullyEncoded), abandoned));
    QCOMPARE(dragHere(greenUrl(), next, isTaken), QByteArray(isTaken ? "dropped 1" : "dropped 0"));
    const QPoint corner = mShow->server().bounds().bottomRight() - QPoint(10, 10);
    const QRgb colour = (isTaken ? mGreen : mRed).rgb();
    const auto isRight = [&] { return mShow->server().pixel(corner) == colour; };
    QVERIFY(waitFor(isRight));
    QVERIFY(staysTrueFor(300ms, isRight));
}

void HandOverTest::whatIsDraggedWithinTheOpenPanelIsNotOpened()
{
    QVERIFY(startFirst());
    const auto& server = mShow->server();
    mShow->press(QStringLiteral("ctrl+o"));
    const auto panel = server.waitForWindow(mShow->program().processId(), QStringLiteral("Open — Frameflow"));
    QVERIFY(panel);
    QVERIFY(mShow->waitUntilAtRest());
    const QRect area = server.geometry(*panel);
    const QPoint row(area.left() + 230, area.top() + 91); // of its list: a folder
    server.holdButton(row);
    for (int step = 1; step <= 10; ++step) {
        server.moveMouse(row + QPoint(2, 8) * step);
    }
    QVERIFY(mShow->waitUntilAtRest());
    server.releaseButton();
    QVERIFY(staysTrueFor(300ms, [&] { return server.isVisible(*panel); }));
    mShow->press(QStringLiteral("Escape"));
    QVERIFY(mShow->waitForColour(mRed));
}

// ---- Started by the bus

void HandOverTest::theBusStartsTheProgram_data()
{
    QTest::addColumn<QByteArray>("by");
    QTest::newRow("files") << QByteArray("files");
    QTest::newRow("activation") << QByteArray("activation");
    QTest::newRow("a command") << QByteArray("command");
    QTest::newRow("nothing usable") << QByteArray("nothing");
}

void HandOverTest::theBusStartsTheProgram()
{
    QFETCH(const QByteArray, by);
    QVERIFY(mShow->start({})); // for the settings
    mShow->program().end();
    const QString folder = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/dbus-1/services");
    QVERIFY(QDir().mkpath(folder));
    QFile file(folder + QStringLiteral("/com.quillory.Frameflow.service"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[D-BUS Service]\nName=com.quillory.Frameflow\nExec=\"" + service().toUtf8() + "\"\n");
    file.close();
    DesktopCaller desktop(bus());
    desktop.reloadServices();
    QVERIFY(desktop.owner().isEmpty());
    const bool isShow = by == "files";
    if (isShow) {
        QCOMPARE(desktop.open({greenUrl()}), QString());
        QVERIFY(mShow->waitForColour(mGreen));
    } else if (by == "activation") {
        QCOMPARE(desktop.activate(), QString());
    } else if (by == "command") {
        QCOMPARE(desktop.perform(QStringLiteral("nextSlide")), QString());
    } else {
        QCOMPARE(desktop.open({QStringLiteral("https://frameflow.example/1.png")}), QString());
    }
    QVERIFY(waitFor([&] { return mShow->server().windows().size() == 1; }));
    const WindowId window = mShow->server().windows().front();
    QCOMPARE(mShow->server().isFullScreen(window), isShow); // else it is the welcome
    QVERIFY(waitFor([&] { return mShow->server().isActive(window); }));
    // A start by hand finds it.
    QVERIFY(mSecond->start({greenFile()}));
    QVERIFY(hasLeft(*mSecond));
    QVERIFY(mShow->waitForColour(mGreen));
    QVERIFY(file.remove());
    QCOMPARE(desktop.perform(QStringLiteral("quit")), QString());
    QVERIFY(waitFor([&] { return desktop.owner().isEmpty(); }));
    desktop.reloadServices();
}

void HandOverTest::aServiceThatNobodyAsksEnds()
{
    Program program(service());
    QVERIFY(program.start());
    QVERIFY(program.waitForExit(25s));
    QCOMPARE(program.exitCode().value_or(-1), 0);
    QVERIFY(mShow->server().windows().isEmpty());
}

void HandOverTest::aServiceWithoutABusEnds()
{
    Program program(service());
    QVERIFY(
        program.start({}, {{QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nowhere/bus")}}));
    QVERIFY(program.waitForExit());
    QCOMPARE(program.exitCode().value_or(-1), 1);
    QCOMPARE(program.output(), QByteArray("frameflow: there is no session bus to serve.\n"));
}

QTEST_GUILESS_MAIN(HandOverTest)
#include "HandOverTest.moc"
