#include "ContentType.h"
#include "KLImage.h"
#include "Limits.h"
#include "PictureFiles.h"

#include <QTest>

using namespace frameflow;

class ThumbnailTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isAtMost300OnTheLongerSide_data();
    void isAtMost300OnTheLongerSide();
    void isUpright_data();
    void isUpright();
    void smallStoredThumbnailIsNotTaken();
    void storedThumbnailOf300InOneDimensionIsTaken_data();
    void storedThumbnailOf300InOneDimensionIsTaken();
    void storedThumbnailIsTurnedWithItsPicture();
    void damagedStoredThumbnailIsNotTaken();
    void transparencyIsKept();
    void pictureNamedAsAMovieHasNone();
    void filesThatCannotBeOpenedHaveNone();
    void heldSizes_data();
    void heldSizes();
    void smallFilesAreHeldWithFewerPixels_data();
    void smallFilesAreHeldWithFewerPixels();
};

namespace {

// A picture of one colour, to tell a stored thumbnail from the picture around it.
QByteArray plainJpeg(QSize size, Qt::GlobalColor colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return encoded(image, "jpeg");
}

} // namespace

void ThumbnailTest::isAtMost300OnTheLongerSide_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QSize>("expected");
    for (const char* const format : {"jpeg", "png", "webp", "tiff"}) {
        const QByteArray name = QByteArray("a.") + format;
        QTest::addRow("wide %s", format) << name << QSize(1200, 800) << QSize(300, 200);
        QTest::addRow("high %s", format) << name << QSize(400, 1000) << QSize(120, 300);
        QTest::addRow("small %s keeps its size", format) << name << QSize(100, 60) << QSize(100, 60);
        QTest::addRow("exact %s", format) << name << QSize(300, 300) << QSize(300, 300);
        QTest::addRow("thin %s", format) << name << QSize(2000, 2) << QSize(300, 1);
    }
}

void ThumbnailTest::isAtMost300OnTheLongerSide()
{
    QFETCH(QByteArray, name);
    QFETCH(QSize, size);
    QFETCH(QSize, expected);
    const TestFolder folder;
    folder.addFile(name, encoded(quartersPicture(size), name.mid(2).constData()));
    const QImage thumbnail = KLImage::thumbNailFromURL(folder.urlOf(name));
    QCOMPARE(thumbnail.size(), expected);
    QCOMPARE(thumbnail.format(), QImage::Format_RGB32);
    if (expected.height() > 16) {
        QCOMPARE(quarters(thumbnail, 30), QByteArray("RGBY"));
    }
}

void ThumbnailTest::isUpright_data()
{
    QTest::addColumn<int>("orientation");
    for (int orientation = 1; orientation <= 8; ++orientation) {
        QTest::addRow("%d", orientation) << orientation;
    }
}

void ThumbnailTest::isUpright()
{
    QFETCH(int, orientation);
    const TestFolder folder;
    folder.addFile("a.jpg", withExif(encoded(quartersPicture(QSize(1200, 800)), "jpeg"), exifBlock(orientation)));
    const QImage thumbnail = KLImage::imageThumbFromURL(folder.urlOf("a.jpg"));
    QCOMPARE(thumbnail.size(), orientation >= 5 ? QSize(200, 300) : QSize(300, 200));
    QCOMPARE(quarters(thumbnail, 30), uprightQuarters(orientation));
}

void ThumbnailTest::smallStoredThumbnailIsNotTaken()
{
    const TestFolder folder;
    folder.addFile("a.jpg",
        withExif(encoded(quartersPicture(QSize(1200, 800)), "jpeg"), exifBlock(1, plainJpeg({160, 120}, Qt::black))));
    const QImage thumbnail = KLImage::thumbNailFromURL(folder.urlOf("a.jpg"));
    QCOMPARE(thumbnail.size(), QSize(300, 200));
    QCOMPARE(quarters(thumbnail, 30), QByteArray("RGBY"));
}

void ThumbnailTest::storedThumbnailOf300InOneDimensionIsTaken_data()
{
    QTest::addColumn<QSize>("stored");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("both") << QSize(320, 320) << QSize(300, 300);
    QTest::newRow("width only") << QSize(320, 240) << QSize(300, 225);
    QTest::newRow("height only") << QSize(200, 300) << QSize(200, 300);
}

void ThumbnailTest::storedThumbnailOf300InOneDimensionIsTaken()
{
    QFETCH(QSize, stored);
    QFETCH(QSize, expected);
    const TestFolder folder;
    folder.addFile("a.jpg",
        withExif(encoded(quartersPicture(QSize(1200, 800)), "jpeg"), exifBlock(1, plainJpeg(stored, Qt::red))));
    const QImage thumbnail = KLImage::thumbNailFromURL(folder.urlOf("a.jpg"));
    QCOMPARE(thumbnail.size(), expected);
    QCOMPARE(quarters(thumbnail, 20), QByteArray("RRRR"));
}

void ThumbnailTest::storedThumbnailIsTurnedWithItsPicture()
{
    const TestFolder folder;
    const QByteArray stored = encoded(quartersPicture(QSize(320, 240)), "jpeg");
    folder.addFile("a.jpg", withExif(plainJpeg(QSize(1200, 900), Qt::black), exifBlock(6, stored)));
    const QImage thumbnail = KLImage::thumbNailFromURL(folder.urlOf("a.jpg"));
    QCOMPARE(thumbnail.size(), QSize(225, 300));
    QCOMPARE(quarters(thumbnail, 30), uprightQuarters(6));
}

void ThumbnailTest::damagedStoredThumbnailIsNotTaken()
{
    const TestFolder folder;
    QByteArray stored = plainJpeg(QSize(320, 240), Qt::red);
    stored.replace(2, stored.size() - 2, QByteArray(stored.size() - 2, 'x'));
    folder.addFile("a.jpg", withExif(encoded(quartersPicture(QSize(600, 400)), "jpeg"), exifBlock(1, stored)));
    const QImage thumbnail = KLImage::thumbNailFromURL(folder.urlOf("a.jpg"));
    QCOMPARE(quarters(thumbnail, 30), QByteArray("RGBY"));
}

void ThumbnailTest::transparencyIsKept()
{
    const TestFolder folder;
    QImage image(900, 600, QImage::Format_ARGB32);
    image.fill(QColor(0, 255, 0, 100));
    folder.addFile("a.png", encoded(image, "png"));
    const QImage thumbnail = KLImage::thumbNailFromURL(folder.urlOf("a.png"));
    QCOMPARE(thumbnail.size(), QSize(300, 200));
    QCOMPARE(thumbnail.format(), QImage::Format_ARGB32_Premultiplied);
    QVERIFY(qAbs(thumbnail.pixelColor(150, 100).alpha() - 100) <= 1);
    QVERIFY(qAbs(thumbnail.pixelColor(150, 100).green() - 255) <= 3);
}

void ThumbnailTest::pictureNamedAsAMovieHasNone()
{
    const TestFolder folder;
    folder.addFile("a.mp4", encoded(quartersPicture(), "png"));
    QVERIFY(KLImage::thumbNailFromURL(folder.urlOf("a.mp4")).isNull());
}

void ThumbnailTest::filesThatCannotBeOpenedHaveNone()
{
    const TestFolder folder;
    folder.addFile("a.jpg", "text");
    folder.addFolder("b.jpg");
    for (const char* const name : {"a.jpg", "b.jpg", "missing.jpg"}) {
        QVERIFY(KLImage::thumbNailFromURL(folder.urlOf(name)).isNull());
    }
    QVERIFY(KLImage::thumbNailFromURL(FileUrl()).isNull());
}

void ThumbnailTest::heldSizes_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("longestSide");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("as it is") << QSize(6000, 4000) << 0 << QSize(6000, 4000);
    QTest::newRow("exactly 64 megapixels") << QSize(8000, 8000) << 0 << QSize(8000, 8000);
    QTest::newRow("huge") << QSize(16000, 16000) << 0 << QSize(8000, 8000);
    QTest::newRow("thumbnail") << QSize(6000, 4000) << 300 << QSize(300, 200);
    QTest::newRow("thumbnail of a huge one") << QSize(60000, 30000) << 300 << QSize(300, 150);
    QTest::newRow("never enlarged") << QSize(10, 10) << 300 << QSize(10, 10);
    QTest::newRow("no side vanishes") << QSize(100000, 1) << 300 << QSize(300, 1);
    QTest::newRow("a line of a billion pixels") << QSize(1'000'000'000, 1) << 0 << QSize(64'000'000, 1);
    QTest::newRow("a column of a billion pixels") << QSize(2, 1'000'000'000) << 0 << QSize(1, 64'000'000);
    QTest::newRow("a huge thumbnail") << QSize(60000, 59999) << 8001 << QSize(8000, 8000);
}

void ThumbnailTest::heldSizes()
{
    QFETCH(QSize, size);
    QFETCH(int, longestSide);
    QFETCH(QSize, expected);
    QCOMPARE(heldSize(size, longestSide), expected);
}

void ThumbnailTest::smallFilesAreHeldWithFewerPixels_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<ContentType>("type");
    QTest::addColumn<qint64>("mostPixels");
    constexpr qint64 fewer = 24'000'000;
    QTest::newRow("photograph") << QSize(9504, 6336) << qint64(20'000'000) << ContentType::Jpeg << mostPixelsHeld;
    QTest::newRow("empty page") << QSize(9504, 6336) << qint64(700'000) << ContentType::Jpeg << mostPixelsHeld;
    QTest::newRow("nothing at all") << QSize(9504, 6336) << qint64(240'000) << ContentType::Jpeg << fewer;
    QTest::newRow("scanned plan") << QSize(7016, 9928) << qint64(175'000) << ContentType::Tiff << mostPixelsHeld;
    QTest::newRow("drawing") << QSize(6000, 7500) << qint64(100) << ContentType::Svg << mostPixelsHeld;
    QTest::newRow("plain screen") << QSize(7680, 4320) << qint64(1000) << ContentType::Png << mostPixelsHeld;
    QTest::newRow("plain picture") << QSize(9504, 6336) << qint64(1000) << ContentType::Png << fewer;
    QTest::newRow("runs of one colour") << QSize(8500, 8500) << qint64(2'300'000) << ContentType::Pcx << fewer;
    QTest::newRow("painting in runs") << QSize(8500, 8500) << qint64(30'000'000) << ContentType::Psd << mostPixelsHeld;
}

void ThumbnailTest::smallFilesAreHeldWithFewerPixels()
{
    QFETCH(QSize, size);
    QFETCH(qint64, bytes);
    QFETCH(ContentType, type);
    QFETCH(qint64, mostPixels);
    QCOMPARE(mostPixelsOf(size, bytes, pixelsOfAByte(type)), mostPixels);
    const QSize held = heldSize(size, 0, mostPixels);
    QVERIFY(qint64(held.width()) * held.height() <= mostPixels);
    QVERIFY(std::abs(double(held.width()) / held.height() - double(size.width()) / size.height()) < 0.001);
}

QTEST_GUILESS_MAIN(ThumbnailTest)
#include "ThumbnailTest.moc"
