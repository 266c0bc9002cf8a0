#include "PendingEvents.h"

#include <QRandomGenerator>
#include <QTest>

namespace frameflow {

namespace {

const FileUrl root = FileUrl::fromPath(QByteArray("/hot"));

FileUrl numbered(int number)
{
    return FileUrl::fromPath("/hot/" + QByteArray::number(number));
}

// The same rules without any cleverness.
class NaivePending
{
public:
    explicit NaivePending(size_t mostPaths) : mMostPaths(mostPaths) { }

    void add(const FileEvent& event)
    {
        for (FileEvent& known : mEvents) {
            if (!mOverflowed && known.url == event.url) {
                known.flags |= event.flags;
                return;
            }
        }
        mEvents.push_back(event);
        mOverflowed = mOverflowed || mEvents.size() > mMostPaths;
    }

    std::vector<FileEvent> take()
    {
        std::vector<FileEvent> taken = mEvents;
        if (mOverflowed) {
            taken = {{root, fileEvent::mustScan | fileEvent::dropped}};
        }
        mEvents.clear();
        mOverflowed = false;
        return taken;
    }

private:
    size_t mMostPaths;
    std::vector<FileEvent> mEvents;
    bool mOverflowed = false;
};

} // namespace

class PendingEventsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneEntryForAPathInTheOrderOfFirstChanges();
    void tooManyPathsMeanLookingAtEverything();
    void overflowEndsWithTheBatch();
    void behavesAsItsNaiveTwin();
};

void PendingEventsTest::oneEntryForAPathInTheOrderOfFirstChanges()
{
    PendingEvents pending(root, 10);
    QVERIFY(pending.isEmpty());
    pending.add({numbered(2), fileEvent::created});
    pending.add({numbered(1), fileEvent::removed});
    pending.add({numbered(2), fileEvent::modified});
    QVERIFY(!pending.isEmpty());
    const std::vector<FileEvent> expected{
        {numbered(2), fileEvent::created | fileEvent::modified}, {numbered(1), fileEvent::removed}};
    QVERIFY(pending.take() == expected);
    QVERIFY(pending.isEmpty());
    QVERIFY(pending.take().empty());
}

void PendingEventsTest::tooManyPathsMeanLookingAtEverything()
{
    PendingEvents pending(root, 3);
    for (int i = 0; i < 3; ++i) {
        pending.add({numbered(i), fileEvent::created});
    }
    pending.add({numbered(1), fileEvent::modified}); // known, so nothing is lost
    QCOMPARE(pending.take().size(), size_t(3));
    for (int i = 0; i < 100; ++i) {
        pending.add({numbered(i), fileEvent::created});
    }
    QVERIFY(!pending.isEmpty());
    const std::vector<FileEvent> expected{{root, fileEvent::mustScan | fileEvent::dropped}};
    QVERIFY(pending.take() == expected);
}

void PendingEventsTest::overflowEndsWithTheBatch()
{
    PendingEvents pending(root, 1);
    pending.add({numbered(1), fileEvent::created});
    pending.add({numbered(2), fileEvent::created});
    QCOMPARE(pending.take().size(), size_t(1));
    pending.add({numbered(1), fileEvent::removed});
    const std::vector<FileEvent> expected{{numbered(1), fileEvent::removed}};
    QVERIFY(pending.take() == expected);
}

void PendingEventsTest::behavesAsItsNaiveTwin()
{
    QRandomGenerator random(5);
    constexpr quint32 flags[]{fileEvent::created, fileEvent::removed, fileEvent::renamed, fileEvent::modified};
    PendingEvents pending(root, 12);
    NaivePending naive(12);
    for (int step = 0; step < 20000; ++step) {
        if (random.bounded(20) == 0) {
            QVERIFY(pending.take() == naive.take());
        } else {
            const FileEvent event{numbered(random.bounded(20)), flags[random.bounded(4)]};
            pending.add(event);
            naive.add(event);
        }
    }
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::PendingEventsTest)
#include "PendingEventsTest.moc"
