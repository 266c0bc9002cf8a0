#include "SerialQueue.h"

#include "StaysTrue.h"

#include <QTest>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <semaphore>
#include <thread>
#include <vector>

namespace frameflow {

namespace {

// What a job that stands still shares with the test.
struct Gate
{
    // Not Qt's: the thread sanitizer does not see what those order.
    std::counting_semaphore<> entered{0};
    std::counting_semaphore<> open{0};
    std::counting_semaphore<> left{0};

    static std::shared_ptr<Gate> blocking(SerialQueue& queue)
    {
        auto gate = std::make_shared<Gate>();
        queue.async([gate] {
            gate->entered.release();
            gate->open.acquire();
            gate->left.release();
        });
        gate->entered.acquire();
        return gate;
    }
};

} // namespace

class SerialQueueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void jobsRunInOrderOneAtATime();
    void jobsFromSeveralThreadsAllRun();
    void jobsMayQueueJobs();
    void syncReturnsAfterTheJobAndAllBefore();
    void jobsRunOnAnotherThread();
    void jobIsReleasedBeforeTheNextStarts();
    void isBusy();
    void destructionDropsWaitingJobsAndWaitsForTheRunningOne();
    void destructionOfAnUnusedQueue();
    void jobsQueuedDuringDestructionAreDropped();
    void handleOutlivesTheQueue();
    void handleOfNoQueueDoesNothing();
    void abandonWhenIdleDoesNothing();
    void abandonedJobThatEndsInTimeKeepsItsThread();
    void stuckJobLosesItsThread();
    void laterJobsKeepTheirOrderAfterAStuckOne();
    void abandonTwice();
    void secondStuckJobIsReplacedToo();
    void destructionDoesNotWaitForAnAbandonedJob();
    void destructionAfterReplacement();
    void manyQueuesComeAndGo();
};

void SerialQueueTest::jobsRunInOrderOneAtATime()
{
    SerialQueue queue("test");
    std::vector<int> order;
    std::atomic<int> running = 0;
    bool overlapped = false;
    for (int i = 0; i < 1000; ++i) {
        queue.async([&, i] {
            overlapped = overlapped || ++running != 1;
            order.push_back(i);
            --running;
        });
    }
    queue.sync([] {});
    QVERIFY(!overlapped);
    QCOMPARE(order.size(), size_t(1000));
    QVERIFY(std::is_sorted(order.begin(), order.end()));
}

void SerialQueueTest::jobsFromSeveralThreadsAllRun()
{
    SerialQueue queue("test");
    int count = 0; // no atomic: only the queue's thread touches it
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 500; ++k) {
                k % 50 == 0 ? queue.sync([&] { ++count; }) : queue.async([&] { ++count; });
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    queue.sync([] {});
    QCOMPARE(count, 2000);
}

void SerialQueueTest::jobsMayQueueJobs()
{
    SerialQueue queue("test");
    std::vector<int> order;
    std::counting_semaphore<> done{0};
    queue.async([&] {
        queue.async([&] {
            order.push_back(2);
            done.release();
        });
        order.push_back(1);
    });
    done.acquire();
    QCOMPARE(order, (std::vector<int>{1, 2}));
}

void SerialQueueTest::syncReturnsAfterTheJobAndAllBefore()
{
    SerialQueue queue("test");
    int value = 0;
    for (int i = 0; i < 200; ++i) {
        queue.async([&] { ++value; });
        queue.sync([&] { value *= 2; });
        QCOMPARE(value, 2);
        value = 0;
    }
}

void SerialQueueTest::jobsRunOnAnotherThread()
{
    SerialQueue queue("test");
    QThread* thread = nullptr;
    QThread* again = nullptr;
    queue.sync([&] { thread = QThread::currentThread(); });
    queue.sync([&] { again = QThread::currentThread(); });
    QVERIFY(thread != nullptr && thread != QThread::currentThread());
    QCOMPARE(again, thread);
}

void SerialQueueTest::jobIsReleasedBeforeTheNextStarts()
{
    SerialQueue queue("test");
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> weak = held;
    queue.async([held = std::move(held)] {});
    bool released = false;
    queue.sync([&] { released = weak.expired(); });
    QVERIFY(released);
}

void SerialQueueTest::isBusy()
{
    SerialQueue queue("test");
    QVERIFY(!queue.isBusy());
    const auto gate = Gate::blocking(queue);
    QVERIFY(queue.isBusy());
    gate->open.release();
    QTRY_VERIFY(!queue.isBusy());
}

void SerialQueueTest::destructionDropsWaitingJobsAndWaitsForTheRunningOne()
{
    auto queue = std::make_unique<SerialQueue>("test");
    const auto gate = Gate::blocking(*queue);
    const auto held = std::make_shared<int>(1);
    std::atomic<bool> waitingRan = false;
    queue->async([&, held] { waitingRan = true; });
    std::atomic<bool> destroyed = false;
    std::thread owner([&] {
        queue.reset();
        destroyed = true;
    });
    // No check may return before the thread is joined.
    const bool dropped = QTest::qWaitFor([&] { return held.use_count() == 1; });
    const bool waited = staysTrueFor(std::chrono::milliseconds(50), [&] { return !destroyed; });
    gate->open.release();
    owner.join();
    QVERIFY(dropped);
    QVERIFY(waited);
    QVERIFY(gate->left.try_acquire());
    QVERIFY(!waitingRan);
}

void SerialQueueTest::destructionOfAnUnusedQueue()
{
    const SerialQueue queue("test");
    QVERIFY(!queue.isBusy());
}

void SerialQueueTest::jobsQueuedDuringDestructionAreDropped()
{
    bool ran = false;
    {
        SerialQueue queue("test");
        const auto handle = queue.handle();
        const auto gate = Gate::blocking(queue);
        // Calls when the destructor drops the job that holds it.
        struct Late
        {
            std::function<void()> atEnd;
            ~Late() { atEnd(); }
        };
        auto late = std::make_shared<Late>();
        late->atEnd = [handle, gate, &ran] {
            handle.async([&ran] { ran = true; });
            gate->open.release();
        };
        queue.async([late = std::move(late)] {});
    }
    QVERIFY(!ran);
}

void SerialQueueTest::handleOutlivesTheQueue()
{
    std::optional<SerialQueue> queue(std::in_place, "test");
    const auto handle = queue->handle();
    std::counting_semaphore<> done{0};
    handle.async([&] { done.release(); });
    done.acquire();
    queue.reset();
    const auto held = std::make_shared<int>(1);
    handle.async([held] { QFAIL("the queue is gone"); });
    handle.abandonRunning();
    QCOMPARE(held.use_count(), 1L);
}

void SerialQueueTest::handleOfNoQueueDoesNothing()
{
    const SerialQueue::Handle handle;
    handle.async([] { QFAIL("there is no queue"); });
    handle.abandonRunning();
}

void SerialQueueTest::abandonWhenIdleDoesNothing()
{
    SerialQueue queue("test");
    queue.abandonRunning();
    QThread* before = nullptr;
    queue.sync([&] { before = QThread::currentThread(); });
    QTRY_VERIFY(!queue.isBusy());
    queue.abandonRunning();
    QThread* after = nullptr;
    queue.sync([&] { after = QThread::currentThread(); });
    QCOMPARE(after, before);
}

void SerialQueueTest::abandonedJobThatEndsInTimeKeepsItsThread()
{
    SerialQueue queue("test");
    QThread* before = nullptr;
    queue.sync([&] { before = QThread::currentThread(); });
    const auto gate = Gate::blocking(queue);
    queue.abandonRunning();
    gate->open.release();
    QThread* after = nullptr;
    queue.sync([&] { after = QThread::currentThread(); });
    QCOMPARE(after, before);
}

void SerialQueueTest::stuckJobLosesItsThread()
{
    SerialQueue queue("test");
    const auto gate = Gate::blocking(queue);
    std::counting_semaphore<> done{0};
    queue.async([&] { done.release(); });
    queue.abandonRunning();
    QVERIFY(done.try_acquire_for(std::chrono::seconds(10)));
    // The old job ends without disturbing anything.
    gate->open.release();
    gate->left.acquire();
    int value = 0;
    queue.sync([&] { value = 1; });
    QCOMPARE(value, 1);
    QTRY_VERIFY(!queue.isBusy());
}

void SerialQueueTest::laterJobsKeepTheirOrderAfterAStuckOne()
{
    SerialQueue queue("test");
    const auto gate = Gate::blocking(queue);
    std::vector<int> order;
    for (int i = 0; i < 100; ++i) {
        queue.async([&order, i] { order.push_back(i); });
    }
    queue.abandonRunning();
    queue.sync([&] { gate->open.release(); });
    for (int i = 100; i < 200; ++i) {
        queue.async([&order, i] { order.push_back(i); });
    }
    queue.sync([] {});
    gate->left.acquire();
    QCOMPARE(order.size(), size_t(200));
    QVERIFY(std::is_sorted(order.begin(), order.end()));
}

void SerialQueueTest::abandonTwice()
{
    SerialQueue queue("test");
    const auto gate = Gate::blocking(queue);
    queue.abandonRunning();
    queue.abandonRunning();
    int value = 0;
    queue.sync([&] { value = 1; });
    QCOMPARE(value, 1);
    gate->open.release();
    gate->left.acquire();
}

void SerialQueueTest::secondStuckJobIsReplacedToo()
{
    SerialQueue queue("test");
    const auto first = Gate::blocking(queue);
    queue.abandonRunning();
    const auto second = Gate::blocking(queue);
    queue.abandonRunning();
    int value = 0;
    queue.sync([&] { value = 1; });
    QCOMPARE(value, 1);
    first->open.release();
    second->open.release();
    first->left.acquire();
    second->left.acquire();
}

void SerialQueueTest::destructionDoesNotWaitForAnAbandonedJob()
{
    std::shared_ptr<Gate> gate;
    {
        SerialQueue queue("test");
        gate = Gate::blocking(queue);
        queue.async([] { QFAIL("never started"); });
        queue.abandonRunning();
    }
    QVERIFY(!gate->left.try_acquire());
    gate->open.release();
    gate->left.acquire();
}

void SerialQueueTest::destructionAfterReplacement()
{
    std::shared_ptr<Gate> gate;
    {
        SerialQueue queue("test");
        gate = Gate::blocking(queue);
        queue.abandonRunning();
        queue.sync([] {});
    }
    gate->open.release();
    gate->left.acquire();
}

void SerialQueueTest::manyQueuesComeAndGo()
{
    std::atomic<int> ran = 0;
    for (int i = 0; i < 200; ++i) {
        SerialQueue queue("test");
        queue.async([&] { ++ran; });
        if (i % 2 == 0) {
            queue.sync([&] { ++ran; });
        } else {
            queue.abandonRunning();
        }
    }
    QVERIFY(ran >= 200);
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::SerialQueueTest)
#include "SerialQueueTest.moc"
