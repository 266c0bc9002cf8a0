#include "HeldDecoderCopy.h"
#include "HeldPictures.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"
#include "SlideLog.h"
#include "StaysTrue.h"

#include <QDir>
#include <QTest>

#include <csignal>
#include <cstdlib>

#include <unistd.h>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);
const QColor blue(30, 30, 200);
const QColor yellow(200, 200, 40);
// Large enough to keep a decoder busy for a while.
constexpr QSize large(9000, 7000);

} // namespace

// What becomes of a slide that is being waited for, as a person sees it.
class WaitsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void aPictureWhoseDecoderIsKilledIsShownAllTheSame_data();
    void aPictureWhoseDecoderIsKilledIsShownAllTheSame();
    void aHeldPictureWhoseDecoderIsKilledIsDecodedAgain();
    void aPictureThatKillsEveryDecoderIsLeftOut();
    void aProgramThatIsKilledLeavesNoDecoderBehind();
    void aPictureThatIsCutOffOrRemovedMeanwhileHoldsUpNothing_data();
    void aPictureThatIsCutOffOrRemovedMeanwhileHoldsUpNothing();
    void theWindowAnswersWhileASlideIsWaitedFor();
    void aHeldKeyStopsWhereItIsReleased_data();
    void aHeldKeyStopsWhereItIsReleased();

private:
    // The program as it was built, but for the decoder of the common types.
    void useHeldDecoder()
    {
        mInstalled = std::make_unique<TestFolder>();
        mShow = std::make_unique<ShowDriver>(copyWithHeldDecoder(*mInstalled));
        mHeld = std::make_unique<HeldPictures>(mShow->folder);
    }
    QList<qint64> decoders() const { return childrenOf(mShow->program().processId()); }
    // A decoder that has worked for at least that long and works still; absent when the machine was too busy to see it
    // before the slide was there.
    std::optional<qint64> awaitWorkingDecoder(std::chrono::milliseconds atLeast) const
    {
        std::optional<qint64> found;
        QMap<qint64, std::chrono::milliseconds> before;
        for (const qint64 decoder : decoders()) {
            before.insert(decoder, processorTimeOf(decoder));
        }
        const bool isOver = waitFor([&] {
            for (const qint64 decoder : decoders()) {
                if (processorTimeOf(decoder) - before.value(decoder, 0ms) >= atLeast) {
                    found = decoder;
                }
            }
            return found.has_value() || isShowing(green);
        });
        return isOver ? found : std::nullopt;
    }
    bool isShowing(const QColor& colour) const
    {
        constexpr int tolerance = 4; // JPEG
        const QColor pixel(mShow->server().pixel(mShow->server().bounds().center()));
        return std::abs(pixel.red() - colour.red()) <= tolerance
            && std::abs(pixel.green() - colour.green()) <= tolerance
            && std::abs(pixel.blue() - colour.blue()) <= tolerance;
    }
    static void killNow(qint64 process) { ::kill(static_cast<pid_t>(process), SIGKILL); }
    // A show of plain colours around a slow picture: 1 red, 2 green and slow, 3 blue; on screen is the first, and the
    // second has just been asked for.
    void startWithSlowSecond()
    {
        mShow = std::make_unique<ShowDriver>();
        mShow->addColour("1.png", red);
        mShow->addColour("2.jpg", green, large);
        mShow->addColour("3.png", blue);
        mShow->set(keys::imageFitMode, keys::fitModeStretch);
        QVERIFY(mShow->startWithFolder());
        QVERIFY(mShow->waitForColour(red));
        mShow->press(QStringLiteral("Right"));
    }

    std::unique_ptr<TestFolder> mInstalled;
    std::unique_ptr<ShowDriver> mShow;
    std::unique_ptr<HeldPictures> mHeld;
};

void WaitsTest::cleanup()
{
    mHeld.reset();
    mShow.reset();
    mInstalled.reset();
}

void WaitsTest::aPictureWhoseDecoderIsKilledIsShownAllTheSame_data()
{
    QTest::addColumn<int>("milliseconds"); // of the decoder's work
    QTest::newRow("at its start") << 10;
    QTest::newRow("in the middle") << 150;
}

void WaitsTest::aPictureWhoseDecoderIsKilledIsShownAllTheSame()
{
    QFETCH(const int, milliseconds);
    startWithSlowSecond();
    const auto decoder = awaitWorkingDecoder(std::chrono::milliseconds(milliseconds));
    if (decoder) {
        killNow(*decoder);
        QVERIFY(waitFor([&] { return hasEnded(*decoder); }));
    }
    QVERIFY(mShow->waitForColour(green));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(blue));
    mShow->press(QStringLiteral("Left"));
    QVERIFY(mShow->waitForColour(green));
}

void WaitsTest::aHeldPictureWhoseDecoderIsKilledIsDecodedAgain()
{
    useHeldDecoder();
    mShow->addColour("1.png", red);
    mHeld->add("2.png", green);
    mShow->set(keys::imageFitMode, keys::fitModeStretch);
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(waitFor([&] { return mHeld->decodersOf("2.png").size() == 1; }));
    const qint64 first = mHeld->decodersOf("2.png").first();
    killNow(first);
    QVERIFY(waitFor([&] { return hasEnded(first) && mHeld->decodersOf("2.png").size() == 2; }));
    QVERIFY(!hasEnded(mHeld->decodersOf("2.png").last()));
    QVERIFY(mShow->waitForColour(red)); // until then the old slide stays
    mHeld->release("2.png");
    QVERIFY(mShow->waitForColour(green));
}

void WaitsTest::aPictureThatKillsEveryDecoderIsLeftOut()
{
    useHeldDecoder();
    mShow->addColour("1.png", red);
    mHeld->add("2.png", green);
    mShow->addColour("3.png", blue);
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(waitFor([&] {
        for (const qint64 decoder : mHeld->decodersOf("2.png")) {
            if (decoders().contains(decoder)) {
                killNow(decoder);
            }
        }
        return isShowing(blue);
    }));
    QCOMPARE(mHeld->decodersOf("2.png").size(), 2); // once, and once more
    QVERIFY(mShow->waitForColour(blue));
    QVERIFY(mShow->program().isRunning());
}

void WaitsTest::aProgramThatIsKilledLeavesNoDecoderBehind()
{
    startWithSlowSecond();
    static_cast<void>(awaitWorkingDecoder(50ms));
    const QList<qint64> left = decoders();
    QVERIFY(!left.isEmpty());
    killNow(mShow->program().processId());
    QVERIFY(mShow->program().waitForExit());
    for (const qint64 decoder : left) {
        QVERIFY(waitFor([&] { return hasEnded(decoder); }));
    }
}

void WaitsTest::aPictureThatIsCutOffOrRemovedMeanwhileHoldsUpNothing_data()
{
    QTest::addColumn<QByteArray>("what");
    QTest::addColumn<int>("milliseconds"); // of the decoder's work before it
    for (const int milliseconds : {0, 100}) {
        QTest::addRow("cut off after %d ms", milliseconds) << QByteArray("cut") << milliseconds;
        QTest::addRow("emptied after %d ms", milliseconds) << QByteArray("empty") << milliseconds;
        QTest::addRow("removed after %d ms", milliseconds) << QByteArray("remove") << milliseconds;
        QTest::addRow("replaced after %d ms", milliseconds) << QByteArray("replace") << milliseconds;
    }
}

void WaitsTest::aPictureThatIsCutOffOrRemovedMeanwhileHoldsUpNothing()
{
    QFETCH(const QByteArray, what);
    QFETCH(const int, milliseconds);
    startWithSlowSecond();
    if (milliseconds > 0) {
        static_cast<void>(awaitWorkingDecoder(std::chrono::milliseconds(milliseconds)));
    }
    const QByteArray path = mShow->folder.pathOf("2.jpg");
    if (what == "cut" || what == "empty") {
        QCOMPARE(truncate(path.constData(), what == "cut" ? 200000 : 0), 0);
    } else if (what == "remove") {
        QCOMPARE(unlink(path.constData()), 0);
    } else {
        mShow->addColour("2.jpg", yellow);
    }
    // As it was, as it is, or left out.
    QVERIFY(waitFor([&] { return !isShowing(red); }));
    mShow->press(QStringLiteral("Home"));
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("Left"));
    QVERIFY(mShow->waitForColour(blue));
    QVERIFY(mShow->program().isRunning());
}

void WaitsTest::theWindowAnswersWhileASlideIsWaitedFor()
{
    useHeldDecoder();
    mShow->addColour("1.png", red);
    mHeld->add("2.png", green);
    QVERIFY(mShow->startWithFolder());
    QVERIFY(mShow->waitForColour(red));
    const auto window = mShow->showWindow();
    QVERIFY(window.has_value());
    mShow->press(QStringLiteral("Right"));
    QVERIFY(waitFor([&] { return !mHeld->decodersOf("2.png").isEmpty(); }));
    mShow->press(QStringLiteral("ctrl+shift+w"));
    QVERIFY(waitFor([&] { return !mShow->server().isFullScreen(*window); }));
    mShow->press(QStringLiteral("F11"));
    QVERIFY(waitFor([&] { return mShow->server().isFullScreen(*window); }));
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("Escape"));
    QVERIFY(waitFor([&] {
        const auto windows = mShow->server().windowsOf(mShow->program().processId());
        return windows.size() == 1 && !mShow->server().isFullScreen(windows.first());
    }));
}

void WaitsTest::aHeldKeyStopsWhereItIsReleased_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("slides that are ready at once") << QSize(320, 200);
    QTest::newRow("slides that take longer than the key to repeat") << QSize(6000, 4000);
}

void WaitsTest::aHeldKeyStopsWhereItIsReleased()
{
    QFETCH(const QSize, size);
    mShow = std::make_unique<ShowDriver>();
    const QMap<QByteArray, QColor> colours{{"red", red}, {"green", green}, {"blue", blue}, {"yellow", yellow},
        {"cyan", Qt::cyan}, {"magenta", Qt::magenta}, {"white", Qt::white}, {"grey", QColor(128, 128, 128)}};
    const QByteArrayList names{"red", "green", "blue", "yellow", "cyan", "magenta", "white", "grey"};
    for (const QByteArray& name : names) {
        mShow->addColour(name + ".jpg", colours.value(name), size);
    }
    constexpr int files = 200;
    for (int i = 0; i < files; ++i) {
        const QByteArray from = mShow->folder.pathOf(names[i % names.size()] + ".jpg");
        QCOMPARE(link(from.constData(), mShow->folder.pathOf(QByteArray::number(1000 + i) + ".jpg").constData()), 0);
    }
    mShow->set(keys::endMode, keys::endModeWait);
    mShow->set(keys::imageFitMode, keys::fitModeZoom);
    QVERIFY(mShow->startAndRest());
    SlideLog log(mShow->server(), colours);
    QVERIFY(waitFor([&] { return log.count() == 1; }));
    mShow->server().holdKey(QStringLiteral("Right"));
    QVERIFY(waitFor([&] { return log.count() >= 8; }));
    mShow->server().releaseKey(QStringLiteral("Right"));
    const int atRelease = log.count();
    QVERIFY(mShow->waitUntilAtRest());
    // The slide that was waited for, what the keyboard sent before the release was seen, and what the log had not seen
    // yet: a handful, where a queue would bring dozens.
    QVERIFY2(log.count() <= atRelease + 5, QByteArray::number(log.count() - atRelease).constData());
    // Each slide came in its turn. Ones that gave way at once may have stood too briefly for the log, but it would see
    // a step back as one over nearly all of them.
    qsizetype turn = 0;
    for (const QByteArray& name : log.names()) {
        const qsizetype skipped = (names.indexOf(name) - turn + names.size()) % names.size();
        QVERIFY2(skipped < names.size() / 2, log.text().constData());
        turn = (names.indexOf(name) + 1) % names.size();
    }
}

QTEST_GUILESS_MAIN(WaitsTest)
#include "WaitsTest.moc"
