// Every transition at fixed times, drawn by both renderers.
#include "OpenGLFixture.h"
#include "PictureCompare.h"
#include "TransitionRows.h"
#include "ViewFixture.h"

#include <QtTest>

using namespace frameflow;

namespace {

// The mean over the channels of a tile of 32 by 32 pixels, in steps of 8 bits. QPainter weighs neighbouring pixels in
// sixteenths, which is a step at most on gentle slopes. Single pixels may differ more where an edge crosses them.
constexpr e2e::PictureTolerance tolerance{.largestError = 24, .worstTileError = 1.5};

} // namespace

class RenderersAgreeTest : public QObject
{
    Q_OBJECT

    static void compare(const QString& name, OpenGLFixture& fixture, const DrawList& items, const ViewArea& area)
    {
        const QImage drawn = fixture.draw(items, area);
        QVERIFY(!drawn.isNull());
        QVERIFY(e2e::isSamePicture(drawn, fixture.drawRaster(items, area), name, tolerance));
    }

private Q_SLOTS:
    void everyTransitionAtFixedTimes_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("forward");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<bool>("embedded");
        QTest::addColumn<QSize>("pictures");
        for (const TransitionRow& row : transitionRows) {
            for (const bool forward : {true, false}) {
                for (const bool embedded : {true, false}) {
                    QTest::addRow("%s %s, %s", row.title, forward ? "forward" : "backward", embedded ? "ES 2" : "2.1")
                        << QString::fromLatin1(row.title) << forward << row.seconds << embedded << QSize(320, 200);
                }
            }
            // Frames beside whole pixels, and pictures of which reduced copies are drawn.
            QTest::addRow("%s, small pictures", row.title)
                << QString::fromLatin1(row.title) << true << row.seconds << false << QSize(151, 99);
            QTest::addRow("%s, large pictures", row.title)
                << QString::fromLatin1(row.title) << true << row.seconds << false << QSize(1003, 500);
        }
    }
    void everyTransitionAtFixedTimes()
    {
        QFETCH(QString, title);
        QFETCH(bool, forward);
        QFETCH(double, seconds);
        QFETCH(bool, embedded);
        QFETCH(QSize, pictures);
        const QSize viewSize(320, 200);
        ViewFixture fixture(viewSize);
        fixture.setTransition(title);
        const QImage first = gentlePicture(pictures, 0);
        const QImage second = gentlePicture(pictures, 2);
        fixture.show(first);
        fixture.show(second, forward);
        OpenGLFixture openGL(embedded ? QSurfaceFormat::OpenGLES : QSurfaceFormat::OpenGL);
        const QSize frame = fixture.view->currentLayer()->frame().size().toSize();
        openGL.copies.setWanted({{first, frame}, {second, frame}}, {});
        double passed = 0;
        for (const double part : {0.0, 0.137, 0.5, 0.733, 0.97}) {
            fixture.clock.advanceSeconds(part * seconds - passed);
            passed = part * seconds;
            const DrawList items = presentation(*fixture.view->backgroundLayer(), fixture.clock.now());
            compare(QStringLiteral("%1 %2").arg(QLatin1String(QTest::currentDataTag())).arg(part), openGL, items,
                {QSizeF(viewSize), 1});
        }
    }

    void transitionsOnDisplaysWithMorePixels_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<double>("pixelsPerPoint");
        for (const TransitionRow& row : transitionRows) {
            for (const double pixelsPerPoint : {1.25, 2.0}) {
                QTest::addRow("%s, %.2f", row.title, pixelsPerPoint)
                    << QString::fromLatin1(row.title) << row.seconds << pixelsPerPoint;
            }
        }
    }
    void transitionsOnDisplaysWithMorePixels()
    {
        QFETCH(QString, title);
        QFETCH(double, seconds);
        QFETCH(double, pixelsPerPoint);
        const QSize viewSize(160, 100);
        ViewFixture fixture(viewSize);
        fixture.setTransition(title);
        fixture.show(gentlePicture({160, 100}, 0));
        fixture.show(gentlePicture({160, 100}, 2));
        fixture.clock.advanceSeconds(seconds * 0.4);
        OpenGLFixture openGL;
        const DrawList items = presentation(*fixture.view->backgroundLayer(), fixture.clock.now());
        compare(QString::fromLatin1(QTest::currentDataTag()), openGL, items, {QSizeF(viewSize), pixelsPerPoint});
    }

    void zoomedSlides_data()
    {
        QTest::addColumn<int>("steps");
        QTest::addColumn<bool>("embedded");
        QTest::addColumn<double>("pixelsPerPoint");
        for (const int steps : {0, 1, 2, 3, 5, 8, 9, 12, 20, 40, 300}) {
            QTest::addRow("%d steps, 2.1", steps) << steps << false << 1.0;
            QTest::addRow("%d steps, ES 2", steps) << steps << true << 1.0;
            QTest::addRow("%d steps, 1.25", steps) << steps << false << 1.25;
            QTest::addRow("%d steps, 2", steps) << steps << false << 2.0;
        }
    }
    // Still and on the way, in the middle and at the edges.
    void zoomedSlides()
    {
        QFETCH(int, steps);
        QFETCH(bool, embedded);
        QFETCH(double, pixelsPerPoint);
        const QSize viewSize(320, 200);
        ViewFixture fixture(viewSize);
        fixture.show(gentlePicture(viewSize, 1));
        OpenGLFixture openGL(embedded ? QSurfaceFormat::OpenGLES : QSurfaceFormat::OpenGL);
        for (int i = 0; i < steps; ++i) {
            fixture.view->zoomIn();
        }
        for (const QPointF by : {QPointF(), QPointF(31.5, 17.25), QPointF(1e150, -1e150), QPointF(-1e150, 1e150)}) {
            fixture.view->panX(by.x(), by.y());
            for (const double seconds : {0.0, 0.6, 2.0}) {
                fixture.clock.advanceSeconds(seconds);
                const DrawList items = presentation(*fixture.view->backgroundLayer(), fixture.clock.now());
                compare(
                    QString::fromLatin1(QTest::currentDataTag()), openGL, items, {QSizeF(viewSize), pixelsPerPoint});
            }
        }
    }

    void transitionsThatReplaceEachOther()
    {
        const QSize viewSize(320, 200);
        ViewFixture fixture(viewSize);
        OpenGLFixture openGL;
        fixture.show(gentlePicture(viewSize, 0));
        KLLayerView& view = *fixture.view;
        for (int i = 0; i < 6; ++i) {
            for (const auto& transition : {&KLLayerView::transitionMod, &KLLayerView::transitionCrossFade,
                     &KLLayerView::transitionSwipe, &KLLayerView::transitionPush_BuildIn}) {
                view.setImage(KLImage::imageWithImage(gentlePicture(viewSize, i)), true);
                (view.*transition)(view.previousLayer(), view.currentLayer());
                fixture.clock.advanceSeconds(0.11);
                const DrawList items = presentation(*view.backgroundLayer(), fixture.clock.now());
                compare(QStringLiteral("replaced %1").arg(i), openGL, items, {QSizeF(viewSize), 1});
            }
        }
    }
};

QTEST_MAIN(RenderersAgreeTest)
#include "RenderersAgreeTest.moc"
