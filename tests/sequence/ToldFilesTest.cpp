#include "ToldFiles.h"

#include "FolderWalk.h"
#include "HotFixture.h"
#include "Rescan.h"

#include <functional>

#include <sys/stat.h>

namespace frameflow {

namespace {

// A list of what is in a folder, and a rescan of it that knows it from a walk.
struct KnownTree
{
    KnownTree()
    {
        for (const char* const name : {"a.jpg", "b.jpg", "sub/c.jpg", "sub/deep/d.jpg"}) {
            folder.addFile(name);
        }
        folder.addFile(".hidden/h.jpg");
        rescan.folder = folder.url();
        rescan.levelLimit = 3;
        rescan.memory = std::make_shared<ScanMemory>();
        walkFolder(folder.url(), 3, CancelToken(), [this](SlideItemPtr item) { rescan.list.items.append(item); });
        rescan.run();
    }

    RescanResult lookAt(const QByteArrayList& names) const
    {
        Rescan told = rescan;
        told.memory = std::make_shared<ScanMemory>(*rescan.memory);
        for (const QByteArray& name : names) {
            told.told.urls.push_back(folder.urlOf(name));
        }
        return told.run();
    }
    RescanResult walk() const { return lookAt({}); }

    TestFolder folder;
    Rescan rescan;
};

QByteArray namesOf(const SlideItems& items)
{
    QByteArrayList names;
    for (const auto& item : items) {
        names.append(item->mURL().fileName().toByteArray());
    }
    std::sort(names.begin(), names.end());
    return names.join(' ');
}

using Change = std::function<void(KnownTree&)>;

} // namespace

// A look at the files that are known to have come or gone, against a walk through all.
class ToldFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsWhatAWalkFinds_data();
    void findsWhatAWalkFinds();
    void looksAtNothingElse();
    void filesThatAreBeingWrittenAreAwaited();
    void withoutAnEarlierWalkAllIsWalked();
    void fileOfAnotherTreeLeadsToAWalk();
    void topmostFolderWithASlashAtItsEnd();
};

void ToldFilesTest::findsWhatAWalkFinds_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QByteArray>("told");
    QTest::addColumn<QByteArray>("fresh");
    QTest::addColumn<QByteArray>("vanished");
    const auto row
        = [](const char* name, const char* told, const char* fresh, const char* vanished, const Change& change) {
              QTest::newRow(name) << change << QByteArray(told) << QByteArray(fresh) << QByteArray(vanished);
          };
    row("a new file", "new.jpg", "new.jpg", "", [](KnownTree& t) { t.folder.addFile("new.jpg"); });
    row("one in a subfolder", "sub/deep/new.jpg", "new.jpg", "",
        [](KnownTree& t) { t.folder.addFile("sub/deep/new.jpg"); });
    row("a file gone", "sub/c.jpg", "", "c.jpg",
        [](KnownTree& t) { QCOMPARE(unlink(t.folder.pathOf("sub/c.jpg").constData()), 0); });
    row("a file renamed", "b.jpg n.jpg", "n.jpg", "b.jpg", [](KnownTree& t) {
        QCOMPARE(rename(t.folder.pathOf("b.jpg").constData(), t.folder.pathOf("n.jpg").constData()), 0);
    });
    row("one that came and went", "new.jpg", "", "", [](KnownTree&) {});
    row("a known file, replaced", "a.jpg", "", "", [](KnownTree& t) { t.folder.addFile("a.jpg", "other"); });
    row("told twice", "new.jpg new.jpg", "new.jpg", "", [](KnownTree& t) { t.folder.addFile("new.jpg"); });
    row("of no known type", "new.txt", "", "", [](KnownTree& t) { t.folder.addFile("new.txt"); });
    row("hidden at the top", ".new.jpg", "", "", [](KnownTree& t) { t.folder.addFile(".new.jpg"); });
    row("hidden below", "sub/.new.jpg", ".new.jpg", "", [](KnownTree& t) { t.folder.addFile("sub/.new.jpg"); });
    row("in a hidden folder", ".hidden/new.jpg", "", "", [](KnownTree& t) { t.folder.addFile(".hidden/new.jpg"); });
    row("too deep", "sub/deep/deeper/new.jpg", "", "",
        [](KnownTree& t) { t.folder.addFile("sub/deep/deeper/new.jpg"); });
    row("a link to a file", "new.jpg", "new.jpg", "",
        [](KnownTree& t) { t.folder.addLink("new.jpg", t.folder.pathOf("a.jpg")); });
    row("a link to a folder", "new.jpg", "", "",
        [](KnownTree& t) { t.folder.addLink("new.jpg", t.folder.pathOf("sub")); });
    row("a link to nothing", "new.jpg", "", "", [](KnownTree& t) { t.folder.addLink("new.jpg", "/missing"); });
    row("a pipe", "new.jpg", "", "",
        [](KnownTree& t) { QCOMPARE(mkfifo(t.folder.pathOf("new.jpg").constData(), 0600), 0); });
    row("a folder with the name of a picture", "new.jpg", "", "", [](KnownTree& t) { t.folder.addFolder("new.jpg"); });
    row("a folder in a file's place", "a.jpg", "", "a.jpg", [](KnownTree& t) {
        QCOMPARE(unlink(t.folder.pathOf("a.jpg").constData()), 0);
        t.folder.addFolder("a.jpg");
    });
    row("removed by the user", "new.jpg", "", "", [](KnownTree& t) {
        t.folder.addFile("new.jpg");
        t.rescan.list.removed.append(t.folder.urlOf("new.jpg"));
    });
    row("in the Trash before", "new.jpg", "", "", [](KnownTree& t) {
        t.folder.addFile("new.jpg");
        t.rescan.list.trashed.append(t.folder.urlOf("new.jpg"));
    });
    row("removed and listed all the same", "a.jpg", "", "a.jpg",
        [](KnownTree& t) { t.rescan.list.removed.append(t.folder.urlOf("a.jpg")); });
    row("listed twice and gone", "a.jpg", "", "a.jpg a.jpg", [](KnownTree& t) {
        t.rescan.list.items.append(SlideItem::itemWithURL(t.folder.urlOf("a.jpg")));
        QCOMPARE(unlink(t.folder.pathOf("a.jpg").constData()), 0);
    });
    row("a name of strange bytes", "\xff\n.jpg", "\xff\n.jpg", "",
        [](KnownTree& t) { t.folder.addFile("\xff\n.jpg"); });
}

void ToldFilesTest::findsWhatAWalkFinds()
{
    QFETCH(const Change, change);
    QFETCH(const QByteArray, told);
    QFETCH(const QByteArray, fresh);
    QFETCH(const QByteArray, vanished);
    KnownTree tree;
    change(tree);
    const RescanResult result = tree.lookAt(told.split(' '));
    QVERIFY(result.isComplete && !result.hasWalked);
    QCOMPARE(namesOf(result.changes.fresh), fresh);
    QCOMPARE(namesOf(result.changes.vanished), vanished);
    const RescanResult walked = tree.walk();
    QVERIFY(walked.isComplete && walked.hasWalked);
    QCOMPARE(namesOf(walked.changes.fresh), fresh);
    QCOMPARE(namesOf(walked.changes.vanished), vanished);
}

void ToldFilesTest::looksAtNothingElse()
{
    const KnownTree tree;
    tree.folder.addFile("new.jpg");
    tree.folder.addFile("untold.jpg");
    QCOMPARE(unlink(tree.folder.pathOf("a.jpg").constData()), 0);
    const RescanResult result = tree.lookAt({"new.jpg"});
    QCOMPARE(namesOf(result.changes.fresh), "new.jpg");
    QVERIFY(result.changes.vanished.empty());
    QVERIFY(result.plan.foundNew());
}

void ToldFilesTest::filesThatAreBeingWrittenAreAwaited()
{
    const KnownTree tree;
    FileInWriting file(tree.folder.pathOf("new.jpg"));
    const FileInWriting other(tree.folder.pathOf("other.jpg"));
    Rescan rescan = tree.rescan;
    rescan.told.urls = {tree.folder.urlOf("new.jpg"), tree.folder.urlOf("other.jpg")};
    const QSet<FileUrl> both{tree.folder.urlOf("new.jpg"), tree.folder.urlOf("other.jpg")};
    const RescanResult first = rescan.run();
    QVERIFY(first.changes.isEmpty());
    QCOMPARE(first.unfinished, both);
    QCOMPARE(rescan.run().unfinished, both); // each of them once
    QCOMPARE(rescan.memory->unfinished.size(), size_t(2));
    file.close();
    rescan.told.urls = {tree.folder.urlOf("new.jpg")};
    const RescanResult second = rescan.run();
    QCOMPARE(namesOf(second.changes.fresh), "new.jpg");
    QCOMPARE(second.unfinished, QSet<FileUrl>{tree.folder.urlOf("other.jpg")});
}

void ToldFilesTest::withoutAnEarlierWalkAllIsWalked()
{
    KnownTree tree;
    tree.rescan.memory = std::make_shared<ScanMemory>();
    tree.folder.addFile("untold.jpg");
    const RescanResult result = tree.lookAt({"a.jpg"});
    QVERIFY(result.hasWalked);
    QCOMPARE(namesOf(result.changes.fresh), "untold.jpg");
}

void ToldFilesTest::fileOfAnotherTreeLeadsToAWalk()
{
    const KnownTree tree;
    tree.folder.addFile("untold.jpg");
    Rescan rescan = tree.rescan;
    rescan.told.urls = {FileUrl::fromPath(tree.folder.path() + "x/a.jpg")};
    const RescanResult result = rescan.run();
    QVERIFY(result.hasWalked);
    QCOMPARE(namesOf(result.changes.fresh), "untold.jpg");
}

void ToldFilesTest::topmostFolderWithASlashAtItsEnd()
{
    const TestFolder folder;
    folder.addFile("a.jpg");
    const FileUrl root = FileUrl::fromPath(QByteArray("/"));
    std::vector<FileUrl> unfinished;
    const auto changes = changesOf({{folder.urlOf("a.jpg")}}, {root, 0, nullptr, FileDate::now()}, {}, unfinished);
    QVERIFY(changes.has_value());
    QCOMPARE(namesOf(changes->fresh), "a.jpg");
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::ToldFilesTest)
#include "ToldFilesTest.moc"
