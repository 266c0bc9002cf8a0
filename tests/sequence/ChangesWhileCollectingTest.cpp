#include "CollectingFixture.h"

#include <QSet>

#include <algorithm>
#include <functional>

namespace frameflow {

using Adder = CollectionRequest::Adder;

namespace {

// Three files in one collection and a fourth in a second one, which the queue has made before the first is told.
struct TwoCollections : QueuedFixture
{
    TwoCollections() : QueuedFixture(3) { other.addFile("z.jpg"); }

    void collectBoth(const std::function<void()>& afterTheFirst)
    {
        sequence.collect(queue, folderRequest(), [this, afterTheFirst] {
            ++finished;
            if (afterTheFirst) {
                afterTheFirst();
            }
        });
        collect({Adder::Urls, {other.url()}});
        runQueue();
    }

    TestFolder other;
};

} // namespace

class ChangesWhileCollectingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void removedMeanwhileIsNotRestored_data();
    void removedMeanwhileIsNotRestored();
    void droppedFirstFilesMakeTheNextOneFirst_data();
    void droppedFirstFilesMakeTheNextOneFirst();
    void removedBeforeItIsFoundIsFoundAnyway();
    void removedBetweenTwoResultsStaysRemoved();
    void addedMeanwhileIsKept();
    void duplicatesRemovedMeanwhileStayRemoved();
    void sortSettingChangedMeanwhile();
    void cursorKeepsItsNumber();
    void removingWhileManyFilesArrive();
};

void ChangesWhileCollectingTest::removedMeanwhileIsNotRestored_data()
{
    QTest::addColumn<bool>("trash");
    QTest::newRow("removed") << false;
    QTest::newRow("trashed") << true;
}

void ChangesWhileCollectingTest::removedMeanwhileIsNotRestored()
{
    QFETCH(const bool, trash);
    QueuedFixture f(5);
    FileUrl gone;
    f.delegate.onFirstFile = [&] {
        if (gone.isEmpty()) {
            gone = f.sequence.current();
            trash ? static_cast<void>(f.sequence.trash()) : f.sequence.remove(gone);
        }
    };
    f.collect(f.folderRequest());
    f.runQueue(); // the result does not know of the removal
    QTRY_COMPARE(f.finished, 1);
    QVERIFY(!gone.isEmpty());
    QCOMPARE(f.sequence.count(), size_t(4));
    QVERIFY(!f.names().contains(gone.fileName().toByteArray()));
    QCOMPARE(f.sequence.removedURLs().size(), trash ? 0 : 1);
}

void ChangesWhileCollectingTest::droppedFirstFilesMakeTheNextOneFirst_data()
{
    QTest::addColumn<int>("dropped");
    QTest::newRow("none") << 0;
    QTest::newRow("the first batch") << 1;
    QTest::newRow("some of the second batch") << 4;
    QTest::newRow("all") << 50;
}

void ChangesWhileCollectingTest::droppedFirstFilesMakeTheNextOneFirst()
{
    QFETCH(const int, dropped);
    QueuedFixture f(50);
    QSet<FileUrl> gone;
    f.delegate.onFirstFile = [&] {
        QCOMPARE(f.sequence.count(), size_t(1));
        f.sequence.next();
        if (gone.size() < dropped) {
            gone.insert(dropCurrent(f.sequence));
        }
    };
    f.collect(f.folderRequest());
    f.runQueue(); // the result does not know of the removals
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(gone.size(), dropped);
    QCOMPARE(f.delegate.firstFiles, std::min(dropped + 1, 50));
    QCOMPARE(f.sequence.count(), size_t(50 - dropped));
    for (size_t i = 0; i < f.sequence.count(); ++i) {
        QVERIFY(!gone.contains(f.sequence.URLAtIndex(i)));
    }
}

void ChangesWhileCollectingTest::removedBeforeItIsFoundIsFoundAnyway()
{
    TwoCollections f;
    FileUrl notYetFound;
    f.delegate.onFirstFile = [&] {
        notYetFound = f.folder.urlOf(f.names() == "1.jpg" ? "2.jpg" : "1.jpg");
        f.sequence.remove(notYetFound);
    };
    f.collectBoth({});
    QTRY_COMPARE(f.finished, 2);
    QCOMPARE(f.sequence.count(), size_t(4));
    f.sequence.remove(notYetFound);
    QCOMPARE(f.sequence.count(), size_t(3));
}

void ChangesWhileCollectingTest::removedBetweenTwoResultsStaysRemoved()
{
    TwoCollections f;
    bool removed = false;
    f.collectBoth([&] {
        f.sequence.remove(f.folder.urlOf("1.jpg"));
        removed = f.sequence.count() == 2;
    });
    QTRY_COMPARE(f.finished, 2);
    QVERIFY(removed);
    QCOMPARE(f.sequence.count(), size_t(3));
    QCOMPARE(f.sequence.removedURLs(), QList<FileUrl>{f.folder.urlOf("1.jpg")});
}

void ChangesWhileCollectingTest::addedMeanwhileIsKept()
{
    QueuedFixture f(5);
    const TestFolder other;
    const auto path = other.addFile("1a.jpg");
    f.delegate.onFirstFile = [&] { f.sequence.addFile(path); };
    f.collect(f.folderRequest());
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(6));
    QCOMPARE(f.sequence.URLAtIndex(2), FileUrl::fromPath(path));
}

void ChangesWhileCollectingTest::duplicatesRemovedMeanwhileStayRemoved()
{
    QueuedFixture f;
    const TestFolder other;
    other.addFile("b.jpg");
    f.sequence.addFiles({f.folder.addFile("a.jpg"), f.folder.addFile("a.png")});
    f.collect({Adder::Directory, {other.url()}, false, true, false});
    f.runQueue();
    f.sequence.removeDuplicates();
    QCOMPARE(f.names(), "a.jpg");
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.count(), size_t(2));
    QCOMPARE(f.sequence.URLAtIndex(1), other.urlOf("b.jpg"));
}

void ChangesWhileCollectingTest::sortSettingChangedMeanwhile()
{
    QueuedFixture f(12);
    f.collect(f.folderRequest());
    f.runQueue();
    f.set(keys::sort, keys::sortByUrl);
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.URLAtIndex(1), f.folder.urlOf("1.jpg"));
    QCOMPARE(f.sequence.URLAtIndex(2), f.folder.urlOf("10.jpg"));
}

void ChangesWhileCollectingTest::cursorKeepsItsNumber()
{
    QueuedFixture f(3);
    f.sequence.addDirectory(f.folder.path());
    f.sequence.gotoIndex(2);
    const TestFolder other;
    other.addFile("00.jpg");
    f.collect({Adder::Urls, {other.url()}});
    QTRY_COMPARE(f.finished, 1);
    QCOMPARE(f.sequence.currentIndex(), size_t(2));
    QCOMPARE(f.sequence.count(), size_t(4));
}

// What the show does with a folder of files that it cannot decode, while the folder is still being searched.
void ChangesWhileCollectingTest::removingWhileManyFilesArrive()
{
    QueuedFixture f(3000);
    f.collect(f.folderRequest());
    QSet<FileUrl> removed;
    while (f.finished == 0) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 1);
        for (int i = 0; i < 20; ++i) {
            if (const FileUrl url = f.sequence.current(); !url.isEmpty()) {
                QVERIFY(!removed.contains(url));
                removed.insert(url);
                f.sequence.remove(url);
                f.sequence.stepBackAfterRemoval();
            }
            f.sequence.next();
        }
    }
    QVERIFY(!removed.isEmpty());
    QCOMPARE(f.sequence.count(), size_t(3000 - removed.size()));
    for (size_t i = 0; i < f.sequence.count(); ++i) {
        QVERIFY(!removed.contains(f.sequence.URLAtIndex(i)));
    }
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::ChangesWhileCollectingTest)
#include "ChangesWhileCollectingTest.moc"
