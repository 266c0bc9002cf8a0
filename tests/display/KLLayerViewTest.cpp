#include "AssertionFailure.h"
#include "Presentation.h"
#include "Reduction.h"
#include "ViewFixture.h"

#include <QPaintEvent>
#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
    int count = 0;
};

} // namespace

class KLLayerViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newViewIsBlackAndIdle()
    {
        ViewFixture fixture;
        const KLLayerView& view = *fixture.view;
        QVERIFY(!view.isBusy());
        QVERIFY(!view.ImageOK());
        QVERIFY(!view.currentImage());
        QVERIFY(!view.previousImage());
        QCOMPARE(fixture.grab(), solid({200, 100}, Qt::black));
        QCOMPARE(fixture.clock.pendingAlarms(), size_t(0));
    }

    void layersStandInTheirOrder()
    {
        ViewFixture fixture;
        const KLLayerView& view = *fixture.view;
        QCOMPARE(view.backgroundLayer()->sublayers(),
            (std::vector{view.currentLayer(), view.previousLayer(), view.cursorLayer()}));
        QCOMPARE(view.cursorLayer()->zPosition(), 2.0);
        QCOMPARE(view.cursorLayer()->level(), LayerLevel::Front);
    }

    void frameByFitMode_data()
    {
        QTest::addColumn<QVariant>("mode");
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<QRectF>("frame");
        const QSize small(40, 40);
        const QSize wide(400, 100);
        const QRectF bounds(0, 0, 200, 100);
        QTest::newRow("absent, small") << QVariant() << small << QRectF(80, 30, 40, 40);
        QTest::newRow("absent, wide") << QVariant() << wide << QRectF(0, 25, 200, 50);
        QTest::newRow("fit, small") << QVariant(keys::fitModeFit) << small << QRectF(80, 30, 40, 40);
        QTest::newRow("fit, wide") << QVariant(keys::fitModeFit) << wide << QRectF(0, 25, 200, 50);
        QTest::newRow("zoom, small") << QVariant(keys::fitModeZoom) << small << QRectF(50, 0, 100, 100);
        QTest::newRow("zoom, wide") << QVariant(keys::fitModeZoom) << wide << QRectF(0, 25, 200, 50);
        QTest::newRow("fill, small") << QVariant(keys::fitModeFill) << small << QRectF(0, -50, 200, 200);
        QTest::newRow("fill, wide") << QVariant(keys::fitModeFill) << wide << QRectF(-100, 0, 400, 100);
        QTest::newRow("stretch, small") << QVariant(keys::fitModeStretch) << small << bounds;
        QTest::newRow("stretch, wide") << QVariant(keys::fitModeStretch) << wide << bounds;
        QTest::newRow("unknown, small") << QVariant(QStringLiteral("FitModeOther")) << small << bounds;
        QTest::newRow("empty, wide") << QVariant(QString()) << wide << bounds;
    }
    void frameByFitMode()
    {
        QFETCH(QVariant, mode);
        QFETCH(QSize, picture);
        QFETCH(QRectF, frame);
        ViewFixture fixture;
        if (mode.isValid()) {
            fixture.setFitMode(mode);
        }
        fixture.show(solid(picture, Qt::red));
        const KLLayerView& view = *fixture.view;
        QCOMPARE(view.rectForImage(view.currentImage()), frame);
        QCOMPARE(view.rectForLayer(view.currentLayer()), frame);
        QCOMPARE(view.currentLayer()->frame(), frame);
    }

    void frameWithoutImage_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QRectF>("frame");
        QTest::newRow("fit") << keys::fitModeFit << QRectF();
        QTest::newRow("zoom") << keys::fitModeZoom << QRectF();
        QTest::newRow("fill") << keys::fitModeFill << QRectF();
        QTest::newRow("stretch") << keys::fitModeStretch << QRectF(0, 0, 200, 100);
        QTest::newRow("unknown") << QStringLiteral("x") << QRectF(0, 0, 200, 100);
    }
    void frameWithoutImage()
    {
        QFETCH(QString, mode);
        QFETCH(QRectF, frame);
        ViewFixture fixture;
        fixture.setFitMode(mode);
        QCOMPARE(fixture.view->rectForImage(nullptr), frame);
        QCOMPARE(fixture.view->rectForLayer(fixture.view->previousLayer()), frame);
    }

    void drawsByFitMode_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QRect>("pixels"); // of the picture in the widget
        QTest::newRow("fit") << keys::fitModeFit << QRect(80, 30, 40, 40);
        QTest::newRow("zoom") << keys::fitModeZoom << QRect(50, 0, 100, 100);
        QTest::newRow("fill") << keys::fitModeFill << QRect(0, -50, 200, 200);
        QTest::newRow("stretch") << keys::fitModeStretch << QRect(0, 0, 200, 100);
    }
    void drawsByFitMode()
    {
        QFETCH(QString, mode);
        QFETCH(QRect, pixels);
        ViewFixture fixture;
        fixture.setFitMode(mode);
        fixture.show(quarters({40, 40}));
        const QImage image = fixture.grab();
        const QRect view(0, 0, 200, 100);
        const auto at = [&](double x, double y) {
            const QPoint point(pixels.x() + int(x * pixels.width()), pixels.y() + int(y * pixels.height()));
            return view.contains(point) ? image.pixelColor(point) : QColor();
        };
        const auto shows
            = [&](double x, double y, QColor color) { return !at(x, y).isValid() || isNear(at(x, y), color); };
        QVERIFY(shows(0.3, 0.3, Qt::red));
        QVERIFY(shows(0.7, 0.3, Qt::green));
        QVERIFY(shows(0.3, 0.7, Qt::blue));
        QVERIFY(shows(0.7, 0.7, Qt::white));
        for (const QPoint corner : {QPoint(0, 0), QPoint(199, 0), QPoint(0, 99), QPoint(199, 99)}) {
            if (!pixels.contains(corner)) {
                QCOMPARE(image.pixelColor(corner), QColor(Qt::black));
            }
        }
    }

    void pictureOfTheViewsSizeIsDrawnExactly()
    {
        ViewFixture fixture;
        const QImage picture = noise({200, 100});
        fixture.show(picture);
        QCOMPARE(fixture.grab().convertToFormat(QImage::Format_RGB32), picture);
    }

    void largePictureIsSharpInItsFirstFrame()
    {
        ViewFixture fixture;
        const QImage picture = noise({800, 400});
        fixture.show(picture);
        QVERIFY(!fixture.view->isSharpening());
        QCOMPARE(fixture.grab().convertToFormat(QImage::Format_RGB32), reducedTo(picture, {200, 100}));
    }

    void foreignLayerIsAnAssertionFailure()
    {
        ViewFixture fixture;
        const KLLayerView& view = *fixture.view;
        for (const LayerPtr& layer : {view.cursorLayer(), view.backgroundLayer(), LayerPtr()}) {
            try {
                view.rectForLayer(layer);
                QFAIL("no assertion");
            } catch (const AssertionFailure& failure) {
                QCOMPARE(failure.what(), "Unhandled layer in rectForLayer");
                QCOMPARE(failure.source(), std::string("KLLayerView"));
                QCOMPARE(failure.line(), 200);
            }
        }
    }

    void firstImageAppearsWithoutTransition()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("Cross Fade"));
        fixture.show(fixture.picture("a.png", solid({200, 100}, Qt::red)));
        QVERIFY(fixture.view->ImageOK());
        QVERIFY(!fixture.view->isBusy());
        QCOMPARE(fixture.clock.pendingAlarms(), size_t(0));
        QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::red));
        QCOMPARE(fixture.view->currentLayer()->opacity(), 1.0);
        QCOMPARE(fixture.view->previousLayer()->opacity(), 0.0);
    }

    void firstImageAfterClearingAppearsWithoutTransition()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("Cross Fade"));
        fixture.show(solid({200, 100}, Qt::red));
        fixture.view->clearImage();
        QVERIFY(!fixture.view->currentImage());
        QVERIFY(fixture.view->ImageOK());
        QVERIFY(fixture.view->currentLayer()->contents().isNull());
        QCOMPARE(fixture.grab(), solid({200, 100}, Qt::black));
        fixture.show(solid({200, 100}, Qt::green));
        QVERIFY(!fixture.view->isBusy());
        QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::green));
    }

    void swappedLayersKeepTheirPictures()
    {
        ViewFixture fixture;
        fixture.show(solid({200, 100}, Qt::red));
        const KLImagePtr image = fixture.view->currentImage();
        const LayerPtr current = fixture.view->currentLayer();
        const LayerPtr previous = fixture.view->previousLayer();
        fixture.view->swapImageLayers();
        QCOMPARE(fixture.view->previousLayer(), current);
        QCOMPARE(fixture.view->currentLayer(), previous);
        QCOMPARE(fixture.view->previousImage(), image);
        QCOMPARE(fixture.view->currentImage(), image);
        QCOMPARE(current->contents().cacheKey(), image->getCGImage().cacheKey());
        QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::red));
    }

    void everySlideSwapsTheLayers()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("None"));
        fixture.show(solid({200, 100}, Qt::red));
        const LayerPtr first = fixture.view->currentLayer();
        const KLImagePtr firstImage = fixture.view->currentImage();
        fixture.show(solid({100, 100}, Qt::green));
        QCOMPARE(fixture.view->previousLayer(), first);
        QCOMPARE(fixture.view->previousImage(), firstImage);
        QVERIFY(fixture.view->currentLayer() != first);
        QCOMPARE(fixture.view->rectForLayer(fixture.view->previousLayer()), QRectF(0, 0, 200, 100));
        QCOMPARE(fixture.view->rectForLayer(fixture.view->currentLayer()), QRectF(50, 0, 100, 100));
        fixture.show(solid({50, 50}, Qt::blue));
        QCOMPARE(fixture.view->currentLayer(), first);
    }

    void missingPictureKeepsTheOldSlide()
    {
        ViewFixture fixture;
        fixture.show(fixture.picture("a.png", solid({200, 100}, Qt::red)));
        const KLImagePtr image = fixture.view->currentImage();
        for (const char* name : {"missing.png", "broken.png"}) {
            fixture.folder.addFile("broken.png", "no picture");
            fixture.show(fixture.folder.urlOf(name));
            QVERIFY(!fixture.view->ImageOK());
            QVERIFY(!fixture.view->isBusy());
            QCOMPARE(fixture.view->currentImage(), image);
            QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::red));
        }
        fixture.show(fixture.picture("b.png", solid({200, 100}, Qt::green)));
        QVERIFY(fixture.view->ImageOK());
    }

    void requestWhileBusyIsDropped()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("Cross Fade"));
        fixture.show(fixture.picture("a.png", solid({200, 100}, Qt::red)));
        fixture.show(fixture.picture("b.png", solid({200, 100}, Qt::green)));
        QVERIFY(fixture.view->isBusy());
        const KLImagePtr image = fixture.view->currentImage();
        fixture.show(fixture.picture("c.png", solid({200, 100}, Qt::blue)));
        QCOMPARE(fixture.view->currentImage(), image);
        fixture.show(fixture.folder.urlOf("missing.png"));
        QVERIFY(fixture.view->ImageOK());
        QCOMPARE(fixture.view->currentImage(), image);
    }

    void imageWhileBusyAppearsWithoutASecondTransition()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("Cross Fade"));
        fixture.show(solid({200, 100}, Qt::red));
        fixture.show(solid({200, 100}, Qt::green));
        fixture.clock.advance(500ms);
        const LayerPtr current = fixture.view->currentLayer();
        fixture.show(solid({200, 100}, Qt::blue));
        QCOMPARE(fixture.view->previousLayer(), current);
        QCOMPARE(fixture.view->currentLayer()->opacity(), 1.0);
        QCOMPARE(fixture.view->previousLayer()->opacity(), 0.0);
        QVERIFY(fixture.view->isBusy());
        fixture.clock.advance(500ms);
        QVERIFY(!fixture.view->isBusy());
        QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::blue));
        QCOMPARE(fixture.clock.pendingAlarms(), size_t(0));
    }

    void fitModeIsReadWhenAskedTo()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("None"));
        fixture.show(solid({40, 40}, Qt::red));
        fixture.show(solid({40, 20}, Qt::green));
        fixture.setFitMode(keys::fitModeZoom);
        QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(80, 40, 40, 20));
        fixture.view->updateFitMode();
        QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(0, 0, 200, 100));
        QCOMPARE(fixture.view->previousLayer()->frame(), QRectF(80, 30, 40, 40)); // not touched
    }

    void resizingGivesTheRootLayerTheBounds()
    {
        ViewFixture fixture;
        fixture.show(solid({400, 400}, Qt::red));
        fixture.view->show();
        fixture.view->resize(300, 200);
        QCOMPARE(fixture.view->backgroundLayer()->frame(), QRectF(0, 0, 300, 200));
        QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(50, 0, 100, 100));
        fixture.view->refresh();
        QCOMPARE(fixture.view->currentLayer()->frame(), QRectF(50, 0, 200, 200));
        QTRY_VERIFY(!fixture.view->isSharpening());
        QCOMPARE(fixture.colorAt(150, 100), QColor(Qt::red));
        QCOMPARE(fixture.colorAt(20, 100), QColor(Qt::black));
    }

    void refreshKeepsAnUnchangedPicture()
    {
        ViewFixture fixture;
        fixture.show(fixture.picture("a.png", solid({20, 10}, Qt::red)));
        const qint64 bitmap = fixture.view->currentImage()->getCGImage().cacheKey();
        fixture.view->refresh();
        QCOMPARE(fixture.view->currentImage()->getCGImage().cacheKey(), bitmap);
        fixture.picture("a.png", solid({20, 10}, Qt::green));
        fixture.folder.setModified("a.png", 1e9);
        fixture.view->refresh();
        QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::green));
    }

    void refreshKeepsASlideWhoseFileIsGone()
    {
        ViewFixture fixture;
        const FileUrl file = fixture.picture("a.png", solid({200, 100}, Qt::red));
        fixture.show(file);
        QVERIFY(QFile::remove(QString::fromUtf8(file.path())));
        fixture.view->refresh();
        QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::red));
    }

    void refreshWithoutAFileKeepsThePicture()
    {
        ViewFixture fixture;
        fixture.view->refresh(); // without any picture
        fixture.show(solid({200, 100}, Qt::red));
        fixture.view->refresh();
        QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::red));
    }

    void layersAreOrderedByName()
    {
        ViewFixture fixture;
        KLLayerView& view = *fixture.view;
        const auto& layers = view.backgroundLayer()->sublayers();
        view.currentOnTop();
        QCOMPARE(layers, (std::vector{view.previousLayer(), view.currentLayer(), view.cursorLayer()}));
        view.previousOnTop();
        QCOMPARE(layers, (std::vector{view.currentLayer(), view.previousLayer(), view.cursorLayer()}));
        view.put(view.currentLayer(), view.cursorLayer());
        QCOMPARE(layers, (std::vector{view.previousLayer(), view.cursorLayer(), view.currentLayer()}));
    }

    void resettingKeepsTheAnchorPoint()
    {
        ViewFixture fixture;
        fixture.show(solid({40, 40}, Qt::red));
        const LayerPtr layer = fixture.view->currentLayer();
        layer->setAnchorPoint(QPointF(1, 0));
        layer->setTransform({0.5, 0.5});
        layer->setBoundsSize(QSizeF(1, 1));
        fixture.view->resetLayer(layer);
        QCOMPARE(layer->transform(), LayerTransform());
        QCOMPARE(layer->frame(), QRectF(80, 30, 40, 40));
        QCOMPARE(layer->anchorPoint(), QPointF(1, 0));
        const LayerPtr previous = fixture.view->previousLayer(); // has no image
        previous->setFrame(QRectF(1, 2, 3, 4));
        fixture.view->resetLayer(previous);
        QCOMPARE(previous->frame(), QRectF(1, 2, 3, 4));
    }

    void cursorLayerIsDrawnAboveEverything()
    {
        ViewFixture fixture;
        fixture.show(solid({200, 100}, Qt::red));
        const LayerPtr cursor = fixture.view->cursorLayer();
        cursor->setContents(solid({10, 10}, Qt::white));
        cursor->setFrame(QRectF(0, 0, 10, 10));
        fixture.view->currentLayer()->setZPosition(10000.0);
        QCOMPARE(fixture.colorAt(5, 95), QColor(Qt::white)); // y up: the lower left corner
        QCOMPARE(fixture.colorAt(5, 5), QColor(Qt::red));
    }

    void paintsOnlyWhenSomethingChanged()
    {
        ViewFixture fixture;
        fixture.show(solid({200, 100}, Qt::red));
        fixture.view->show();
        QVERIFY(QTest::qWaitForWindowExposed(fixture.view.get()));
        QCoreApplication::processEvents();
        PaintCounter paints(fixture.view.get());
        for (int i = 0; i < 20; ++i) {
            fixture.clock.advance(1s);
            QCoreApplication::processEvents();
        }
        QCOMPARE(paints.count, 0);
        fixture.view->currentLayer()->setOpacity(0.5);
        fixture.view->currentLayer()->setOpacity(0.4);
        QTRY_COMPARE(paints.count, 1);
    }

    void viewMayGoWhileItAnimates()
    {
        ViewFixture fixture;
        fixture.setTransition(QStringLiteral("Cross Fade"));
        fixture.show(solid({200, 100}, Qt::red));
        fixture.view->setImage(KLImage::imageWithImage(solid({200, 100}, Qt::green)), true);
        fixture.view.reset(); // with undelivered callbacks
        QCOMPARE(fixture.clock.pendingAlarms(), size_t(0));
        QCoreApplication::processEvents();
        fixture.clock.advance(2s);
    }

    void animationCallbackMayDestroyTheView()
    {
        ViewFixture fixture;
        class Destroyer : public AnimationDelegate
        {
        public:
            explicit Destroyer(ViewFixture& owner) : mOwner(owner) { }
            void animationDidStart(const AnimationPtr& /*animation*/) override { }
            void animationDidStop(const AnimationPtr& /*animation*/, bool /*finished*/) override
            {
                mOwner.view.reset();
            }

        private:
            ViewFixture& mOwner;
        } destroyer(fixture);
        fixture.setTransition(QStringLiteral("Cross Fade"));
        fixture.show(solid({200, 100}, Qt::red));
        fixture.view->currentLayer()->addAnimation(
            makeAnimation({KeyPath::Opacity, 0, 1}, 1s, Curve::Linear, &destroyer), QStringLiteral("key"));
        fixture.show(solid({200, 100}, Qt::green));
        fixture.clock.advance(2s);
        QVERIFY(!fixture.view);
        QCOMPARE(fixture.clock.pendingAlarms(), size_t(0));
    }
};

QTEST_MAIN(KLLayerViewTest)
#include "KLLayerViewTest.moc"
