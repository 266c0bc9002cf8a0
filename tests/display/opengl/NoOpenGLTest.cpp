// A desktop on which there is no OpenGL at all.
#include "OpenGLProbe.h"
#include "ViewFixture.h"

#include <QtTest>

using namespace frameflow;

class NoOpenGLTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void probeFailsQuietly()
    {
        const OpenGLProbe probe = probeOpenGL();
        QVERIFY(!probe.works);
        QVERIFY(probe.renderer.isEmpty());
        QVERIFY(!hasHardwareOpenGL());
    }

    void viewsDrawThemselves()
    {
        ViewFixture fixture;
        fixture.view->QWidget::show();
        QVERIFY(QTest::qWaitForWindowExposed(fixture.view.get()));
        QVERIFY(!fixture.view->layerSurface());
        fixture.show(solid({200, 100}, Qt::red));
        QCOMPARE(fixture.colorAt(100, 50), QColor(Qt::red));
    }
};

QTEST_MAIN(NoOpenGLTest)
#include "NoOpenGLTest.moc"
