#include "CursorOverlay.h"
#include "PointerFixture.h"

#include <QImageReader>
#include <QtTest>

using namespace frameflow;

namespace {

const QStringList names{QStringLiteral("Arrow"), QStringLiteral("Hand"), QStringLiteral("Dot"), QStringLiteral("Ring"),
    QStringLiteral("Spotlight"), QStringLiteral("Cross")};

} // namespace

// The picture that stands under the mouse while it is held.
class CursorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QVERIFY(!isPointerHidden()); }

    void aPressShowsThePictureAtTheMouse_data();
    void aPressShowsThePictureAtTheMouse();
    void thePictureFollowsTheDrag();
    void theCursorIsReadAtEveryPress();
    void theSameNameIsNotLoadedAgain();
    void anUnknownNameShowsNothingButIsPlaced_data();
    void anUnknownNameShowsNothingButIsPlaced();
    void theWheelScalesThePictureWithinItsLimits();
    void aScaledLengthLosesItsFraction();
    void theWheelKeepsTheLayersPlace();
    void theWheelDoesNotZoomTheSlide();
    void thePictureIsAboveAllLayers();
    void thePictureIsSharpAtEveryScale();
    void thePictureIsSharpWhenScaled();
    void thePictureIsAboveWidgetsOnTheView();
};

void CursorTest::aPressShowsThePictureAtTheMouse_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QSizeF>("size");
    for (const QString& name : names) {
        const QSize size = QImageReader(QStringLiteral(":/frameflow/cursors/%1.svg").arg(name)).size();
        QTest::newRow(qPrintable(name)) << name << QSizeF(size);
    }
}

void CursorTest::aPressShowsThePictureAtTheMouse()
{
    QFETCH(QString, name);
    QFETCH(QSizeF, size);
    QVERIFY(size.width() > 40);
    PointerFixture fixture({400, 300});
    fixture.show(solid({400, 300}, QColor(40, 40, 40)));
    const QImage before = fixture.grab();
    fixture.defaults.setValue(keys::cursor, name);
    fixture.press({120, 90});
    // The upper left corner of the picture is at the mouse; the layer counts from below.
    QCOMPARE(fixture.cursorFrame(), QRectF(QPointF(120, 300 - 90 - size.height()), size));
    QCOMPARE(fixture.view->cursorLayer()->anchorPoint(), QPointF(0, 0));
    QCOMPARE(fixture.view->cursorLayer()->opacity(), 1.0);
    QVERIFY(isPointerHidden());
    const QImage after = fixture.grab();
    const QRect place(QPoint(120, 90), size.toSize());
    int unlike = 0;
    for (int y = 0; y < after.height(); ++y) {
        for (int x = 0; x < after.width(); ++x) {
            if (after.pixel(x, y) != before.pixel(x, y)) {
                QVERIFY(place.contains(x, y));
                ++unlike;
            }
        }
    }
    QVERIFY(unlike > 200);
    fixture.release({120, 90});
    QCOMPARE(fixture.grab(), before);
}

void CursorTest::thePictureFollowsTheDrag()
{
    PointerFixture fixture({400, 300});
    fixture.press({120, 90});
    fixture.drag({200.5, 10});
    QCOMPARE(fixture.cursorFrame().topLeft(), QPointF(200.5, 300 - 10 - 96));
    QVERIFY(isPointerHidden());
    QCOMPARE(fixture.view->cursor().shape(), Qt::ArrowCursor);
    fixture.release({200, 10});
}

void CursorTest::theCursorIsReadAtEveryPress()
{
    PointerFixture fixture({400, 300});
    fixture.press({20, 20});
    const QImage arrow = fixture.view->cursorLayer()->contents();
    fixture.release({20, 20});
    fixture.defaults.setValue(keys::cursor, QStringLiteral("Hand")); // as large as the arrow
    fixture.press({20, 20});
    QCOMPARE(fixture.view->cursorLayer()->contents().size(), arrow.size());
    QVERIFY(fixture.view->cursorLayer()->contents() != arrow);
    fixture.defaults.setValue(keys::cursor, QStringLiteral("Dot"));
    fixture.drag({30, 20}); // a drag does not read it
    QCOMPARE(fixture.view->cursorRect(), QRectF(0, 0, 96, 96));
    fixture.press({20, 20});
    QCOMPARE(fixture.view->cursorRect(), QRectF(0, 0, 48, 48));
    fixture.release({20, 20});
}

void CursorTest::theSameNameIsNotLoadedAgain()
{
    PointerFixture fixture;
    fixture.view->updateCursor();
    fixture.view->positionCursor();
    const qint64 contents = fixture.view->cursorLayer()->contents().cacheKey();
    QVERIFY(!fixture.view->cursorLayer()->contents().isNull());
    fixture.view->updateCursor();
    QCOMPARE(fixture.view->cursorLayer()->contents().cacheKey(), contents);
}

void CursorTest::anUnknownNameShowsNothingButIsPlaced_data()
{
    QTest::addColumn<QVariant>("name");
    QTest::newRow("unknown") << QVariant(QStringLiteral("Feather"));
    QTest::newRow("empty") << QVariant(QString());
    QTest::newRow("absent") << QVariant();
    QTest::newRow("other case") << QVariant(QStringLiteral("arrow"));
    QTest::newRow("a path") << QVariant(QStringLiteral("../play2"));
    QTest::newRow("a file of the machine") << QVariant(QStringLiteral("/usr/share/pixmaps/debian-logo"));
    QTest::newRow("no text") << QVariant(12);
}

void CursorTest::anUnknownNameShowsNothingButIsPlaced()
{
    QFETCH(QVariant, name);
    PointerFixture fixture;
    fixture.show(solid({200, 100}, Qt::red));
    const QImage before = fixture.grab();
    for (const bool hadPicture : {false, true}) {
        if (hadPicture) {
            fixture.defaults.setValue(keys::cursor, QStringLiteral("Arrow"));
            fixture.press({10, 10});
            QVERIFY(fixture.grab() != before);
        }
        if (name.isValid()) {
            fixture.defaults.setValue(keys::cursor, name);
        } else {
            fixture.defaults.removeValue(keys::cursor);
        }
        fixture.press({120, 30});
        QCOMPARE(fixture.cursorFrame(), QRectF(120, 70, 0, 0));
        QVERIFY(isPointerHidden());
        QCOMPARE(fixture.grab(), before);
        fixture.release({120, 30});
    }
}

void CursorTest::theWheelScalesThePictureWithinItsLimits()
{
    PointerFixture fixture;
    fixture.view->updateCursor();
    QCOMPARE(fixture.view->cursorZoom(), 1.0);
    const std::vector<std::pair<double, double>> turns{{1, 0.5}, {0.5, 0.25}, {1, 0.2}, {100, 0.2}, {-0.5, 0.45},
        {0, 0.45}, {-1, 0.95}, {-1, 1.0}, {-1000, 1.0}, {0.1, 0.95}};
    for (const auto& [turn, zoom] : turns) {
        fixture.turnWheel(turn);
        QCOMPARE(fixture.view->cursorZoom(), zoom);
        QCOMPARE(fixture.view->cursorLayer()->bounds(), fixture.view->cursorRect());
    }
}

void CursorTest::aScaledLengthLosesItsFraction()
{
    PointerFixture fixture;
    QCOMPARE(fixture.view->cursorRect(), QRectF()); // nothing has been loaded
    fixture.view->updateCursor();
    fixture.turnWheel(1.7); // to 0.2 of 96
    QCOMPARE(fixture.view->cursorRect(), QRectF(0, 0, 19, 19));
}

void CursorTest::theWheelKeepsTheLayersPlace()
{
    PointerFixture fixture({400, 300});
    fixture.press({120, 90});
    fixture.turnWheel(1);
    QCOMPARE(fixture.cursorFrame(), QRectF(120, 300 - 90 - 96, 48, 48));
    fixture.drag({120, 90}); // then it is at the mouse again
    QCOMPARE(fixture.cursorFrame(), QRectF(120, 300 - 90 - 48, 48, 48));
    fixture.release({120, 90});
}

void CursorTest::theWheelDoesNotZoomTheSlide()
{
    PointerFixture fixture;
    fixture.show(quarters({200, 100}));
    const QRectF frame = fixture.view->currentLayer()->frame();
    fixture.turnWheel(1);
    QCOMPARE(fixture.view->currentLayer()->frame(), frame);
    QVERIFY(!fixture.view->isZoomed());
    QCOMPARE(fixture.delegate.delays, 0);
}

void CursorTest::thePictureIsAboveAllLayers()
{
    PointerFixture fixture({400, 300});
    fixture.defaults.setValue(keys::cursor, QStringLiteral("Arrow"));
    fixture.show(solid({400, 300}, Qt::black));
    fixture.view->currentLayer()->setZPosition(10000.0); // as a flip leaves it
    fixture.press({100, 100});
    QVERIFY(fixture.colorAt(110, 130).lightness() > 200);
    fixture.release({100, 100});
}

// Run once more for each of some scale factors. What stands there is the picture drawn for just these pixels, not one
// that was drawn smaller.
void CursorTest::thePictureIsSharpAtEveryScale()
{
    for (const QString& name : names) {
        PointerFixture fixture({320, 300});
        fixture.defaults.setValue(keys::cursor, name);
        fixture.press({11, 7});
        const QSize points = fixture.view->cursorRect().size().toSize();
        const QSize pixels = fixture.view->cursorLayer()->contents().size();
        QCOMPARE(pixels, points * fixture.view->devicePixelRatioF());
        QImageReader reader(QStringLiteral(":/frameflow/cursors/%1.svg").arg(name));
        reader.setScaledSize(pixels);
        const QImage expected = reader.read().convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QCOMPARE(fixture.view->cursorLayer()->contents(), expected);
        QImage drawn(fixture.view->size() * fixture.view->devicePixelRatioF(), QImage::Format_RGB32);
        drawn.fill(Qt::black);
        QPainter(&drawn).drawImage(QPointF(11, 7) * fixture.view->devicePixelRatioF(), expected);
        QCOMPARE(fixture.grab().convertToFormat(QImage::Format_RGB32), drawn);
        fixture.release({11, 7});
    }
}

void CursorTest::thePictureIsSharpWhenScaled()
{
    PointerFixture fixture;
    fixture.press({11, 7});
    for (const double turns : {1.0, 0.3, -2.0}) {
        fixture.turnWheel(turns);
        QCOMPARE(fixture.view->cursorLayer()->contents().size(), fixture.view->cursorRect().size().toSize());
    }
    fixture.release({11, 7});
}

void CursorTest::thePictureIsAboveWidgetsOnTheView()
{
    PointerFixture fixture({400, 300});
    fixture.show(solid({400, 300}, Qt::blue));
    fixture.press({100, 100});
    const QImage plain = fixture.grab();
    fixture.release({100, 100});
    // The slide's own colour, so that only what is above it tells the two apart.
    QWidget widget(fixture.view.get());
    widget.setStyleSheet(QStringLiteral("background: blue"));
    widget.setGeometry(0, 0, 130, 300);
    widget.show();
    fixture.press({100, 100});
    QCOMPARE(fixture.grab(), plain);
    fixture.drag({200, 100}); // beside it
    QVERIFY(!fixture.view->findChild<CursorOverlay*>()->isVisibleTo(fixture.view.get()));
    fixture.drag({100, 100});
    QCOMPARE(fixture.grab(), plain);
    fixture.release({100, 100});
    QVERIFY(!fixture.view->findChild<CursorOverlay*>()->isVisibleTo(fixture.view.get()));
}

QTEST_MAIN(CursorTest)
#include "CursorTest.moc"
