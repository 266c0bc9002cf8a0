#include "RasterRenderer.h"

#include "Pictures.h"
#include "ReducedCopies.h"
#include "Reduction.h"

#include <QtTest>

#include <numbers>

using namespace frameflow;

class RasterRendererTest : public QObject
{
    Q_OBJECT

    static DrawItem item(const QImage& picture, const QRectF& frame, double opacity = 1)
    {
        return {picture, QRectF(QPointF(), frame.size()), QTransform::fromTranslate(frame.x(), frame.y()), opacity, {}};
    }

    static QImage render(const DrawList& items, const ViewArea& area = {QSizeF(100, 60), 1})
    {
        ReducedCopies copies([] {});
        std::vector<ReducedCopies::Wanted> wanted;
        for (const DrawItem& drawn : items) {
            const auto pixels = pixelRect(drawn.toView.mapRect(drawn.bounds), area);
            wanted.push_back({drawn.picture, pixels ? pixels->size() : QSize()});
        }
        copies.setWanted(wanted, {});
        QImage image(area.pixels(), QImage::Format_RGB32);
        image.fill(Qt::magenta);
        image.setDevicePixelRatio(area.pixelsPerPoint);
        QPainter painter(&image);
        RasterRenderer(copies).paint(painter, items, area);
        painter.end();
        image.setDevicePixelRatio(1);
        return image;
    }

private Q_SLOTS:
    void nothingIsBlack() { QCOMPARE(render({}), solid({100, 60}, Qt::black)); }

    void actualSizeIsPixelExact_data()
    {
        QTest::addColumn<QPointF>("origin");
        QTest::newRow("whole") << QPointF(10, 10);
        QTest::newRow("half points") << QPointF(10.5, 10.5);
        QTest::newRow("left and below") << QPointF(-10.5, -7.5);
        QTest::newRow("larger than the view") << QPointF(-31, -12);
    }
    void actualSizeIsPixelExact()
    {
        QFETCH(QPointF, origin);
        const QImage picture = noise({140, 71});
        const QRectF frame(origin, QSizeF(picture.size()));
        const auto place = pixelRect(frame, {QSizeF(100, 60), 1});
        QVERIFY(place);
        QImage expected = solid({100, 60}, Qt::black);
        {
            QPainter painter(&expected);
            painter.drawImage(place->topLeft(), picture);
        }
        QCOMPARE(render({item(picture, frame)}), expected);
    }

    void doublePixelsAreUsed()
    {
        const QImage picture = noise({400, 240});
        const ViewArea area{QSizeF(100, 60), 2};
        const QImage image = render({item(picture, QRectF(0, 0, 100, 60))}, area);
        QCOMPARE(image, reducedTo(picture, {200, 120}));
    }

    void fractionOfPixelsIsFilledToTheEdge()
    {
        const ViewArea area{QSizeF(101, 61), 1.25};
        const QImage image = render({item(solid({50, 50}, Qt::white), QRectF(0, 0, 101, 61))}, area);
        QCOMPARE(image, solid(area.pixels(), Qt::white));
    }

    void picturesStandUpright()
    {
        const QImage image = render({item(quarters({100, 60}), QRectF(0, 0, 100, 60))});
        QCOMPARE(image, quarters({100, 60}));
    }

    void opacityShowsWhatIsBelow()
    {
        const QRectF whole(0, 0, 100, 60);
        const QImage image
            = render({item(solid({100, 60}, Qt::red), whole), item(solid({100, 60}, Qt::blue), whole, 0.25)});
        QVERIFY(isNear(image.pixelColor(50, 30), QColor(191, 0, 64)));
    }

    void transparencyIsDrawnOverBlack()
    {
        const QImage image = render({item(solid({100, 60}, QColor(255, 255, 255, 128)), QRectF(0, 0, 100, 60))});
        QVERIFY(isNear(image.pixelColor(50, 30), QColor(128, 128, 128)));
    }

    void whatIsHiddenDoesNotShow()
    {
        const QRectF whole(0, 0, 100, 60);
        const QImage top = noise({100, 60});
        QCOMPARE(render({item(solid({100, 60}, Qt::red), whole), item(top, whole)}), top);
    }

    void enormousFramesShowTheirVisiblePart()
    {
        // Two colours, above and below; the border is far outside at the view's middle plus a little.
        QImage picture = solid({10, 2}, Qt::red);
        QPainter(&picture).fillRect(0, 1, 10, 1, Qt::blue);
        const double height = 1e8;
        const QImage middle = render({item(picture, QRectF(0, 30 - height / 2, 100, height))});
        QVERIFY(middle.pixelColor(50, 0) != QColor(Qt::black));
        const QImage upper = render({item(picture, QRectF(0, 30 - height * 0.95, 100, height))});
        QCOMPARE(upper, solid({100, 60}, Qt::red));
        const QImage lower = render({item(picture, QRectF(0, 30 - height * 0.05, 100, height))});
        QCOMPARE(lower, solid({100, 60}, Qt::blue));
    }

    void impossibleFramesAreLeftOut()
    {
        const QImage picture = solid({10, 10}, Qt::red);
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double infinity = std::numeric_limits<double>::infinity();
        DrawItem turned = item(picture, QRectF(0, 0, infinity, 20));
        turned.toView.rotate(30);
        DrawItem senseless = item(picture, QRectF(0, 0, nan, nan));
        senseless.toView.rotate(30);
        QCOMPARE(render({item(picture, QRectF(0, 0, nan, 60)), item(picture, QRectF(nan, 0, 100, 60)),
                     item(picture, QRectF(0, 0, 100, 0)), turned, senseless}),
            solid({100, 60}, Qt::black));
    }

    void turnsCounterClockwise()
    {
        // A quarter turn: what was at the right is above.
        DrawItem turned = item(quarters({40, 40}), QRectF(0, 0, 40, 40));
        LayerTransform transform;
        transform.rotationZ = std::numbers::pi / 2;
        turned.toView = QTransform::fromTranslate(-20, -20) * transform.toAffine() * QTransform::fromTranslate(50, 30);
        const QImage image = render({turned});
        QVERIFY(isNear(image.pixelColor(40, 20), Qt::green));
        QVERIFY(isNear(image.pixelColor(60, 20), Qt::white));
        QVERIFY(isNear(image.pixelColor(40, 40), Qt::red));
        QVERIFY(isNear(image.pixelColor(60, 40), Qt::blue));
        QVERIFY(isNear(image.pixelColor(20, 30), Qt::black));
    }

    void squeezesAboutTheLowerEdge()
    {
        DrawItem squeezed = item(solid({100, 60}, Qt::white), QRectF(0, 0, 100, 60));
        LayerTransform transform;
        transform.rotationX = std::numbers::pi / 3; // half the height
        squeezed.toView = transform.toAffine();
        const QImage image = render({squeezed});
        QVERIFY(isNear(image.pixelColor(50, 28), Qt::black));
        QVERIFY(isNear(image.pixelColor(50, 32), Qt::white));
        QVERIFY(isNear(image.pixelColor(50, 58), Qt::white));
    }

    void edgeOnNothingIsSeen()
    {
        DrawItem squeezed = item(solid({100, 60}, Qt::white), QRectF(0, 0, 100, 60));
        for (const double angle : {1.57075, std::numbers::pi / 2}) {
            LayerTransform transform;
            transform.rotationX = angle;
            squeezed.toView = transform.toAffine();
            QCOMPARE(render({squeezed}), solid({100, 60}, Qt::black));
        }
    }

    void mixtureIsPremultiplied()
    {
        MixDraw mix;
        mix.progress = 0.25;
        mix.source = {item(solid({100, 60}, Qt::white), QRectF(0, 0, 50, 60))};
        mix.target = {item(solid({100, 60}, Qt::red), QRectF(0, 0, 100, 60))};
        DrawItem mixed;
        mixed.mix = std::make_shared<const MixDraw>(mix);
        const QImage image = render({item(solid({100, 60}, Qt::blue), QRectF(0, 0, 100, 60)), mixed});
        QVERIFY(isNear(image.pixelColor(25, 30), QColor(255, 191, 191)));
        QVERIFY(isNear(image.pixelColor(75, 30), QColor(64, 0, 191))); // a quarter red over blue
    }

    void mixtureEndsExactly_data()
    {
        QTest::addColumn<double>("progress");
        QTest::newRow("source") << 0.0;
        QTest::newRow("target") << 1.0;
    }
    void mixtureEndsExactly()
    {
        QFETCH(double, progress);
        const QImage source = noise({100, 60});
        const QImage target = quarters({100, 60});
        MixDraw mix;
        mix.progress = progress;
        mix.source = {item(source, QRectF(0, 0, 100, 60))};
        mix.target = {item(target, QRectF(0, 0, 100, 60))};
        DrawItem mixed;
        mixed.mix = std::make_shared<const MixDraw>(mix);
        QCOMPARE(render({mixed}), progress == 0 ? source : target);
    }

    void unknownFilterShowsItsTarget()
    {
        MixDraw mix;
        mix.effect.kind = TransitionEffect::Kind::Filter;
        mix.effect.filterName = QStringLiteral("no such filter");
        mix.source = {item(solid({100, 60}, Qt::white), QRectF(0, 0, 100, 60))};
        mix.target = {item(solid({100, 60}, Qt::red), QRectF(0, 0, 100, 60))};
        DrawItem mixed;
        mixed.mix = std::make_shared<const MixDraw>(mix);
        QCOMPARE(render({mixed}), solid({100, 60}, Qt::red));
    }

    void paintersStateIsKept()
    {
        QImage image(100, 60, QImage::Format_RGB32);
        ReducedCopies copies([] {});
        QPainter painter(&image);
        painter.setOpacity(0.5);
        const QTransform before = painter.worldTransform();
        RasterRenderer(copies).paint(painter, {item(solid({9, 9}, Qt::red), QRectF(0, 0, 9, 9), 0.2)}, {{100, 60}, 1});
        QCOMPARE(painter.opacity(), 0.5);
        QCOMPARE(painter.worldTransform(), before);
    }
};

QTEST_MAIN(RasterRendererTest)
#include "RasterRendererTest.moc"
