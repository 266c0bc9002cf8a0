#include "Layer.h"

#include "Compositor.h"
#include "Coordinates.h"
#include "ManualClock.h"
#include "Pictures.h"

#include <QtTest>

#include <numbers>

using namespace frameflow;

class LayerTest : public QObject
{
    Q_OBJECT

    ManualClock mClock;
    int mChanges = 0;
    std::shared_ptr<Compositor> mCompositor;

    LayerPtr makeLayer() const { return std::make_shared<Layer>(mCompositor); }

private Q_SLOTS:
    void init()
    {
        mChanges = 0;
        mCompositor = Compositor::create(mClock, [this] { ++mChanges; });
    }

    void newLayerHasTheUsualValues()
    {
        const LayerPtr layer = makeLayer();
        QCOMPARE(layer->bounds(), QRectF());
        QCOMPARE(layer->anchorPoint(), QPointF(0.5, 0.5));
        QCOMPARE(layer->opacity(), 1.0);
        QCOMPARE(layer->zPosition(), 0.0);
        QVERIFY(layer->contents().isNull());
    }

    void frameSetsSizeAndPosition()
    {
        const LayerPtr layer = makeLayer();
        layer->setFrame(QRectF(10, 20, 100, 50));
        QCOMPARE(layer->bounds(), QRectF(0, 0, 100, 50));
        QCOMPARE(layer->position(), QPointF(60, 45));
        layer->setAnchorPoint(QPointF(1, 0));
        layer->setFrame(QRectF(10, 20, 100, 50));
        QCOMPARE(layer->position(), QPointF(110, 20));
        QCOMPARE(layer->frame(), QRectF(10, 20, 100, 50));
    }

    void anchorPointKeepsThePosition()
    {
        const LayerPtr layer = makeLayer();
        layer->setFrame(QRectF(0, 0, 100, 50));
        layer->setAnchorPoint(QPointF(0, 0));
        QCOMPARE(layer->position(), QPointF(50, 25));
        QCOMPARE(layer->frame(), QRectF(50, 25, 100, 50));
    }

    void boundsSizeKeepsOriginAndAnchoredPoint()
    {
        const LayerPtr layer = makeLayer();
        layer->setBounds(QRectF(3, 4, 100, 50));
        layer->setPosition(QPointF(80, 80));
        layer->setBoundsSize(QSizeF(20, 10));
        QCOMPARE(layer->bounds(), QRectF(3, 4, 20, 10));
        QCOMPARE(layer->frame(), QRectF(70, 75, 20, 10));
    }

    void turnsCounterClockwiseAboutTheAnchor()
    {
        LayerValues values;
        values.bounds = QRectF(0, 0, 100, 50);
        values.anchorPoint = QPointF(0, 0);
        values.position = QPointF(10, 20);
        values.transform.rotationZ = std::numbers::pi / 2;
        const QTransform map = values.toSuperlayer();
        QCOMPARE(map.map(QPointF(0, 0)), QPointF(10, 20));
        const QPointF corner = map.map(QPointF(100, 0)); // to the right becomes upwards
        QVERIFY(std::abs(corner.x() - 10) < 1e-9);
        QVERIFY(std::abs(corner.y() - 120) < 1e-9);
    }

    void turnAboutXSqueezesTheHeight()
    {
        LayerValues values;
        values.bounds = QRectF(0, 0, 100, 50);
        values.position = QPointF(50, 25);
        values.transform.rotationX = std::numbers::pi / 3;
        const QRectF seen = values.toSuperlayer().mapRect(values.bounds);
        QVERIFY(std::abs(seen.width() - 100) < 1e-9);
        QVERIFY(std::abs(seen.height() - 25) < 1e-9);
        QVERIFY(std::abs(seen.center().y() - 25) < 1e-9);
    }

    void insertsDirectlyAbove()
    {
        const LayerPtr root = makeLayer();
        const LayerPtr a = makeLayer();
        const LayerPtr b = makeLayer();
        const LayerPtr c = makeLayer();
        for (const LayerPtr& layer : {a, b, c}) {
            root->addSublayer(layer);
        }
        root->insertSublayerAbove(a, *b);
        QCOMPARE(root->sublayers(), (std::vector{b, a, c}));
        root->insertSublayerAbove(c, *b);
        QCOMPARE(root->sublayers(), (std::vector{b, c, a}));
        root->insertSublayerAbove(b, *b);
        QCOMPARE(root->sublayers(), (std::vector{b, c, a}));
        b->removeFromSuperlayer();
        QCOMPARE(b->superlayer(), nullptr);
        QCOMPARE(root->sublayers(), (std::vector{c, a}));
    }

    void superlayerMayGoFirst()
    {
        LayerPtr root = makeLayer();
        const LayerPtr layer = makeLayer();
        root->addSublayer(layer);
        root.reset();
        QCOMPARE(layer->superlayer(), nullptr);
        layer->removeFromSuperlayer();
    }

    void tellsOfChangesOnly()
    {
        const LayerPtr layer = makeLayer();
        const QImage picture = solid({2, 2}, Qt::red);
        layer->setContents(picture);
        layer->setOpacity(0.5);
        QCOMPARE(mChanges, 2);
        layer->setContents(picture);
        layer->setOpacity(0.5);
        layer->setTransform(LayerTransform());
        QCOMPARE(mChanges, 2);
    }

    void layersMayOutliveAStoppedCompositor()
    {
        const LayerPtr layer = makeLayer();
        mCompositor->stop();
        mCompositor.reset();
        layer->setOpacity(0.25);
        layer->addAnimation(makeAnimation({KeyPath::Opacity, 0, 1}, std::chrono::seconds(1), Curve::Linear, nullptr),
            QStringLiteral("key"));
        QCOMPARE(mChanges, 0);
        QCOMPARE(mClock.pendingAlarms(), size_t(0));
    }

    void widgetGeometryHasItsOriginAbove()
    {
        QCOMPARE(widgetRect(QRectF(10, 20, 30, 40), 100), QRectF(10, 40, 30, 40));
        QCOMPARE(widgetRect(widgetRect(QRectF(10, 20, 30, 40), 100), 100), QRectF(10, 20, 30, 40));
    }

    void pixelsKeepTheirSizeWhereverTheyStand_data()
    {
        QTest::addColumn<QRectF>("rect");
        QTest::addColumn<double>("scale");
        QTest::addColumn<QRect>("pixels");
        QTest::newRow("whole") << QRectF(10, 20, 30, 40) << 1.0 << QRect(10, 40, 30, 40);
        QTest::newRow("half points") << QRectF(10.5, 20.5, 30, 40) << 1.0 << QRect(11, 40, 30, 40);
        QTest::newRow("left of the view") << QRectF(-10.5, -20.5, 121, 141) << 1.0 << QRect(-10, -20, 121, 141);
        QTest::newRow("double") << QRectF(10.5, 20.5, 30, 40) << 2.0 << QRect(21, 79, 60, 80);
        QTest::newRow("one and a half") << QRectF(0, 0, 100, 100) << 1.5 << QRect(0, 0, 150, 150);
    }
    void pixelsKeepTheirSizeWhereverTheyStand()
    {
        QFETCH(QRectF, rect);
        QFETCH(double, scale);
        QFETCH(QRect, pixels);
        QCOMPARE(pixelRect(rect, {QSizeF(100, 100), scale}), pixels);
    }

    void impossibleRectanglesHaveNoPixels()
    {
        const ViewArea area{QSizeF(100, 100), 1};
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double infinity = std::numeric_limits<double>::infinity();
        QVERIFY(!pixelRect(QRectF(0, 0, 0, 10), area));
        QVERIFY(!pixelRect(QRectF(0, 0, 10, 0.3), area));
        QVERIFY(!pixelRect(QRectF(0, 0, -10, 10), area));
        QVERIFY(!pixelRect(QRectF(0, 0, nan, 10), area));
        QVERIFY(!pixelRect(QRectF(nan, 0, 10, 10), area));
        QVERIFY(!pixelRect(QRectF(0, 0, infinity, 10), area));
        QVERIFY(!pixelRect(QRectF(0, 1e12, 10, 10), area));
    }
};

QTEST_GUILESS_MAIN(LayerTest)
#include "LayerTest.moc"
