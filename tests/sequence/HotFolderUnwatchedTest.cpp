#include "HotFixture.h"
#include "OwnUsers.h"

#include <sys/inotify.h>

namespace frameflow {

namespace {

// Lets the system refuse every watch to this process: as one among its own users, of whom none may have any, or where
// that is forbidden, by taking all that there are. To be called before there is a second thread.
bool loseWatches()
{
    if (!enterOwnUsers() || !writeText("/proc/sys/user/max_inotify_instances", "0")) {
        constexpr int most = 10000;
        for (int i = 0; i < most && inotify_init1(IN_CLOEXEC) >= 0; ++i) { }
    }
    return inotify_init1(IN_CLOEXEC) < 0;
}

} // namespace

// A hot folder where the system has no watches left, since other programs have them all.
class HotFolderUnwatchedTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theTimerLooks();
    void anotherFolderIsWatchedAsLittle();
};

void HotFolderUnwatchedTest::theTimerLooks()
{
    HotFixture f;
    f.watch("a.jpg b.jpg", "a.jpg");
    f.addFile("c.jpg");
    QVERIFY(f.listBecomes("a.jpg c.jpg b.jpg"));
    QCOMPARE(f.delegate.newFiles, 1);
    f.removeFile("b.jpg");
    f.addFile("sub/d.jpg");
    QVERIFY(f.listBecomes("a.jpg sub/d.jpg c.jpg"));
    QCOMPARE(f.current(), "a.jpg");
}

void HotFolderUnwatchedTest::anotherFolderIsWatchedAsLittle()
{
    HotFixture f;
    f.watch("a.jpg", "a.jpg");
    f.sequence.clear();
    f.addFile("b.jpg");
    f.watch();
    QCOMPARE(f.names(), "a.jpg b.jpg");
    f.removeFile("a.jpg");
    QVERIFY(f.listBecomes("b.jpg"));
}

} // namespace frameflow

int main(int argc, char** argv)
{
    if (!frameflow::loseWatches()) {
        qFatal("the system still has watches");
    }
    const QCoreApplication application(argc, argv);
    frameflow::HotFolderUnwatchedTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "HotFolderUnwatchedTest.moc"
