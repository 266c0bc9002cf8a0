#include "DecodeSchedule.h"

#include "DecoderKinds.h"
#include "ErrandThread.h"
#include "PoolJob.h"

#include <QTest>

#include <atomic>
#include <latch>
#include <vector>

using namespace frameflow;
using namespace std::chrono_literals;

using Running = std::vector<RunningDecode>;

namespace {

const TimePoint start{1h};

enum class Expected
{
    Nothing,
    First,
    Alone,
};

RunningDecode decode(Urgency urgency, Duration begun = {}, Attempt attempt = Attempt::First)
{
    static quint64 number = 0;
    return {++number, urgency, attempt, start + begun};
}

RunningDecode asked()
{
    return decode(Urgency::Asked);
}

RunningDecode ahead(Duration begun = {})
{
    return decode(Urgency::Ahead, begun);
}

RunningDecode thumbnail(Duration begun = {})
{
    return decode(Urgency::Thumbnail, begun);
}

RunningDecode alone(Urgency urgency = Urgency::Ahead, Duration begun = {})
{
    return decode(urgency, begun, Attempt::Alone);
}

} // namespace

Q_DECLARE_METATYPE(Running)
Q_DECLARE_METATYPE(WaitingDecodes)
Q_DECLARE_METATYPE(std::optional<Duration>)
Q_DECLARE_METATYPE(std::optional<TimePoint>)
Q_DECLARE_METATYPE(Duration)

class DecodeScheduleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatBeginsNext_data();
    void whatBeginsNext();
    void aheadIsSpreadOverADecodesLength();
    void whatStandsStill_data();
    void whatStandsStill();
    void suspensionEndsWithTheTimeAlone();
    void paceIsTheMiddleOfTheLastFew();
    void paceNeverDelaysBeyondAShare_data();
    void paceNeverDelaysBeyondAShare();
    void queueIsInOrderOfUrgencyAndComing();
    void kindsAreLearnt();
    void madeUpSuffixesAreNotRemembered();
    void errandsRunInTurn();
    void errandThatNeverEndsIsGivenUp();
    void errandNobodyWantsIsGivenUp();
    void errandThreadEndsWithoutItsErrand();
};

void DecodeScheduleTest::whatBeginsNext_data()
{
    QTest::addColumn<WaitingDecodes>("waiting");
    QTest::addColumn<Running>("running");
    QTest::addColumn<Duration>("now");
    QTest::addColumn<Expected>("begins");
    QTest::addColumn<std::optional<Duration>>("lookAgain");

    const auto first = [](Urgency urgency) { return WaitingDecodes{urgency, {}, {}}; };
    const auto second = [](Urgency urgency, std::optional<Urgency> firstAttempt = {}) {
        return WaitingDecodes{firstAttempt, urgency, start};
    };
    const auto add = [](const char* name, const WaitingDecodes& waiting, const Running& running, Expected begins,
                         Duration now = {}, std::optional<Duration> lookAgain = {}) {
        QTest::newRow(name) << waiting << running << now << begins << lookAgain;
    };
    constexpr Duration aloneSpan = DecodeSchedule::aloneSpan;
    constexpr Duration patience = DecodeSchedule::alonePatience;
    using U = Urgency;

    add("nothing waits", {}, {}, Expected::Nothing);
    add("asked for", first(U::Asked), {}, Expected::First);
    add("thumbnail", first(U::Thumbnail), {}, Expected::First);
    add("second ahead", first(U::Ahead), {ahead()}, Expected::First);
    add("third ahead", first(U::Ahead), {ahead(), thumbnail()}, Expected::Nothing);
    add("asked for beside as many as there are cores", first(U::Asked), {ahead(), ahead()}, Expected::First);
    add("asked for beside others asked for", first(U::Asked), {asked(), asked()}, Expected::First);
    add("asked for with all workers taken", first(U::Asked), {asked(), ahead(), ahead()}, Expected::Nothing);
    add("ahead beside one asked for", first(U::Ahead), {asked()}, Expected::First);
    add("ahead beside one asked for and one that stands still", first(U::Ahead), {asked(), ahead()}, Expected::Nothing);

    add("second attempt", second(U::Ahead), {}, Expected::Alone);
    add("second attempt goes before ahead", second(U::Thumbnail, U::Ahead), {}, Expected::Alone);
    add("asked for goes before a second attempt", second(U::Ahead, U::Asked), {}, Expected::First);
    add("second attempt waits for the others", second(U::Ahead), {ahead()}, Expected::Nothing, {}, patience);
    add("nothing begins meanwhile", second(U::Ahead, U::Ahead), {ahead()}, Expected::Nothing, {}, patience);
    add("second attempt waits no longer", second(U::Ahead), {ahead()}, Expected::Alone, patience);
    add("second attempt waits for what is asked for", second(U::Ahead), {asked()}, Expected::Nothing, patience);
    add("second attempt at what is asked for", second(U::Asked), {asked()}, Expected::Alone, patience);

    add("nothing begins beside it", first(U::Ahead), {alone()}, Expected::Nothing, 1ms, aloneSpan);
    add("no other second attempt either", second(U::Ahead), {alone()}, Expected::Nothing, 1500ms, aloneSpan);
    add("asked for begins beside it", first(U::Asked), {alone()}, Expected::First);
    add("it is alone only so long", first(U::Ahead), {alone()}, Expected::First, aloneSpan);
}

void DecodeScheduleTest::whatBeginsNext()
{
    QFETCH(const WaitingDecodes, waiting);
    QFETCH(const Running, running);
    QFETCH(const Duration, now);
    QFETCH(const Expected, begins);
    QFETCH(const std::optional<Duration>, lookAgain);
    const auto decision = DecodeSchedule(2).decide(waiting, running, start + now);
    QCOMPARE(decision.begin.has_value(), begins != Expected::Nothing);
    if (decision.begin) {
        QCOMPARE(*decision.begin, begins == Expected::First ? Attempt::First : Attempt::Alone);
    }
    QCOMPARE(decision.lookAgain.has_value(), lookAgain.has_value());
    if (lookAgain) {
        QVERIFY(*decision.lookAgain == start + *lookAgain);
    }
}

void DecodeScheduleTest::aheadIsSpreadOverADecodesLength()
{
    DecodeSchedule schedule(4);
    schedule.pace().addDuration(400ms);
    const auto beginsAt = [&](Urgency urgency, const Running& running) {
        const auto decision = schedule.decide({urgency, {}, {}}, running, start + 30ms);
        return decision.begin ? start + 30ms : decision.lookAgain.value_or(TimePoint{});
    };
    QVERIFY(beginsAt(Urgency::Ahead, {}) == start + 30ms);
    QVERIFY(beginsAt(Urgency::Ahead, {ahead()}) == start + 100ms);
    QVERIFY(beginsAt(Urgency::Ahead, {ahead(), ahead(20ms)}) == start + 120ms);
    QVERIFY(beginsAt(Urgency::Ahead, {asked()}) == start + 100ms);
    QVERIFY(beginsAt(Urgency::Ahead, {ahead(-100ms)}) == start + 30ms);
    // Thumbnails neither wait nor are waited for.
    QVERIFY(beginsAt(Urgency::Ahead, {thumbnail()}) == start + 30ms);
    QVERIFY(beginsAt(Urgency::Thumbnail, {ahead()}) == start + 30ms);
    QVERIFY(beginsAt(Urgency::Asked, {ahead()}) == start + 30ms);
}

void DecodeScheduleTest::whatStandsStill_data()
{
    QTest::addColumn<Running>("running");
    QTest::addColumn<QByteArray>("expected"); // a letter for each: r runs, s stands still

    QTest::newRow("none") << Running{} << QByteArray();
    QTest::newRow("as many as cores") << Running{ahead(), thumbnail()} << QByteArray("rr");
    QTest::newRow("asked for and one") << Running{ahead(), asked()} << QByteArray("rr");
    QTest::newRow("the later of two") << Running{ahead(1ms), ahead(0ms), asked()} << QByteArray("srr");
    QTest::newRow("thumbnail before ahead") << Running{thumbnail(0ms), ahead(1ms), asked()} << QByteArray("srr");
    QTest::newRow("two asked for") << Running{ahead(), asked(), asked()} << QByteArray("srr");
    QTest::newRow("only asked for") << Running{asked(), asked(), asked()} << QByteArray("rrr");
    QTest::newRow("alone") << Running{ahead(), thumbnail(), alone()} << QByteArray("ssr");
    QTest::newRow("alone, and then one asked for") << Running{alone(), asked()} << QByteArray("sr");
    QTest::newRow("all of it") << Running{alone(), asked(), ahead()} << QByteArray("srs");
    QTest::newRow("alone and asked for itself") << Running{ahead(), alone(Urgency::Asked)} << QByteArray("sr");
    QTest::newRow("asked for behind another") << Running{asked(), alone(Urgency::Asked)} << QByteArray("rs");
    QTest::newRow("no longer alone") << Running{ahead(), alone(Urgency::Ahead, -3s)} << QByteArray("rr");
}

void DecodeScheduleTest::whatStandsStill()
{
    QFETCH(const Running, running);
    QFETCH(const QByteArray, expected);
    QByteArray actual;
    for (const bool suspended : DecodeSchedule(2).suspension(running, start).suspended) {
        actual += suspended ? 's' : 'r';
    }
    QCOMPARE(actual, expected);
}

void DecodeScheduleTest::suspensionEndsWithTheTimeAlone()
{
    const DecodeSchedule schedule(2);
    const Running running{ahead(), alone()};
    const auto suspension = schedule.suspension(running, start);
    QVERIFY(suspension.until == start + DecodeSchedule::aloneSpan);
    QVERIFY(!schedule.suspension(running, *suspension.until).until);
    QVERIFY(!schedule.suspension(Running{asked()}, start).until);
}

void DecodeScheduleTest::paceIsTheMiddleOfTheLastFew()
{
    DecodePace pace(2);
    QVERIFY(pace.usual() == 0ms);
    pace.addDuration(100ms);
    QVERIFY(pace.usual() == 100ms);
    pace.addDuration(5s); // something was in its way
    pace.addDuration(90ms);
    QVERIFY(pace.usual() == 100ms);
    for (int i = 0; i < 8; ++i) {
        pace.addDuration(50ms);
    }
    QVERIFY(pace.usual() == 50ms);
}

void DecodeScheduleTest::paceNeverDelaysBeyondAShare_data()
{
    QTest::addColumn<int>("atOnce");
    QTest::addColumn<Duration>("duration"); // of the decodes so far; zero for none
    QTest::addColumn<std::optional<TimePoint>>("lastBegun");
    QTest::addColumn<Duration>("expected"); // from now

    const auto ago = [](Duration duration) { return std::optional(start - duration); };
    QTest::newRow("none runs") << 2 << Duration(200ms) << std::optional<TimePoint>() << Duration(0ms);
    QTest::newRow("one has just begun") << 2 << Duration(200ms) << ago(0ms) << Duration(100ms);
    QTest::newRow("one is half through its share") << 2 << Duration(200ms) << ago(50ms) << Duration(50ms);
    QTest::newRow("one has had its share") << 2 << Duration(200ms) << ago(100ms) << Duration(0ms);
    QTest::newRow("one runs unusually long") << 2 << Duration(200ms) << ago(5s) << Duration(0ms);
    QTest::newRow("many cores") << 16 << Duration(160ms) << ago(0ms) << Duration(10ms);
    QTest::newRow("nothing known") << 2 << Duration(0ms) << ago(0ms) << Duration(0ms);
}

void DecodeScheduleTest::paceNeverDelaysBeyondAShare()
{
    QFETCH(const int, atOnce);
    QFETCH(const Duration, duration);
    QFETCH(const std::optional<TimePoint>, lastBegun);
    QFETCH(const Duration, expected);
    DecodePace pace(atOnce);
    if (duration > 0ms) {
        pace.addDuration(duration);
    }
    QVERIFY(pace.earliestBegin(lastBegun, start) == start + expected);
}

void DecodeScheduleTest::queueIsInOrderOfUrgencyAndComing()
{
    JobQueue queue;
    const auto add = [&](quint64 number, Urgency urgency) {
        auto job = std::make_shared<PoolJob>();
        job->number = number;
        job->urgency = urgency;
        queue.add(job);
        return job;
    };
    QVERIFY(!queue.first());
    const PoolJobPtr thumbnailJob = add(1, Urgency::Thumbnail);
    add(3, Urgency::Ahead);
    add(2, Urgency::Ahead);
    add(4, Urgency::Asked);
    QVERIFY(queue.remove(thumbnailJob));
    QVERIFY(!queue.remove(thumbnailJob));
    for (const quint64 number : {4, 2, 3}) {
        const PoolJobPtr first = queue.first();
        QCOMPARE(first->number, number);
        queue.remove(first);
    }
    QVERIFY(!queue.first());
}

void DecodeScheduleTest::kindsAreLearnt()
{
    DecoderKinds kinds;
    const auto first = [&](const char* name, Wanted wanted = Wanted::Picture) {
        return kinds.first({wanted, name, 0, Turn::Upright});
    };
    QCOMPARE(first("a.jpg"), DecoderKind::Common);
    QCOMPARE(first("no suffix"), DecoderKind::Common);
    QCOMPARE(first("a.NEF"), DecoderKind::Extra);
    QCOMPARE(first("a.jpg", Wanted::MovieProbe), DecoderKind::Extra);
    QCOMPARE(first("a.jpg", Wanted::MovieFrame), DecoderKind::Extra);
    kinds.noteExtra("a.heic");
    QCOMPARE(first("b.HEIC"), DecoderKind::Extra);
    QCOMPARE(first("b.jpg"), DecoderKind::Common);
    // What the common kind can read once it is asked for again.
    kinds.noteCommon("a.jpg");
    kinds.noteExtra("b.jpg");
    QCOMPARE(first("c.jpg"), DecoderKind::Common);
}

void DecodeScheduleTest::madeUpSuffixesAreNotRemembered()
{
    DecoderKinds kinds;
    for (int i = 0; i < 1000; ++i) {
        kinds.noteExtra("a." + QByteArray::number(i));
    }
    QCOMPARE(kinds.first({Wanted::Picture, "b.0", 0, Turn::Upright}), DecoderKind::Extra);
    QCOMPARE(kinds.first({Wanted::Picture, "b.999", 0, Turn::Upright}), DecoderKind::Common);
    DecoderKinds others;
    const QByteArray endless = "a." + QByteArray(100, 'x');
    others.noteExtra(endless);
    QCOMPARE(others.first({Wanted::Picture, endless, 0, Turn::Upright}), DecoderKind::Common);
}

void DecodeScheduleTest::errandsRunInTurn()
{
    ErrandThread thread;
    int sum = 0;
    for (int i = 1; i <= 100; ++i) {
        QVERIFY(thread.run([&, i] { sum += i; }, std::chrono::steady_clock::now() + 60s, {}));
    }
    QCOMPARE(sum, 5050);
}

void DecodeScheduleTest::errandThatNeverEndsIsGivenUp()
{
    ErrandThread thread;
    const auto end = std::make_shared<std::latch>(1);
    QVERIFY(!thread.run([end] { end->wait(); }, std::chrono::steady_clock::now() + 10ms, {}));
    bool ran = false;
    QVERIFY(thread.run([&] { ran = true; }, std::chrono::steady_clock::now() + 60s, {}));
    QVERIFY(ran);
    end->count_down();
}

void DecodeScheduleTest::errandNobodyWantsIsGivenUp()
{
    ErrandThread thread;
    const auto end = std::make_shared<std::latch>(1);
    std::stop_source stop;
    stop.request_stop();
    // One that ends soon is waited for all the same.
    QVERIFY(thread.run([] {}, std::chrono::steady_clock::now() + 60s, stop.get_token()));
    QVERIFY(!thread.run([end] { end->wait(); }, std::chrono::steady_clock::now() + 60s, stop.get_token()));
    end->count_down();
}

void DecodeScheduleTest::errandThreadEndsWithoutItsErrand()
{
    const auto end = std::make_shared<std::latch>(1);
    {
        ErrandThread thread;
        QVERIFY(!thread.run([end] { end->wait(); }, std::chrono::steady_clock::now() + 10ms, {}));
    }
    end->count_down();
}

QTEST_GUILESS_MAIN(DecodeScheduleTest)
#include "DecodeScheduleTest.moc"
