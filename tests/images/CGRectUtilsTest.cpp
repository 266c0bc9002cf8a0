#include "CGRectUtils.h"

#include "KLImage.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace frameflow;

class CGRectUtilsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fits_data();
    void fits();
    void fills_data();
    void fills();
    void zeroSizeGivesNotANumber();
    void pictureOfZeroWidthIsCentred();
    void imagePlacesItsOwnSize();
    void pictureNotTurnedYetIsPlacedAsTurned_data();
    void pictureNotTurnedYetIsPlacedAsTurned();
};

void CGRectUtilsTest::fits_data()
{
    QTest::addColumn<QSizeF>("size");
    QTest::addColumn<QSizeF>("target");
    QTest::addColumn<bool>("expand");
    QTest::addColumn<QRectF>("expected");
    const QSizeF screen(1920, 1080);
    QTest::newRow("small keeps its size") << QSizeF(400, 300) << screen << false << QRectF(760, 390, 400, 300);
    QTest::newRow("small expanded") << QSizeF(400, 300) << screen << true << QRectF(240, 0, 1440, 1080);
    QTest::newRow("wide") << QSizeF(4000, 1000) << screen << false << QRectF(0, 300, 1920, 480);
    QTest::newRow("wide expanded") << QSizeF(4000, 1000) << screen << true << QRectF(0, 300, 1920, 480);
    QTest::newRow("high") << QSizeF(1000, 4000) << screen << false << QRectF(825, 0, 270, 1080);
    QTest::newRow("exact") << screen << screen << false << QRectF(0, 0, 1920, 1080);
    QTest::newRow("exact expanded") << screen << screen << true << QRectF(0, 0, 1920, 1080);
    QTest::newRow("narrower but too high") << QSizeF(100, 2160) << screen << false << QRectF(935, 0, 50, 1080);
    QTest::newRow("fraction is cut off") << QSizeF(399.99, 300) << screen << false << QRectF(760.5, 390, 399, 300);
    QTest::newRow("both fractions") << QSizeF(100.9, 50.2) << QSizeF(200, 100) << true << QRectF(0, 0, 200, 100);
    QTest::newRow("target keeps its fraction")
        << QSizeF(100, 100) << QSizeF(50.5, 80.25) << false << QRectF(0, 14.875, 50.5, 50.5);
    QTest::newRow("lower but too wide") << QSizeF(3840, 100) << screen << false << QRectF(0, 515, 1920, 50);
    QTest::newRow("exact but for one pixel")
        << QSizeF(1921, 1080) << screen << false << QRectF(0, 0.28110359187923677, 1920, 1079.4377928162415);
    QTest::newRow("negative counts as zero") << QSizeF(-7, 10) << QSizeF(20, 20) << false << QRectF(10, 5, 0, 10);
    QTest::newRow("tie takes the full width") << QSizeF(10, 10) << QSizeF(70, 70) << true << QRectF(0, 0, 70, 70);
}

void CGRectUtilsTest::fits()
{
    QFETCH(QSizeF, size);
    QFETCH(QSizeF, target);
    QFETCH(bool, expand);
    QFETCH(QRectF, expected);
    QCOMPARE(CGRectUtils::rectToFitSize(size, target, expand), expected);
    QCOMPARE(KLImage::rectToFitSize(size, target, expand), expected);
}

void CGRectUtilsTest::fills_data()
{
    QTest::addColumn<QSizeF>("size");
    QTest::addColumn<QSizeF>("target");
    QTest::addColumn<QRectF>("expected");
    const QSizeF screen(1920, 1080);
    QTest::newRow("wide") << QSizeF(4000, 1000) << screen << QRectF(-1200, 0, 4320, 1080);
    QTest::newRow("high") << QSizeF(1000, 4000) << screen << QRectF(0, -3300, 1920, 7680);
    QTest::newRow("small is enlarged") << QSizeF(10, 10) << screen << QRectF(0, -420, 1920, 1920);
    QTest::newRow("equal factors") << QSizeF(960, 540) << screen << QRectF(0, 0, 1920, 1080);
    QTest::newRow("target keeps its fraction")
        << QSizeF(100, 50) << QSizeF(50.5, 80.25) << QRectF(-55, 0, 160.5, 80.25);
    QTest::newRow("large is reduced") << QSizeF(3840, 4320) << screen << QRectF(0, -540, 1920, 2160);
    QTest::newRow("fraction is cut off") << QSizeF(4000.9, 1000.9) << screen << QRectF(-1200, 0, 4320, 1080);
}

void CGRectUtilsTest::fills()
{
    QFETCH(QSizeF, size);
    QFETCH(QSizeF, target);
    QFETCH(QRectF, expected);
    QCOMPARE(CGRectUtils::rectToFillSize(size, target), expected);
}

void CGRectUtilsTest::zeroSizeGivesNotANumber()
{
    QVERIFY(std::isnan(CGRectUtils::rectToFitSize(QSizeF(0, 0), QSizeF(100, 100), true).height()));
    const QRectF filled = CGRectUtils::rectToFillSize(QSizeF(0, 50), QSizeF(100, 200));
    QCOMPARE(filled.width(), 100.0);
    QVERIFY(std::isinf(filled.height()));
    QVERIFY(std::isnan(CGRectUtils::rectToFillSize(QSizeF(0, 0), QSizeF(100, 100)).width()));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QCOMPARE(CGRectUtils::rectToFitSize(QSizeF(nan, 10), QSizeF(20, 20), false), QRectF(10, 5, 0, 10));
}

void CGRectUtilsTest::pictureOfZeroWidthIsCentred()
{
    QCOMPARE(CGRectUtils::rectToFitSize(QSizeF(0, 50), QSizeF(100, 200), true), QRectF(50, 0, 0, 200));
}

void CGRectUtilsTest::imagePlacesItsOwnSize()
{
    const KLImagePtr image = KLImage::imageWithImage(QImage(400, 300, QImage::Format_RGB32));
    QCOMPARE(image->rectToFitScreen(QSizeF(1920, 1080), false), QRectF(760, 390, 400, 300));
    QCOMPARE(image->rectToFitScreen(QSizeF(1920, 1080), true), QRectF(240, 0, 1440, 1080));
    QCOMPARE(image->rectToFillScreen(QSizeF(400, 400)), QRectF(CGRectUtils::rectToFillSize({400, 300}, {400, 400})));
}

void CGRectUtilsTest::pictureNotTurnedYetIsPlacedAsTurned_data()
{
    QTest::addColumn<int>("orientation");
    QTest::addColumn<bool>("turned");
    for (int orientation = 1; orientation <= 8; ++orientation) {
        QTest::addRow("%d", orientation) << orientation << (orientation >= 5);
    }
}

void CGRectUtilsTest::pictureNotTurnedYetIsPlacedAsTurned()
{
    QFETCH(int, orientation);
    QFETCH(bool, turned);
    const KLImage image(FileUrl(), QImage(300, 200, QImage::Format_RGB32), orientation);
    QCOMPARE(image.turnedImage(), turned);
    QCOMPARE(image.width(), 300U);
    QCOMPARE(image.height(), 200U);
    const QSizeF placed = turned ? QSizeF(200, 300) : QSizeF(300, 200);
    QCOMPARE(image.rectToFitScreen(QSizeF(1000, 1000), false).size(), placed);
    QCOMPARE(image.rectToFillScreen(QSizeF(60, 60)), CGRectUtils::rectToFillSize(placed, QSizeF(60, 60)));
}

QTEST_GUILESS_MAIN(CGRectUtilsTest)
#include "CGRectUtilsTest.moc"
