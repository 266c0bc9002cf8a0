#include "FolderWatches.h"

#include "TestFiles.h"

#include <QTest>

#include <memory>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

using Outcome = FolderWatches::Outcome;
namespace is = fileEvent;

namespace {

// A folder that is watched, with those below it that were named.
struct Watched
{
    explicit Watched(int mostWatches = FolderWatches::noLimit)
        : watches(FolderWatches::create(folder.url(), mostWatches))
    {
    }

    Outcome watch(const QByteArray& name = {}) const
    {
        const QByteArray path = name.isEmpty() ? folder.path() : folder.pathOf(name);
        const int opened = open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const auto outcome = watches->watch(opened, path);
        close(opened);
        return outcome;
    }

    void watchOnly(const QByteArrayList& names) const
    {
        watches->beginPass();
        for (const auto& name : names) {
            watch(name);
        }
        watches->endPass();
    }

    // What was told since the last time, as "name:flags", in order.
    QByteArray told() const
    {
        QByteArrayList all;
        for (const auto& event : watches->read()) {
            const QByteArray name = event.url == folder.url() ? "." : event.url.path().mid(folder.path().size() + 1);
            all.append(name + ':' + QByteArray::number(event.flags, 16));
        }
        return all.join(' ');
    }

    TestFolder folder;
    std::shared_ptr<FolderWatches> watches;
};

// A file that is being written.
class Writing
{
public:
    explicit Writing(const QByteArray& path) : mFile(open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)) { }
    ~Writing() { close(mFile); }
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;
    void write() const { QCOMPARE(::write(mFile, "x", 1), 1); }

private:
    int mFile;
};

} // namespace

class FolderWatchesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void kernelsWords_data();
    void kernelsWords();

    void fileIsToldWhenItIsClosed();
    void fileThatWasThereIsToldAsModified();
    void linksAreToldAtOnce();
    void renamedAndReplaced();
    void unfinishedFileKeepsItsStateWhenRenamed();
    void deletedWhileItIsWritten();
    void otherFilesAreNotTold();
    void subfolders();
    void foldersThatWereNotNamedAreGivenUp();
    void renamedFolderTellsItsNewPath();
    void vanishedRoot_data();
    void vanishedRoot();
    void changedPermissions();
    void limit();
    void rootWithSlashAtTheEnd();
    void strangeNames();
};

void FolderWatchesTest::kernelsWords_data()
{
    QTest::addColumn<quint32>("mask");
    QTest::addColumn<bool>("unfinished");
    QTest::addColumn<quint32>("flags");
    const auto row = [](const char* name, quint32 mask, bool unfinished, quint32 flags) {
        QTest::newRow(name) << mask << unfinished << flags;
    };
    row("a file is created", IN_CREATE, true, 0);
    row("a new file is closed", IN_CLOSE_WRITE, true, is::created | is::modified);
    row("an old file is closed", IN_CLOSE_WRITE, false, is::modified);
    row("a file arrives", IN_MOVED_TO, false, is::renamed | is::modified);
    row("a file leaves", IN_MOVED_FROM, false, is::renamed);
    row("a file is deleted", IN_DELETE, false, is::removed);
    row("an unfinished file is deleted", IN_DELETE, true, is::removed);
    row("a file's attributes change", IN_ATTRIB, false, 0);
    row("a folder is created", IN_CREATE | IN_ISDIR, false, is::created | is::mustScan);
    row("a folder arrives", IN_MOVED_TO | IN_ISDIR, false, is::renamed | is::mustScan);
    row("a folder leaves", IN_MOVED_FROM | IN_ISDIR, false, is::renamed | is::mustScan);
    row("a folder is deleted", IN_DELETE | IN_ISDIR, false, is::removed | is::mustScan);
    row("a folder's permissions change", IN_ATTRIB | IN_ISDIR, false, is::mustScan);
    row("the watched folder is deleted", IN_DELETE_SELF | IN_ISDIR, false, is::removed | is::mustScan);
    row("the watched folder leaves", IN_MOVE_SELF | IN_ISDIR, false, is::renamed | is::mustScan);
    row("its volume is unmounted", IN_UNMOUNT | IN_ISDIR, false, is::removed | is::mustScan);
    row("the kernel has lost some", IN_Q_OVERFLOW, false, is::mustScan | is::dropped);
    row("a watch has ended", IN_IGNORED, false, 0);
}

void FolderWatchesTest::kernelsWords()
{
    QFETCH(const quint32, mask);
    QFETCH(const bool, unfinished);
    QTEST(fileEventFlags(mask, unfinished), "flags");
}

void FolderWatchesTest::fileIsToldWhenItIsClosed()
{
    const Watched w;
    w.watchOnly({""});
    {
        const Writing file(w.folder.pathOf("a.jpg"));
        file.write();
        QCOMPARE(w.told(), "");
        QVERIFY(w.watches->isUnfinished(w.folder.urlOf("a.jpg")));
        file.write();
        QCOMPARE(w.told(), "");
    }
    QCOMPARE(w.told(), "a.jpg:1100");
    QVERIFY(!w.watches->isUnfinished(w.folder.urlOf("a.jpg")));
}

void FolderWatchesTest::fileThatWasThereIsToldAsModified()
{
    const Watched w;
    w.folder.addFile("a.jpg");
    w.watchOnly({""});
    w.folder.addFile("a.jpg", "new");
    QCOMPARE(w.told(), "a.jpg:1000");
}

void FolderWatchesTest::linksAreToldAtOnce()
{
    const Watched w;
    const TestFolder other;
    const auto target = other.addFile("target.jpg");
    w.watchOnly({""});
    w.folder.addLink("symbolic.jpg", target);
    QCOMPARE(link(target.constData(), w.folder.pathOf("hard.jpg").constData()), 0);
    QCOMPARE(w.told(), "symbolic.jpg:100 hard.jpg:100");
}

void FolderWatchesTest::renamedAndReplaced()
{
    const Watched w;
    w.folder.addFile("a.jpg");
    w.watchOnly({""});
    QCOMPARE(rename(w.folder.pathOf("a.jpg").constData(), w.folder.pathOf("b.jpg").constData()), 0);
    QCOMPARE(w.told(), "a.jpg:800 b.jpg:1800");
    // As a careful program saves: under another name first.
    w.folder.addFile(".b.jpg.new");
    QCOMPARE(rename(w.folder.pathOf(".b.jpg.new").constData(), w.folder.pathOf("b.jpg").constData()), 0);
    QCOMPARE(w.told(), "b.jpg:1800");
}

void FolderWatchesTest::unfinishedFileKeepsItsStateWhenRenamed()
{
    const Watched w;
    w.watchOnly({""});
    {
        const Writing file(w.folder.pathOf("a.jpg"));
        QCOMPARE(rename(w.folder.pathOf("a.jpg").constData(), w.folder.pathOf("b.jpg").constData()), 0);
        QCOMPARE(w.told(), "a.jpg:800 b.jpg:1800");
        QVERIFY(w.watches->isUnfinished(w.folder.urlOf("b.jpg")));
        QVERIFY(!w.watches->isUnfinished(w.folder.urlOf("a.jpg")));
        file.write();
    }
    QCOMPARE(w.told(), "b.jpg:1100");
    // A whole file that takes an unfinished one's place is whole.
    const Writing file(w.folder.pathOf("c.jpg"));
    QCOMPARE(rename(w.folder.pathOf("b.jpg").constData(), w.folder.pathOf("c.jpg").constData()), 0);
    QCOMPARE(w.told(), "b.jpg:800 c.jpg:1800");
    QVERIFY(!w.watches->isUnfinished(w.folder.urlOf("c.jpg")));
}

void FolderWatchesTest::deletedWhileItIsWritten()
{
    const Watched w;
    w.watchOnly({""});
    {
        const Writing file(w.folder.pathOf("a.jpg"));
        QCOMPARE(w.told(), "");
        QCOMPARE(unlink(w.folder.pathOf("a.jpg").constData()), 0);
        QCOMPARE(w.told(), "a.jpg:200");
        QVERIFY(!w.watches->isUnfinished(w.folder.urlOf("a.jpg")));
    }
    w.told();
    QVERIFY(!w.watches->isUnfinished(w.folder.urlOf("a.jpg")));
}

void FolderWatchesTest::otherFilesAreNotTold()
{
    const Watched w;
    w.watchOnly({""});
    w.folder.addFile("notes.txt");
    w.folder.addFile("a.jpg.part");
    QCOMPARE(unlink(w.folder.pathOf("notes.txt").constData()), 0);
    QCOMPARE(w.told(), "");
    QCOMPARE(rename(w.folder.pathOf("a.jpg.part").constData(), w.folder.pathOf("a.jpg").constData()), 0);
    QCOMPARE(w.told(), "a.jpg:1800");
}

void FolderWatchesTest::subfolders()
{
    const Watched w;
    w.folder.addFolder("sub/deep");
    w.watchOnly({"", "sub"});
    QCOMPARE(w.watches->count(), size_t(2));
    w.folder.addFile("sub/a.jpg");
    w.folder.addFile("sub/deep/b.jpg"); // not watched
    w.folder.addFolder("sub/new.jpg");
    QCOMPARE(w.told(), "sub/a.jpg:1100 sub/new.jpg:101");
    QCOMPARE(rmdir(w.folder.pathOf("sub/new.jpg").constData()), 0);
    QCOMPARE(w.told(), "sub/new.jpg:201");
}

void FolderWatchesTest::foldersThatWereNotNamedAreGivenUp()
{
    const Watched w;
    w.folder.addFolder("one");
    w.folder.addFolder("two");
    w.watchOnly({"", "one", "two"});
    w.watchOnly({"", "two"});
    QCOMPARE(w.watches->count(), size_t(2));
    w.folder.addFile("one/a.jpg");
    w.folder.addFile("two/b.jpg");
    QCOMPARE(w.told(), "two/b.jpg:1100");
    // A walk that was broken off ends no watch.
    w.watches->beginPass();
    w.watch();
    QCOMPARE(w.watches->count(), size_t(2));
    w.folder.addFile("two/c.jpg");
    QCOMPARE(w.told(), "two/c.jpg:1100");
}

void FolderWatchesTest::renamedFolderTellsItsNewPath()
{
    const Watched w;
    w.folder.addFolder("old");
    w.watchOnly({"", "old"});
    QCOMPARE(rename(w.folder.pathOf("old").constData(), w.folder.pathOf("new").constData()), 0);
    QCOMPARE(w.told(), "old:801 new:801 old:801");
    w.watchOnly({"", "new"});
    w.folder.addFile("new/a.jpg");
    QCOMPARE(w.told(), "new/a.jpg:1100");
    QCOMPARE(w.watches->count(), size_t(2));
}

void FolderWatchesTest::vanishedRoot_data()
{
    QTest::addColumn<bool>("renamed");
    QTest::newRow("deleted") << false;
    QTest::newRow("renamed") << true;
}

void FolderWatchesTest::vanishedRoot()
{
    QFETCH(const bool, renamed);
    const TestFolder folder;
    const auto path = folder.addFolder("root");
    const auto watches = FolderWatches::create(folder.urlOf("root"));
    const int opened = open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    QCOMPARE(watches->watch(opened, path), Outcome::Watched);
    close(opened);
    QCOMPARE(renamed ? rename(path.constData(), folder.pathOf("other").constData()) : rmdir(path.constData()), 0);
    quint32 flags = 0;
    for (const auto& event : watches->read()) {
        QCOMPARE(event.url, folder.urlOf("root"));
        flags |= event.flags;
    }
    QVERIFY((flags & (renamed ? is::renamed : is::removed)) != 0);
    QCOMPARE(watches->count(), size_t(renamed ? 1 : 0));
}

void FolderWatchesTest::changedPermissions()
{
    const Watched w;
    w.folder.addFolder("sub");
    w.folder.addFile("a.jpg");
    w.watchOnly({""});
    QCOMPARE(chmod(w.folder.pathOf("sub").constData(), 0700), 0);
    QCOMPARE(chmod(w.folder.pathOf("a.jpg").constData(), 0600), 0);
    QCOMPARE(chmod(w.folder.path().constData(), 0750), 0);
    QCOMPARE(w.told(), "sub:1 .:1");
}

void FolderWatchesTest::limit()
{
    const Watched w(2);
    w.folder.addFolder("one");
    w.folder.addFolder("two");
    w.watches->beginPass();
    QCOMPARE(w.watch(), Outcome::Watched);
    QCOMPARE(w.watch("one"), Outcome::Watched);
    QVERIFY(w.watches->isComplete());
    QCOMPARE(w.watch("two"), Outcome::LimitReached);
    QCOMPARE(w.watch("one"), Outcome::Watched);
    w.watches->endPass();
    QVERIFY(!w.watches->isComplete());
    QCOMPARE(w.watches->count(), size_t(2));
    w.folder.addFile("two/a.jpg");
    w.folder.addFile("one/a.jpg");
    QCOMPARE(w.told(), "one/a.jpg:1100");
    w.watchOnly({"", "two"}); // "one" is only given up at the end
    w.watchOnly({"", "two"});
    QVERIFY(w.watches->isComplete());
    w.folder.addFile("two/b.jpg");
    QCOMPARE(w.told(), "two/b.jpg:1100");
}

void FolderWatchesTest::rootWithSlashAtTheEnd()
{
    const Watched w;
    const int opened = open(w.folder.path().constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    QCOMPARE(w.watches->watch(opened, w.folder.path() + '/'), Outcome::Watched);
    close(opened);
    w.folder.addFile("a.jpg");
    QCOMPARE(w.told(), "a.jpg:1100");
}

void FolderWatchesTest::strangeNames()
{
    const Watched w;
    w.watchOnly({""});
    const QByteArrayList names{"a;b%20#?.jpg", "line\nbreak.jpg", "\xff\xfe.jpg", "\xf0\x9f\x98\x80.jpg"};
    QByteArrayList expected;
    for (const auto& name : names) {
        w.folder.addFile(name);
        expected.append(name + ":1100");
    }
    QCOMPARE(w.told(), expected.join(' '));
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::FolderWatchesTest)
#include "FolderWatchesTest.moc"
