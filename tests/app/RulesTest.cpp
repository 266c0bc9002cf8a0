#include "RectText.h"
#include "ScreenChoice.h"
#include "SlideKeys.h"
#include "SlideTiming.h"
#include "StartArguments.h"

#include <QKeyEvent>
#include <QTest>

#include <unistd.h>

using namespace frameflow;
using namespace std::chrono_literals;

class RulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withOneDisplayTheStoredFrameIsIgnored();
    void theDisplayWhoseFrameEqualsTheStoredOneIsTaken();
    void theFirstOfTwoEqualDisplaysIsTaken();
    void aFrameThatMatchesNoDisplayFallsBackToTheMainDisplay_data();
    void aFrameThatMatchesNoDisplayFallsBackToTheMainDisplay();
    void windowModeIsHalfTheDisplayAtItsLowerLeft();

    void aLongerIntervalKeepsTheTimeAlreadyShown();
    void aShorterIntervalThatHasPassedFiresAtOnce();
    void anIntervalThatEqualsTheTimeShownFiresAtOnce();
    void postponingGivesFiveSecondsAtLeast();
    void aUselessIntervalLeavesTheProgramRoomToBreathe_data();
    void aUselessIntervalLeavesTheProgramRoomToBreathe();

    void keysMeanWhatTheTableSays_data();
    void keysMeanWhatTheTableSays();
    void modifierMediaAndInputMethodKeysAreNoKeys_data();
    void modifierMediaAndInputMethodKeysAreNoKeys();

    void keysWithModifiersAreNoDigits();
    void argumentsBecomeAbsoluteFiles();
};

void RulesTest::withOneDisplayTheStoredFrameIsIgnored()
{
    const QRect only(0, 0, 800, 600);
    QVERIFY(!rememberedScreen({only}, textFromRect(only)));
}

void RulesTest::theDisplayWhoseFrameEqualsTheStoredOneIsTaken()
{
    const std::vector<QRect> frames{{0, 0, 800, 600}, {800, 0, 1024, 768}};
    QCOMPARE(rememberedScreen(frames, QStringLiteral("{{800, 0}, {1024, 768}}")).value_or(99), size_t(1));
    QCOMPARE(rememberedScreen(frames, QStringLiteral("{{0, 0}, {800, 600}}")).value_or(99), size_t(0));
}

void RulesTest::theFirstOfTwoEqualDisplaysIsTaken()
{
    const std::vector<QRect> frames{{5, 0, 8, 6}, {0, 0, 800, 600}, {0, 0, 800, 600}};
    QCOMPARE(rememberedScreen(frames, QStringLiteral("{{0, 0}, {800, 600}}")).value_or(99), size_t(1));
}

void RulesTest::aFrameThatMatchesNoDisplayFallsBackToTheMainDisplay_data()
{
    QTest::addColumn<QString>("stored");
    QTest::newRow("nothing stored") << QString();
    QTest::newRow("another size") << QStringLiteral("{{800, 0}, {1024, 767}}");
    QTest::newRow("another place") << QStringLiteral("{{801, 0}, {1024, 768}}");
    QTest::newRow("garbage") << QStringLiteral("somewhere");
    QTest::newRow("zero rectangle") << QStringLiteral("{{0, 0}, {0, 0}}");
}

void RulesTest::aFrameThatMatchesNoDisplayFallsBackToTheMainDisplay()
{
    QFETCH(QString, stored);
    QVERIFY(!rememberedScreen({{0, 0, 800, 600}, {800, 0, 1024, 768}}, stored));
}

void RulesTest::windowModeIsHalfTheDisplayAtItsLowerLeft()
{
    QCOMPARE(windowModeFrame(QRect(100, 50, 1920, 1080)), QRect(100, 590, 960, 540));
    QCOMPARE(windowModeFrame(QRect(0, 0, 801, 601)), QRect(0, 301, 400, 300));
}

void RulesTest::aLongerIntervalKeepsTheTimeAlreadyShown()
{
    const TimePoint now(100s);
    const auto deadline = retimed(now, now + 2s, 10s, 20s); // shown for 8 of 10 seconds
    QVERIFY(deadline.has_value());
    QVERIFY(*deadline == now + 12s);
}

void RulesTest::aShorterIntervalThatHasPassedFiresAtOnce()
{
    const TimePoint now(100s);
    QVERIFY(!retimed(now, now + 2s, 10s, 5s));
}

void RulesTest::anIntervalThatEqualsTheTimeShownFiresAtOnce()
{
    const TimePoint now(100s);
    QVERIFY(!retimed(now, now + 2s, 10s, 8s));
    QVERIFY(retimed(now, now + 2s, 10s, 8s + 1ns));
}

void RulesTest::postponingGivesFiveSecondsAtLeast()
{
    const TimePoint now(100s);
    QVERIFY(postponed(now, now + 1s) == now + 5s);
    QVERIFY(postponed(now, now + 5s) == now + 5s);
    QVERIFY(postponed(now, now + 9s) == now + 9s);
}

void RulesTest::aUselessIntervalLeavesTheProgramRoomToBreathe_data()
{
    QTest::addColumn<double>("seconds");
    QTest::newRow("absent") << 0.0;
    QTest::newRow("negative") << -3.0;
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("minus infinity") << -std::numeric_limits<double>::infinity();
}

void RulesTest::aUselessIntervalLeavesTheProgramRoomToBreathe()
{
    QFETCH(double, seconds);
    QVERIFY(slideDuration(seconds) >= 100ms);
    QVERIFY(slideDuration(seconds) < 1s);
}

void RulesTest::keysMeanWhatTheTableSays_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("seconds"); // 0: stop
    QTest::addColumn<bool>("space");
    for (int digit = 1; digit <= 9; ++digit) {
        QTest::addRow("%d", digit) << int(Qt::Key_0) + digit << QString::number(digit) << digit << false;
    }
    QTest::newRow("0") << int(Qt::Key_0) << QStringLiteral("0") << 0 << false;
    QTest::newRow("space") << int(Qt::Key_Space) << QStringLiteral(" ") << 0 << true;
    QTest::newRow("a letter") << int(Qt::Key_A) << QStringLiteral("a") << 0 << false;
    QTest::newRow("up") << int(Qt::Key_Up) << QString() << 0 << false;
    QTest::newRow("minus") << int(Qt::Key_Minus) << QStringLiteral("-") << 0 << false;
    QTest::newRow("return") << int(Qt::Key_Return) << QStringLiteral("\r") << 0 << false;
}

void RulesTest::keysMeanWhatTheTableSays()
{
    QFETCH(int, key);
    QFETCH(QString, text);
    QFETCH(int, seconds);
    QFETCH(bool, space);
    const auto meaning = slideKey(QKeyEvent(QEvent::KeyPress, key, Qt::NoModifier, text));
    QVERIFY(meaning.has_value());
    QCOMPARE(meaning->seconds.value_or(0), seconds);
    QCOMPARE(meaning->isSpace, space);
}

void RulesTest::modifierMediaAndInputMethodKeysAreNoKeys_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("shift") << int(Qt::Key_Shift);
    QTest::newRow("control") << int(Qt::Key_Control);
    QTest::newRow("alt") << int(Qt::Key_Alt);
    QTest::newRow("right alt") << int(Qt::Key_AltGr);
    QTest::newRow("meta") << int(Qt::Key_Meta);
    QTest::newRow("caps lock") << int(Qt::Key_CapsLock);
    QTest::newRow("volume up") << int(Qt::Key_VolumeUp);
    QTest::newRow("media play") << int(Qt::Key_MediaPlay);
    QTest::newRow("brightness") << int(Qt::Key_MonBrightnessUp);
    QTest::newRow("dead acute") << int(Qt::Key_Dead_Acute);
    QTest::newRow("compose") << int(Qt::Key_Multi_key);
    QTest::newRow("kanji") << int(Qt::Key_Kanji);
    QTest::newRow("unknown") << int(Qt::Key_unknown);
}

void RulesTest::keysWithModifiersAreNoDigits()
{
    const auto key = [](int code, const char* text, Qt::KeyboardModifiers modifiers) {
        return slideKey(QKeyEvent(QEvent::KeyPress, code, modifiers, QString::fromLatin1(text)));
    };
    QVERIFY(!key(Qt::Key_3, "3", Qt::AltModifier));
    QVERIFY(!key(Qt::Key_6, "6", Qt::MetaModifier));
    QVERIFY(!key(Qt::Key_Space, " ", Qt::AltModifier));
    QVERIFY(key(Qt::Key_5, "5", Qt::ControlModifier) && !key(Qt::Key_5, "5", Qt::ControlModifier)->seconds);
    QVERIFY(!key(Qt::Key_Space, " ", Qt::ControlModifier)->isSpace);
    QCOMPARE(key(Qt::Key_5, "5", Qt::KeypadModifier)->seconds.value_or(0), 5);
    QCOMPARE(key(Qt::Key_5, "5", Qt::ShiftModifier)->seconds.value_or(0), 5); // where digits stand above
}

void RulesTest::modifierMediaAndInputMethodKeysAreNoKeys()
{
    QFETCH(int, key);
    QVERIFY(!slideKey(QKeyEvent(QEvent::KeyPress, key, Qt::NoModifier)));
}

void RulesTest::argumentsBecomeAbsoluteFiles()
{
    const QByteArray here = QByteArray(get_current_dir_name());
    const auto files = filesFromArguments(
        {"a b.jpg", "/tmp/folder/", "file:///tmp/x%20y.png", "-style", "http://example.org/a.jpg", ""});
    QCOMPARE(files.size(), 5);
    QCOMPARE(files[0].path(), here + "/a b.jpg");
    QCOMPARE(files[1].path(), QByteArray("/tmp/folder"));
    QCOMPARE(files[2].path(), QByteArray("/tmp/x y.png"));
    QCOMPARE(files[3].path(), here + "/-style");
    // A name like any other, of a file that is hardly there.
    QCOMPARE(files[4].path(), here + "/http:/example.org/a.jpg");
}

QTEST_GUILESS_MAIN(RulesTest)
#include "RulesTest.moc"
