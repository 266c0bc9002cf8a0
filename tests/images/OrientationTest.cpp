#include "Orientation.h"

#include "PictureFiles.h"

#include <QTest>

#include <limits>

using namespace frameflow;

class OrientationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void transforms_data();
    void transforms();
    void turnsPictures_data();
    void turnsPictures();
    void turnsEveryPixel();
    void numbersOutsideTheTableAreUpright();
    void widthsLosePrecisionAsSingles();
    void otherDepthsAreNotTurned();
};

void OrientationTest::transforms_data()
{
    QTest::addColumn<QTransform>("expected");
    QTest::addColumn<QPointF>("upperLeft"); // of the stored picture, y up, where it comes to stand
    constexpr double w = 40;
    constexpr double h = 30;
    QTest::newRow("1") << QTransform(1, 0, 0, 1, 0, 0) << QPointF(0, h);
    QTest::newRow("2") << QTransform(-1, 0, 0, 1, w, 0) << QPointF(w, h);
    QTest::newRow("3") << QTransform(-1, 0, 0, -1, w, h) << QPointF(w, 0);
    QTest::newRow("4") << QTransform(1, 0, 0, -1, 0, h) << QPointF(0, 0);
    QTest::newRow("5") << QTransform(0, -1, -1, 0, h, w) << QPointF(0, w);
    QTest::newRow("6") << QTransform(0, -1, 1, 0, 0, w) << QPointF(h, w);
    QTest::newRow("7") << QTransform(0, 1, 1, 0, 0, 0) << QPointF(h, 0);
    QTest::newRow("8") << QTransform(0, 1, -1, 0, h, 0) << QPointF(0, 0);
}

void OrientationTest::transforms()
{
    QFETCH(QTransform, expected);
    QFETCH(QPointF, upperLeft);
    const int orientation = QByteArray(QTest::currentDataTag()).toInt();
    const QTransform transform = orientationTransform(QSize(40, 30), orientation);
    QCOMPARE(transform, expected);
    QCOMPARE(transform.map(QPointF(0, 30)), upperLeft);
}

void OrientationTest::turnsPictures_data()
{
    QTest::addColumn<int>("orientation");
    for (int orientation = 1; orientation <= 8; ++orientation) {
        QTest::addRow("%d", orientation) << orientation;
    }
}

void OrientationTest::turnsPictures()
{
    QFETCH(int, orientation);
    const QImage stored = quartersPicture();
    const QImage upright = turnedUpright(stored, orientationTransform(stored.size(), orientation));
    QCOMPARE(upright.size(), turnedSize(stored.size(), orientation));
    QCOMPARE(upright.format(), stored.format());
    QCOMPARE(quarters(upright, 0), uprightQuarters(orientation));
}

// Against the slow way, pixel by pixel through the transform, in a size that no tile divides.
void OrientationTest::turnsEveryPixel()
{
    QImage stored(71, 37, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < stored.height(); ++y) {
        for (int x = 0; x < stored.width(); ++x) {
            stored.setPixel(x, y, qRgba(x, y, x ^ y, 255));
        }
    }
    for (int orientation = 1; orientation <= 8; ++orientation) {
        const QTransform transform = orientationTransform(stored.size(), orientation);
        const QImage upright = turnedUpright(stored, transform);
        for (int y = 0; y < stored.height(); ++y) {
            for (int x = 0; x < stored.width(); ++x) {
                const QPointF centre = transform.map(QPointF(x + 0.5, stored.height() - y - 0.5));
                const QPoint at(static_cast<int>(centre.x()), static_cast<int>(upright.height() - centre.y()));
                QCOMPARE(upright.pixel(at), stored.pixel(x, y));
            }
        }
    }
}

void OrientationTest::numbersOutsideTheTableAreUpright()
{
    for (const qint64 number :
        {qint64(0), qint64(9), qint64(-1), std::numeric_limits<qint64>::max(), qint64(1) << 32 | 6}) {
        QCOMPARE(validOrientation(number), 1);
    }
    for (int number = 1; number <= 8; ++number) {
        QCOMPARE(validOrientation(number), number);
        QCOMPARE(isTurned(number), number >= 5);
    }
}

void OrientationTest::widthsLosePrecisionAsSingles()
{
    QCOMPARE(orientationTransform(QSize(16777217, 1), 2).dx(), 16777216.0);
}

void OrientationTest::otherDepthsAreNotTurned()
{
    QVERIFY(turnedUpright(QImage(4, 4, QImage::Format_Grayscale8), QTransform()).isNull());
}

QTEST_GUILESS_MAIN(OrientationTest)
#include "OrientationTest.moc"
