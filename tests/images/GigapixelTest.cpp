#include "Gigapixels.h"
#include "KLImage.h"
#include "KLThumbnail.h"
#include "Limits.h"

#include <QFile>
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
}

void GigapixelTest::shownReduced_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QColor>("upperLeft");
    QTest::addColumn<QColor>("upperRight");
    QTest::newRow("jpeg") << QByteArray("gigapixel 1.jpg") << QColor(128, 128, 128) << QColor(128, 128, 128);
    QTest::newRow("png") << QByteArray("gigapixel 2.png") << QColor(Qt::white) << QColor(Qt::black);
    QTest::newRow("tiff") << QByteArray("gigapixel 3.tif") << QColor(Qt::black) << QColor(Qt::white);
}

void GigapixelTest::shownReduced()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QColor, upperLeft);
    QFETCH(const QColor, upperRight);
    const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf(name));
    QVERIFY(image);
    QCOMPARE(QSize(image->width(), image->height()), gigapixelSize);
    const QImage held = image->getCGImage();
    const auto bytes = QFile(QString::fromUtf8(mFolder.pathOf(name))).size();
    QCOMPARE(held.size(), heldSize(gigapixelSize, 0, mostPixelsOf(gigapixelSize, bytes)));
    const int last = held.width() - 1;
    const int middle = held.width() / 2;
    for (const int near : {0, middle - 8}) {
        for (const int far : {middle + 8, last}) {
            QCOMPARE(held.pixelColor(near, near), upperLeft);
            QCOMPARE(held.pixelColor(far, near), upperRight);
            QCOMPARE(held.pixelColor(near, far), upperRight);
            QCOMPARE(held.pixelColor(far, far), upperLeft);
        }
    }
}

void GigapixelTest::thumbnail()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QColor, upperLeft);
    QFETCH(const QColor, upperRight);
    const KLThumbnailPtr made = KLThumbnail::thumbnailWithURL(mFolder.urlOf(name));
    QVERIFY(made);
    const QImage& picture = made->mImage();
    QCOMPARE(picture.size(), QSize(300, 300));
    QCOMPARE(picture.pixelColor(20, 20), upperLeft);
    QCOMPARE(picture.pixelColor(280, 20), upperRight);
    QCOMPARE(picture.pixelColor(20, 280), upperRight);
    QCOMPARE(picture.pixelColor(280, 280), upperLeft);
}

QTEST_GUILESS_MAIN(GigapixelTest)
#include "GigapixelTest.moc"
