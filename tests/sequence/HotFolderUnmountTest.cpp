#include "HotFixture.h"
#include "OwnMounts.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace frameflow {

namespace {

// A hot folder on a volume of its own; where none can be mounted, a folder that is renamed away instead.
class Volume
{
public:
    Volume(const HotFixture& fixture, bool hasMounts) : mFixture(fixture), mHasMounts(hasMounts) { }
    ~Volume()
    {
        if (mIsMounted) {
            umount2(path().constData(), MNT_DETACH);
        }
    }
    Volume(const Volume&) = delete;
    Volume& operator=(const Volume&) = delete;

    void bring(const QByteArray& names)
    {
        if (mHasMounts) {
            QVERIFY2(mount("frameflow", path().constData(), "tmpfs", 0, "size=16m") == 0, std::strerror(errno));
            mIsMounted = true;
        } else if (mIsAway) {
            QCOMPARE(rmdir(path().constData()), 0);
            mFixture.rename("away", "hot");
        }
        mIsAway = false;
        mFixture.addFiles(names);
    }
    // As a volume that is pulled out: nothing waits for whoever uses it.
    void take()
    {
        if (mHasMounts) {
            QVERIFY2(umount2(path().constData(), MNT_DETACH) == 0, std::strerror(errno));
            mIsMounted = false;
        } else {
            mFixture.rename("hot", "away");
            QCOMPARE(mkdir(path().constData(), 0777), 0); // what a volume was mounted on stays
        }
        mIsAway = true;
    }

private:
    QByteArray path() const { return mFixture.outside.pathOf("hot"); }

    const HotFixture& mFixture;
    const bool mHasMounts;
    bool mIsMounted = false;
    bool mIsAway = false;
};

} // namespace

// A hot folder whose volume is taken away during the show, and comes back.
class HotFolderUnmountTest : public QObject
{
    Q_OBJECT

public:
    explicit HotFolderUnmountTest(bool hasMounts) : mHasMounts(hasMounts) { }

private Q_SLOTS:
    void initTestCase()
    {
        if (!mHasMounts) {
            qInfo("Nothing can be mounted here: folders are renamed away instead.");
        }
    }
    void volumeThatWasAwayComesBack_data();
    void volumeThatWasAwayComesBack();
    void volumeGoesDuringAWalk();
    void fileThatCouldNotBeShownMeanwhileComesBack();

private:
    bool mHasMounts;
};

void HotFolderUnmountTest::volumeThatWasAwayComesBack_data()
{
    QTest::addColumn<bool>("byEvents");
    QTest::newRow("told") << true;
    QTest::newRow("looked at") << false;
}

void HotFolderUnmountTest::volumeThatWasAwayComesBack()
{
    QFETCH(const bool, byEvents);
    HotFixture f;
    Volume volume(f, mHasMounts);
    volume.bring("a.jpg sub/b.jpg");
    byEvents ? f.watch({}, "a.jpg") : f.watchByTimerOnly({}, "a.jpg");
    QCOMPARE(f.names(), "a.jpg sub/b.jpg");
    volume.take();
    QVERIFY(f.listBecomes(""));
    QCOMPARE(f.sequence.currentIndex(), nowhere);
    QCOMPARE(f.delegate.newFiles, 0);
    volume.bring("a.jpg sub/b.jpg");
    QVERIFY(f.listBecomes("a.jpg sub/b.jpg"));
    QVERIFY(f.delegate.newFiles >= 1);
    if (byEvents) {
        f.sequence.stopTimer();
        f.addFile("sub/c.jpg");
        QVERIFY(f.comesTrue([&] { return f.names().contains("sub/c.jpg"); }));
    }
}

// Whatever the walk has seen of it, the list comes to what there is.
void HotFolderUnmountTest::volumeGoesDuringAWalk()
{
    HotFixture f;
    Volume volume(f, mHasMounts);
    QByteArrayList names;
    for (int i = 0; i < 300; ++i) {
        names.append(QByteArray::number(i % 30) + '/' + QByteArray::number(i) + ".jpg");
    }
    volume.bring(names.join(' '));
    f.watch();
    QCOMPARE(f.sequence.count(), size_t(names.size()));
    for (int round = 0; round < 5; ++round) {
        f.sequence.updateHotFolder();
        volume.take();
        QVERIFY(f.listBecomes(""));
        f.sequence.updateHotFolder();
        volume.bring(names.join(' '));
        QVERIFY(f.comesTrue([&] { return f.sequence.count() == size_t(names.size()); }));
    }
}

void HotFolderUnmountTest::fileThatCouldNotBeShownMeanwhileComesBack()
{
    HotFixture f;
    Volume volume(f, mHasMounts);
    volume.bring("a.jpg b.jpg");
    f.watch({}, "a.jpg");
    volume.take();
    f.sequence.removeUnloadable(f.urlOf("a.jpg"));
    QVERIFY(f.listBecomes(""));
    volume.bring("a.jpg b.jpg");
    QVERIFY(f.listBecomes("a.jpg b.jpg"));
}

} // namespace frameflow

int main(int argc, char** argv)
{
    const bool hasMounts = frameflow::mayMount() && frameflow::makeOwnMounts();
    const QCoreApplication application(argc, argv);
    frameflow::HotFolderUnmountTest test(hasMounts);
    return QTest::qExec(&test, argc, argv);
}
#include "HotFolderUnmountTest.moc"
