#include "Rescan.h"

#include "HotFixture.h"

#include <atomic>
#include <set>

#include <sys/stat.h>
#include <sys/syscall.h>

namespace {

// How often the file system was asked, counted by standing in front of the C library.
std::atomic<int> attributeReads = 0;
std::atomic<int> openings = 0;

int readAttributes(int folder, const char* path, struct stat* attributes, int flags)
{
    ++attributeReads;
    return static_cast<int>(syscall(SYS_newfstatat, folder, path, attributes, flags));
}

} // namespace

extern "C" int stat(const char* path, struct stat* attributes) noexcept
{
    return readAttributes(AT_FDCWD, path, attributes, 0);
}

extern "C" int lstat(const char* path, struct stat* attributes) noexcept
{
    return readAttributes(AT_FDCWD, path, attributes, AT_SYMLINK_NOFOLLOW);
}

extern "C" int fstatat(int folder, const char* path, struct stat* attributes, int flags) noexcept
{
    return readAttributes(folder, path, attributes, flags);
}

extern "C" int fstat(int file, struct stat* attributes) noexcept
{
    return readAttributes(file, "", attributes, AT_EMPTY_PATH);
}

extern "C" int openat(int folder, const char* path, int flags, ...)
{
    ++openings;
    return static_cast<int>(syscall(SYS_openat, folder, path, flags, 0666));
}

namespace frameflow {

namespace {

// A folder that has been walked through once; time runs ten seconds ahead, so that all changes are long ago.
struct Walked
{
    explicit Walked(const QByteArrayList& files)
    {
        for (const auto& name : files) {
            folder.addFile(name);
        }
        rescan.folder = folder.url();
        rescan.memory = std::make_shared<ScanMemory>();
        rescan.now = later(10);
        walkFolder(folder.url(), 0, CancelToken(), [this](SlideItemPtr item) { rescan.list.items.append(item); });
        rescan.run();
        rescan.mayLookOnly = true;
    }

    static FileDate later(int seconds)
    {
        FileDate date = FileDate::now();
        date.seconds += seconds;
        return date;
    }

    RescanResult run()
    {
        attributeReads = 0;
        openings = 0;
        return rescan.run();
    }

    bool looksOnly()
    {
        const auto result = run();
        return result.isComplete && !result.hasWalked;
    }

    TestFolder folder;
    Rescan rescan;
};

QByteArray namesOf(const SlideItems& items)
{
    std::set<QByteArray> names;
    for (const auto& item : items) {
        names.insert(item->mURL().fileName().toByteArray());
    }
    return QByteArrayList(names.begin(), names.end()).join(' ');
}

} // namespace

class RescanTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unchangedTreeCostsOneAttributeReadPerFolder();
    void unchangedFilesAreNotAsked();
    void changedFoldersAreSeen_data();
    void changedFoldersAreSeen();
    void fullWalkWhereItIsAskedFor();
    void recentChangesLeaveNoCertainty();
    void remoteFileSystems_data();
    void remoteFileSystems();
    void missingFolderStaysMissing();
    void unfinishedFilesAreLookedAtAgain();
    void unfinishedFilesAreNotFresh();
    void cancelled();
    void equalItemsGoTogether();
    void barredFilesAreNeitherFoundNorFresh();
    void deepFolders();
    void allFoldersAreWatchedBeforeTheyAreListed();
    void oneNewFileCostsNoWalk();
    void allIsWalkedOnceAMinute();
};

void RescanTest::unchangedTreeCostsOneAttributeReadPerFolder()
{
    QByteArrayList files;
    for (int i = 0; i < 40; ++i) {
        for (int k = 0; k < 10; ++k) {
            files.append("folder " + QByteArray::number(i) + "/deep/" + QByteArray::number(k) + ".jpg");
        }
    }
    Walked w(files);
    const auto result = w.run();
    QVERIFY(result.isComplete);
    QVERIFY(!result.hasWalked);
    QVERIFY(result.changes.isEmpty());
    QCOMPARE(attributeReads.load(), 1 + 40 * 2);
    QCOMPARE(openings.load(), 0);
}

// Of a file that is known, its being listed is enough.
void RescanTest::unchangedFilesAreNotAsked()
{
    Walked w({"a.jpg", "b.jpg", "c.jpg", "sub/d.jpg"});
    w.rescan.mayLookOnly = false;
    QVERIFY(w.run().changes.isEmpty());
    QCOMPARE(openings.load(), 2);
    QVERIFY(attributeReads.load() <= 4); // the folders; the C library looks once more
}

void RescanTest::changedFoldersAreSeen_data()
{
    QTest::addColumn<std::function<void(const TestFolder&)>>("change");
    using Change = std::function<void(const TestFolder&)>;
    const auto row = [](const char* name, const Change& change) { QTest::newRow(name) << change; };
    row("a new file", [](const TestFolder& f) { f.addFile("sub/new.jpg"); });
    row("a file gone", [](const TestFolder& f) { unlink(f.pathOf("sub/b.jpg").constData()); });
    row("a file renamed",
        [](const TestFolder& f) { rename(f.pathOf("sub/b.jpg").constData(), f.pathOf("sub/c.jpg").constData()); });
    row("a new folder", [](const TestFolder& f) { f.addFolder("sub/new"); });
    row("a folder gone", [](const TestFolder& f) { rmdir(f.pathOf("empty").constData()); });
    row("a folder renamed",
        [](const TestFolder& f) { rename(f.pathOf("empty").constData(), f.pathOf("other").constData()); });
    row("a folder's permissions", [](const TestFolder& f) { chmod(f.pathOf("empty").constData(), 0711); });
    row("a folder in another's place", [](const TestFolder& f) {
        rename(f.pathOf("empty").constData(), f.pathOf("sub/empty").constData());
        f.addFolder("empty");
    });
}

void RescanTest::changedFoldersAreSeen()
{
    QFETCH(const std::function<void(const TestFolder&)>, change);
    Walked w({"a.jpg", "sub/b.jpg", "empty/.keep"});
    QCOMPARE(unlink(w.folder.pathOf("empty/.keep").constData()), 0);
    QVERIFY(!w.looksOnly());
    QVERIFY(w.looksOnly());
    change(w.folder);
    QVERIFY(!w.looksOnly());
}

void RescanTest::fullWalkWhereItIsAskedFor()
{
    Walked w({"a.jpg"});
    QVERIFY(w.looksOnly());
    w.rescan.mayLookOnly = false;
    QVERIFY(w.run().hasWalked);
    w.rescan.memory = std::make_shared<ScanMemory>();
    w.rescan.mayLookOnly = true;
    QVERIFY(w.run().hasWalked); // nothing is remembered
}

void RescanTest::recentChangesLeaveNoCertainty()
{
    Walked w({"a.jpg", "sub/b.jpg"});
    w.rescan.mayLookOnly = false;
    w.rescan.now = FileDate::now();
    w.run();
    w.rescan.mayLookOnly = true;
    QVERIFY(!w.looksOnly());
    w.rescan.now = Walked::later(3);
    QVERIFY(!w.looksOnly()); // the walk that is remembered was the early one
    QVERIFY(w.looksOnly());
}

void RescanTest::remoteFileSystems_data()
{
    QTest::addColumn<qint64>("type");
    QTest::addColumn<bool>("isRemote");
    QTest::newRow("ext4") << qint64(0xef53) << false;
    QTest::newRow("tmpfs") << qint64(0x01021994) << false;
    QTest::newRow("btrfs, as a negative number") << qint64(static_cast<qint32>(0x9123683e)) << false;
    QTest::newRow("NFS") << qint64(0x6969) << true;
    QTest::newRow("SMB") << qint64(0xfe534d42) << true;
    QTest::newRow("SMB, as a negative number") << qint64(static_cast<qint32>(0xfe534d42)) << true;
    QTest::newRow("FUSE") << qint64(0x65735546) << true;
    QTest::newRow("9P") << qint64(0x01021997) << true;
}

void RescanTest::remoteFileSystems()
{
    QFETCH(const qint64, type);
    QTEST(isRemoteFileSystem(type), "isRemote");
}

void RescanTest::missingFolderStaysMissing()
{
    Walked w({"a.jpg"});
    w.rescan.folder = w.folder.urlOf("missing");
    w.rescan.mayLookOnly = false;
    QCOMPARE(namesOf(w.run().changes.vanished), "a.jpg");
    w.rescan.mayLookOnly = true;
    QVERIFY(w.looksOnly());
    QCOMPARE(attributeReads.load(), 1);
    w.folder.addFile("missing/b.jpg");
    QCOMPARE(namesOf(w.run().changes.fresh), "b.jpg");
}

void RescanTest::unfinishedFilesAreLookedAtAgain()
{
    Walked w({"a.jpg"});
    FileInWriting file(w.folder.pathOf("b.jpg"));
    const auto first = w.run();
    QVERIFY(first.hasWalked);
    QVERIFY(first.changes.isEmpty());
    QCOMPARE(first.unfinished, QSet<FileUrl>{w.folder.urlOf("b.jpg")});
    const auto second = w.run();
    QVERIFY(!second.hasWalked);
    QCOMPARE(second.unfinished, first.unfinished);
    QCOMPARE(attributeReads.load(), 2); // the folder, and that file
    file.close(); // which leaves no trace in the folder
    const auto third = w.run();
    QVERIFY(third.hasWalked);
    QCOMPARE(namesOf(third.changes.fresh), "b.jpg");
    QVERIFY(third.unfinished.isEmpty());
}

void RescanTest::unfinishedFilesAreNotFresh()
{
    Walked w({"a.jpg"});
    const FileInWriting known(w.folder.pathOf("a.jpg"));
    const FileInWriting file(w.folder.pathOf("b.jpg"));
    w.folder.addFile("c.jpg");
    const auto result = w.run();
    QCOMPARE(namesOf(result.changes.fresh), "c.jpg");
    QVERIFY(result.changes.vanished.empty());
}

void RescanTest::cancelled()
{
    Walked w({"a.jpg"});
    w.folder.addFile("b.jpg");
    w.rescan.cancel.cancel();
    QVERIFY(!w.run().isComplete);
}

void RescanTest::equalItemsGoTogether()
{
    Walked w({"a.jpg", "b.jpg"});
    w.rescan.list.items.append(SlideItem::itemWithURL(w.folder.urlOf("a.jpg")));
    w.rescan.mayLookOnly = false;
    QVERIFY(w.run().changes.isEmpty());
    QCOMPARE(unlink(w.folder.pathOf("a.jpg").constData()), 0);
    QCOMPARE(w.run().changes.vanished.size(), size_t(2));
}

void RescanTest::barredFilesAreNeitherFoundNorFresh()
{
    Walked w({"a.jpg", "b.jpg"});
    w.folder.addFile("c.jpg");
    w.folder.addFile("d.jpg");
    w.rescan.list.removed.append(w.folder.urlOf("a.jpg"));
    w.rescan.list.removed.append(w.folder.urlOf("a.jpg"));
    w.rescan.list.removed.append(w.folder.urlOf("c.jpg"));
    w.rescan.list.trashed.append(w.folder.urlOf("d.jpg"));
    const auto result = w.run();
    QCOMPARE(namesOf(result.changes.vanished), "a.jpg");
    QVERIFY(result.changes.fresh.empty());
}

void RescanTest::deepFolders()
{
    QByteArray deep;
    for (int i = 0; i < 200; ++i) {
        deep += "d/";
    }
    Walked w({deep + "a.jpg"});
    QVERIFY(w.looksOnly());
    QCOMPARE(attributeReads.load(), 201);
    const FileInWriting file(w.folder.pathOf(deep + "b.jpg"));
    w.folder.addFile("d/d/c.jpg");
    const auto result = w.run();
    QCOMPARE(namesOf(result.changes.fresh), "c.jpg");
    QCOMPARE(result.unfinished.size(), 1);
}

void RescanTest::allFoldersAreWatchedBeforeTheyAreListed()
{
    Walked w({"a.jpg", "sub/b.jpg", "sub/deep/c.jpg", ".hidden/d.jpg"});
    w.rescan.watches = FolderWatches::create(w.folder.url());
    w.rescan.levelLimit = 2;
    w.rescan.mayLookOnly = false;
    w.run();
    QCOMPARE(w.rescan.watches->count(), size_t(2));
    w.rescan.levelLimit = 0;
    w.run();
    QCOMPARE(w.rescan.watches->count(), size_t(3));
    QVERIFY(w.rescan.watches->isComplete());
    w.folder.addFile("sub/deep/e.jpg");
    QCOMPARE(w.rescan.watches->read().size(), size_t(1));
}

// Where all folders are watched.
void RescanTest::oneNewFileCostsNoWalk()
{
    HotFixture f;
    constexpr int folders = 40;
    for (int i = 0; i < folders; ++i) {
        f.addFile(QByteArray::number(100 + i) + "/a.jpg");
    }
    f.watchByEventsOnly("a.jpg", "a.jpg");
    openings = 0;
    f.addFile("139/b.jpg");
    QVERIFY(f.comesTrue([&] { return f.sequence.count() == folders + 2; }));
    QVERIFY(openings.load() < folders);
    openings = 0;
    QCOMPARE(unlink(f.pathOf("100/a.jpg").constData()), 0);
    QVERIFY(f.comesTrue([&] { return f.sequence.count() == folders + 1; }));
    QVERIFY(openings.load() < folders);
    // The next look does not rely on that.
    openings = 0;
    f.sequence.startTimer();
    f.clock.advanceSeconds(5);
    QTRY_VERIFY(!f.sequence.isRescanning());
    QVERIFY(openings.load() > folders);
    QCOMPARE(f.sequence.count(), size_t(folders + 1));
}

// However little seems to happen.
void RescanTest::allIsWalkedOnceAMinute()
{
    HotFixture f;
    f.watch("a.jpg sub/b.jpg", "a.jpg");
    const auto foldersOpenedByALook = [&f] {
        openings = 0;
        f.clock.advanceSeconds(5);
        return QTest::qWaitFor([&] { return !f.sequence.isRescanning(); }) ? openings.load() : -1;
    };
    // As soon as the walk before it can be trusted, a look opens none.
    QVERIFY(QTest::qWaitFor([&] { return foldersOpenedByALook() == 0; }, 10000));
    int looks = 1;
    while (foldersOpenedByALook() == 0) {
        ++looks;
        QVERIFY(looks < 12);
    }
    QCOMPARE(looks, 11);
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::RescanTest)
#include "RescanTest.moc"
