#include "PictureCompare.h"

#include <QFile>
#include <QTest>

using namespace frameflow::e2e;

namespace {

QImage plain(const QSize& size, QRgb colour, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(size, format);
    image.fill(colour);
    return image;
}

QString failedPicture(const char* name)
{
    return failedPicturesFolder() + QLatin1Char('/') + QLatin1String(name);
}

} // namespace

class PictureCompareTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanupTestCase();
    void equalPicturesHaveNoDifference();
    void onePixelIsFound();
    void worstTileIsFoundAmongManySmallErrors();
    void tilesAtTheEdgesCountByTheirOwnSize();
    void colourOfTransparentPixelsDoesNotCount();
    void formatsDoNotMatter();
    void otherSizesAreDifferent();
    void nullPicturesAreNeverTheSame();
    void toleranceIsObeyed();
    void failureLeavesPictures();
};

// Pictures in that folder are to mean that something failed.
void PictureCompareTest::cleanupTestCase()
{
    for (const char* name : {"left", "tolerance"}) {
        for (const char* suffix : {"-actual.png", "-expected.png", "-difference.png"}) {
            QFile::remove(failedPicture(name) + QLatin1String(suffix));
        }
    }
}

void PictureCompareTest::equalPicturesHaveNoDifference()
{
    const auto picture = plain(QSize(100, 70), 0xFF123456);
    const auto difference = comparePictures(picture, picture.copy());
    QVERIFY(difference.isOfOneSize);
    QCOMPARE(difference.largestError, 0);
    QCOMPARE(difference.worstTileError, 0.0);
}

void PictureCompareTest::onePixelIsFound()
{
    const auto expected = plain(QSize(100, 70), 0xFF102030);
    auto actual = expected.copy();
    actual.setPixel(70, 40, 0xFF10F030);
    const auto difference = comparePictures(actual, expected);
    QCOMPARE(difference.largestError, 0xF0 - 0x20);
    QCOMPARE(difference.largestErrorAt, QPoint(70, 40));
    QCOMPARE(difference.worstTile, QRect(64, 32, 32, 32));
    QCOMPARE(difference.worstTileError, 208.0 / (32 * 32 * 4));
}

void PictureCompareTest::worstTileIsFoundAmongManySmallErrors()
{
    const auto expected = plain(QSize(320, 320), 0xFF808080);
    auto actual = plain(QSize(320, 320), 0xFF818181);
    for (int y = 64; y < 96; ++y) {
        for (int x = 128; x < 160; ++x) {
            actual.setPixel(x, y, 0xFF858585);
        }
    }
    const auto difference = comparePictures(actual, expected);
    QCOMPARE(difference.largestError, 5);
    QCOMPARE(difference.worstTile, QRect(128, 64, 32, 32));
    QCOMPARE(difference.worstTileError, 5 * 3 / 4.0);
}

void PictureCompareTest::tilesAtTheEdgesCountByTheirOwnSize()
{
    const auto expected = plain(QSize(33, 33), 0xFF000000);
    auto actual = expected.copy();
    actual.setPixel(32, 32, 0xFF040404);
    const auto difference = comparePictures(actual, expected);
    QCOMPARE(difference.worstTile, QRect(32, 32, 1, 1));
    QCOMPARE(difference.worstTileError, 3.0);
}

void PictureCompareTest::colourOfTransparentPixelsDoesNotCount()
{
    const auto a = plain(QSize(10, 10), 0x00FF0000, QImage::Format_ARGB32);
    const auto b = plain(QSize(10, 10), 0x0000FF00, QImage::Format_ARGB32);
    QCOMPARE(comparePictures(a, b).largestError, 0);
    const auto opaque = plain(QSize(10, 10), 0xFF000000, QImage::Format_ARGB32);
    QCOMPARE(comparePictures(a, opaque).largestError, 255);
}

void PictureCompareTest::formatsDoNotMatter()
{
    const auto a = plain(QSize(10, 10), 0xFF123456, QImage::Format_RGB888);
    const auto b = plain(QSize(10, 10), 0xFF123456, QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(comparePictures(a, b).largestError, 0);
}

void PictureCompareTest::otherSizesAreDifferent()
{
    QVERIFY(!comparePictures(plain(QSize(10, 10), 0), plain(QSize(10, 11), 0)).isOfOneSize);
}

void PictureCompareTest::nullPicturesAreNeverTheSame()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^null: ")));
    QVERIFY(!isSamePicture(QImage(), QImage(), QStringLiteral("null")));
}

void PictureCompareTest::toleranceIsObeyed()
{
    const auto expected = plain(QSize(64, 64), 0xFF808080);
    const auto actual = plain(QSize(64, 64), 0xFF828080);
    QVERIFY(isSamePicture(actual, expected, QStringLiteral("tolerance"), {2, 0.5}));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("largest error 2 at 0,0; worst tile 0.500")));
    QVERIFY(!isSamePicture(actual, expected, QStringLiteral("tolerance"), {1, 0.5}));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^tolerance: ")));
    QVERIFY(!isSamePicture(actual, expected, QStringLiteral("tolerance"), {2, 0.49}));
}

void PictureCompareTest::failureLeavesPictures()
{
    for (const char* name : {"left-actual.png", "left-expected.png", "left-difference.png"}) {
        QFile::remove(failedPicture(name));
    }
    const auto expected = plain(QSize(40, 40), 0xFF000000);
    auto actual = expected.copy();
    actual.setPixel(3, 4, 0xFF000001);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^left: largest error 1 at 3,4")));
    QVERIFY(!isSamePicture(actual, expected, QStringLiteral("left")));
    QCOMPARE(QImage(failedPicture("left-actual.png")).convertToFormat(QImage::Format_RGB32), actual);
    QCOMPARE(QImage(failedPicture("left-expected.png")).convertToFormat(QImage::Format_RGB32), expected);
    const QImage difference(failedPicture("left-difference.png"));
    QVERIFY(qBlue(difference.pixel(3, 4)) >= 48); // one step is seen
    QCOMPARE(difference.pixel(4, 4), 0xFF000000);
}

QTEST_GUILESS_MAIN(PictureCompareTest)
#include "PictureCompareTest.moc"
