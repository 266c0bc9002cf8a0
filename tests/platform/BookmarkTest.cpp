#include "Bookmark.h"

#include "TestFiles.h"

#include <QTest>

#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

using namespace frameflow;

class BookmarkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFolderIsFoundAtItsPath_data();
    void aFolderIsFoundAtItsPath();
    void aRenamedFolderIsFoundBesideItsOldPlace();
    void aFolderThatWasMovedAwayOrDeletedIsNotFound_data();
    void aFolderThatWasMovedAwayOrDeletedIsNotFound();
    void anotherFolderInItsPlaceIsStale();
    void anotherFolderOfUnknownIdentityIsNotStale();
    void whatIsNoFolderHasNoBookmark_data();
    void whatIsNoFolderHasNoBookmark();
    void aFileInThePlaceOfTheFolderIsNotIt();
    void aLinkToAFolderKeepsItsOwnPath();
    void bytesThatAreNoBookmarkResolveToNothing_data();
    void bytesThatAreNoBookmarkResolveToNothing();

private:
    bool rename(const QByteArray& from, const QByteArray& to) const
    {
        return ::rename(mFolder.pathOf(from).constData(), mFolder.pathOf(to).constData()) == 0;
    }

    TestFolder mFolder;
};

void BookmarkTest::aFolderIsFoundAtItsPath_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("plain") << QByteArray("ads");
    QTest::newRow("line end") << QByteArray("a\nb\n");
    QTest::newRow("not UTF-8") << QByteArray("\xff\xfe ads");
}

void BookmarkTest::aFolderIsFoundAtItsPath()
{
    QFETCH(const QByteArray, name);
    mFolder.addFolder(name);
    const QByteArray bookmark = bookmarkForFolder(mFolder.urlOf(name));
    QVERIFY(!bookmark.isEmpty());
    const auto resolved = resolveBookmark(bookmark);
    QVERIFY(resolved.has_value());
    QCOMPARE(resolved->folder.path(), mFolder.pathOf(name));
    QVERIFY(!resolved->isStale);
}

void BookmarkTest::aRenamedFolderIsFoundBesideItsOldPlace()
{
    mFolder.addFolder("before");
    mFolder.addFolder("another");
    const QByteArray bookmark = bookmarkForFolder(mFolder.urlOf("before"));
    QVERIFY(rename("before", "after"));
    const auto resolved = resolveBookmark(bookmark);
    QVERIFY(resolved.has_value());
    QCOMPARE(resolved->folder.path(), mFolder.pathOf("after"));
    QVERIFY(!resolved->isStale);
}

void BookmarkTest::aFolderThatWasMovedAwayOrDeletedIsNotFound_data()
{
    QTest::addColumn<bool>("moved");
    QTest::newRow("moved away") << true;
    QTest::newRow("deleted") << false;
}

void BookmarkTest::aFolderThatWasMovedAwayOrDeletedIsNotFound()
{
    QFETCH(const bool, moved);
    mFolder.addFolder("gone");
    mFolder.addFolder("elsewhere");
    const QByteArray bookmark = bookmarkForFolder(mFolder.urlOf("gone"));
    QVERIFY(moved ? rename("gone", "elsewhere/gone") : rmdir(mFolder.pathOf("gone").constData()) == 0);
    QVERIFY(!resolveBookmark(bookmark));
}

void BookmarkTest::anotherFolderInItsPlaceIsStale()
{
    mFolder.addFolder("place");
    const QByteArray bookmark = bookmarkForFolder(mFolder.urlOf("place"));
    QVERIFY(rename("place", "aside"));
    mFolder.addFolder("place");
    const auto resolved = resolveBookmark(bookmark);
    QVERIFY(resolved.has_value());
    QCOMPARE(resolved->folder.path(), mFolder.pathOf("place"));
    QVERIFY(resolved->isStale);
}

void BookmarkTest::anotherFolderOfUnknownIdentityIsNotStale()
{
    mFolder.addFolder("unknown");
    QList<QByteArray> lines = bookmarkForFolder(mFolder.urlOf("unknown")).split('\n');
    for (const int line : {1, 2}) { // the inode, the birth time
        QList<QByteArray> changed = lines;
        changed[line] = "0";
        const auto resolved = resolveBookmark(changed.join('\n'));
        QVERIFY(resolved.has_value());
        QVERIFY(!resolved->isStale);
    }
    lines[1] = "1";
    QVERIFY(resolveBookmark(lines.join('\n'))->isStale);
    lines[3] = "1"; // another file system, as after a restore from a backup
    QVERIFY(!resolveBookmark(lines.join('\n'))->isStale);
}

void BookmarkTest::whatIsNoFolderHasNoBookmark_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("file") << QByteArray("file.png");
    QTest::newRow("missing") << QByteArray("missing");
    QTest::newRow("link that leads nowhere") << QByteArray("dangling");
}

void BookmarkTest::whatIsNoFolderHasNoBookmark()
{
    QFETCH(const QByteArray, name);
    mFolder.addFile("file.png");
    if (!QFile::exists(QString::fromUtf8(mFolder.pathOf("dangling")))) {
        unlink(mFolder.pathOf("dangling").constData());
        mFolder.addLink("dangling", "nowhere");
    }
    QCOMPARE(bookmarkForFolder(mFolder.urlOf(name)), QByteArray());
    QCOMPARE(bookmarkForFolder({}), QByteArray());
}

void BookmarkTest::aFileInThePlaceOfTheFolderIsNotIt()
{
    mFolder.addFolder("turned");
    const QByteArray bookmark = bookmarkForFolder(mFolder.urlOf("turned"));
    QVERIFY(rmdir(mFolder.pathOf("turned").constData()) == 0);
    mFolder.addFile("turned");
    QVERIFY(!resolveBookmark(bookmark));
}

void BookmarkTest::aLinkToAFolderKeepsItsOwnPath()
{
    mFolder.addFolder("target");
    mFolder.addLink("link", "target");
    const auto resolved = resolveBookmark(bookmarkForFolder(mFolder.urlOf("link")));
    QVERIFY(resolved.has_value());
    QCOMPARE(resolved->folder.path(), mFolder.pathOf("link"));
    QVERIFY(!resolved->isStale);
}

void BookmarkTest::bytesThatAreNoBookmarkResolveToNothing_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray good = bookmarkForFolder(mFolder.url());
    const QByteArray head = good.left(good.size() - mFolder.path().size());
    QTest::newRow("none") << QByteArray();
    QTest::newRow("a path alone") << mFolder.path();
    QTest::newRow("cut off") << head.chopped(1);
    QTest::newRow("without a path") << head;
    QTest::newRow("relative path") << head + "tmp";
    QTest::newRow("another kind") << "some" + good;
    QTest::newRow("a zero byte") << good + '\0' + "x";
    QTest::newRow("too long") << good + QByteArray(1 << 20, '/');
    QTest::newRow("noise") << QByteArray("\x89\x00\n\n\n\n\xff\xff", 8);
}

void BookmarkTest::bytesThatAreNoBookmarkResolveToNothing()
{
    QFETCH(const QByteArray, bytes);
    QVERIFY(!resolveBookmark(bytes));
}

QTEST_GUILESS_MAIN(BookmarkTest)
#include "BookmarkTest.moc"
