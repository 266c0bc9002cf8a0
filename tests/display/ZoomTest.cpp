#include "ViewFixture.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

// Enlarging the slide and moving it about.
class ZoomTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void zoomingInEnlargesByHalfEachTime();
    void zoomingGrowsAboutTheCentre();
    void actualSizeIsOnePointAPixel();
    void actualSizeFromAZoomedSlideDoesNotResetFirst();
    void actualSizeShowsTruePixels();
    void zoomingTakesASecondDuringWhichTheViewIsBusy();
    void zoomOffReturnsToTheFittedFrame();
    void theNextSlideBeginsUnzoomed();
    void panningKeepsTheViewCovered_data();
    void panningKeepsTheViewCovered();
    void driftMovesTheSlideWithoutMakingTheViewBusy();
    void aDriftThatHasEndedIsForgotten();
    void actualSizeWithoutASlideDoesNothing();

private:
    static void end(ViewFixture& fixture)
    {
        fixture.view->compositor().deliverPending();
        fixture.clock.advance(2s);
        fixture.view->compositor().deliverPending();
    }
};

void ZoomTest::zoomingInEnlargesByHalfEachTime()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red)); // fitted into 200 by 100
    const auto& layer = fixture.view->currentLayer();
    for (const double factor : {1.5, 2.25, 3.375}) {
        fixture.view->zoomIn();
        QCOMPARE(layer->bounds().size(), QSizeF(200 * factor, 100 * factor));
        end(fixture);
    }
    QVERIFY(fixture.view->isZoomed());
}

void ZoomTest::zoomingGrowsAboutTheCentre()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->currentLayer()->setAnchorPoint({0, 0}); // as a transition may leave it
    fixture.view->zoomIn();
    QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(-50, -25, 300, 150));
}

void ZoomTest::actualSizeIsOnePointAPixel()
{
    ViewFixture fixture;
    fixture.show(solid({400, 300}, Qt::red));
    fixture.view->zoomOne();
    QCOMPARE(fixture.view->currentLayer()->bounds().size(), QSizeF(400, 300));
    QCOMPARE(fixture.view->currentLayer()->frame().center(), QPointF(100, 50));
}

void ZoomTest::actualSizeFromAZoomedSlideDoesNotResetFirst()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->zoomIn();
    end(fixture);
    fixture.view->panX(30, 0);
    const QPointF position = fixture.view->currentLayer()->position();
    fixture.view->zoomOne();
    QCOMPARE(fixture.view->currentLayer()->position(), position);
    const auto width = fixture.view->currentLayer()->animation(QStringLiteral("zoomW"));
    QVERIFY(width);
    QCOMPARE(std::get<PropertyChange>(width->effect).from, 300.0F);
    QCOMPARE(std::get<PropertyChange>(width->effect).to, 400.0F);
}

void ZoomTest::actualSizeShowsTruePixels()
{
    ViewFixture fixture;
    const QImage picture = noise({400, 300});
    fixture.show(picture);
    fixture.view->zoomOne();
    end(fixture);
    QCOMPARE(fixture.grab().convertToFormat(picture.format()), picture.copy(100, 100, 200, 100));
}

void ZoomTest::zoomingTakesASecondDuringWhichTheViewIsBusy()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->zoomIn();
    fixture.view->compositor().deliverPending();
    QVERIFY(fixture.view->isBusy());
    fixture.clock.advance(990ms);
    QVERIFY(fixture.view->isBusy());
    fixture.clock.advance(20ms);
    QVERIFY(!fixture.view->isBusy());
}

void ZoomTest::zoomOffReturnsToTheFittedFrame()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->zoomIn();
    end(fixture);
    fixture.view->panX(20, 10);
    fixture.view->zoomOff();
    QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(0, 0, 200, 100));
    QVERIFY(!fixture.view->isZoomed());
    const auto move = fixture.view->currentLayer()->animation(QStringLiteral("moveX"));
    QVERIFY(move);
    QCOMPARE(std::get<PropertyChange>(move->effect).from, 120.0F);
    QCOMPARE(std::get<PropertyChange>(move->effect).to, 100.0F);
}

void ZoomTest::theNextSlideBeginsUnzoomed()
{
    ViewFixture fixture;
    const FileUrl first = fixture.picture("1.png", solid({400, 200}, Qt::red));
    const FileUrl second = fixture.picture("2.png", solid({400, 200}, Qt::green));
    fixture.setTransition(QStringLiteral("None"));
    fixture.show(first);
    fixture.view->zoomOne();
    end(fixture);
    fixture.show(second);
    QVERIFY(!fixture.view->isZoomed());
    QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(0, 0, 200, 100));
    end(fixture);
    QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::green));
}

void ZoomTest::panningKeepsTheViewCovered_data()
{
    QTest::addColumn<QSize>("picture");
    QTest::addColumn<QPointF>("by");
    QTest::addColumn<QPointF>("position");
    // In a view of 200 by 100; the slide's centre begins at 100, 50.
    QTest::newRow("within") << QSize(400, 200) << QPointF(30, 20) << QPointF(130, 30);
    QTest::newRow("right edge") << QSize(400, 200) << QPointF(500, 0) << QPointF(200, 50);
    QTest::newRow("left edge") << QSize(400, 200) << QPointF(-500, 0) << QPointF(0, 50);
    QTest::newRow("down") << QSize(400, 200) << QPointF(0, 500) << QPointF(100, 0);
    QTest::newRow("up") << QSize(400, 200) << QPointF(0, -500) << QPointF(100, 100);
    QTest::newRow("narrower than the view") << QSize(150, 300) << QPointF(40, 40) << QPointF(100, 10);
    QTest::newRow("smaller than the view") << QSize(150, 80) << QPointF(40, 40) << QPointF(100, 50);
}

void ZoomTest::panningKeepsTheViewCovered()
{
    QFETCH(QSize, picture);
    QFETCH(QPointF, by);
    QFETCH(QPointF, position);
    ViewFixture fixture;
    fixture.show(solid(picture, Qt::red));
    fixture.view->zoomOne();
    end(fixture);
    fixture.view->panX(by.x(), by.y());
    QCOMPARE(fixture.view->currentLayer()->position(), position);
}

void ZoomTest::driftMovesTheSlideWithoutMakingTheViewBusy()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    const QPointF position = fixture.view->currentLayer()->position();
    fixture.view->driftEffect();
    fixture.view->compositor().deliverPending();
    QVERIFY(!fixture.view->isBusy());
    QVERIFY(fixture.view->currentLayer()->animation(QStringLiteral("driftx")));
    fixture.clock.advance(31s);
    fixture.view->compositor().deliverPending();
    QVERIFY(!fixture.view->currentLayer()->animation(QStringLiteral("driftx")));
    QCOMPARE(fixture.view->currentLayer()->position(), position);
}

void ZoomTest::aDriftThatHasEndedIsForgotten()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->driftEffect();
    fixture.view->compositor().deliverPending();
    const AnimationPtr drift = fixture.view->currentLayer()->animation(QStringLiteral("driftx"));
    QVERIFY(drift);
    fixture.view->animationDidStart(drift);
    QVERIFY(!fixture.view->isBusy());
    fixture.view->animationDidStop(drift, true);
    fixture.view->animationDidStart(drift); // one like any other now
    QVERIFY(fixture.view->isBusy());
}

void ZoomTest::actualSizeWithoutASlideDoesNothing()
{
    ViewFixture fixture;
    fixture.view->zoomOne();
    QVERIFY(!fixture.view->isZoomed());
    QVERIFY(!fixture.view->currentLayer()->animation(QStringLiteral("zoomW")));
}

QTEST_MAIN(ZoomTest)
#include "ZoomTest.moc"
