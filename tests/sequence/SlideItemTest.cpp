#include "SlideItem.h"

#include "TestFiles.h"

#include <QTest>

#include <unistd.h>

namespace frameflow {

namespace {

// An item of a file that need not exist.
SlideItem named(const QByteArray& path)
{
    return SlideItem(FileUrl::fromPath(path), {}, {});
}

SlideItem dated(qint64 seconds, qint32 nanoseconds = 0)
{
    return SlideItem(FileUrl::fromPath(QByteArray("/a.jpg")), {seconds, nanoseconds}, {});
}

QByteArray sign(std::weak_ordering order)
{
    return order < 0 ? "<" : order > 0 ? ">" : "=";
}

} // namespace

class SlideItemTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nameOrder_data();
    void nameOrder();
    void pathAndBaseOrderAreLiteral_data();
    void pathAndBaseOrderAreLiteral();
    void dateOrderPutsEarlierFirst();
    void itemWithoutDateIsSameAsReceiverAndFirstAsArgument();
    void isJPG_data();
    void isJPG();
    void linkHasTheNameAndDateOfItsTarget();
    void linkIsEqualToTheSameLinkOnly();
    void linkInAFolderOfThePathKeepsTheName();
    void unreadableFileKeepsItsOwnName_data();
    void unreadableFileKeepsItsOwnName();
    void absentUrl();
    void readyOneSecondAfterTheChange_data();
    void readyOneSecondAfterTheChange();
    void vanishedFileIsNeverReady();
    void notReadyLooksAgain();
    void readyUsesTheStoredAttributes();
    void itemIsSmall();
};

void SlideItemTest::nameOrder_data()
{
    QTest::addColumn<QByteArray>("a");
    QTest::addColumn<QByteArray>("b");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](const char* name, const QByteArray& a, const QByteArray& b, const char* expected) {
        QTest::newRow(name) << a << b << QByteArray(expected);
    };
    row("number by value", "img9.png", "img10.png", "<");
    row("case does not count", "Photo.JPG", "photo.jpg", "=");
    row("plain letters", "a.jpg", "B.jpg", "<");
    row("underscore before letters of either case", "_.jpg", "A.jpg", "<");
    row("leading zeros do not count", "img007.jpg", "img7.jpg", "=");
    row("only zeros", "img000.jpg", "img0.jpg", "=");
    row("zero before one", "img00.jpg", "img1.jpg", "<");
    row("after equal numbers the rest counts", "img007a.jpg", "img7b.jpg", "<");
    row("numbers beyond any integer", QByteArray(300, '9') + ".jpg", "1" + QByteArray(300, '0') + ".jpg", "<");
    row("length 254 and 255", QByteArray(254, '9'), QByteArray(255, '1'), "<");
    row("length 255 and 256", QByteArray(255, '9'), QByteArray(256, '1'), "<");
    row("same length 255", QByteArray(254, '9') + '1', QByteArray(254, '9') + '2', "<");
    row("number before a letter", "img1.jpg", "imga.jpg", "<");
    row("dot before a number", "img.jpg", "img1.jpg", "<");
    row("large number before a letter", "img999999999999999999999.jpg", "imga.jpg", "<");
    row("shorter name first", "img", "img1", "<");
    row("umlauts without regard to case", "\xc3\x84.jpg", "\xc3\xa4.jpg", "=");
    row("cyrillic without regard to case", "\xd0\x96.jpg", "\xd0\xb6.jpg", "=");
    row("deseret, four bytes, without regard to case", "\xf0\x90\x90\x80", "\xf0\x90\x90\xa8", "=");
    row("final sigma is a sigma", "\xcf\x82", "\xcf\x83", "=");
    row("diacritics count", "a.jpg", "\xc3\xa4.jpg", "<");
    row("z before an umlaut, no locale", "z.jpg", "\xc3\xa4.jpg", "<");
    row("other scripts' digits are characters", "\xd9\xa1\xd9\xa0", "\xd9\xa2", "<");
    row("stray byte after all characters", "\xf4\x8f\xbf\xbf", "\xff", "<");
    row("stray bytes by value", "a\x80.jpg", "a\x81.jpg", "<");
    row("stray byte is no letter", "\xe4.jpg", "\xc3\xa4.jpg", ">");
    row("cut off character", "\xc3", "\xc3\xa4", ">");
    row("overlong form is no character", "\xc1\xa1", "a", ">");
    row("surrogate is no character", "\xed\xa0\x80", "\xef\xbf\xbf", ">");
    row("newline and semicolon", "a\nb", "a;b", "<");
}

void SlideItemTest::nameOrder()
{
    QFETCH(const QByteArray, a);
    QFETCH(const QByteArray, b);
    QFETCH(const QByteArray, expected);
    // The folders are in the opposite order: they do not count.
    const auto left = named("/z/" + a);
    const auto right = named("/a/" + b);
    QCOMPARE(sign(left.nameCompare(right)), expected);
    const QByteArray reversed = expected == "<" ? ">" : expected == ">" ? "<" : "=";
    QCOMPARE(sign(right.nameCompare(left)), reversed);
}

void SlideItemTest::pathAndBaseOrderAreLiteral_data()
{
    QTest::addColumn<QByteArray>("a");
    QTest::addColumn<QByteArray>("b");
    QTest::addColumn<QByteArray>("byUrl");
    QTest::addColumn<QByteArray>("byBase");
    const auto row = [](const char* name, const char* a, const char* b, const char* byUrl, const char* byBase) {
        QTest::newRow(name) << QByteArray(a) << QByteArray(b) << QByteArray(byUrl) << QByteArray(byBase);
    };
    row("case counts", "/a/Photo.JPG", "/b/photo.jpg", "<", "<");
    row("digits are characters", "/a/img9.png", "/a/img10.png", ">", ">");
    row("last extension only", "/a/a.tar.gz", "/a/a.tar.jpg", "<", "=");
    row("bases of different case", "/a/A.raw", "/a/a.jpg", "<", "<");
    row("folders count for the path only", "/b/a.jpg", "/a/a.png", ">", "=");
    row("semicolons sort with the whole name", "/a/x;1.jpg", "/a/x;2.jpg", "<", "<");
    row("semicolon against none", "/a/x.jpg", "/a/x;1.jpg", "<", "<");
    row("bytes above 127 are unsigned", "/a/z.jpg", "/a/\xff.jpg", "<", "<");
    row("leading dot is no extension", "/a/.jpg", "/a/.png", "<", "<");
    row("no extension", "/a/img", "/a/img.jpg", "<", "=");
}

void SlideItemTest::pathAndBaseOrderAreLiteral()
{
    QFETCH(const QByteArray, a);
    QFETCH(const QByteArray, b);
    QTEST(sign(named(a).urlCompare(named(b))), "byUrl");
    QTEST(sign(named(a).baseCompare(named(b))), "byBase");
}

void SlideItemTest::dateOrderPutsEarlierFirst()
{
    QVERIFY(dated(10).dateCompare(dated(11)) < 0);
    QVERIFY(dated(10, 1).dateCompare(dated(10, 2)) < 0);
    QVERIFY(dated(11, 1).dateCompare(dated(10, 2)) > 0);
    QVERIFY(dated(-5).dateCompare(dated(3)) < 0);
    QVERIFY(dated(10, 1).dateCompare(dated(10, 1)) == 0);
}

void SlideItemTest::itemWithoutDateIsSameAsReceiverAndFirstAsArgument()
{
    const SlideItem missing(FileUrl::fromPath(QByteArray("/no/such/file.jpg")));
    QVERIFY(!missing.fileModificationDate());
    QVERIFY(missing.dateCompare(dated(1)) == 0);
    QVERIFY(missing.dateCompare(missing) == 0);
    QVERIFY(dated(-100).dateCompare(missing) > 0);
}

void SlideItemTest::isJPG_data()
{
    QTest::addColumn<bool>("expected");
    QTest::newRow("/a.jpg") << true;
    QTest::newRow("/a.JPG") << true;
    QTest::newRow("/a.Jpg") << true;
    QTest::newRow("/a.jpeg") << false;
    QTest::newRow("/a.png") << false;
    QTest::newRow("/jpg") << false;
    QTest::newRow("/.jpg") << false;
    QTest::newRow("/a.jpg/b") << false;
}

void SlideItemTest::isJPG()
{
    QTEST(named(QTest::currentDataTag()).isJPG(), "expected");
}

void SlideItemTest::linkHasTheNameAndDateOfItsTarget()
{
    const TestFolder folder;
    const auto target = folder.addFile("photos/IMG_0042.jpg");
    folder.setModified("photos/IMG_0042.jpg", 1000.25);
    folder.addLink("second.jpg", target);
    folder.addLink("holiday.jpg", "second.jpg");
    const SlideItem item(folder.urlOf("holiday.jpg"));
    QCOMPARE(item.mURL(), folder.urlOf("holiday.jpg"));
    QCOMPARE(item.mFileName(), QByteArrayView("IMG_0042.jpg"));
    QVERIFY(item.fileModificationDate() == (FileDate{1000, 250000000}));
    QCOMPARE(item.baseName(), QByteArrayView("IMG_0042"));
}

void SlideItemTest::linkIsEqualToTheSameLinkOnly()
{
    const TestFolder folder;
    const auto target = folder.addFile("IMG_0042.jpg");
    folder.addLink("holiday.jpg", target);
    const SlideItem link(folder.urlOf("holiday.jpg"));
    const SlideItem same(folder.urlOf("holiday.jpg"));
    const SlideItem file(folder.urlOf("IMG_0042.jpg"));
    QVERIFY(link.isEqual(same));
    QCOMPARE(link.hash(), same.hash());
    QVERIFY(!link.isEqual(file));
    QCOMPARE(link.mFileName(), file.mFileName());
}

void SlideItemTest::linkInAFolderOfThePathKeepsTheName()
{
    const TestFolder folder;
    folder.addFile("real/a.jpg");
    folder.addLink("link", "real");
    const SlideItem item(folder.urlOf("link/a.jpg"));
    QCOMPARE(item.mURL(), folder.urlOf("link/a.jpg"));
    QCOMPARE(item.mFileName(), QByteArrayView("a.jpg"));
    QVERIFY(item.fileModificationDate());
}

void SlideItemTest::unreadableFileKeepsItsOwnName_data()
{
    QTest::addColumn<QByteArray>("target");
    QTest::newRow("missing") << QByteArray();
    QTest::newRow("dangling link") << QByteArray("nowhere");
    QTest::newRow("circular link") << QByteArray("a.jpg");
}

void SlideItemTest::unreadableFileKeepsItsOwnName()
{
    QFETCH(const QByteArray, target);
    const TestFolder folder;
    if (!target.isEmpty()) {
        folder.addLink("a.jpg", target);
    }
    SlideItem item(folder.urlOf("a.jpg"));
    QCOMPARE(item.mFileName(), QByteArrayView("a.jpg"));
    QVERIFY(!item.fileModificationDate());
    QVERIFY(!item.isReady());
}

void SlideItemTest::absentUrl()
{
    SlideItem item{FileUrl()};
    const SlideItem other{FileUrl()};
    QVERIFY(item.mURL().isEmpty());
    QVERIFY(item.mFileName().isEmpty());
    QVERIFY(!item.fileModificationDate());
    QCOMPARE(item.hash(), size_t(0));
    QVERIFY(!item.isEqual(other));
    QVERIFY(!item.isEqual(named("/a.jpg")));
    QVERIFY(item.isJPG());
    QVERIFY(!item.isReady());
}

void SlideItemTest::readyOneSecondAfterTheChange_data()
{
    QTest::addColumn<double>("age");
    QTest::addColumn<bool>("expected");
    QTest::newRow("half a second") << 0.5 << false;
    QTest::newRow("nearly a second") << 0.999999 << false;
    QTest::newRow("one second") << 1.0 << true;
    QTest::newRow("an hour") << 3600.0 << true;
    QTest::newRow("in the future") << -10.0 << false;
}

void SlideItemTest::readyOneSecondAfterTheChange()
{
    QFETCH(const double, age);
    const TestFolder folder;
    folder.addFile("a.jpg");
    folder.setModified("a.jpg", 10000.0 - age);
    QTEST(SlideItem(folder.urlOf("a.jpg")).isReady({10000, 0}), "expected");
}

void SlideItemTest::vanishedFileIsNeverReady()
{
    const TestFolder folder;
    const auto path = folder.addFile("a.jpg");
    folder.setModified("a.jpg", 1000);
    SlideItem item(folder.urlOf("a.jpg"));
    QCOMPARE(unlink(path.constData()), 0);
    item.refreshAttributes();
    QVERIFY(!item.isReady({2000, 0}));
}

void SlideItemTest::notReadyLooksAgain()
{
    const TestFolder folder;
    folder.addFile("a.jpg");
    folder.setModified("a.jpg", 2000);
    SlideItem item(folder.urlOf("a.jpg"));
    folder.setModified("a.jpg", 1000);
    QVERIFY(item.isReady({2000, 500}));
    QVERIFY(item.fileModificationDate() == (FileDate{1000, 0}));
}

void SlideItemTest::readyUsesTheStoredAttributes()
{
    const TestFolder folder;
    folder.addFile("a.jpg");
    folder.setModified("a.jpg", 1000);
    SlideItem item(folder.urlOf("a.jpg"));
    folder.setModified("a.jpg", 2000);
    QVERIFY(item.isReady({2000, 0}));
    QVERIFY(item.fileModificationDate() == (FileDate{1000, 0}));
}

void SlideItemTest::itemIsSmall()
{
    QCOMPARE(sizeof(SlideItem), size_t(48));
    QCOMPARE(sizeof(SlideItemPtr), sizeof(void*));
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::SlideItemTest)
#include "SlideItemTest.moc"
