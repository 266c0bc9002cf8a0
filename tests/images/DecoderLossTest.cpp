// What becomes of files whose decoders are lost, and where there are none.

#include "DecoderPool.h"
#include "DecoderStore.h"
#include "PoolFixture.h"
#include "StaysTrue.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <memory>

#include <unistd.h>

using namespace frameflow;
using namespace std::chrono_literals;

class DecoderLossTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void everyMisbehaviourEndsAsALostDecoder_data();
    void everyMisbehaviourEndsAsALostDecoder();
    void lostOnceIsDecodedAlone();
    void askedForDoesNotWaitForASecondAttempt();
    void decoderKilledFromOutsideCostsNoFile();
    void decodersOwnWordIsNotAskedTwice();
    void idleProcessesEndAfterAWhile();
    void twoHundredLostDecodersLeaveNothing();

    void withoutProgramsItIsDecodedInThreads();
    void withBrokenProgramsItIsDecodedInThreads();
    void threadThatHangsIsGivenUp();
    void withoutAnythingItFailsQuietly();
    void processesAreTriedAgainLater();
    void killedProgramLeavesNoDecoder();

private:
    std::unique_ptr<PoolFixture> mFiles;
    Belongings mBefore;
};

void DecoderLossTest::init()
{
    mFiles = std::make_unique<PoolFixture>();
    mBefore = belongings();
}

void DecoderLossTest::cleanup()
{
    mFiles.reset();
    QTRY_COMPARE(belongings().children, mBefore.children);
    QTRY_COMPARE(belongings().pictures, mBefore.pictures);
    QTRY_COMPARE(belongings().descriptors, mBefore.descriptors);
}

void DecoderLossTest::everyMisbehaviourEndsAsALostDecoder_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* const text : {"crash", "hang", "sleep", "eat", "wrong-size", "unsealed", "wrong-id", "half",
             "two-descriptors", "nothing", "own-word"}) {
        QTest::newRow(text) << QByteArray(text);
    }
}

void DecoderLossTest::everyMisbehaviourEndsAsALostDecoder()
{
    QFETCH(const QByteArray, text);
    DecoderPool::Options options = mFiles->options(1);
    options.limits = {1s, 2s, 0};
    DecoderPool pool(options);
    QCOMPARE(pool.decodeAndWait(mFiles->job("good", "number")).picture.error, DecodeError::None);
    const DecodedFile file = pool.decodeAndWait(mFiles->job("bad", text, Urgency::Ahead));
    QCOMPARE(file.picture.error, DecodeError::DecoderLost);
    QVERIFY(file.picture.pixels.isNull());
    QVERIFY(file.stamp);
    QCOMPARE(pool.decodeAndWait(mFiles->job("good", "number")).picture.error, DecodeError::None);
}

void DecoderLossTest::lostOnceIsDecodedAlone()
{
    DecoderPool pool(mFiles->options(2));
    mFiles->start(pool, mFiles->gate("other", Urgency::Ahead));
    mFiles->start(pool, mFiles->gate("bad", Urgency::Ahead));
    QTRY_VERIFY(mFiles->hasBegun("other") && mFiles->hasBegun("bad"));
    mFiles->start(pool, mFiles->gate("waiting", Urgency::Ahead));
    const auto nothingBegins = [&] { return mFiles->begun("bad").size() == 1 && !mFiles->hasBegun("waiting"); };
    kill(mFiles->begun("bad").first(), SIGKILL);
    QVERIFY(staysTrueFor(100ms, nothingBegins));
    mFiles->letGo("other");
    QTRY_COMPARE(mFiles->begun("bad").size(), 2);
    QVERIFY(staysTrueFor(100ms, [&] { return !mFiles->hasBegun("waiting"); }));
    mFiles->letGo("bad");
    QTRY_VERIFY(mFiles->isDone("bad"));
    QCOMPARE(mFiles->error("bad"), DecodeError::None);
    QTRY_VERIFY(mFiles->hasBegun("waiting"));
    mFiles->letGo("waiting");
    QTRY_VERIFY(mFiles->isDone("waiting") && mFiles->isDone("other"));
}

void DecoderLossTest::askedForDoesNotWaitForASecondAttempt()
{
    DecoderPool::Options options = mFiles->options(2);
    DecoderPool pool(options);
    mFiles->start(pool, mFiles->gate("bad", Urgency::Ahead));
    QTRY_VERIFY(mFiles->hasBegun("bad"));
    kill(mFiles->begun("bad").first(), SIGKILL);
    QTRY_COMPARE(mFiles->begun("bad").size(), 2);
    const pid_t second = mFiles->begun("bad").last();
    mFiles->start(pool, mFiles->gate("asked", Urgency::Asked));
    QTRY_VERIFY(mFiles->hasBegun("asked"));
    QTRY_VERIFY(isSuspended(second));
    mFiles->letGo("asked");
    QTRY_VERIFY(mFiles->isDone("asked"));
    mFiles->letGo("bad");
    QTRY_VERIFY(mFiles->isDone("bad"));
    QCOMPARE(processOf(mFiles->result("bad")), second);
}

void DecoderLossTest::decoderKilledFromOutsideCostsNoFile()
{
    DecoderPool pool(mFiles->options(2));
    mFiles->start(pool, mFiles->gate("good", Urgency::Asked));
    QTRY_VERIFY(mFiles->hasBegun("good"));
    const pid_t first = mFiles->begun("good").first();
    kill(first, SIGKILL);
    QTRY_COMPARE(mFiles->begun("good").size(), 2);
    mFiles->letGo("good");
    QTRY_VERIFY(mFiles->isDone("good"));
    QCOMPARE(mFiles->error("good"), DecodeError::None);
    QVERIFY(processOf(mFiles->result("good")) != first);
    // One killed while it has nothing to do costs not even an attempt.
    QTRY_COMPARE(pool.processes().size(), 1);
    const pid_t idle = pool.processes().first();
    kill(idle, SIGKILL);
    QTRY_VERIFY(hasEnded(idle));
    mFiles->start(pool, mFiles->job("noted", "crash-noted " + mFiles->folder().pathOf("notes")));
    QTRY_VERIFY(mFiles->isDone("noted"));
    QCOMPARE(mFiles->error("noted"), DecodeError::DecoderLost);
    const QList<pid_t> notes = mFiles->noted("notes");
    QCOMPARE(notes.size(), 2);
    QVERIFY(notes.first() != notes.last());
}

void DecoderLossTest::decodersOwnWordIsNotAskedTwice()
{
    DecoderPool pool(mFiles->options(1));
    const pid_t process = processOf(pool.decodeAndWait(mFiles->job("good", "number")));
    QCOMPARE(pool.decodeAndWait(mFiles->job("bad", "damaged")).picture.error, DecodeError::Damaged);
    QCOMPARE(processOf(pool.decodeAndWait(mFiles->job("good", "number"))), process);
}

void DecoderLossTest::idleProcessesEndAfterAWhile()
{
    DecoderStore store(mFiles->options());
    QVERIFY(!store.nextEnd());
    store.prepare(DecoderKind::Common);
    // One of the common kind stays.
    QVERIFY(!store.nextEnd());
    store.put(DecoderKind::Common, store.start(DecoderKind::Common));
    store.put(DecoderKind::Extra, store.take(DecoderKind::Extra));
    const QList<pid_t> processes = store.processes();
    QCOMPARE(processes.size(), 3);
    const auto next = store.nextEnd();
    QVERIFY(next && *next > std::chrono::steady_clock::now() + 30s);
    store.endIdle(*next - 1ms);
    QCOMPARE(store.processes(), processes);
    store.endIdle(*next + 30s);
    QCOMPARE(store.processes(), QList<pid_t>{processes[1]});
    QVERIFY(!exists(processes[0]) && !exists(processes[2]));
    QVERIFY(!store.nextEnd());
}

void DecoderLossTest::twoHundredLostDecodersLeaveNothing()
{
    DecoderPool pool(mFiles->options(2));
    const auto decodeBoth = [&](int count) {
        for (int i = 0; i < count; ++i) {
            QCOMPARE(pool.decodeAndWait(mFiles->job("bad", "crash-noted /dev/null")).picture.error,
                DecodeError::DecoderLost);
            QCOMPARE(pool.decodeAndWait(mFiles->job("good", "picture 800 600 0")).picture.error, DecodeError::None);
        }
    };
    decodeBoth(2);
    QTRY_COMPARE(belongings().children.size(), mBefore.children.size() + 1);
    QTRY_COMPARE(belongings().pictures, mBefore.pictures);
    const Belongings before = belongings();
    const qint64 memory = residentBytes();
    decodeBoth(100);
    QTRY_COMPARE(belongings().children.size(), before.children.size());
    QTRY_COMPARE(belongings().pictures, before.pictures);
    QTRY_COMPARE(belongings().descriptors, before.descriptors);
    // The attendant, and for each worker one that opens files.
    QVERIFY(belongings().threads <= mBefore.threads + 1 + 2 * 3);
    QVERIFY2(residentBytes() < memory + (qint64(16) << 20), QByteArray::number(residentBytes() - memory).constData());
}

// ---- Without processes

void DecoderLossTest::withoutProgramsItIsDecodedInThreads()
{
    DecoderPool::Options options;
    options.commonDecoder = mFiles->folder().pathOf("missing");
    options.extraDecoder = options.commonDecoder;
    options.module = OBEDIENT_MODULE;
    DecoderPool pool(options);
    pool.warmUp();
    const DecodedFile file = pool.decodeAndWait(mFiles->job("name", "anything"));
    QCOMPARE(file.picture.error, DecodeError::None);
    QCOMPARE(processOf(file), getpid());
    QCOMPARE(file.picture.pixels.size(), QSize(4, 1));
    QVERIFY(file.stamp);
    QCOMPARE(pool.decodeAndWait(mFiles->job("raw.cr2", "damaged")).picture.error, DecodeError::Damaged);
    QVERIFY(pool.processes().isEmpty());
}

void DecoderLossTest::withBrokenProgramsItIsDecodedInThreads()
{
    DecoderPool::Options options;
    options.commonDecoder = "/bin/false";
    options.module = OBEDIENT_MODULE;
    DecoderPool pool(options);
    QCOMPARE(processOf(pool.decodeAndWait(mFiles->job("name", "anything"))), getpid());
    // A file alone never has itself decoded in this process.
    DecoderPool::Options intact = mFiles->options();
    intact.module = OBEDIENT_MODULE;
    DecoderPool other(intact);
    QCOMPARE(other.decodeAndWait(mFiles->job("name", "nothing")).picture.error, DecodeError::DecoderLost);
}

void DecoderLossTest::threadThatHangsIsGivenUp()
{
    DecoderPool::Options options;
    options.module = OBEDIENT_MODULE;
    options.atOnce = 1;
    options.limits.wallTime = 500ms;
    DecoderPool pool(options);
    const QByteArray hang = "hang " + mFiles->folder().pathOf("end");
    QCOMPARE(pool.decodeAndWait(mFiles->job("a", hang)).picture.error, DecodeError::DecoderLost);
    QCOMPARE(pool.decodeAndWait(mFiles->job("b", "anything")).picture.error, DecodeError::None);
    const auto ticket = mFiles->start(pool, mFiles->job("c", hang, Urgency::Ahead));
    ticket.cancel();
    QTRY_COMPARE(mFiles->error("c"), DecodeError::Cancelled);
    mFiles->start(pool, mFiles->job("d", hang, Urgency::Ahead));
    mFiles->folder().addFile("end");
    QTRY_COMPARE(belongings().descriptors, mBefore.descriptors);
}

void DecoderLossTest::withoutAnythingItFailsQuietly()
{
    DecoderPool pool(DecoderPool::Options{});
    QCOMPARE(pool.decodeAndWait(mFiles->job("a", "anything")).picture.error, DecodeError::Unreadable);
}

void DecoderLossTest::processesAreTriedAgainLater()
{
    DecoderPool::Options options;
    options.commonDecoder = mFiles->folder().pathOf("decoder");
    DecoderPool pool(options);
    QCOMPARE(pool.decodeAndWait(mFiles->job("a", "number")).picture.error, DecodeError::Unreadable);
    mFiles->folder().addLink("decoder", OBEDIENT_DECODER);
    QTRY_COMPARE_WITH_TIMEOUT(pool.decodeAndWait(mFiles->job("a", "number")).picture.error, DecodeError::None, 20'000);
}

void DecoderLossTest::killedProgramLeavesNoDecoder()
{
    const DecodeJob waiting = mFiles->gate("waiting", Urgency::Ahead);
    const DecodeJob hanging = mFiles->job("hanging", "hang-noted " + mFiles->folder().pathOf("notes"), Urgency::Ahead);
    QProcess owner;
    owner.start(QStringLiteral(DECODER_OWNER),
        {QStringLiteral(OBEDIENT_DECODER), QFile::decodeName(waiting.url.path()),
            QFile::decodeName(hanging.url.path())});
    QTRY_VERIFY(mFiles->hasBegun("waiting") && !mFiles->noted("notes").isEmpty());
    const QList<pid_t> decoders = mFiles->begun("waiting") + mFiles->noted("notes");
    QCOMPARE(decoders.size(), 2);
    owner.kill();
    QVERIFY(owner.waitForFinished());
    for (const pid_t decoder : decoders) {
        QTRY_VERIFY(!exists(decoder));
    }
}

QTEST_GUILESS_MAIN(DecoderLossTest)
#include "DecoderLossTest.moc"
