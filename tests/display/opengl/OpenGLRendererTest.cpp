#include "OpenGLFixture.h"
#include "OpenGLProbe.h"
#include "PictureCompare.h"
#include "Pictures.h"
#include "TransitionRows.h"

#include <QtTest>

#include <limits>

using namespace frameflow;

namespace {

const ViewArea area{QSizeF(100, 60), 1};

DrawItem item(const QImage& picture, const QRectF& frame, double opacity = 1)
{
    return {picture, QRectF(QPointF(), frame.size()), QTransform::fromTranslate(frame.x(), frame.y()), opacity, {}};
}

DrawItem mixOf(const DrawList& source, const DrawList& target, const QString& filter, double progress)
{
    MixDraw mix;
    mix.effect.kind = filter.isEmpty() ? TransitionEffect::Kind::Fade : TransitionEffect::Kind::Filter;
    mix.effect.filterName = filter;
    mix.progress = progress;
    mix.source = source;
    mix.target = target;
    DrawItem made;
    made.mix = std::make_shared<const MixDraw>(mix);
    return made;
}

} // namespace

class OpenGLRendererTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void probeSaysWhatThereIs()
    {
        const OpenGLProbe probe = probeOpenGL();
        QVERIFY(probe.works);
        QVERIFY(!probe.renderer.isEmpty());
    }

    void softwareIsKnownByItsName_data()
    {
        QTest::addColumn<QByteArray>("renderer");
        QTest::addColumn<bool>("isSoftware");
        QTest::newRow("llvmpipe") << QByteArray("llvmpipe (LLVM 15.0.6, 256 bits)") << true;
        QTest::newRow("softpipe") << QByteArray("softpipe") << true;
        QTest::newRow("swrast") << QByteArray("Mesa DRI swrast") << true;
        QTest::newRow("rasterizer") << QByteArray("Software Rasterizer") << true;
        QTest::newRow("SwiftShader") << QByteArray("ANGLE (Google, Vulkan 1.1.0 (SwiftShader Device))") << true;
        QTest::newRow("no name") << QByteArray() << true;
        QTest::newRow("a chip") << QByteArray("Mesa Intel(R) UHD Graphics 620 (KBL GT2)") << false;
        QTest::newRow("a card") << QByteArray("AMD Radeon RX 6600 (navi23, LLVM 15.0.6, DRM 3.49)") << false;
    }
    void softwareIsKnownByItsName()
    {
        QFETCH(QByteArray, renderer);
        QFETCH(bool, isSoftware);
        QCOMPARE(isSoftwareRenderer(renderer), isSoftware);
    }

    void nothingIsBlack()
    {
        const OpenGLFixture fixture;
        QCOMPARE(fixture.draw({}, area), solid({100, 60}, Qt::black));
    }

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
        const OpenGLFixture fixture;
        const DrawList items{item(noise({140, 71}), QRectF(origin, QSizeF(140, 71)))};
        QCOMPARE(fixture.draw(items, area), fixture.drawRaster(items, area));
    }

    void picturesAreCutToWhatTheContextAllows_data()
    {
        QTest::addColumn<int>("largest");
        QTest::addColumn<QRectF>("frame");
        for (const int largest : {7, 16, 64, 139, 140}) {
            QTest::addRow("%d, exact", largest) << largest << QRectF(-20, -5, 140, 71);
            QTest::addRow("%d, enlarged", largest) << largest << QRectF(-40, -25, 333.3, 170.2);
            QTest::addRow("%d, enormous", largest) << largest << QRectF(-1e6, -1e6, 2.3e6, 2.1e6);
        }
    }
    void picturesAreCutToWhatTheContextAllows()
    {
        QFETCH(int, largest);
        QFETCH(QRectF, frame);
        const OpenGLFixture fixture;
        const QImage picture = gentlePicture({140, 71}, 0);
        DrawItem upright = item(picture, frame);
        const QImage whole = fixture.draw({upright}, area);
        fixture.renderer->limitTextures(largest);
        const QImage inParts = fixture.draw({upright}, area);
        QVERIFY(e2e::isSamePicture(inParts, whole, QStringLiteral("in parts"), {1, 0.5}));
        if (largest <= 16 && frame.width() < 1000) {
            QVERIFY(fixture.renderer->texturesHeld() > 1);
        }
        DrawItem turned = item(picture, QRectF(0, 0, 140, 71));
        turned.toView = QTransform::fromTranslate(-70, -35) * LayerTransform{0, 0.7}.toAffine()
            * QTransform::fromTranslate(50, 30);
        QVERIFY(e2e::isSamePicture(fixture.draw({turned}, area), fixture.drawRaster({turned}, area),
            QStringLiteral("turned in parts"), {24, 1.5}));
    }

    void transparencyAndOpacityAreDrawnOverWhatIsBelow()
    {
        const OpenGLFixture fixture;
        const QRectF whole(0, 0, 100, 60);
        const QImage image = fixture.draw(
            {item(solid({100, 60}, Qt::red), whole), item(solid({100, 60}, QColor(0, 0, 255, 128)), whole, 0.5)}, area);
        QVERIFY(isNear(image.pixelColor(50, 30), QColor(191, 0, 64)));
    }

    void opaquePicturesAreOpaqueWhateverTheirFourthByteHolds()
    {
        const OpenGLFixture fixture;
        QImage odd(100, 60, QImage::Format_RGB32);
        for (int y = 0; y < 60; ++y) {
            auto* const line = reinterpret_cast<quint32*>(odd.scanLine(y));
            std::fill(line, line + 100, 0x00345678U);
        }
        const QRectF whole(0, 0, 100, 60);
        const QImage image = fixture.draw({item(solid({100, 60}, Qt::white), whole), item(odd, whole)}, area);
        QCOMPARE(image.pixel(50, 30), QRgb(0xff345678));
    }

    void otherFormatsAreConverted()
    {
        const OpenGLFixture fixture;
        const QImage picture = quarters({100, 60});
        for (const QImage::Format format : {QImage::Format_RGB888, QImage::Format_Indexed8, QImage::Format_ARGB32}) {
            QCOMPARE(fixture.draw({item(picture.convertToFormat(format), QRectF(0, 0, 100, 60))}, area), picture);
        }
    }

    void mixturesEndExactly()
    {
        const OpenGLFixture fixture;
        const QRectF whole(0, 0, 100, 60);
        const QImage source = noise({100, 60});
        const QImage target = quarters({100, 60});
        for (const char* filter : {"", "CIBarsSwipeTransition", "CIModTransition", "CISwipeTransition"}) {
            const QString name = QString::fromLatin1(filter);
            QCOMPARE(fixture.draw({mixOf({item(source, whole)}, {item(target, whole)}, name, 0)}, area), source);
            QCOMPARE(fixture.draw({mixOf({item(source, whole)}, {item(target, whole)}, name, 1)}, area), target);
            QCOMPARE(fixture.draw({mixOf({item(source, whole)}, {}, name, 1)}, area), solid({100, 60}, Qt::black));
        }
    }

    void unknownFilterShowsItsTarget()
    {
        const OpenGLFixture fixture;
        const QRectF whole(0, 0, 100, 60);
        const DrawItem mix = mixOf({item(solid({100, 60}, Qt::white), whole)}, {item(solid({100, 60}, Qt::red), whole)},
            QStringLiteral("no such filter"), 0.5);
        QCOMPARE(fixture.draw({mix}, area), solid({100, 60}, Qt::red));
    }

    void impossibleFramesAreLeftOut()
    {
        const OpenGLFixture fixture;
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double infinity = std::numeric_limits<double>::infinity();
        const QImage picture = solid({10, 10}, Qt::red);
        DrawItem turned = item(picture, QRectF(0, 0, infinity, 20));
        turned.toView.rotate(30);
        QCOMPARE(fixture.draw({item(picture, QRectF(0, 0, nan, 60)), item(picture, QRectF(0, 0, 100, 0)),
                                  item(QImage(), QRectF(0, 0, 100, 60)), turned},
                     area),
            solid({100, 60}, Qt::black));
    }

    void picturesThatAreNotDrawnAreLetGo()
    {
        const OpenGLFixture fixture;
        const QRectF whole(0, 0, 100, 60);
        for (int i = 0; i < 100; ++i) {
            const QImage last = solid({100, 60}, QColor(i, 0, 0));
            fixture.draw({item(last, whole, 0.5), item(solid({100, 60}, QColor(0, i, 0)), whole, 0.5)}, area);
            QCOMPARE(fixture.renderer->texturesHeld(), 2);
        }
        fixture.draw({}, area);
        QCOMPARE(fixture.renderer->texturesHeld(), 0);
    }

    void viewsThatNoContextCanDrawFail()
    {
        const OpenGLFixture fixture;
        QOpenGLFramebufferObject target(100, 60);
        QVERIFY(!fixture.renderer->paint({}, {QSizeF(1e6, 60), 1}, target.handle()));
        QVERIFY(!fixture.renderer->paint({}, area, target.handle())); // from then on
    }

    void noRendererWithoutAContext()
    {
        const ReducedCopies copies([] {});
        QVERIFY(!QOpenGLContext::currentContext());
        QVERIFY(!OpenGLRenderer::create(copies));
    }
};

QTEST_MAIN(OpenGLRendererTest)
#include "OpenGLRendererTest.moc"
