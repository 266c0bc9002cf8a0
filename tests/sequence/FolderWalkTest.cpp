#include "FolderWalk.h"

#include "TestFiles.h"

#include <QTest>

#include <algorithm>
#include <climits>

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

QByteArrayList walked(const TestFolder& folder, qint64 limit = 0, const QByteArray& top = {})
{
    QByteArrayList names;
    const FileUrl root = top.isEmpty() ? folder.url() : FileUrl::fromPath(top);
    walkFolder(root, limit, CancelToken(),
        [&](const SlideItemPtr& item) { names.append(item->mURL().path().mid(root.path().size() + 1)); });
    return names;
}

QByteArray sortedNames(QByteArrayList names)
{
    std::sort(names.begin(), names.end());
    return names.join(' ');
}

// The walk's own rule in its simplest form: recursion, in the order of the file system.
void naiveWalk(const QByteArray& root, const QByteArray& relative, QByteArrayList& names)
{
    DIR* directory = opendir((root + '/' + relative).constData());
    while (const dirent* entry = directory != nullptr ? readdir(directory) : nullptr) {
        const QByteArray name(entry->d_name);
        const QByteArray path = relative.isEmpty() ? name : relative + '/' + name;
        if (name == "." || name == ".." || path.startsWith('.')) {
            continue;
        }
        if (entry->d_type == DT_DIR) {
            naiveWalk(root, path, names);
        } else if (name.endsWith(".jpg")) {
            names.append(path);
        }
    }
    if (directory != nullptr) {
        closedir(directory);
    }
}

} // namespace

class FolderWalkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void levels_data();
    void levels();
    void onlyDisplayableFilesAreFound();
    void hiddenAtTheTopHidesAllBelow();
    void subfolderContentsStandInTheSubfoldersPlace();
    void linksToFilesAreFoundAndLinksToFoldersNotEntered();
    void danglingAndCircularLinksArePassedOver();
    void linkedTopFolderIsEntered();
    void specialFilesArePassedOver();
    void unreadableFolderIsPassedOver();
    void missingTopFolderAndFileGiveNothing();
    void anyNameIsFound();
    void datesAreThoseOfTheFiles();
    void deepTreeNeedsFewDescriptors();
    void orderIsKeptBelowTheOpenFolders();
    void pathsTooLongForTheKernelArePassedOver();
    void stopsWhenCancelled();
    void kindOfPath_data();
    void kindOfPath();
};

void FolderWalkTest::levels_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("0") << 0 << QByteArray("1.jpg a/2.jpg a/b/3.jpg a/b/c/4.jpg");
    QTest::newRow("negative") << -3 << QByteArray("1.jpg a/2.jpg a/b/3.jpg a/b/c/4.jpg");
    QTest::newRow("1") << 1 << QByteArray("1.jpg");
    QTest::newRow("2") << 2 << QByteArray("1.jpg a/2.jpg");
    QTest::newRow("3") << 3 << QByteArray("1.jpg a/2.jpg a/b/3.jpg");
    QTest::newRow("9") << 9 << QByteArray("1.jpg a/2.jpg a/b/3.jpg a/b/c/4.jpg");
}

void FolderWalkTest::levels()
{
    QFETCH(const int, limit);
    const TestFolder folder;
    folder.addFile("1.jpg");
    folder.addFile("a/2.jpg");
    folder.addFile("a/b/3.jpg");
    folder.addFile("a/b/c/4.jpg");
    QTEST(sortedNames(walked(folder, limit)), "expected");
}

void FolderWalkTest::onlyDisplayableFilesAreFound()
{
    const TestFolder folder;
    for (const char* name :
        {"a.pdf", "b.eps", "c.txt", "d.jpg", "e.mov", "f", "g.m3u", "h.cr2", "i.JPEG", "j.png.part"}) {
        folder.addFile(name);
    }
    folder.addFolder("folder.jpg");
    QCOMPARE(sortedNames(walked(folder)), "d.jpg e.mov h.cr2 i.JPEG");
}

void FolderWalkTest::hiddenAtTheTopHidesAllBelow()
{
    const TestFolder folder;
    folder.addFile(".a.jpg");
    folder.addFile(".cache/a.jpg");
    folder.addFile(".cache/sub/a.jpg");
    folder.addFile("sub/.b.jpg");
    folder.addFile("sub/.hidden/c.jpg");
    QCOMPARE(sortedNames(walked(folder)), "sub/.b.jpg sub/.hidden/c.jpg");
}

void FolderWalkTest::subfolderContentsStandInTheSubfoldersPlace()
{
    const TestFolder folder;
    for (int i = 0; i < 30; ++i) {
        const QByteArray number = QByteArray::number(i);
        folder.addFile("f" + number + ".jpg");
        folder.addFile("d" + number + "/x.jpg");
        folder.addFile("d" + number + "/e/y.jpg");
        folder.addFile("d" + number + "/z.jpg");
    }
    QByteArrayList expected;
    naiveWalk(folder.path(), {}, expected);
    QCOMPARE(walked(folder), expected);
}

void FolderWalkTest::linksToFilesAreFoundAndLinksToFoldersNotEntered()
{
    const TestFolder outside;
    const auto target = outside.addFile("IMG_0042.jpg");
    const TestFolder folder;
    folder.addLink("holiday.jpg", target);
    folder.addLink("folder", outside.path());
    folder.addLink("folder.jpg", outside.path());
    folder.addLink("loop", folder.path());
    folder.addLink("nameless", target);
    QCOMPARE(sortedNames(walked(folder)), "holiday.jpg");
    walkFolder(folder.url(), 0, CancelToken(),
        [&](const SlideItemPtr& item) { QCOMPARE(item->mFileName(), QByteArrayView("IMG_0042.jpg")); });
}

void FolderWalkTest::danglingAndCircularLinksArePassedOver()
{
    const TestFolder folder;
    folder.addLink("dangling.jpg", "nowhere.jpg");
    folder.addLink("a.jpg", "b.jpg");
    folder.addLink("b.jpg", "a.jpg");
    folder.addFile("c.jpg");
    QCOMPARE(sortedNames(walked(folder)), "c.jpg");
}

void FolderWalkTest::linkedTopFolderIsEntered()
{
    const TestFolder folder;
    folder.addFile("real/a.jpg");
    const auto link = folder.addLink("link", "real");
    QCOMPARE(sortedNames(walked(folder, 0, link)), "a.jpg");
}

void FolderWalkTest::specialFilesArePassedOver()
{
    const TestFolder folder;
    QCOMPARE(mkfifo(folder.pathOf("pipe.jpg").constData(), 0666), 0);
    folder.addLink("null.jpg", "/dev/null");
    folder.addLink("topipe.jpg", "pipe.jpg");
    folder.addFile("a.jpg");
    QCOMPARE(sortedNames(walked(folder)), "a.jpg");
}

void FolderWalkTest::unreadableFolderIsPassedOver()
{
    const TestFolder folder;
    folder.addFile("closed/a.jpg");
    folder.addFile("open/b.jpg");
    QCOMPARE(chmod(folder.pathOf("closed").constData(), 0), 0);
    // Root reads everything; the walk must work for it too.
    const QByteArray expected = geteuid() == 0 ? "closed/a.jpg open/b.jpg" : "open/b.jpg";
    QCOMPARE(sortedNames(walked(folder)), expected);
    QCOMPARE(chmod(folder.pathOf("closed").constData(), 0700), 0);
}

void FolderWalkTest::missingTopFolderAndFileGiveNothing()
{
    const TestFolder folder;
    const auto file = folder.addFile("a.jpg");
    QVERIFY(walked(folder, 0, folder.pathOf("missing")).isEmpty());
    QVERIFY(walked(folder, 0, file).isEmpty());
}

void FolderWalkTest::anyNameIsFound()
{
    const TestFolder folder;
    const QByteArrayList names{"a;b.jpg", "100%.jpg", "#1?.jpg", "new\nline.jpg", "\xf0\x9f\x98\x80.jpg",
        "\xff\xfe.jpg", " .jpg", "..jpg.d/x.jpg", QByteArray(251, 'n') + ".jpg"};
    QByteArrayList expected;
    for (const auto& name : names) {
        folder.addFile("d/" + name);
        expected.append("d/" + name);
    }
    QCOMPARE(sortedNames(walked(folder)), sortedNames(expected));
}

void FolderWalkTest::datesAreThoseOfTheFiles()
{
    const TestFolder folder;
    folder.addFile("a.jpg");
    folder.setModified("a.jpg", 1234.5);
    SlideItems items;
    walkFolder(folder.url(), 0, CancelToken(), [&](SlideItemPtr item) { items.push_back(std::move(item)); });
    QCOMPARE(items.size(), size_t(1));
    QVERIFY(items[0]->fileModificationDate() == (FileDate{1234, 500000000}));
}

void FolderWalkTest::deepTreeNeedsFewDescriptors()
{
    const TestFolder folder;
    QByteArray path;
    QByteArrayList expected;
    for (int i = 0; i < 400; ++i) {
        path += "d/";
        folder.addFile(path + "a.jpg");
        expected.append(path + "a.jpg");
    }
    rlimit old{};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &old), 0);
    rlimit few = old;
    few.rlim_cur = 128;
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &few), 0);
    const auto found = walked(folder);
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &old), 0);
    QCOMPARE(sortedNames(found), sortedNames(expected));
}

void FolderWalkTest::orderIsKeptBelowTheOpenFolders()
{
    const TestFolder folder;
    QByteArray path;
    for (int i = 0; i < 90; ++i) {
        path += "d/";
        for (const char* name : {"a.jpg", "b/x.jpg", "c.jpg", "e/y.jpg", "f.jpg"}) {
            folder.addFile(path + name);
        }
    }
    QByteArrayList expected;
    naiveWalk(folder.path(), {}, expected);
    QCOMPARE(expected.size(), 450);
    QCOMPARE(walked(folder), expected);
}

void FolderWalkTest::pathsTooLongForTheKernelArePassedOver()
{
    const TestFolder folder;
    folder.addFile("a.jpg");
    const QByteArray name(200, 'd');
    int parent = open(folder.path().constData(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < 30; ++i) {
        QCOMPARE(mkdirat(parent, name.constData(), 0777), 0);
        const int child = openat(parent, name.constData(), O_RDONLY | O_DIRECTORY);
        close(parent);
        parent = child;
        close(openat(parent, "b.jpg", O_WRONLY | O_CREAT, 0666));
    }
    close(parent);
    const auto found = walked(folder);
    QVERIFY(found.contains("a.jpg"));
    QVERIFY(found.size() > 15);
    QVERIFY(found.size() < 22);
    for (const auto& relative : found) {
        QVERIFY(folder.pathOf(relative).size() < PATH_MAX);
    }
}

void FolderWalkTest::stopsWhenCancelled()
{
    const TestFolder folder;
    for (int i = 0; i < 50; ++i) {
        folder.addFile(QByteArray::number(i) + ".jpg");
    }
    const CancelToken cancel;
    int found = 0;
    walkFolder(folder.url(), 0, cancel, [&](const SlideItemPtr&) {
        if (++found == 10) {
            cancel.cancel();
        }
    });
    QCOMPARE(found, 10);
}

void FolderWalkTest::kindOfPath_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("expected");
    const auto row = [](const QByteArray& name, PathKind kind) {
        QTest::newRow(name.constData()) << name << static_cast<int>(kind);
    };
    row("file.jpg", PathKind::File);
    row("folder", PathKind::Folder);
    row("tofile", PathKind::File);
    row("tofolder", PathKind::Folder);
    row("dangling", PathKind::Missing);
    row("pipe", PathKind::Missing);
    row("missing", PathKind::Missing);
    row(QByteArray("file.jpg\0x", 10), PathKind::Missing);
}

void FolderWalkTest::kindOfPath()
{
    QFETCH(const QByteArray, name);
    const TestFolder folder;
    folder.addFile("file.jpg");
    folder.addFolder("folder");
    folder.addLink("tofile", "file.jpg");
    folder.addLink("tofolder", "folder");
    folder.addLink("dangling", "nowhere");
    QCOMPARE(mkfifo(folder.pathOf("pipe").constData(), 0666), 0);
    QTEST(static_cast<int>(frameflow::kindOfPath(folder.pathOf(name))), "expected");
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::FolderWalkTest)
#include "FolderWalkTest.moc"
