// The picture under the held mouse, and zoomed slides, on a view that draws with OpenGL.
#include "MovieControls.h"
#include "MovieSurfaceFixture.h"
#include "PictureCompare.h"

#include <QImageReader>

using namespace frameflow;

namespace {

QImage arrow()
{
    return QImageReader(QStringLiteral(":/frameflow/cursors/Arrow.svg")).read();
}

} // namespace

class PointerSurfaceTest : public MovieSurfaceFixture
{
    Q_OBJECT

    QImage withArrow(QImage slide, const QPoint& place) const
    {
        QPainter(&slide).drawImage(place, arrow());
        return slide;
    }
    bool looksLike(const QImage& expected) const { return e2e::comparePictures(seen(), expected).largestError <= 2; }

private Q_SLOTS:
    void thePictureIsDrawnOverTheSlide()
    {
        mWindow->defaults.setValue(keys::cursor, QStringLiteral("Arrow"));
        const QImage slide = solid(viewSize, QColor(60, 90, 120));
        mWindow->show(slide);
        QTRY_VERIFY(looksLike(slide));
        QTest::mousePress(&view(), Qt::LeftButton, {}, QPoint(50, 40));
        QTRY_VERIFY(looksLike(withArrow(slide, {50, 40})));
        QTest::mouseRelease(&view(), Qt::LeftButton, {}, QPoint(50, 40));
        QTRY_VERIFY(looksLike(slide));
    }

    void thePictureIsAboveAMovieAndGoes()
    {
        mWindow->defaults.setValue(keys::cursor, QStringLiteral("Arrow"));
        QVERIFY(playToEnd("still.mkv"));
        playerView().controls()->conceal();
        const QImage movie = seen();
        QTest::mousePress(&playerView(), Qt::LeftButton, {}, QPoint(50, 40));
        QTRY_VERIFY(looksLike(withArrow(movie, {50, 40})));
        QTest::mouseRelease(&playerView(), Qt::LeftButton, {}, QPoint(50, 40));
        QTRY_VERIFY(looksLike(movie));
    }

    void zoomedSlidesReachTheScreen()
    {
        const QImage slide = solid(viewSize, QColor(60, 90, 120));
        mWindow->show(slide);
        QTRY_VERIFY(looksLike(slide));
        for (int step = 0; step < 120; ++step) {
            view().zoomIn();
            view().compositor().deliverPending();
            mWindow->clock.advance(std::chrono::milliseconds(step % 2 == 0 ? 400 : 2000));
            view().compositor().deliverPending();
            if (step % 10 < 2) {
                QTRY_VERIFY2(looksLike(slide), qPrintable(QString::number(step)));
            }
        }
        QVERIFY(view().layerSurface());
    }
};

QTEST_MAIN(PointerSurfaceTest)
#include "PointerSurfaceTest.moc"
