#include "FileUrl.h"

#include "TestFiles.h"

#include <QDir>
#include <QHash>
#include <QTest>

#include <array>
#include <unordered_set>

#include <unistd.h>

using namespace frameflow;

class FileUrlTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsEveryNameThroughItsUrl_data();
    void keepsEveryNameThroughItsUrl();
    void pathIsMadeAbsoluteAndLosesTrailingSlashes_data();
    void pathIsMadeAbsoluteAndLosesTrailingSlashes();
    void argumentIsAUrlOrAPath_data();
    void argumentIsAUrlOrAPath();
    void argumentIsMadePlain_data();
    void argumentIsMadePlain();
    void argumentOfThisHostIsAccepted();
    void urlsOfOtherSchemesAreEmpty();
    void queryAndFragmentOfAUrlAreNoPartOfThePath();
    void nameAndExtension_data();
    void nameAndExtension();
    void displayPathReplacesBytesThatAreNotText();
    void isAValueComparedAndHashedByItsBytes();
};

void FileUrlTest::keepsEveryNameThroughItsUrl_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("plain") << QByteArray("plain.jpg");
    QTest::newRow("space") << QByteArray(" a b ");
    QTest::newRow("semicolon") << QByteArray("a;b.jpg");
    QTest::newRow("percent") << QByteArray("100%.jpg");
    QTest::newRow("percent that looks encoded") << QByteArray("%41%2F.jpg");
    QTest::newRow("hash") << QByteArray("a#b.jpg");
    QTest::newRow("question mark") << QByteArray("a?b.jpg");
    QTest::newRow("newline") << QByteArray("a\nb\r\t.jpg");
    QTest::newRow("emoji") << QByteArray("\xF0\x9F\x8F\x94\xEF\xB8\x8F.jpg");
    QTest::newRow("composed") << QByteArray("\xC3\xA4.jpg");
    QTest::newRow("decomposed") << QByteArray("a\xCC\x88.jpg");
    QTest::newRow("not UTF-8") << QByteArray("\xFF\xFE\xC0\x80.jpg");
    QTest::newRow("half a character") << QByteArray("a\xF0\x9F.jpg");
    QTest::newRow("backslash, quotes") << QByteArray("a\\b'c\"d`e.jpg");
    QTest::newRow("dots") << QByteArray("...");
    QByteArray all;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') {
            all += static_cast<char>(byte);
        }
    }
    QTest::newRow("every byte") << all;
}

void FileUrlTest::keepsEveryNameThroughItsUrl()
{
    QFETCH(QByteArray, name);
    const TestFolder folder;
    const QByteArray path = folder.addFile(name);
    const auto url = FileUrl::fromPath(path);
    QCOMPARE(url.path(), path);
    QCOMPARE(url.fileName().toByteArray(), name);
    QCOMPARE(access(url.path().constData(), R_OK), 0);
    QCOMPARE(url.toUrl().scheme(), QStringLiteral("file"));
    QCOMPARE(FileUrl::fromUrl(url.toUrl()), url);
    // Through text, as D-Bus and the settings carry it.
    const QByteArray text = url.toUrl().toString(QUrl::FullyEncoded).toUtf8();
    QCOMPARE(FileUrl::fromArgument(text), url);
    QCOMPARE(FileUrl::fromUrl(QUrl(QString::fromUtf8(text))), url);
}

void FileUrlTest::pathIsMadeAbsoluteAndLosesTrailingSlashes_data()
{
    QTest::addColumn<QByteArray>("given");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray current = QDir::currentPath().toUtf8();
    QTest::newRow("relative") << QByteArray("a/b.jpg") << current + "/a/b.jpg";
    QTest::newRow("relative with dots stays as it is") << QByteArray("../b.jpg") << current + "/../b.jpg";
    QTest::newRow("relative, trailing slash") << QByteArray("a/") << current + "/a";
    QTest::newRow("trailing slash") << QByteArray("/a/b/") << QByteArray("/a/b");
    QTest::newRow("many trailing slashes") << QByteArray("/a///") << QByteArray("/a");
    QTest::newRow("inner slashes stay") << QByteArray("/a//b") << QByteArray("/a//b");
    QTest::newRow("root") << QByteArray("/") << QByteArray("/");
    QTest::newRow("root many times") << QByteArray("///") << QByteArray("/");
    QTest::newRow("nothing") << QByteArray() << QByteArray();
}

void FileUrlTest::pathIsMadeAbsoluteAndLosesTrailingSlashes()
{
    QFETCH(QByteArray, given);
    QFETCH(QByteArray, expected);
    QCOMPARE(FileUrl::fromPath(given).path(), expected);
    QCOMPARE(FileUrl::fromPath(QString::fromUtf8(given)).path(), expected);
    QCOMPARE(FileUrl::fromPath(given).isEmpty(), given.isEmpty());
}

void FileUrlTest::argumentIsAUrlOrAPath_data()
{
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray current = QDir::currentPath().toUtf8();
    QTest::newRow("path") << QByteArray("/a/100%41.jpg") << QByteArray("/a/100%41.jpg");
    QTest::newRow("relative path") << QByteArray("a b.jpg") << current + "/a b.jpg";
    QTest::newRow("url") << QByteArray("file:///a/b.jpg") << QByteArray("/a/b.jpg");
    QTest::newRow("url, encoded") << QByteArray("file:///a%20b/%C3%A4%23.jpg") << QByteArray("/a b/\xC3\xA4#.jpg");
    QTest::newRow("url, bytes that are not UTF-8") << QByteArray("file:///%FF%fe.jpg") << QByteArray("/\xFF\xFE.jpg");
    QTest::newRow("url, bad encoding stays") << QByteArray("file:///100%.jpg") << QByteArray("/100%.jpg");
    QTest::newRow("url, half an encoding") << QByteArray("file:///a%4") << QByteArray("/a%4");
    QTest::newRow("url, percent sign alone") << QByteArray("file:///a%") << QByteArray("/a%");
    QTest::newRow("url, no hexadecimal digits") << QByteArray("file:///%G0%0g%-1%%41") << QByteArray("/%G0%0g%-1%A");
    QTest::newRow("url, question mark and hash as bytes") << QByteArray("file:///a?b#c") << QByteArray("/a?b#c");
    QTest::newRow("url, trailing slash") << QByteArray("file:///a/b/") << QByteArray("/a/b");
    QTest::newRow("url, one slash") << QByteArray("file:/a/b") << QByteArray("/a/b");
    QTest::newRow("url, capitals") << QByteArray("FILE:///a%20b") << QByteArray("/a b");
    QTest::newRow("url, localhost") << QByteArray("file://localhost/a") << QByteArray("/a");
    QTest::newRow("url, another host") << QByteArray("file://elsewhere.example/a") << QByteArray();
    QTest::newRow("url, host alone") << QByteArray("file://localhost") << QByteArray();
    QTest::newRow("url, two slashes alone") << QByteArray("file://") << QByteArray();
    QTest::newRow("url, NUL") << QByteArray("file:///a%00b.jpg") << QByteArray();
    QTest::newRow("file: without a slash is a name") << QByteArray("file:a") << current + "/file:a";
    QTest::newRow("nothing") << QByteArray() << QByteArray();
}

void FileUrlTest::argumentIsAUrlOrAPath()
{
    QFETCH(QByteArray, argument);
    QFETCH(QByteArray, expected);
    QCOMPARE(FileUrl::fromArgument(argument).path(), expected);
}

void FileUrlTest::argumentIsMadePlain_data()
{
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](const char* argument, const char* expected) {
        QTest::newRow(argument) << QByteArray(argument) << QByteArray(expected);
    };
    row(".", "");
    row("./", "");
    row("./a", "/a");
    row("a//b", "/a/b");
    row("a/./b/.", "/a/b");
    row("a/..", "");
    row("a/../b.jpg", "/b.jpg");
    row("a/b/../../c", "/c");
    row("a/.b/..c/d..", "/a/.b/..c/d..");
    row("link/.", "/link");
    row("link/../a", "/link/../a");
    row("link/../../a", "/link/../../a");
    row("missing/../a", "/missing/../a");
}

// However a folder is typed, it is known again; only what leads through a link stays as it is.
void FileUrlTest::argumentIsMadePlain()
{
    QFETCH(const QByteArray, argument);
    QFETCH(const QByteArray, expected);
    const TestFolder folder;
    folder.addFolder("a/b");
    QCOMPARE(symlink("a/b", folder.pathOf("link").constData()), 0);
    const QByteArray root = QDir(QString::fromUtf8(folder.path())).canonicalPath().toUtf8();
    QCOMPARE(FileUrl::fromArgument(root + '/' + argument).path(), root + expected);
    QCOMPARE(FileUrl::fromArgument("file://" + root + '/' + argument).path(), root + expected);
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(QString::fromUtf8(root)));
    const QByteArray relative = FileUrl::fromArgument(argument).path();
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(relative, root + expected);
}

void FileUrlTest::argumentOfThisHostIsAccepted()
{
    std::array<char, 256> host{};
    QCOMPARE(gethostname(host.data(), host.size() - 1), 0);
    QCOMPARE(FileUrl::fromArgument(QByteArray("file://") + host.data() + "/a").path(), QByteArray("/a"));
}

void FileUrlTest::urlsOfOtherSchemesAreEmpty()
{
    QVERIFY(FileUrl::fromUrl(QUrl(QStringLiteral("https://frameflow.example/a.jpg"))).isEmpty());
    QVERIFY(FileUrl::fromUrl(QUrl(QStringLiteral("file://elsewhere.example/a.jpg"))).isEmpty());
    QVERIFY(FileUrl::fromUrl(QUrl(QStringLiteral("relative.jpg"))).isEmpty());
    QVERIFY(FileUrl::fromUrl(QUrl()).isEmpty());
    QVERIFY(!FileUrl().toUrl().isValid());
}

void FileUrlTest::queryAndFragmentOfAUrlAreNoPartOfThePath()
{
    QCOMPARE(FileUrl::fromUrl(QUrl(QStringLiteral("file:///a.jpg?size=1#part"))).path(), QByteArray("/a.jpg"));
}

void FileUrlTest::nameAndExtension_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("extension");
    QTest::newRow("usual") << QByteArray("/a/b.jpg") << QByteArray("b.jpg") << QByteArray("jpg");
    QTest::newRow("case is kept") << QByteArray("/a/b.JPG") << QByteArray("b.JPG") << QByteArray("JPG");
    QTest::newRow("several dots") << QByteArray("/a.b/c.tar.gz") << QByteArray("c.tar.gz") << QByteArray("gz");
    QTest::newRow("dot in the folder only") << QByteArray("/a.b/c") << QByteArray("c") << QByteArray();
    QTest::newRow("leading dot") << QByteArray("/a/.jpg") << QByteArray(".jpg") << QByteArray();
    QTest::newRow("leading dot and suffix") << QByteArray("/a/.b.jpg") << QByteArray(".b.jpg") << QByteArray("jpg");
    QTest::newRow("trailing dot") << QByteArray("/a/b.") << QByteArray("b.") << QByteArray();
    QTest::newRow("root") << QByteArray("/") << QByteArray() << QByteArray();
}

void FileUrlTest::nameAndExtension()
{
    QFETCH(QByteArray, path);
    const auto url = FileUrl::fromPath(path);
    QTEST(url.fileName().toByteArray(), "name");
    QTEST(url.extension().toByteArray(), "extension");
}

void FileUrlTest::displayPathReplacesBytesThatAreNotText()
{
    QCOMPARE(FileUrl::fromPath(QByteArray("/a\xFF/\xC3\xA4")).displayPath(), QStringLiteral(u"/a\uFFFD/\u00E4"));
}

void FileUrlTest::isAValueComparedAndHashedByItsBytes()
{
    const auto a = FileUrl::fromPath(QByteArray("/a"));
    const auto sameAsA = FileUrl::fromPath(QByteArray("/a/"));
    const auto b = FileUrl::fromPath(QByteArray("/b"));
    QVERIFY(a == sameAsA && !(a != sameAsA));
    QVERIFY(a != b && a < b && !(b < a));
    QVERIFY(FileUrl::fromPath(QByteArray("/A")) != a);
    QVERIFY(FileUrl().isEmpty() && FileUrl() != a);
    const QHash<FileUrl, int> hash{{a, 1}, {b, 2}, {FileUrl(), 3}};
    QCOMPARE(hash.value(sameAsA), 1);
    QCOMPARE(hash.value(FileUrl::fromPath(QByteArray())), 3);
    QCOMPARE((std::unordered_set<FileUrl>{a, sameAsA, b, FileUrl()}.size()), size_t(3));
    QCOMPARE(QVariant::fromValue(a).value<FileUrl>(), a);
}

QTEST_GUILESS_MAIN(FileUrlTest)
#include "FileUrlTest.moc"
