#include "KLFilterImage.h"

#include "Pictures.h"

#include <QtTest>

#include <limits>

using namespace frameflow;

class KLFilterImageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pictureStandsInABlackCanvas()
    {
        const auto image
            = KLFilterImage::imageWithCGImage(quarters({40, 20}), QRectF(10, 5, 40, 20), QRectF(0, 0, 100, 60));
        QVERIFY(image);
        QImage expected = solid({100, 60}, Qt::black);
        QPainter(&expected).drawImage(10, 60 - 5 - 20, quarters({40, 20})); // y up
        QCOMPARE(image->cgImage(), expected);
        QCOMPARE(image->cgImage().format(), QImage::Format_RGB32);
    }

    void filterGetsTheCanvas()
    {
        const auto image
            = KLFilterImage::imageWithCGImage(solid({4, 4}, Qt::red), QRectF(0, 0, 10, 10), QRectF(0, 0, 10, 10));
        QVERIFY(image);
        QCOMPARE(image->mCIImage(), solid({10, 10}, Qt::red));
        image->setMCIImage(solid({2, 2}, Qt::blue));
        QCOMPARE(image->mCIImage(), solid({2, 2}, Qt::blue));
        QCOMPARE(image->cgImage(), solid({10, 10}, Qt::red));
    }

    void rectangleOfThePictureIsNeverSet()
    {
        const auto image
            = KLFilterImage::imageWithCGImage(solid({4, 4}, Qt::red), QRectF(0, 0, 10, 10), QRectF(3, 4, 10, 10));
        QVERIFY(image);
        QCOMPARE(image->imageRect(), QRectF());
    }

    void transparencyIsDrawnOverBlack()
    {
        const auto image = KLFilterImage::imageWithCGImage(
            solid({4, 4}, QColor(255, 255, 255, 128)), QRectF(0, 0, 10, 10), QRectF(0, 0, 10, 10));
        QVERIFY(image);
        QVERIFY(isNear(image->cgImage().pixelColor(5, 5), QColor(128, 128, 128)));
    }

    void impossibleCanvasesAreNone_data()
    {
        QTest::addColumn<QRectF>("canvas");
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double infinity = std::numeric_limits<double>::infinity();
        QTest::newRow("empty") << QRectF();
        QTest::newRow("no height") << QRectF(0, 0, 10, 0);
        QTest::newRow("negative") << QRectF(0, 0, -10, 10);
        QTest::newRow("enormous") << QRectF(0, 0, 1e9, 1e9);
        QTest::newRow("infinite") << QRectF(0, 0, infinity, 10);
        QTest::newRow("no number") << QRectF(0, 0, nan, 10);
    }
    void impossibleCanvasesAreNone()
    {
        QFETCH(QRectF, canvas);
        QVERIFY(!KLFilterImage::imageWithCGImage(solid({4, 4}, Qt::red), QRectF(0, 0, 4, 4), canvas));
    }

    void impossiblePlacesDrawNothing()
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        for (const QRectF& place : {QRectF(nan, nan, nan, nan), QRectF(0, 0, 1e12, 1e12), QRectF(1e9, 0, 4, 4)}) {
            const auto image = KLFilterImage::imageWithCGImage(solid({4, 4}, Qt::red), place, QRectF(0, 0, 10, 10));
            QVERIFY(image);
            QCOMPARE(image->cgImage(), solid({10, 10}, Qt::black));
        }
        const auto missing = KLFilterImage::imageWithCGImage(QImage(), QRectF(0, 0, 4, 4), QRectF(0, 0, 10, 10));
        QVERIFY(missing);
        QCOMPARE(missing->cgImage(), solid({10, 10}, Qt::black));
    }
};

QTEST_MAIN(KLFilterImageTest)
#include "KLFilterImageTest.moc"
