// A view that draws with OpenGL, in a window, and what it does when that fails.
#include "LayerSurface.h"

#include "OpenGLProbe.h"
#include "PictureCompare.h"
#include "TransitionRows.h"
#include "ViewFixture.h"
#include "XServer.h"

#include <QDir>
#include <QFile>
#include <QOpenGLContext>
#include <QtTest>

#include <csignal>

using namespace frameflow;

namespace {

const QSize viewSize(320, 200);

} // namespace

class LayerSurfaceTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<e2e::XServer> mServer;

    struct Window : ViewFixture
    {
        Window() : ViewFixture(viewSize)
        {
            view = std::make_unique<KLLayerView>(defaults, clock, nullptr, LayerDrawing::OpenGL);
            view->setWindowFlags(Qt::FramelessWindowHint);
            view->resize(viewSize);
            view->show();
        }
    };

    QImage onScreen(const KLLayerView& view) const
    {
        return mServer->grab(QRect(view.mapToGlobal(QPoint()), view.size()));
    }

    // The process that manages this display's windows; 0 if there is none.
    static pid_t windowManager()
    {
        const QByteArray mark = "FRAMEFLOW_TEST_HOME=" + qgetenv("FRAMEFLOW_TEST_HOME");
        const auto contents = [](const QString& path) {
            QFile file(path);
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
        const QStringList processes = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
        for (const QString& process : processes) {
            const QString folder = QStringLiteral("/proc/%1/").arg(process);
            if (contents(folder + QStringLiteral("comm")).trimmed() == "openbox"
                && contents(folder + QStringLiteral("environ")).split('\0').contains(mark)) {
                return process.toInt();
            }
        }
        return 0;
    }

    static QImage expected(const ViewFixture& fixture)
    {
        KLLayerView raster(const_cast<UserDefaults&>(fixture.defaults), const_cast<ManualClock&>(fixture.clock),
            nullptr, LayerDrawing::Raster);
        raster.resize(viewSize);
        raster.setImage(fixture.view->currentImage(), true);
        return raster.grab().toImage().convertToFormat(QImage::Format_RGB32);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(probeOpenGL().works);
        mServer = e2e::XServer::open();
        QVERIFY(mServer);
    }

    void softwareIsNotTakenByItself()
    {
        QVERIFY(isSoftwareRenderer(probeOpenGL().renderer));
        const ViewFixture fixture;
        QVERIFY(!fixture.view->layerSurface());
    }

    void slidesAndTransitionsReachTheScreen()
    {
        Window window;
        QVERIFY(QTest::qWaitForWindowExposed(window.view.get()));
        QVERIFY(window.view->layerSurface());
        QCOMPARE(window.view->layerSurface()->geometry(), window.view->rect());
        window.setTransition(QStringLiteral("Slide"));
        window.show(gentlePicture(viewSize, 0));
        const QImage first = expected(window);
        QTRY_COMPARE(onScreen(*window.view), first);
        window.show(gentlePicture(viewSize, 2));
        window.clock.advanceSeconds(0.7);
        // Half of the way, the right half of the old slide stands beside the left half of the new one.
        const QImage second = expected(window);
        QImage both(viewSize, QImage::Format_RGB32);
        QPainter painter(&both);
        painter.drawImage(-160, 0, first);
        painter.drawImage(160, 0, second);
        painter.end();
        QTRY_COMPARE(onScreen(*window.view), both);
        window.clock.advanceSeconds(0.7);
        QVERIFY(!window.view->isBusy());
        QTRY_COMPARE(onScreen(*window.view), second);
        QVERIFY(window.view->layerSurface());
    }

    void resizingFollows()
    {
        Window window;
        window.show(solid({10, 10}, Qt::red));
        window.setFitMode(keys::fitModeStretch);
        QVERIFY(QTest::qWaitForWindowExposed(window.view.get()));
        window.view->resize(200, 150);
        window.view->refresh();
        QTRY_COMPARE(onScreen(*window.view), solid({200, 150}, Qt::red));
    }

    // What was drawn for the new size while the server still had the old one stands 50 lines too low afterwards.
    void aSizeThatIsGrantedLateIsDrawnAgain()
    {
        Window window;
        window.show(solid({10, 10}, Qt::red));
        window.setFitMode(keys::fitModeStretch);
        QVERIFY(QTest::qWaitForWindowExposed(window.view.get()));
        window.view->refresh();
        QTRY_COMPARE(onScreen(*window.view), solid(viewSize, Qt::red));
        const pid_t manager = windowManager();
        QVERIFY(manager > 0);
        const QSignalSpy drawn(window.view->layerSurface(), &QOpenGLWidget::frameSwapped);
        ::kill(manager, SIGSTOP);
        window.view->resize(200, 150);
        window.view->refresh();
        const bool isDrawn = QTest::qWaitFor([&] { return !drawn.isEmpty(); });
        ::kill(manager, SIGCONT);
        QVERIFY(isDrawn);
        QTRY_COMPARE(onScreen(*window.view), solid({200, 150}, Qt::red));
    }

    void failureLeadsBackToRasterDrawing()
    {
        Window window;
        QVERIFY(QTest::qWaitForWindowExposed(window.view.get()));
        window.show(gentlePicture(viewSize, 1));
        const QImage slide = expected(window);
        QTRY_COMPARE(onScreen(*window.view), slide);
        Q_EMIT window.view->layerSurface()->failed();
        QVERIFY(!window.view->layerSurface());
        QTRY_COMPARE(onScreen(*window.view), slide);
        window.setTransition(QStringLiteral("None"));
        window.show(gentlePicture(viewSize, 3));
        const QImage next = expected(window);
        QTRY_COMPARE(onScreen(*window.view), next);
    }

    void framebufferThatCannotBeMadeLeadsBackToRasterDrawing()
    {
        Window window;
        QVERIFY(QTest::qWaitForWindowExposed(window.view.get()));
        window.show(gentlePicture(viewSize, 1));
        const QImage slide = expected(window);
        QTRY_COMPARE(onScreen(*window.view), slide);
        // More than any software context takes on a side.
        window.view->layerSurface()->resize(30000, 40);
        QTRY_VERIFY(!window.view->layerSurface());
        QTRY_COMPARE(onScreen(*window.view), slide);
    }

    void surfaceLetsTheMouseThrough()
    {
        Window window;
        QVERIFY(QTest::qWaitForWindowExposed(window.view.get()));
        QVERIFY(!window.view->childAt(100, 100));
    }

    void viewsComeAndGo()
    {
        for (int i = 0; i < 5; ++i) {
            Window window;
            QVERIFY(QTest::qWaitForWindowExposed(window.view.get()));
            window.show(gentlePicture(viewSize, i));
            const QImage slide = expected(window);
            QTRY_COMPARE(onScreen(*window.view), slide);
        }
    }
};

QTEST_MAIN(LayerSurfaceTest)
#include "LayerSurfaceTest.moc"
