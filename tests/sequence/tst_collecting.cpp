#include "SequenceTest.h"

namespace frameflow {

using Adder = CollectionRequest::Adder;

class CollectingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstBatchIsOneItemFollowedByFirstFileFound();
};

void CollectingTest::firstBatchIsOneItemFollowedByFirstFileFound()
{
    SequenceFixture f;
    for (int i = 0; i < 100; ++i) {
        f.folder.addFile("a" + QByteArray::number(i) + ".jpg");
    }
    RecordingDelegate delegate;
    size_t countAtFirst = 0;
    delegate.onFirstFile = [&] { countAtFirst = f.sequence.count(); };
    f.sequence.setDelegate(&delegate);
    SerialQueue queue("test");
    bool finished = false;
    f.sequence.collect(queue, {Adder::Directory, {f.folder.url()}, false, true, true}, [&] { finished = true; });
    QVERIFY(f.sequence.isCollecting());
    QCOMPARE(f.sequence.count(), size_t(0));
    QTRY_VERIFY(finished);
    QVERIFY(!f.sequence.isCollecting());
    QCOMPARE(countAtFirst, size_t(1));
    QCOMPARE(delegate.firstFiles, 1);
    QCOMPARE(f.sequence.count(), size_t(100));
    QCOMPARE(f.sequence.URLAtIndex(2), f.folder.urlOf("a2.jpg"));
    QCOMPARE(f.sequence.URLAtIndex(10), f.folder.urlOf("a10.jpg"));
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::CollectingTest)
#include "tst_collecting.moc"
