#include "ViewFixture.h"

#include <QtTest>

#include <cmath>

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
    void zoomAnimatesTheSizeByItsKeys();
    void zoomOffAnimatesSizeAndPlace();
    void moveAnimatesThePlaceByItsKeys();
    void zoomOffOfASlideThatIsNotZoomedStaysFitted();
    void theFirstZoomBeginsAtTheFittedFrame_data();
    void theFirstZoomBeginsAtTheFittedFrame();
    void zoomingInWhileItGrowsCountsFromWhereItLeads();
    void panningDoesNotAnimate();
    void panningStepByStepStaysWithinTheEdges();
    void driftByItsKeys();
    void manyStepsNeverShowBlack_data();
    void manyStepsNeverShowBlack();
    void aZoomOnTheWayToAHugeSizeNeverShowsBlack();
    void afterAHugeZoomTheSlideComesBack();
    void actualSizeShowsTruePixelsAfterPanning();
    void transparentPicturesAreZoomedOverBlack();

private:
    static const PropertyChange& change(const ViewFixture& fixture, const char* key)
    {
        return std::get<PropertyChange>(fixture.view->currentLayer()->animation(QString::fromLatin1(key))->effect);
    }
    static void compareAnimation(
        const ViewFixture& fixture, const char* key, KeyPath keyPath, double from, double to, Duration duration = 1s)
    {
        const AnimationPtr animation = fixture.view->currentLayer()->animation(QString::fromLatin1(key));
        QVERIFY2(animation, key);
        QCOMPARE(change(fixture, key).keyPath, keyPath);
        QCOMPARE(change(fixture, key).from, from);
        QCOMPARE(change(fixture, key).to, to);
        QVERIFY(animation->duration == duration);
        QCOMPARE(animation->delegate.get(), fixture.view.get());
    }
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
    QCOMPARE(std::get<PropertyChange>(width->effect).from, 300.0);
    QCOMPARE(std::get<PropertyChange>(width->effect).to, 400.0);
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
    QCOMPARE(std::get<PropertyChange>(move->effect).from, 120.0);
    QCOMPARE(std::get<PropertyChange>(move->effect).to, 100.0);
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

void ZoomTest::zoomAnimatesTheSizeByItsKeys()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->currentLayer()->setZPosition(10000.0);
    fixture.view->zoomIn();
    compareAnimation(fixture, "zoomW", KeyPath::BoundsSizeWidth, 200, 300);
    compareAnimation(fixture, "zoomH", KeyPath::BoundsSizeHeight, 100, 150);
    QCOMPARE(fixture.view->currentLayer()->animation(QStringLiteral("zoomW"))->curve, Curve::EaseInEaseOut);
    QCOMPARE(fixture.view->currentLayer()->animation(QStringLiteral("zoomH"))->curve, Curve::EaseInEaseOut);
    QCOMPARE(fixture.view->currentLayer()->zPosition(), 0.0);
    QVERIFY(!fixture.view->currentLayer()->animation(QStringLiteral("moveX")));
}

void ZoomTest::zoomOffAnimatesSizeAndPlace()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->zoomOne();
    end(fixture);
    fixture.view->panX(20, 10);
    fixture.view->zoomOff();
    compareAnimation(fixture, "zoomW", KeyPath::BoundsSizeWidth, 400, 200);
    compareAnimation(fixture, "zoomH", KeyPath::BoundsSizeHeight, 200, 100);
    compareAnimation(fixture, "moveX", KeyPath::PositionX, 120, 100);
    compareAnimation(fixture, "moveY", KeyPath::PositionY, 40, 50);
    QCOMPARE(fixture.view->currentLayer()->anchorPoint(), QPointF(0.5, 0.5));
    fixture.view->compositor().deliverPending();
    QVERIFY(fixture.view->isBusy());
    end(fixture);
    QVERIFY(!fixture.view->isBusy());
}

void ZoomTest::moveAnimatesThePlaceByItsKeys()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->moveToPosition(30, 70);
    compareAnimation(fixture, "moveX", KeyPath::PositionX, 100, 30);
    compareAnimation(fixture, "moveY", KeyPath::PositionY, 50, 70);
    QCOMPARE(fixture.view->currentLayer()->animation(QStringLiteral("moveX"))->curve, Curve::EaseInEaseOut);
    QCOMPARE(fixture.view->currentLayer()->position(), QPointF(30, 70));
}

void ZoomTest::zoomOffOfASlideThatIsNotZoomedStaysFitted()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->zoomOff();
    QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(0, 0, 200, 100));
    QVERIFY(!fixture.view->isZoomed());
    end(fixture);
    QCOMPARE(fixture.grab().convertToFormat(QImage::Format_RGB32), solid({200, 100}, Qt::red));
}

void ZoomTest::theFirstZoomBeginsAtTheFittedFrame_data()
{
    QTest::addColumn<bool>("toActualSize");
    QTest::newRow("in") << false;
    QTest::newRow("actual size") << true;
}

void ZoomTest::theFirstZoomBeginsAtTheFittedFrame()
{
    QFETCH(bool, toActualSize);
    ViewFixture fixture;
    fixture.show(solid({600, 300}, Qt::red));
    // As a transition may leave the layer.
    fixture.view->currentLayer()->setTransform({0.3, 0.2});
    fixture.view->currentLayer()->setAnchorPoint({0, 0});
    fixture.view->currentLayer()->setFrame(QRectF(5, 5, 10, 10));
    if (toActualSize) {
        fixture.view->zoomOne();
    } else {
        fixture.view->zoomIn();
    }
    compareAnimation(fixture, "zoomW", KeyPath::BoundsSizeWidth, 200, toActualSize ? 600 : 300);
    QCOMPARE(fixture.view->currentLayer()->transform(), LayerTransform());
    QCOMPARE(fixture.view->currentLayer()->anchorPoint(), QPointF(0.5, 0.5));
    QCOMPARE(fixture.view->currentLayer()->frame().center(), QPointF(100, 50));
    QVERIFY(fixture.view->isZoomed());
}

void ZoomTest::zoomingInWhileItGrowsCountsFromWhereItLeads()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->zoomIn();
    fixture.view->compositor().deliverPending();
    fixture.clock.advance(300ms);
    fixture.view->zoomIn();
    compareAnimation(fixture, "zoomW", KeyPath::BoundsSizeWidth, 300, 450);
    QCOMPARE(fixture.view->currentLayer()->bounds().size(), QSizeF(450, 225));
}

void ZoomTest::panningDoesNotAnimate()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, Qt::red));
    fixture.view->zoomOne();
    end(fixture);
    fixture.view->panX(10, 10);
    QVERIFY(fixture.view->currentLayer()->runs().empty());
    fixture.view->compositor().deliverPending();
    QVERIFY(!fixture.view->isBusy());
}

void ZoomTest::panningStepByStepStaysWithinTheEdges()
{
    ViewFixture fixture;
    fixture.show(solid({500, 230}, Qt::red));
    fixture.view->zoomOne();
    end(fixture);
    for (const QPointF by : {QPointF(7.25, 3.5), QPointF(-11, -5.75), QPointF(0, 9), QPointF(-13, 0)}) {
        for (int i = 0; i < 100; ++i) {
            fixture.view->panX(by.x(), by.y());
            const QRectF frame = fixture.view->currentLayer()->frame();
            QVERIFY(frame.left() <= 0 && frame.right() >= 200 && frame.top() <= 0 && frame.bottom() >= 100);
        }
        QCOMPARE(fixture.grab().convertToFormat(QImage::Format_RGB32), solid({200, 100}, Qt::red));
    }
}

void ZoomTest::driftByItsKeys()
{
    ViewFixture fixture;
    fixture.show(solid({300, 300}, Qt::red)); // fitted into 100 by 100
    fixture.view->driftEffect();
    compareAnimation(fixture, "driftx", KeyPath::PositionX, 0, 100, 30s);
    QCOMPARE(fixture.view->currentLayer()->animation(QStringLiteral("driftx"))->curve, Curve::EaseOut);
}

void ZoomTest::manyStepsNeverShowBlack_data()
{
    QTest::addColumn<QSize>("picture");
    QTest::addColumn<QPointF>("pan");
    for (const QSize size : {QSize(400, 200), QSize(1, 1), QSize(3, 2000), QSize(4000, 10)}) {
        QTest::addRow("%d by %d", size.width(), size.height()) << size << QPointF();
        QTest::addRow("%d by %d, at an edge", size.width(), size.height()) << size << QPointF(1e9, -1e9);
    }
}

void ZoomTest::manyStepsNeverShowBlack()
{
    QFETCH(QSize, picture);
    QFETCH(QPointF, pan);
    ViewFixture fixture;
    fixture.setFitMode(keys::fitModeFill);
    fixture.show(solid(picture, Qt::red));
    const QImage all = solid({200, 100}, Qt::red);
    for (int press = 0; press < 1200; ++press) {
        fixture.view->zoomIn();
        end(fixture);
        fixture.view->panX(pan.x(), pan.y());
        if (press < 60 || press % 100 == 0) {
            QVERIFY2(fixture.grab().convertToFormat(QImage::Format_RGB32) == all, qPrintable(QString::number(press)));
        }
    }
    const QSizeF size = fixture.view->currentLayer()->bounds().size();
    QVERIFY(std::isfinite(size.width()) && std::isfinite(size.height()));
}

void ZoomTest::aZoomOnTheWayToAHugeSizeNeverShowsBlack()
{
    ViewFixture fixture;
    fixture.setFitMode(keys::fitModeFill);
    fixture.show(solid({400, 200}, Qt::red));
    const QImage all = solid({200, 100}, Qt::red);
    // A key held down: each step begins before the one before has ended.
    for (int press = 0; press < 300; ++press) {
        fixture.view->zoomIn();
        fixture.view->compositor().deliverPending();
        fixture.clock.advance(40ms);
        QVERIFY2(fixture.grab().convertToFormat(QImage::Format_RGB32) == all, qPrintable(QString::number(press)));
    }
}

void ZoomTest::afterAHugeZoomTheSlideComesBack()
{
    ViewFixture fixture;
    const QImage picture = quarters({400, 200});
    fixture.show(picture);
    const QImage before = fixture.grab();
    for (int press = 0; press < 1200; ++press) {
        fixture.view->zoomIn();
    }
    end(fixture);
    fixture.view->zoomOff();
    end(fixture);
    QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(0, 0, 200, 100));
    QTRY_VERIFY(!fixture.view->isSharpening());
    QCOMPARE(fixture.grab(), before);
}

void ZoomTest::actualSizeShowsTruePixelsAfterPanning()
{
    ViewFixture fixture;
    const QImage picture = noise({401, 303});
    fixture.show(picture);
    fixture.view->zoomOne();
    end(fixture);
    fixture.view->panX(1000, 1000); // to the upper left corner
    QCOMPARE(fixture.grab().convertToFormat(picture.format()), picture.copy(0, 0, 200, 100));
    fixture.view->panX(-30, -40);
    QCOMPARE(fixture.grab().convertToFormat(picture.format()), picture.copy(30, 40, 200, 100));
    fixture.view->panX(-1000, -1000);
    QCOMPARE(fixture.grab().convertToFormat(picture.format()), picture.copy(201, 203, 200, 100));
}

void ZoomTest::transparentPicturesAreZoomedOverBlack()
{
    ViewFixture fixture;
    fixture.show(solid({400, 200}, QColor(255, 255, 255, 100)));
    for (int press = 0; press < 40; ++press) {
        fixture.view->zoomIn();
        end(fixture);
        QVERIFY(isNear(fixture.colorAt(100, 50), QColor(100, 100, 100)));
        QVERIFY(isNear(fixture.colorAt(0, 0), QColor(100, 100, 100)));
    }
}

QTEST_MAIN(ZoomTest)
#include "ZoomTest.moc"
