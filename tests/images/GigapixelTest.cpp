#include "Gigapixels.h"
#include "KLImage.h"
#include "KLThumbnail.h"
#include "Limits.h"

#include <QTest>

using namespace frameflow;

// Pictures that no machine has room for as they are.
class GigapixelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void shownReduced_data();
    void shownReduced();
    void thumbnail_data() { shownReduced_data(); }
    void thumbnail();

private:
    TestFolder mFolder;
};

void GigapixelTest::initTestCase()
{
    for (const HostileFile& file : gigapixelPictures()) {
        mFolder.addFile(file.name, file.contents);
    }
    const HostileFile table = largeTablePicture();
    mFolder.addFile(table.name, table.contents);
}

void GigapixelTest::shownReduced_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QColor>("upperLeft");
    QTest::addColumn<QColor>("upperRight");
    QTest::newRow("jpeg") << QByteArray("gigapixel 1.jpg") << gigapixelSize << QColor(128, 128, 128)
                          << QColor(128, 128, 128);
    QTest::newRow("png") << QByteArray("gigapixel 2.png") << gigapixelSize << QColor(Qt::white) << QColor(Qt::black);
    QTest::newRow("tiff") << QByteArray("gigapixel 3.tif") << gigapixelSize << QColor(Qt::black) << QColor(Qt::white);
    QTest::newRow("png of a colour table")
        << QByteArray("table.png") << tablePictureSize << QColor(240, 128, 16) << QColor(16, 64, 224);
}

void GigapixelTest::shownReduced()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QSize, size);
    QFETCH(const QColor, upperLeft);
    QFETCH(const QColor, upperRight);
    const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf(name));
    QVERIFY(image);
    QCOMPARE(QSize(image->width(), image->height()), size);
    const QImage held = image->getCGImage();
    QCOMPARE(held.size(), heldSize(size, 0, 24'000'000)); // there is next to nothing in the files
    const QPoint end(held.width() - 1, held.height() - 1);
    const QPoint before = end / 2 - QPoint(8, 8);
    const QPoint behind = end / 2 + QPoint(8, 8);
    for (const int left : {0, before.x()}) {
        for (const int right : {behind.x(), end.x()}) {
            QCOMPARE(held.pixelColor(left, 0), upperLeft);
            QCOMPARE(held.pixelColor(left, before.y()), upperLeft);
            QCOMPARE(held.pixelColor(right, 0), upperRight);
            QCOMPARE(held.pixelColor(right, before.y()), upperRight);
            QCOMPARE(held.pixelColor(left, behind.y()), upperRight);
            QCOMPARE(held.pixelColor(left, end.y()), upperRight);
            QCOMPARE(held.pixelColor(right, behind.y()), upperLeft);
            QCOMPARE(held.pixelColor(right, end.y()), upperLeft);
        }
    }
}

void GigapixelTest::thumbnail()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QSize, size);
    QFETCH(const QColor, upperLeft);
    QFETCH(const QColor, upperRight);
    const KLThumbnailPtr made = KLThumbnail::thumbnailWithURL(mFolder.urlOf(name));
    QVERIFY(made);
    const QImage& picture = made->mImage();
    QCOMPARE(picture.size(), size.scaled(300, 300, Qt::KeepAspectRatio));
    const QPoint end(picture.width() - 20, picture.height() - 20);
    QCOMPARE(picture.pixelColor(20, 20), upperLeft);
    QCOMPARE(picture.pixelColor(end.x(), 20), upperRight);
    QCOMPARE(picture.pixelColor(20, end.y()), upperRight);
    QCOMPARE(picture.pixelColor(end), upperLeft);
}

QTEST_GUILESS_MAIN(GigapixelTest)
#include "GigapixelTest.moc"
