#include "Enlargement.h"

#include "Pictures.h"
#include "Placement.h"
#include "RasterRenderer.h"
#include "ReducedCopies.h"
#include "ReferenceDrawing.h"

#include <QtTest>

using namespace frameflow;

namespace {

constexpr ViewArea area{QSizeF(160, 90), 1};

DrawItem itemAt(const QImage& picture, const QRectF& frame, bool moves = false)
{
    DrawItem item{
        picture, QRectF(QPointF(), frame.size()), QTransform::fromTranslate(frame.x(), frame.y()), 1, nullptr};
    item.movesInX = moves;
    item.movesInY = moves;
    return item;
}

QImage drawn(const DrawItem& item)
{
    const ReducedCopies copies([] {});
    QImage image(area.pixels(), QImage::Format_RGB32);
    image.fill(Qt::magenta);
    QPainter painter(&image);
    RasterRenderer(copies).paint(painter, {item}, area);
    return image;
}

int largestDifference(const QImage& a, const QImage& b)
{
    int largest = a.size() == b.size() ? 0 : 1000;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb first = a.pixel(x, y);
            const QRgb second = b.pixel(x, y);
            largest = std::max({largest, std::abs(qRed(first) - qRed(second)), std::abs(qGreen(first) - qGreen(second)),
                std::abs(qBlue(first) - qBlue(second))});
        }
    }
    return largest;
}

} // namespace

// Pictures that are drawn larger than they are, up to any size.
class EnlargementTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyEnlargementIsMixedFromTheFourNearestPixels_data()
    {
        QTest::addColumn<double>("factor");
        QTest::addColumn<double>("share"); // of the picture that is left of and below the view's middle
        for (const double factor : {1.5, 2.25, 3.375, 7.6, 17.1, 31.9, 32.0, 58.0, 300.0, 5e3, 7e4, 1e6}) {
            for (const double share : {0.5, 0.3137}) {
                QTest::addRow("%g times, %g", factor, share) << factor << share;
            }
        }
    }
    void everyEnlargementIsMixedFromTheFourNearestPixels()
    {
        QFETCH(double, factor);
        QFETCH(double, share);
        const QImage picture = noise({120, 80});
        const QSizeF size = QSizeF(picture.size()) * factor;
        const QRectF frame(QPointF(80 - size.width() * share, 45 - size.height() * share), size);
        for (const bool moves : {false, true}) {
            const DrawItem item = itemAt(picture, frame, moves);
            DrawItem still = item;
            if (!moves) { // the plain drawing knows nothing of whole pixels
                const QRectF whole = wholePixels(frame, area);
                still.bounds = QRectF(QPointF(), whole.size());
                still.toView = QTransform::fromTranslate(whole.x(), 90 - whole.y() - whole.height());
            }
            const QImage expected = referenceDrawing({still}, area, QRect(QPoint(), area.pixels()));
            const int difference = largestDifference(drawn(item), expected);
            QVERIFY2(difference <= 5, qPrintable(QString::number(difference)));
        }
    }

    void edgesBetweenPixelsAreSoft()
    {
        // One pixel over 100.5 by 50.5, from a quarter of a pixel on.
        const QImage image = drawn(itemAt(solid({1, 1}, Qt::white), QRectF(20.25, 10.25, 100.5, 50.5), true));
        QVERIFY(isNear(image.pixelColor(20, 50), QColor(191, 191, 191), 3));
        QVERIFY(isNear(image.pixelColor(120, 50), QColor(191, 191, 191), 3));
        QCOMPARE(image.pixelColor(19, 50), QColor(Qt::black));
        QCOMPARE(image.pixelColor(21, 50), QColor(Qt::white));
        QCOMPARE(image.pixelColor(119, 50), QColor(Qt::white));
        QCOMPARE(image.pixelColor(121, 50), QColor(Qt::black));
    }

    void oneAxisAloneMayBeEnlarged()
    {
        QImage stripes = solid({1, 180}, Qt::red);
        for (int y = 0; y < 90; ++y) {
            stripes.setPixelColor(0, y, Qt::green);
        }
        const QImage image = drawn(itemAt(stripes, QRectF(0, 0, 160, 90)));
        QCOMPARE(image.pixelColor(0, 0), QColor(Qt::green));
        QCOMPARE(image.pixelColor(159, 43), QColor(Qt::green));
        QCOMPARE(image.pixelColor(0, 46), QColor(Qt::red));
        QCOMPARE(image.pixelColor(159, 89), QColor(Qt::red));
    }

    void transparencyIsKept()
    {
        const QImage glass = solid({4, 4}, QColor(255, 255, 255, 128));
        const QImage image = drawn(itemAt(glass, QRectF(-500, -500, 1000, 1000)));
        QVERIFY(isNear(image.pixelColor(80, 45), QColor(128, 128, 128), 2));
        QVERIFY(isNear(image.pixelColor(0, 0), QColor(128, 128, 128), 2));
    }

    void otherFormatsAreConverted()
    {
        const QImage grey = noise({6, 6}).convertToFormat(QImage::Format_Grayscale8);
        const QImage image = enlarged(grey, QRectF(0, 0, 600, 600), QRect(0, 0, 600, 600));
        QCOMPARE(image.format(), QImage::Format_RGB32);
        QVERIFY(isNear(image.pixelColor(50, 50), grey.pixelColor(0, 0), 1)); // nearly the middle of the pixel
        QVERIFY(isNear(image.pixelColor(550, 550), grey.pixelColor(5, 5), 1));
    }

    void nothingToDrawIsNothing() { QVERIFY(enlarged(noise({6, 6}), QRectF(0, 0, 600, 600), QRect()).isNull()); }

    void anySizeIsShown_data()
    {
        QTest::addColumn<double>("length");
        for (const double length : {1e8, 9.9e8, 1e9, 1.1e9, 1e12, 1e20, 1e60, 1e140}) {
            QTest::addRow("%g", length) << length;
        }
    }
    // At these sizes the view shows one place of the picture: its quarters tell which.
    void anySizeIsShown()
    {
        QFETCH(double, length);
        const QImage picture = quarters({400, 400});
        const QSizeF size(length, length);
        const auto colourWith = [&](double shareInX, double shareInY, bool moves) {
            const QRectF frame(QPointF(80 - length * shareInX, 45 - length * shareInY), size);
            const QImage image = drawn(itemAt(picture, frame, moves));
            const QColor colour = image.pixelColor(80, 45);
            return largestDifference(image, solid(image.size(), colour)) <= 1 ? colour : QColor(Qt::magenta);
        };
        for (const bool moves : {false, true}) {
            QCOMPARE(colourWith(0.25, 0.75, moves), QColor(Qt::red)); // y up
            QCOMPARE(colourWith(0.75, 0.75, moves), QColor(Qt::green));
            QCOMPARE(colourWith(0.25, 0.25, moves), QColor(Qt::blue));
            QCOMPARE(colourWith(0.75, 0.25, moves), QColor(Qt::white));
        }
    }

    void edgesOfAHugePictureStayWhereTheyAre_data()
    {
        QTest::addColumn<QRectF>("frame");
        QTest::addColumn<QPoint>("inside");
        QTest::addColumn<QPoint>("outside");
        QTest::newRow("left") << QRectF(30, -5e11, 1e12, 1e12) << QPoint(31, 45) << QPoint(28, 45);
        QTest::newRow("right") << QRectF(-1e12 + 130, -5e11, 1e12, 1e12) << QPoint(128, 45) << QPoint(131, 45);
        QTest::newRow("above") << QRectF(-5e11, -1e12 + 70, 1e12, 1e12) << QPoint(80, 21) << QPoint(80, 18);
        QTest::newRow("below") << QRectF(-5e11, 20, 1e12, 1e12) << QPoint(80, 68) << QPoint(80, 71);
    }
    void edgesOfAHugePictureStayWhereTheyAre()
    {
        QFETCH(QRectF, frame);
        QFETCH(QPoint, inside);
        QFETCH(QPoint, outside);
        const QImage image = drawn(itemAt(solid({10, 10}, Qt::red), frame));
        QCOMPARE(image.pixelColor(inside), QColor(Qt::red));
        QCOMPARE(image.pixelColor(outside), QColor(Qt::black));
    }
};

QTEST_GUILESS_MAIN(EnlargementTest)
#include "EnlargementTest.moc"
