#include "Placement.h"

#include "Pictures.h"

#include <QtTest>

#include <limits>
#include <numbers>

using namespace frameflow;

namespace {

const ViewArea area{QSizeF(200, 100), 1};

DrawItem item(const QRectF& frame, bool movesInX = false, bool movesInY = false)
{
    DrawItem made{solid({10, 10}, Qt::red), QRectF(QPointF(), frame.size()),
        QTransform::fromTranslate(frame.x(), frame.y()), 1, nullptr};
    made.movesInX = movesInX;
    made.movesInY = movesInY;
    return made;
}

} // namespace

class PlacementTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stillPicturesStandOnWholePixels()
    {
        const Placement place = placementOf(item(QRectF(10.3, 20.4, 50.2, 30.7)), area);
        QCOMPARE(place.kind, Placement::Kind::Upright);
        QCOMPARE(place.rect, QRectF(10, 49, 50, 31));
        QVERIFY(place.isWhole());
        QCOMPARE(place.pixels, QSize(50, 31));
    }

    void movingAxesAreExact()
    {
        const QRectF frame(10.3, 20.25, 50.2, 30.5);
        QCOMPARE(placementOf(item(frame, true, false), area).rect, QRectF(10.3, 49, 50.2, 31));
        QCOMPARE(placementOf(item(frame, false, true), area).rect, QRectF(10, 49.25, 50, 30.5));
        const Placement both = placementOf(item(frame, true, true), area);
        QCOMPARE(both.rect, QRectF(10.3, 49.25, 50.2, 30.5));
        QVERIFY(!both.isWhole());
    }

    void squeezedPicturesAreUprightAndExactInHeight()
    {
        DrawItem squeezed = item(QRectF(0, 0, 200, 100));
        squeezed.toView = LayerTransform{1.0, 0}.toAffine();
        const Placement place = placementOf(squeezed, area);
        QCOMPARE(place.kind, Placement::Kind::Upright);
        QCOMPARE(place.rect, QRectF(0, 100 - 100 * std::cos(1.0), 200, 100 * std::cos(1.0)));
    }

    void turnedPicturesKeepTheirMap()
    {
        DrawItem turned = item(QRectF(0, 0, 40, 20));
        turned.toView = LayerTransform{0, std::numbers::pi / 4}.toAffine();
        const Placement place = placementOf(turned, area);
        QCOMPARE(place.kind, Placement::Kind::Turned);
        QCOMPARE(place.pixels, QSize(40, 20));
        const QPointF corner = place.toPixels.map(QPointF(40, 0));
        QVERIFY(std::abs(corner.x() - 40 / std::numbers::sqrt2) < 1e-9);
        QVERIFY(std::abs(corner.y() - (100 - 40 / std::numbers::sqrt2)) < 1e-9);
    }

    void nowhere_data()
    {
        QTest::addColumn<QRectF>("frame");
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double infinity = std::numeric_limits<double>::infinity();
        QTest::newRow("empty") << QRectF();
        QTest::newRow("thin") << QRectF(0, 0, 0.01, 50);
        QTest::newRow("infinite") << QRectF(0, 0, infinity, 50);
        QTest::newRow("far away") << QRectF(1e12, 0, 50, 50);
        QTest::newRow("no number") << QRectF(nan, 0, 50, 50);
        QTest::newRow("no size") << QRectF(0, 0, 50, nan);
    }
    void nowhere()
    {
        QFETCH(QRectF, frame);
        for (const bool movesInX : {false, true}) {
            for (const bool movesInY : {false, true}) {
                QCOMPARE(placementOf(item(frame, movesInX, movesInY), area).kind, Placement::Kind::Nowhere);
            }
        }
        DrawItem turned = item(frame);
        turned.toView.rotate(30);
        if (frame.x() == 0) {
            QCOMPARE(placementOf(turned, area).kind, Placement::Kind::Nowhere);
        }
    }

    void whatCoversTheViewHidesTheRest_data()
    {
        QTest::addColumn<QRectF>("frame");
        QTest::addColumn<bool>("moves");
        QTest::addColumn<bool>("hides");
        QTest::newRow("exactly") << QRectF(0, 0, 200, 100) << false << true;
        QTest::newRow("more") << QRectF(-10, -10, 300, 200) << true << true;
        QTest::newRow("nearly, still") << QRectF(0.3, 0, 200, 100) << false << true;
        QTest::newRow("nearly, moving") << QRectF(0.3, 0, 200, 100) << true << false;
        QTest::newRow("less") << QRectF(0, 0, 199, 100) << false << false;
    }
    void whatCoversTheViewHidesTheRest()
    {
        QFETCH(QRectF, frame);
        QFETCH(bool, moves);
        QFETCH(bool, hides);
        QCOMPARE(hidesEverything(item(frame, moves, moves), area), hides);
        DrawItem pale = item(frame, moves, moves);
        pale.opacity = 0.99;
        QVERIFY(!hidesEverything(pale, area));
        DrawItem glass = item(frame, moves, moves);
        glass.picture = solid({10, 10}, QColor(0, 0, 0, 100));
        QVERIFY(!hidesEverything(glass, area));
    }

    void visiblePartIsTheViewWithAMargin()
    {
        const VisiblePart all = visiblePart(QRectF(10, 10, 50, 40), QSize(100, 80), area);
        QCOMPARE(all.pixels, QRectF(10, 10, 50, 40));
        QCOMPARE(all.ofPicture, QRectF(0, 0, 100, 80));
        const VisiblePart some = visiblePart(QRectF(-1e8, 0, 2e8, 100), QSize(2000, 100), area);
        QCOMPARE(some.pixels, QRectF(-2, 0, 204, 100));
        QVERIFY(std::abs(some.ofPicture.x() - 1000) < 0.01);
        QVERIFY(visiblePart(QRectF(300, 0, 50, 40), QSize(10, 10), area).pixels.isEmpty());
    }
};

QTEST_GUILESS_MAIN(PlacementTest)
#include "PlacementTest.moc"
