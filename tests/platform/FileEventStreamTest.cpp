#include "FileEventStream.h"

#include "ManualClock.h"
#include "StaysTrue.h"
#include "TestFiles.h"

#include <QTest>

#include <fcntl.h>
#include <unistd.h>

namespace frameflow {

namespace {

struct Stream
{
    Stream()
    {
        stream = FileEventStream::create(folder.url(), clock, [this](const auto& batch) {
            batches.push_back(batch);
            if (onBatch) {
                onBatch();
            }
        });
        watch("");
    }

    void watch(const QByteArray& name) const
    {
        const QByteArray path = name.isEmpty() ? folder.path() : folder.pathOf(name);
        const int opened = open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        stream->watches()->watch(opened, path);
        close(opened);
    }

    // Nothing comes out of order: all that happened so far has been read when a later change has, and is waiting to be
    // told when the one after that has.
    bool waitUntilRead()
    {
        return seesCookie() && seesCookie() && QTest::qWaitFor([&] { return clock.pendingAlarms() == 1; });
    }

    bool seesCookie()
    {
        const FileUrl cookie = folder.urlOf("cookie " + QByteArray::number(++cookies) + ".jpg");
        const int opened = open(cookie.path().constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
        const bool seen = QTest::qWaitFor([&] { return stream->watches()->isUnfinished(cookie); });
        unlink(cookie.path().constData());
        close(opened);
        return seen && QTest::qWaitFor([&] { return !stream->watches()->isUnfinished(cookie); });
    }

    // The names in a batch, without those of the cookies.
    QByteArray names(size_t batch) const
    {
        QByteArrayList all;
        for (const auto& event : batches.at(batch)) {
            const auto name = event.url.fileName().toByteArray();
            if (!name.startsWith("cookie")) {
                all.append(name);
            }
        }
        return all.join(' ');
    }

    TestFolder folder;
    ManualClock clock;
    std::vector<std::vector<FileEvent>> batches;
    std::function<void()> onBatch;
    std::unique_ptr<FileEventStream> stream;
    int cookies = 0;
};

} // namespace

class FileEventStreamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void batchIsToldASecondAfterItsFirstChange();
    void changesAfterABatchMakeAnother();
    void nothingIsToldWhereNothingHappens();
    void burstIsOneBatch();
    void callbackMayDestroyTheStream();
    void streamMayBeDestroyedWithChangesPending();
};

void FileEventStreamTest::batchIsToldASecondAfterItsFirstChange()
{
    Stream s;
    s.folder.addFile("a.jpg");
    QVERIFY(s.waitUntilRead());
    QVERIFY(s.stream->hasPending());
    s.clock.advanceSeconds(0.9);
    s.folder.addFile("b.jpg");
    QVERIFY(s.waitUntilRead());
    s.clock.advanceSeconds(0.09);
    QCOMPARE(s.batches.size(), size_t(0));
    s.clock.advanceSeconds(0.01);
    QCOMPARE(s.batches.size(), size_t(1));
    QCOMPARE(s.names(0), "a.jpg b.jpg");
    QVERIFY(!s.stream->hasPending());
}

void FileEventStreamTest::changesAfterABatchMakeAnother()
{
    Stream s;
    s.folder.addFile("a.jpg");
    QVERIFY(s.waitUntilRead());
    s.clock.advanceSeconds(1);
    QCOMPARE(s.clock.pendingAlarms(), size_t(0));
    s.folder.addFile("b.jpg");
    QVERIFY(s.waitUntilRead());
    s.clock.advanceSeconds(1);
    QCOMPARE(s.batches.size(), size_t(2));
    QCOMPARE(s.names(1), "b.jpg");
}

void FileEventStreamTest::nothingIsToldWhereNothingHappens()
{
    Stream s;
    s.folder.addFile("notes.txt");
    QVERIFY(staysTrueFor(std::chrono::milliseconds(50), [&] { return s.clock.pendingAlarms() == 0; }));
    s.clock.advanceSeconds(10);
    QCOMPARE(s.batches.size(), size_t(0));
}

void FileEventStreamTest::burstIsOneBatch()
{
    Stream s;
    for (int i = 0; i < 2000; ++i) {
        s.folder.addFile(QByteArray::number(i) + ".jpg");
    }
    QVERIFY(s.waitUntilRead());
    s.clock.advanceSeconds(1);
    QCOMPARE(s.batches.size(), size_t(1));
    QCOMPARE(s.names(0).split(' ').size(), 2000);
}

void FileEventStreamTest::callbackMayDestroyTheStream()
{
    Stream s;
    s.onBatch = [&] { s.stream.reset(); };
    s.folder.addFile("a.jpg");
    QVERIFY(s.waitUntilRead());
    s.clock.advanceSeconds(1);
    QVERIFY(!s.stream);
    QCOMPARE(s.batches.size(), size_t(1));
}

void FileEventStreamTest::streamMayBeDestroyedWithChangesPending()
{
    for (const bool isAlarmed : {false, true}) {
        Stream s;
        s.folder.addFile("a.jpg");
        if (isAlarmed) {
            QVERIFY(s.waitUntilRead());
        }
        s.stream.reset();
        QCoreApplication::processEvents();
        s.clock.advanceSeconds(2);
        QCOMPARE(s.batches.size(), size_t(0));
        QCOMPARE(s.clock.pendingAlarms(), size_t(0));
    }
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::FileEventStreamTest)
#include "FileEventStreamTest.moc"
