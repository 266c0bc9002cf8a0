#include "CollectingFixture.h"
#include "HotFixture.h"

#include <deque>

namespace frameflow {

namespace {

// A rescan that stands still at its first file until it is let go.
struct HeldRescan : HotFixture
{
    void hold()
    {
        sequence.giveWay(std::chrono::hours(1));
        sequence.updateHotFolder();
        QVERIFY(sequence.isRescanning());
    }
    void letGo()
    {
        sequence.giveWay(std::chrono::milliseconds(0));
        QTRY_VERIFY(!sequence.isRescanning());
    }
};

// A gate that keeps jobs until they are asked for.
class KeptJobs
{
public:
    FileSequence::Gate gate()
    {
        return [this](std::function<void()> job) { mJobs.push_back(std::move(job)); };
    }
    bool waitForOne()
    {
        return QTest::qWaitFor([this] { return !mJobs.empty(); });
    }
    void runAll()
    {
        while (!mJobs.empty()) {
            const auto job = std::move(mJobs.front());
            mJobs.pop_front();
            job();
        }
    }
    bool isEmpty() const { return mJobs.empty(); }

private:
    std::deque<std::function<void()>> mJobs;
};

} // namespace

// What happens to a rescan's result when the sequence has changed since the rescan began.
class HotFolderChangesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changesDuringTheWalk_data();
    void changesDuringTheWalk();
    void changesBeforeTheResult_data();
    void changesBeforeTheResult();
    void cursorMovesDuringTheWalk();
    void addedDuringTheWalk();
    void settingsChangeBeforeTheResult();
    void rescansFollowEachOther();
    void gateKeepsChangesBack();

    void collectionMakesTheRescanVoid();
    void rescanFollowsACollection();
    void noRescanDuringACollection();
    void queuedClearMakesTheRescanVoid();
    void clearMakesTheRescanVoid();
    void sequenceMayBeDestroyedDuringARescan();
    void delegateMayDestroyTheSequence();
    void delegateMayClear();
    void delegateMayStep();
    void descriptorsRunOut();
    void unloadableFileStaysAway();
    void unloadableFileThatWasAwayComesBack();
    void unloadableFileThatIsBeingWrittenComesBack();
    void unloadableFilesOfAnEndedWatchStayAway();
};

void HotFolderChangesTest::changesDuringTheWalk_data()
{
    QTest::addColumn<std::function<void(FileSequence&)>>("change");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<QByteArray>("current");
    using Change = std::function<void(FileSequence&)>;
    QTest::newRow("none") << Change([](FileSequence&) {}) << QByteArray("a.jpg b.jpg x.jpg d.jpg")
                          << QByteArray("b.jpg");
    QTest::newRow("trashed") << Change([](FileSequence& s) { s.trash(); }) << QByteArray("a.jpg d.jpg x.jpg")
                             << QByteArray("d.jpg"); // the cursor was on c, which has vanished
    QTest::newRow("removed") << Change([](FileSequence& s) { s.remove(s.URLAtIndex(0)); })
                             << QByteArray("b.jpg d.jpg x.jpg") << QByteArray("d.jpg");
    QTest::newRow("stepped on") << Change([](FileSequence& s) { s.gotoIndex(3); })
                                << QByteArray("a.jpg b.jpg d.jpg x.jpg") << QByteArray("d.jpg");
    QTest::newRow("sorted anew") << Change([](FileSequence& s) {
        s.shuffle();
        s.sort();
    }) << QByteArray("a.jpg b.jpg x.jpg d.jpg")
                                 << QByteArray("b.jpg");
}

// c vanishes, x comes; the cursor is on b when the walk begins.
void HotFolderChangesTest::changesDuringTheWalk()
{
    QFETCH(const std::function<void(FileSequence&)>, change);
    HeldRescan f;
    f.watch("a.jpg b.jpg c.jpg d.jpg", "b.jpg");
    f.removeFile("c.jpg");
    f.addFile("x.jpg");
    f.hold();
    change(f.sequence);
    f.letGo();
    QTEST(f.names(), "expected");
    QTEST(f.current(), "current");
    QCOMPARE(f.delegate.newFiles, 1);
}

void HotFolderChangesTest::changesBeforeTheResult_data()
{
    changesDuringTheWalk_data();
}

void HotFolderChangesTest::changesBeforeTheResult()
{
    QFETCH(const std::function<void(FileSequence&)>, change);
    HotFixture f;
    f.watch("a.jpg b.jpg c.jpg d.jpg", "b.jpg");
    KeptJobs kept;
    f.sequence.setGate(kept.gate());
    f.removeFile("c.jpg");
    f.addFile("x.jpg");
    f.sequence.updateHotFolder();
    QVERIFY(kept.waitForOne());
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg d.jpg");
    f.sequence.setGate({});
    change(f.sequence);
    kept.runAll();
    QTRY_VERIFY(!f.sequence.isRescanning());
    QTEST(f.names(), "expected");
    QTEST(f.current(), "current");
    QCOMPARE(f.delegate.newFiles, 1);
}

void HotFolderChangesTest::cursorMovesDuringTheWalk()
{
    HeldRescan f;
    f.watch("a.jpg b.jpg c.jpg", "a.jpg");
    f.addFiles("x.jpg y.jpg");
    f.hold();
    QCOMPARE(f.sequence.next(), f.urlOf("b.jpg"));
    f.letGo();
    QCOMPARE(f.names(), "a.jpg b.jpg x.jpg y.jpg c.jpg");
    QCOMPARE(f.current(), "b.jpg");
}

// What was added may be known to the walk or not, so another one decides.
void HotFolderChangesTest::addedDuringTheWalk()
{
    HeldRescan f;
    f.watch("a.jpg", "a.jpg");
    f.hold();
    const auto path = f.addFile("b.jpg");
    f.sequence.addFile(path);
    QCOMPARE(f.names(), "a.jpg b.jpg");
    f.letGo();
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QCOMPARE(f.delegate.newFiles, 0);
}

void HotFolderChangesTest::settingsChangeBeforeTheResult()
{
    HotFixture f;
    f.watch("b.jpg c.jpg", "c.jpg");
    KeptJobs kept;
    f.sequence.setGate(kept.gate());
    f.addFile("a.jpg");
    f.sequence.updateHotFolder();
    QVERIFY(kept.waitForOne());
    f.sequence.setGate({});
    f.set(keys::showNewItemsASAP, false);
    kept.runAll();
    QTRY_VERIFY(!f.sequence.isRescanning());
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg");
    QCOMPARE(f.sequence.currentIndex(), size_t(1));
}

void HotFolderChangesTest::rescansFollowEachOther()
{
    HeldRescan f;
    f.watch("a.jpg", "a.jpg");
    f.hold();
    f.addFile("b.jpg");
    f.sequence.updateHotFolder();
    f.sequence.updateHotFolder();
    f.letGo();
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QCOMPARE(f.delegate.newFiles, 1);
}

void HotFolderChangesTest::gateKeepsChangesBack()
{
    HotFixture f;
    f.watchByEventsOnly("a.jpg b.jpg", "a.jpg");
    KeptJobs kept;
    f.sequence.setGate(kept.gate());
    f.addFile("a.jpg", "new");
    f.addFile("c.jpg");
    QVERIFY(QTest::qWaitFor([&] {
        f.clock.advanceSeconds(0.1);
        return !kept.isEmpty();
    }));
    QCOMPARE(f.delegate.changes, 0);
    QCOMPARE(f.names(), "a.jpg b.jpg");
    f.sequence.setGate({});
    kept.runAll();
    QCOMPARE(f.delegate.changes, 1);
    QVERIFY(f.listBecomes("a.jpg c.jpg b.jpg"));
}

void HotFolderChangesTest::collectionMakesTheRescanVoid()
{
    HeldRescan f;
    SerialQueue queue("test");
    f.watch("a.jpg", "a.jpg");
    f.addFile("b.jpg");
    f.hold();
    bool finished = false;
    f.sequence.collect(queue, {CollectionRequest::Adder::Files, {f.urlOf("a.jpg")}}, [&] { finished = true; });
    QVERIFY(!f.sequence.isRescanning());
    f.sequence.giveWay(std::chrono::milliseconds(0));
    QTRY_VERIFY(finished);
    QTRY_VERIFY(!f.sequence.isRescanning());
    QCOMPARE(f.names(), "a.jpg b.jpg a.jpg");
    QCOMPARE(f.delegate.newFiles, 1);
}

void HotFolderChangesTest::rescanFollowsACollection()
{
    HotFixture f;
    SerialQueue queue("test");
    f.addFiles("a.jpg b.jpg");
    bool finished = false;
    f.sequence.collect(queue, {CollectionRequest::Adder::Urls, {f.hotFolder()}}, [&] {
        finished = true;
        f.addFile("c.jpg");
    });
    QTRY_VERIFY(finished);
    QTRY_VERIFY(!f.sequence.isRescanning());
    // From here on the folder is watched.
    f.sequence.stopTimer();
    f.addFile("d.jpg");
    QVERIFY(f.comesTrue([&] { return f.sequence.count() == 4; }));
}

void HotFolderChangesTest::noRescanDuringACollection()
{
    HotFixture f;
    SerialQueue queue("test");
    f.watch("a.jpg", "a.jpg");
    Blocker blocker(queue);
    bool finished = false;
    f.sequence.collect(queue, {CollectionRequest::Adder::Files, {f.urlOf("a.jpg")}}, [&] { finished = true; });
    f.addFile("b.jpg");
    f.clock.advanceSeconds(30);
    QVERIFY(!f.sequence.isRescanning());
    blocker.release();
    QTRY_VERIFY(finished);
    QTRY_COMPARE(f.names(), "a.jpg b.jpg a.jpg");
}

void HotFolderChangesTest::queuedClearMakesTheRescanVoid()
{
    for (const bool isResultThere : {false, true}) {
        HotFixture f;
        SerialQueue queue("test");
        f.watch("a.jpg", "a.jpg");
        f.addFile("b.jpg");
        KeptJobs kept;
        if (isResultThere) {
            f.sequence.setGate(kept.gate());
            f.sequence.updateHotFolder();
            QVERIFY(kept.waitForOne());
        }
        bool cleared = false;
        Blocker blocker(queue);
        f.sequence.clearOn(queue, [&] { cleared = true; });
        f.sequence.setGate({});
        kept.runAll();
        f.clock.advanceSeconds(30);
        QVERIFY(!f.sequence.isRescanning());
        QCOMPARE(f.names(), "a.jpg");
        blocker.release();
        QTRY_VERIFY(cleared);
        QCOMPARE(f.sequence.count(), size_t(0));
        QCOMPARE(f.delegate.newFiles, 0);
    }
}

void HotFolderChangesTest::clearMakesTheRescanVoid()
{
    HeldRescan f;
    f.watch("a.jpg", "a.jpg");
    f.addFile("b.jpg");
    f.hold();
    f.sequence.clear();
    QVERIFY(!f.sequence.isRescanning());
    f.letGo();
    f.watch();
    QCOMPARE(f.names(), "a.jpg b.jpg");
    QCOMPARE(f.delegate.newFiles, 0);
}

void HotFolderChangesTest::sequenceMayBeDestroyedDuringARescan()
{
    for (const bool isResultThere : {false, true}) {
        HotFixture f;
        f.addFile("a.jpg");
        KeptJobs kept;
        auto sequence = std::make_unique<FileSequence>(f.defaults, f.clock);
        sequence->setDelegate(&f.delegate);
        sequence->addURLs({f.hotFolder()});
        QTRY_VERIFY(!sequence->isRescanning());
        f.addFile("b.jpg");
        if (isResultThere) {
            sequence->setGate(kept.gate());
        } else {
            sequence->giveWay(std::chrono::hours(1));
        }
        sequence->updateHotFolder();
        QVERIFY(!isResultThere || kept.waitForOne());
        sequence.reset();
        kept.runAll();
        f.clock.advanceSeconds(10);
        QCOMPARE(f.clock.pendingAlarms(), size_t(0));
        QCOMPARE(f.delegate.newFiles, 0);
    }
}

void HotFolderChangesTest::delegateMayDestroyTheSequence()
{
    HotFixture f;
    f.addFile("a.jpg");
    auto sequence = std::make_unique<FileSequence>(f.defaults, f.clock);
    sequence->setDelegate(&f.delegate);
    sequence->addURLs({f.hotFolder()});
    QTRY_VERIFY(!sequence->isRescanning());
    f.delegate.onNewFiles = [&] { sequence.reset(); };
    f.addFile("b.jpg");
    sequence->updateHotFolder();
    QTRY_VERIFY(!sequence);
}

void HotFolderChangesTest::delegateMayClear()
{
    HotFixture f;
    f.watch("a.jpg", "a.jpg");
    f.delegate.onNewFiles = [&] { f.sequence.clear(); };
    f.addFile("b.jpg");
    f.rescan();
    QCOMPARE(f.delegate.newFiles, 1);
    QCOMPARE(f.sequence.count(), size_t(0));
    QVERIFY(f.sequence.hotFolder().isEmpty());
}

void HotFolderChangesTest::delegateMayStep()
{
    HotFixture f;
    f.watch("a.jpg c.jpg", "a.jpg");
    f.delegate.onNewFiles = [&] {
        QCOMPARE(f.sequence.next(), f.urlOf("b.jpg"));
        f.sequence.remove(f.urlOf("b.jpg"));
    };
    f.addFile("b.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg c.jpg");
    QCOMPARE(f.current(), "c.jpg");
}

// A walk that cannot open folders for want of descriptors knows nothing, and nothing is lost.
void HotFolderChangesTest::descriptorsRunOut()
{
    HotFixture f;
    f.watch("a.jpg sub/b.jpg", "a.jpg");
    std::vector<int> taken;
    for (int file = dup(0); file >= 0; file = dup(0)) {
        taken.push_back(file);
    }
    f.sequence.updateHotFolder();
    QTRY_VERIFY(!f.sequence.isRescanning());
    QCOMPARE(f.names(), "a.jpg sub/b.jpg");
    for (const int file : taken) {
        close(file);
    }
    f.addFile("c.jpg");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg c.jpg sub/b.jpg");
}

void HotFolderChangesTest::unloadableFileStaysAway()
{
    HotFixture f;
    f.watch("a.jpg b.jpg c.jpg", "b.jpg");
    f.sequence.removeUnloadable(f.urlOf("b.jpg"));
    QCOMPARE(f.names(), "a.jpg c.jpg");
    QCOMPARE(f.sequence.removedURLs(), QList<FileUrl>{f.urlOf("b.jpg")});
    f.rescan(); // perhaps before it is known that the file is there
    f.addFile("b.jpg", "rewritten");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg c.jpg");
    QCOMPARE(f.sequence.removedURLs(), QList<FileUrl>{f.urlOf("b.jpg")});
}

// The show steps over all files of a folder that has gone, before it is looked at.
void HotFolderChangesTest::unloadableFileThatWasAwayComesBack()
{
    HotFixture f;
    f.watch("a.jpg b.jpg c.jpg", "b.jpg");
    f.rename("hot", "away");
    for (const char* name : {"b.jpg", "c.jpg", "a.jpg"}) {
        f.sequence.removeUnloadable(f.urlOf(name));
    }
    QCOMPARE(f.sequence.count(), size_t(0));
    QTRY_VERIFY(f.sequence.removedURLs().isEmpty());
    f.rename("away", "hot");
    f.rescan();
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg");
}

void HotFolderChangesTest::unloadableFileThatIsBeingWrittenComesBack()
{
    HotFixture f;
    FileInWriting file(f.pathOf("b.jpg"));
    f.watch("a.jpg", "b.jpg");
    f.sequence.removeUnloadable(f.urlOf("b.jpg"));
    QTRY_VERIFY(f.sequence.removedURLs().isEmpty());
    f.rescan();
    QCOMPARE(f.names(), "a.jpg");
    file.close();
    QVERIFY(f.listBecomes("a.jpg b.jpg"));
}

void HotFolderChangesTest::unloadableFilesOfAnEndedWatchStayAway()
{
    HotFixture f;
    f.watch("a.jpg b.jpg", "b.jpg");
    f.sequence.removeUnloadable(f.urlOf("b.jpg"));
    f.sequence.stopHotfolder();
    f.sequence.removeUnloadable(f.urlOf("a.jpg"));
    f.sequence.removeUnloadable({});
    QCOMPARE(f.sequence.removedURLs(), (QList<FileUrl>{f.urlOf("b.jpg"), f.urlOf("a.jpg")}));
    QCOMPARE(f.sequence.count(), size_t(0));
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::HotFolderChangesTest)
#include "HotFolderChangesTest.moc"
