#include "ViewFixture.h"

#include <QtTest>

#include <cstdio>

using namespace frameflow;

// What the view does to the layers and pictures that a slide leaves behind.
class ViewRulesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void imageWithoutModeHasTheZeroRectangle()
    {
        const ViewFixture fixture;
        QVERIFY(!fixture.defaults.contains(keys::imageFitMode));
        QCOMPARE(fixture.view->rectForImage(nullptr), QRectF(0, 0, 0, 0));
    }

    void slidesComeThroughTheImageCache()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("None"));
        const FileUrl url = fixture.picture("a.png", solid({200, 100}, Qt::red));
        fixture.show(url);
        const KLImagePtr image = fixture.view->currentImage();
        QCOMPARE(KLImageCache::instance().images().front(), image);
        fixture.show(fixture.picture("b.png", solid({200, 100}, Qt::green)));
        QVERIFY(std::remove(url.path().constData()) == 0);
        fixture.show(url);
        QVERIFY(fixture.view->ImageOK());
        QCOMPARE(fixture.view->currentImage(), image);
        QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::red));
    }

    void everySlideResetsBothLayers()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("None"));
        fixture.show(solid({40, 40}, Qt::red));
        for (const LayerPtr& layer : {fixture.view->currentLayer(), fixture.view->previousLayer()}) {
            layer->setTransform({2.0, 0.5});
        }
        fixture.setFitMode(keys::fitModeZoom);
        fixture.show(solid({40, 20}, Qt::green));
        QCOMPARE(fixture.view->currentLayer()->transform(), LayerTransform());
        QCOMPARE(fixture.view->previousLayer()->transform(), LayerTransform());
        // Both by the mode that is set now.
        QCOMPARE(fixture.view->previousLayer()->frame(), QRectF(50, 0, 100, 100));
        QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(0, 0, 200, 100));
    }

    void resettingAForeignLayerTakesItsTransformAlone()
    {
        ViewFixture fixture;
        fixture.show(solid({40, 40}, Qt::red));
        const LayerPtr cursor = fixture.view->cursorLayer();
        cursor->setFrame(QRectF(1, 2, 30, 40));
        cursor->setTransform({3.0, 3.0});
        fixture.view->resetLayer(cursor);
        QCOMPARE(cursor->transform(), LayerTransform());
        QCOMPARE(cursor->frame(), QRectF(1, 2, 30, 40));
    }

    void layersWithoutAnImageKeepTheirContents()
    {
        ViewFixture fixture;
        const QImage mark = solid({3, 3}, Qt::white);
        KLLayerView& view = *fixture.view;
        for (const LayerPtr& layer :
            {view.currentLayer(), view.previousLayer(), view.cursorLayer(), view.backgroundLayer()}) {
            layer->setContents(mark);
            view.displayLayer(layer);
            QCOMPARE(layer->contents().cacheKey(), mark.cacheKey());
        }
    }

    void layersGetTheContentsOfTheirImages()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("None"));
        fixture.show(solid({40, 40}, Qt::red));
        fixture.show(solid({40, 40}, Qt::green));
        KLLayerView& view = *fixture.view;
        view.currentLayer()->setContents(QImage());
        view.previousLayer()->setContents(QImage());
        view.displayLayer(view.currentLayer());
        view.displayLayer(view.previousLayer());
        QCOMPARE(view.currentLayer()->contents().cacheKey(), view.currentImage()->getCGImage().cacheKey());
        QCOMPARE(view.previousLayer()->contents().cacheKey(), view.previousImage()->getCGImage().cacheKey());
    }

    void clearingEmptiesBothLayers()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("None"));
        fixture.show(solid({200, 100}, Qt::red));
        fixture.show(solid({200, 100}, Qt::green));
        KLLayerView& view = *fixture.view;
        view.previousLayer()->setOpacity(1.0);
        view.clearImage();
        QVERIFY(!view.currentImage());
        QVERIFY(!view.previousImage());
        for (const LayerPtr& layer : {view.currentLayer(), view.previousLayer()}) {
            QVERIFY(layer->contents().isNull());
            QCOMPARE(layer->opacity(), 0.0);
        }
        QCOMPARE(fixture.grab(), solid({200, 100}, Qt::black));
    }

    void clearingKeepsTheWordOnTheLastFile()
    {
        ViewFixture fixture;
        fixture.show(fixture.folder.urlOf("missing.png"));
        QVERIFY(!fixture.view->ImageOK());
        fixture.view->clearImage();
        QVERIFY(!fixture.view->ImageOK());
        fixture.show(solid({200, 100}, Qt::red));
        fixture.view->clearImage();
        QVERIFY(fixture.view->ImageOK());
    }

    void missingPictureWithoutASlideLeavesTheViewBlack()
    {
        ViewFixture fixture;
        fixture.show(fixture.folder.urlOf("missing.png"));
        QVERIFY(!fixture.view->ImageOK());
        QVERIFY(!fixture.view->isBusy());
        QCOMPARE(fixture.grab(), solid({200, 100}, Qt::black));
    }

    void theModeMayChangeWithoutASlide()
    {
        ViewFixture fixture;
        fixture.setFitMode(keys::fitModeFill);
        fixture.view->updateFitMode();
        QCOMPARE(fixture.grab(), solid({200, 100}, Qt::black));
        fixture.show(solid({40, 40}, Qt::red));
        QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(0, -50, 200, 200));
    }

    void movingALayerPutsItDirectlyAboveTheOther()
    {
        const ViewFixture fixture;
        KLLayerView& view = *fixture.view;
        const auto extra = std::make_shared<Layer>(view.compositor().shared_from_this());
        view.backgroundLayer()->addSublayer(extra);
        view.put(extra, view.currentLayer());
        QCOMPARE(view.backgroundLayer()->sublayers(),
            (std::vector{view.currentLayer(), extra, view.previousLayer(), view.cursorLayer()}));
    }
};

QTEST_MAIN(ViewRulesTest)
#include "ViewRulesTest.moc"
