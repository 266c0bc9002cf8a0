#include "DecoderPool.h"

#include "PoolFixture.h"
#include "StaysTrue.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include <sys/stat.h>

using namespace frameflow;
using namespace std::chrono_literals;

class DecoderPoolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void pictureComesWithItsStamp();
    void callbackIsCalledOnAThreadOfThePool();
    void processIsKeptForTheNextFile();
    void warmedUpProcessTakesTheFirstFile();
    void whatIsNoRegularFileIsUnreadable_data();
    void whatIsNoRegularFileIsUnreadable();
    void fileRemovedOrReplacedMeanwhileIsTheOneOpened();

    void mostUrgentIsBegunFirst();
    void asManyAreDecodedAtOnceAsThereAreCores();
    void askedForStartsAtOnceAndAnotherStandsStill();
    void raisedOneIsNotSuspended();
    void raisedOneIsBegunBeforeTheOthers();
    void loweringChangesNothing();

    void cancelledWhileItWaitsIsNeverBegun();
    void cancelledWhileItRunsIsEndedAndReplaced();
    void cancelledWhileSuspendedIsEnded();
    void cancellingTwiceOrTooLateDoesNothing();
    void ticketsOutliveTheirPool();
    void poolIsDestroyedWithWorkLeft();
    void manyThreadsAskRaiseAndCancel();

    void othersAreDecodedByTheExtraKind();
    void suffixIsRememberedForTheExtraKind();
    void rawAndMoviesGoToTheExtraKindAtOnce();

private:
    std::unique_ptr<PoolFixture> mFiles;
    Belongings mBefore;
};

void DecoderPoolTest::init()
{
    mFiles = std::make_unique<PoolFixture>();
    mBefore = belongings();
}

void DecoderPoolTest::cleanup()
{
    mFiles.reset();
    QTRY_COMPARE(belongings().children, mBefore.children);
    QTRY_COMPARE(belongings().pictures, mBefore.pictures);
    QTRY_COMPARE(belongings().descriptors, mBefore.descriptors);
}

// ---- Files

void DecoderPoolTest::pictureComesWithItsStamp()
{
    DecoderPool pool(mFiles->options());
    const DecodeJob job = mFiles->job("a.jpg", "picture 40 30 123456");
    const DecodedFile file = pool.decodeAndWait(job);
    QCOMPARE(file.picture.error, DecodeError::None);
    QCOMPARE(file.picture.pixels.size(), QSize(40, 30));
    QCOMPARE(file.picture.pixels.pixel(0, 0), qRgb(0x12, 0x34, 0x56));
    QVERIFY(file.stamp);
    QVERIFY(*file.stamp == *stampOf(job.url));
}

void DecoderPoolTest::callbackIsCalledOnAThreadOfThePool()
{
    DecoderPool pool(mFiles->options());
    std::atomic<bool> isElsewhere = false;
    std::atomic<bool> isDone = false;
    pool.decode(mFiles->job("a", "number"), [&, here = std::this_thread::get_id()](DecodedFile&&) {
        isElsewhere = std::this_thread::get_id() != here;
        isDone = true;
    });
    QTRY_VERIFY(isDone);
    QVERIFY(isElsewhere);
}

void DecoderPoolTest::processIsKeptForTheNextFile()
{
    DecoderPool pool(mFiles->options());
    const pid_t first = processOf(pool.decodeAndWait(mFiles->job("a", "number")));
    QTRY_COMPARE(pool.processes(), QList<pid_t>{first});
    QCOMPARE(processOf(pool.decodeAndWait(mFiles->job("b", "number"))), first);
}

void DecoderPoolTest::warmedUpProcessTakesTheFirstFile()
{
    DecoderPool pool(mFiles->options());
    QVERIFY(pool.processes().isEmpty());
    pool.warmUp();
    const QList<pid_t> processes = pool.processes();
    QCOMPARE(processes.size(), 1);
    QCOMPARE(processOf(pool.decodeAndWait(mFiles->job("a", "number"))), processes.first());
}

void DecoderPoolTest::whatIsNoRegularFileIsUnreadable_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("missing") << QByteArray("missing");
    QTest::newRow("folder") << QByteArray("folder");
    QTest::newRow("pipe") << QByteArray("pipe");
    QTest::newRow("device") << QByteArray("/dev/zero");
    QTest::newRow("terminal") << QByteArray("/dev/tty");
    QTest::newRow("broken link") << QByteArray("broken");
}

void DecoderPoolTest::whatIsNoRegularFileIsUnreadable()
{
    QFETCH(const QByteArray, path);
    mFiles->folder().addFolder("folder");
    mkfifo(mFiles->folder().pathOf("pipe").constData(), 0600);
    mFiles->folder().addLink("broken", "nowhere");
    DecoderPool pool(mFiles->options());
    const FileUrl url = path.startsWith('/') ? FileUrl::fromPath(path) : mFiles->folder().urlOf(path);
    const DecodedFile file = pool.decodeAndWait({url, {}, Urgency::Asked});
    QCOMPARE(file.picture.error, DecodeError::Unreadable);
    QVERIFY(!file.stamp);
    QVERIFY(pool.processes().isEmpty());
}

void DecoderPoolTest::fileRemovedOrReplacedMeanwhileIsTheOneOpened()
{
    DecoderPool pool(mFiles->options());
    const DecodeJob removed = mFiles->gate("removed", Urgency::Ahead);
    const DecodeJob replaced = mFiles->gate("replaced", Urgency::Ahead);
    const auto stamp = stampOf(replaced.url);
    mFiles->start(pool, removed);
    mFiles->start(pool, replaced);
    QTRY_VERIFY(mFiles->hasBegun("removed") && mFiles->hasBegun("replaced"));
    QVERIFY(QFile::remove(QFile::decodeName(removed.url.path())));
    mFiles->folder().addFile("other", "damaged");
    QCOMPARE(std::rename(mFiles->folder().pathOf("other").constData(), replaced.url.path().constData()), 0);
    mFiles->letGo("removed");
    mFiles->letGo("replaced");
    QTRY_VERIFY(mFiles->isDone("removed") && mFiles->isDone("replaced"));
    QCOMPARE(mFiles->error("removed"), DecodeError::None);
    QVERIFY(*mFiles->result("replaced").stamp == *stamp);
    QVERIFY(!(*stampOf(replaced.url) == *stamp));
}

// ---- Order

void DecoderPoolTest::mostUrgentIsBegunFirst()
{
    DecoderPool pool(mFiles->options(1));
    // Both workers are taken.
    mFiles->start(pool, mFiles->gate("first", Urgency::Asked));
    mFiles->start(pool, mFiles->gate("second", Urgency::Asked));
    QTRY_VERIFY(mFiles->hasBegun("first") && mFiles->hasBegun("second"));
    mFiles->start(pool, mFiles->noting("thumbnail-1", Urgency::Thumbnail));
    mFiles->start(pool, mFiles->noting("ahead-1", Urgency::Ahead));
    mFiles->start(pool, mFiles->noting("thumbnail-2", Urgency::Thumbnail));
    mFiles->start(pool, mFiles->noting("ahead-2", Urgency::Ahead));
    mFiles->start(pool, mFiles->noting("asked", Urgency::Asked));
    mFiles->letGo("first");
    QTRY_VERIFY(mFiles->isDone("asked"));
    mFiles->letGo("second");
    QTRY_COMPARE(mFiles->begunInOrder(), (QByteArrayList{"asked", "ahead-1", "ahead-2", "thumbnail-1", "thumbnail-2"}));
}

void DecoderPoolTest::asManyAreDecodedAtOnceAsThereAreCores()
{
    DecoderPool pool(mFiles->options(2));
    for (const char* const name : {"a", "b", "c"}) {
        mFiles->start(pool, mFiles->gate(name, Urgency::Thumbnail));
    }
    QTRY_VERIFY(mFiles->hasBegun("a") && mFiles->hasBegun("b"));
    QVERIFY(staysTrueFor(100ms, [&] { return !mFiles->hasBegun("c"); }));
    mFiles->letGo("a");
    QTRY_VERIFY(mFiles->hasBegun("c"));
    mFiles->letGo("b");
    mFiles->letGo("c");
    QTRY_VERIFY(mFiles->isDone("b") && mFiles->isDone("c"));
    QTRY_COMPARE(pool.processes().size(), 2);
}

void DecoderPoolTest::askedForStartsAtOnceAndAnotherStandsStill()
{
    DecoderPool pool(mFiles->options(2));
    mFiles->start(pool, mFiles->gate("next", Urgency::Ahead));
    QTRY_VERIFY(mFiles->hasBegun("next"));
    mFiles->start(pool, mFiles->gate("later", Urgency::Ahead));
    QTRY_VERIFY(mFiles->hasBegun("later"));
    const pid_t next = mFiles->begun("next").first();
    const pid_t secondNext = mFiles->begun("later").first();

    mFiles->start(pool, mFiles->gate("asked", Urgency::Asked));
    QTRY_VERIFY(mFiles->hasBegun("asked"));
    QTRY_VERIFY(isSuspended(secondNext));
    QVERIFY(!isSuspended(next));
    mFiles->letGo("later");
    QVERIFY(staysTrueFor(50ms, [&] { return !mFiles->isDone("later"); }));
    mFiles->letGo("asked");
    QTRY_VERIFY(mFiles->isDone("asked"));
    QTRY_VERIFY(mFiles->isDone("later"));
    QVERIFY(!isSuspended(secondNext));
    mFiles->letGo("next");
    QTRY_VERIFY(mFiles->isDone("next"));
}

void DecoderPoolTest::raisedOneIsNotSuspended()
{
    DecoderPool pool(mFiles->options(2));
    mFiles->start(pool, mFiles->gate("a", Urgency::Ahead));
    QTRY_VERIFY(mFiles->hasBegun("a"));
    const auto raised = mFiles->start(pool, mFiles->gate("b", Urgency::Ahead));
    QTRY_VERIFY(mFiles->hasBegun("b"));
    mFiles->start(pool, mFiles->gate("asked", Urgency::Asked));
    const pid_t a = mFiles->begun("a").first();
    const pid_t b = mFiles->begun("b").first();
    QTRY_VERIFY(isSuspended(b));
    raised.raise(Urgency::Asked);
    QTRY_VERIFY(!isSuspended(b) && isSuspended(a));
    for (const char* const name : {"a", "b", "asked"}) {
        mFiles->letGo(name);
    }
    QTRY_VERIFY(mFiles->isDone("a") && mFiles->isDone("b") && mFiles->isDone("asked"));
}

void DecoderPoolTest::raisedOneIsBegunBeforeTheOthers()
{
    DecoderPool pool(mFiles->options(1));
    mFiles->start(pool, mFiles->gate("first", Urgency::Thumbnail));
    QTRY_VERIFY(mFiles->hasBegun("first"));
    mFiles->start(pool, mFiles->noting("ahead", Urgency::Ahead));
    mFiles->start(pool, mFiles->noting("b", Urgency::Thumbnail));
    const auto raised = mFiles->start(pool, mFiles->noting("c", Urgency::Thumbnail));
    raised.raise(Urgency::Asked);
    QTRY_VERIFY(mFiles->isDone("c"));
    QVERIFY(!mFiles->isDone("ahead"));
    mFiles->letGo("first");
    QTRY_COMPARE(mFiles->begunInOrder(), (QByteArrayList{"c", "ahead", "b"}));
}

void DecoderPoolTest::loweringChangesNothing()
{
    DecoderPool pool(mFiles->options(1));
    mFiles->start(pool, mFiles->gate("first", Urgency::Thumbnail));
    QTRY_VERIFY(mFiles->hasBegun("first"));
    mFiles->start(pool, mFiles->noting("ahead", Urgency::Ahead)).raise(Urgency::Thumbnail);
    mFiles->start(pool, mFiles->noting("thumbnail", Urgency::Thumbnail));
    mFiles->letGo("first");
    QTRY_COMPARE(mFiles->begunInOrder(), (QByteArrayList{"ahead", "thumbnail"}));
}

// ---- Cancelling

void DecoderPoolTest::cancelledWhileItWaitsIsNeverBegun()
{
    DecoderPool pool(mFiles->options(1));
    mFiles->start(pool, mFiles->gate("first", Urgency::Ahead));
    QTRY_VERIFY(mFiles->hasBegun("first"));
    const auto ticket = mFiles->start(pool, mFiles->gate("second", Urgency::Ahead));
    mFiles->start(pool, mFiles->job("third", "number", Urgency::Ahead));
    ticket.cancel();
    QTRY_VERIFY(mFiles->isDone("second"));
    QCOMPARE(mFiles->error("second"), DecodeError::Cancelled);
    mFiles->letGo("first");
    QTRY_VERIFY(mFiles->isDone("third"));
    QVERIFY(!mFiles->hasBegun("second"));
}

void DecoderPoolTest::cancelledWhileItRunsIsEndedAndReplaced()
{
    DecoderPool pool(mFiles->options(1));
    const auto ticket = mFiles->start(pool, mFiles->gate("first", Urgency::Ahead));
    QTRY_VERIFY(mFiles->hasBegun("first"));
    const pid_t lost = mFiles->begun("first").first();
    ticket.cancel();
    QTRY_VERIFY(mFiles->isDone("first"));
    QCOMPARE(mFiles->error("first"), DecodeError::Cancelled);
    QTRY_VERIFY(!exists(lost));
    // Another one stands ready before it is needed.
    QTRY_COMPARE(pool.processes().size(), 1);
    const pid_t ready = pool.processes().first();
    QVERIFY(ready != lost);
    QCOMPARE(processOf(pool.decodeAndWait(mFiles->job("second", "number", Urgency::Ahead))), ready);
    QCOMPARE(mFiles->callbacks("first"), 1);
}

void DecoderPoolTest::cancelledWhileSuspendedIsEnded()
{
    DecoderPool pool(mFiles->options(1));
    const auto ticket = mFiles->start(pool, mFiles->gate("ahead", Urgency::Ahead));
    QTRY_VERIFY(mFiles->hasBegun("ahead"));
    const pid_t suspended = mFiles->begun("ahead").first();
    mFiles->start(pool, mFiles->gate("asked", Urgency::Asked));
    QTRY_VERIFY(isSuspended(suspended));
    ticket.cancel();
    QTRY_VERIFY(mFiles->isDone("ahead"));
    QTRY_VERIFY(!exists(suspended));
    mFiles->letGo("asked");
    QTRY_VERIFY(mFiles->isDone("asked"));
}

void DecoderPoolTest::cancellingTwiceOrTooLateDoesNothing()
{
    DecoderPool pool(mFiles->options(1));
    const auto ticket = mFiles->start(pool, mFiles->gate("first", Urgency::Ahead));
    const auto copy = ticket; // NOLINT(performance-unnecessary-copy-initialization): copies are what is tested
    ticket.cancel();
    copy.cancel();
    copy.raise(Urgency::Asked);
    const auto late = mFiles->start(pool, mFiles->job("second", "number"));
    QTRY_VERIFY(mFiles->isDone("second"));
    late.cancel();
    late.raise(Urgency::Asked);
    DecoderPool::Ticket().cancel();
    QTRY_VERIFY(mFiles->isDone("first"));
    QCOMPARE(mFiles->callbacks("first"), 1);
    QCOMPARE(mFiles->callbacks("second"), 1);
    QCOMPARE(mFiles->error("second"), DecodeError::None);
}

void DecoderPoolTest::ticketsOutliveTheirPool()
{
    auto pool = std::make_unique<DecoderPool>(mFiles->options(1));
    const auto ticket = mFiles->start(*pool, mFiles->gate("first", Urgency::Ahead));
    pool.reset();
    ticket.cancel();
    ticket.raise(Urgency::Asked);
    QCOMPARE(mFiles->callbacks("first"), 1);
}

void DecoderPoolTest::poolIsDestroyedWithWorkLeft()
{
    auto pool = std::make_unique<DecoderPool>(mFiles->options(2));
    const QByteArrayList names{"a", "b", "c", "d", "e"};
    for (const QByteArray& name : names) {
        mFiles->start(*pool, mFiles->gate(name, Urgency::Ahead));
    }
    QTRY_VERIFY(mFiles->hasBegun("a") && mFiles->hasBegun("b"));
    mFiles->start(*pool, mFiles->gate("asked", Urgency::Asked));
    QTRY_VERIFY(mFiles->hasBegun("asked"));
    pool.reset();
    for (const QByteArray& name : names) {
        QCOMPARE(mFiles->callbacks(name), 1);
        QCOMPARE(mFiles->error(name), DecodeError::Cancelled);
    }
    QCOMPARE(belongings(), mBefore);
}

void DecoderPoolTest::manyThreadsAskRaiseAndCancel()
{
    constexpr int threadCount = 4;
    constexpr int jobCount = 60;
    const std::array orders{QByteArray("number"), QByteArray("damaged"), QByteArray("picture 300 200 1"),
        QByteArray("crash-noted /dev/null"), QByteArray("spin 5"), QByteArray("extra")};
    std::array<FileUrl, orders.size()> urls;
    for (size_t i = 0; i < orders.size(); ++i) {
        urls[i] = mFiles->job(QByteArray::number(int(i)), orders[i]).url;
    }
    std::array<std::atomic<int>, size_t(threadCount) * jobCount> callbacks{};
    std::atomic<int> wrong = 0;
    DecoderPool pool(mFiles->options(2));
    const auto work = [&](int thread) {
        for (int i = 0; i < jobCount; ++i) {
            const int number = thread * jobCount + i;
            const size_t order = size_t(number) % orders.size();
            const auto ticket
                = pool.decode({urls[order], {}, Urgency(i / 2 % 3)}, [&, number, order](DecodedFile&& file) {
                      ++callbacks[size_t(number)];
                      const DecodeError error = file.picture.error;
                      const DecodeError expected = order == 1 ? DecodeError::Damaged
                          : order == 3                        ? DecodeError::DecoderLost
                                                              : DecodeError::None;
                      wrong += error != expected && error != DecodeError::Cancelled ? 1 : 0;
                  });
            if (i % 5 == 0) {
                ticket.raise(Urgency::Asked);
            }
            if (i % 3 == 0) {
                ticket.cancel();
            }
            pool.processes();
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto areDone
        = [&] { return std::all_of(callbacks.begin(), callbacks.end(), [](const auto& one) { return one > 0; }); };
    QTRY_VERIFY_WITH_TIMEOUT(areDone(), 60'000);
    QCOMPARE(wrong.load(), 0);
    for (const auto& count : callbacks) {
        QCOMPARE(count.load(), 1);
    }
}

// ---- Kinds

void DecoderPoolTest::othersAreDecodedByTheExtraKind()
{
    DecoderPool pool(mFiles->options(1));
    const DecodedFile file = pool.decodeAndWait(mFiles->job("a.one", "extra"));
    QCOMPARE(file.picture.error, DecodeError::None);
    QTRY_COMPARE(pool.processes().size(), 2);
    QVERIFY(pool.processes().contains(processOf(file)));
    QCOMPARE(pool.decodeAndWait(mFiles->job("b.other", "never-enough")).picture.error, DecodeError::NotAPicture);
}

void DecoderPoolTest::suffixIsRememberedForTheExtraKind()
{
    DecoderPool pool(mFiles->options(1));
    const pid_t common = processOf(pool.decodeAndWait(mFiles->job("a.jpg", "number")));
    const pid_t extra = processOf(pool.decodeAndWait(mFiles->job("a.heic", "extra")));
    QVERIFY(common != extra);
    QCOMPARE(processOf(pool.decodeAndWait(mFiles->job("b.HEIC", "number"))), extra);
    // One misnamed file is no rule.
    QCOMPARE(processOf(pool.decodeAndWait(mFiles->job("b.jpg", "extra"))), extra);
    QCOMPARE(processOf(pool.decodeAndWait(mFiles->job("c.jpg", "number"))), common);
}

void DecoderPoolTest::rawAndMoviesGoToTheExtraKindAtOnce()
{
    DecoderPool pool(mFiles->options(1));
    const pid_t extra = processOf(pool.decodeAndWait(mFiles->job("a.CR2", "number")));
    DecodeJob movie = mFiles->job("b.mp4", "number");
    movie.request.wanted = Wanted::MovieFrame;
    QCOMPARE(processOf(pool.decodeAndWait(movie)), extra);
    QTRY_COMPARE(pool.processes(), QList<pid_t>{extra});
}

QTEST_GUILESS_MAIN(DecoderPoolTest)
#include "DecoderPoolTest.moc"
