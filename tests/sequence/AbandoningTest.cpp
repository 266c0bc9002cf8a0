#include "CollectingFixture.h"

#include <memory>

namespace frameflow {

using Adder = CollectionRequest::Adder;

class AbandoningTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void abandonedCollectionCallsNothingBack();
    void abandonKeepsWhatWasFound();
    void abandonRestoresFolderSearches();
    void abandonGivesUpAStuckJob();
    void abandonedThenCollectedAgain();
    void abandonDoesNotTouchAQueuedClear();
    void clearAfterAbandonOfAStuckCollection();
    void clearGivesUpCollections();

    void sequenceMayBeDestroyedWhileCollecting();
    void queueMayBeDestroyedFirst();
    void delegateMayDestroyTheSequence();
    void delegateMayClear();
    void delegateMayAbandon();
    void finishedMayDestroyTheSequence();
    void finishedMayCollectAgain();
};

void AbandoningTest::abandonedCollectionCallsNothingBack()
{
    QueuedFixture f(5);
    Blocker blocker(f.queue);
    f.collect(f.folderRequest());
    f.collect(f.folderRequest());
    f.sequence.abandonCollections();
    QVERIFY(!f.sequence.isCollecting());
    blocker.release();
    f.runQueue();
    // What was posted before the end was also given up.
    f.collect(f.folderRequest());
    f.runQueue();
    f.sequence.abandonCollections();
    QCoreApplication::processEvents();
    QCOMPARE(f.finished, 0);
    QCOMPARE(f.delegate.firstFiles, 0);
    QCOMPARE(f.sequence.count(), size_t(0));
    f.sequence.abandonCollections();
}

void AbandoningTest::abandonKeepsWhatWasFound()
{
    QueuedFixture f(5);
    f.delegate.onFirstFile = [&] { f.sequence.abandonCollections(); };
    f.collect(f.folderRequest());
    f.runQueue();
    QTRY_COMPARE(f.delegate.firstFiles, 1);
    QCoreApplication::processEvents();
    QCOMPARE(f.sequence.count(), size_t(1));
    QCOMPARE(f.finished, 0);
}

void AbandoningTest::abandonRestoresFolderSearches()
{
    QueuedFixture f(5);
    const TestFolder other;
    other.addFile("z.jpg");
    bool refused = false;
    f.delegate.onFirstFile = [&] {
        const auto before = f.sequence.count();
        f.sequence.addURL(other.url());
        refused = f.sequence.count() == before;
        f.sequence.abandonCollections();
        f.sequence.addURL(other.url());
    };
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.delegate.firstFiles, 1);
    QVERIFY(refused);
    QCOMPARE(f.sequence.count(), size_t(2));
}

void AbandoningTest::abandonGivesUpAStuckJob()
{
    QueuedFixture f(5);
    const Blocker stuck(f.queue);
    stuck.waitUntilRunning();
    f.collect(f.folderRequest());
    f.sequence.abandonCollections();
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(5));
}

void AbandoningTest::abandonedThenCollectedAgain()
{
    QueuedFixture f(5);
    const TestFolder other;
    other.addFile("z.jpg");
    Blocker blocker(f.queue);
    f.collect(f.folderRequest());
    f.sequence.abandonCollections();
    f.sequence.clearOn(f.queue);
    f.collect({Adder::Directory, {other.url()}, true, true, true});
    blocker.release();
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(1));
    QCOMPARE(f.sequence.hotFolder(), other.url());
}

void AbandoningTest::abandonDoesNotTouchAQueuedClear()
{
    QueuedFixture f(5);
    f.sequence.addDirectory(f.folder.path());
    bool cleared = false;
    Blocker blocker(f.queue);
    f.collect({Adder::Files, {f.folder.urlOf("1.jpg")}});
    f.sequence.clearOn(f.queue, [&] { cleared = true; });
    f.sequence.abandonCollections();
    QCOMPARE(f.sequence.count(), size_t(5));
    blocker.release();
    QTRY_VERIFY(cleared);
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.finished, 0);
}

void AbandoningTest::clearAfterAbandonOfAStuckCollection()
{
    QueuedFixture f(5);
    f.sequence.addDirectory(f.folder.path());
    const Blocker stuck(f.queue);
    stuck.waitUntilRunning();
    f.collect(f.folderRequest());
    f.sequence.abandonCollections();
    bool cleared = false;
    f.sequence.clearOn(f.queue, [&] { cleared = true; });
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QVERIFY(cleared);
    QCOMPARE(f.names(), "0.jpg 1.jpg 2.jpg 3.jpg 4.jpg");
}

void AbandoningTest::clearGivesUpCollections()
{
    QueuedFixture f(5);
    f.collect(f.folderRequest());
    f.runQueue();
    f.sequence.clear();
    QCoreApplication::processEvents();
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.finished, 0);
    QVERIFY(!f.sequence.isCollecting());
}

void AbandoningTest::sequenceMayBeDestroyedWhileCollecting()
{
    QueuedFixture f(5);
    for (const bool posted : {false, true}) {
        Blocker blocker(f.queue);
        auto sequence = std::make_unique<FileSequence>(f.defaults);
        sequence->setDelegate(&f.delegate);
        sequence->collect(f.queue, f.folderRequest(), [&] { ++f.finished; });
        sequence->clearOn(f.queue, [&] { ++f.finished; });
        if (posted) {
            blocker.release();
            f.runQueue();
        }
        sequence.reset();
        blocker.release();
        f.runQueue();
        QCoreApplication::processEvents();
    }
    QCOMPARE(f.finished, 0);
    QCOMPARE(f.delegate.firstFiles, 0);
}

void AbandoningTest::queueMayBeDestroyedFirst()
{
    SequenceFixture f;
    f.folder.addFile("a.jpg");
    int finished = 0;
    {
        SerialQueue queue("short-lived");
        f.sequence.collect(queue, {Adder::Files, {f.folder.urlOf("a.jpg")}}, [&] { ++finished; });
        queue.sync([] {});
    }
    QTRY_COMPARE(finished, 1);
    QCOMPARE(f.names(), "a.jpg");
    f.sequence.clear();
}

void AbandoningTest::delegateMayDestroyTheSequence()
{
    QueuedFixture f(50);
    auto sequence = std::make_unique<FileSequence>(f.defaults);
    f.delegate.onFirstFile = [&] { sequence.reset(); };
    sequence->setDelegate(&f.delegate);
    sequence->collect(f.queue, f.folderRequest(), [&] { ++f.finished; });
    f.runQueue();
    QTRY_VERIFY(!sequence);
    QCoreApplication::processEvents();
    QCOMPARE(f.finished, 0);
    QCOMPARE(f.delegate.firstFiles, 1);
}

void AbandoningTest::delegateMayClear()
{
    QueuedFixture f(50);
    f.delegate.onFirstFile = [&] { f.sequence.clear(); };
    f.collect(f.folderRequest());
    f.runQueue();
    QTRY_COMPARE(f.delegate.firstFiles, 1);
    QCoreApplication::processEvents();
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.finished, 0);
}

void AbandoningTest::delegateMayAbandon()
{
    QueuedFixture f(50);
    f.delegate.onFirstFile = [&] {
        f.sequence.abandonCollections();
        f.delegate.onFirstFile = {};
        f.sequence.clearOn(f.queue);
        f.collect(f.folderRequest());
    };
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(50));
    QCOMPARE(f.delegate.firstFiles, 2);
}

void AbandoningTest::finishedMayDestroyTheSequence()
{
    QueuedFixture f(3);
    auto sequence = std::make_unique<FileSequence>(f.defaults);
    sequence->collect(f.queue, f.folderRequest(), [&] { sequence.reset(); });
    QTRY_VERIFY(!sequence);
    sequence = std::make_unique<FileSequence>(f.defaults);
    sequence->clearOn(f.queue, [&] { sequence.reset(); });
    QTRY_VERIFY(!sequence);
}

void AbandoningTest::finishedMayCollectAgain()
{
    QueuedFixture f(3);
    f.sequence.collect(f.queue, f.folderRequest(), [&] {
        QVERIFY(!f.sequence.isCollecting());
        auto request = f.folderRequest();
        request.clearFirst = true;
        f.collect(request);
    });
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.names(), "0.jpg 1.jpg 2.jpg");
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::AbandoningTest)
#include "AbandoningTest.moc"
