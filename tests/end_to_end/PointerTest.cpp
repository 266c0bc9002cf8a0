#include "PictureFiles.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QImageReader>
#include <QPainter>
#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;

namespace {

// Every place of its own colour, softly.
QImage landscape(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            line[x] = qRgb(x * 255 / size.width(), y * 255 / size.height(), (x / 8 + y / 8) % 256);
        }
    }
    return image;
}

// White on the left, black on the right.
QImage halves(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter(&image).fillRect(0, 0, size.width() / 2, size.height(), Qt::white);
    return image;
}

QImage cursorPicture(const QString& name, double scale = 1)
{
    QImageReader reader(QStringLiteral(FRAMEFLOW_CURSORS "/%1.svg").arg(name));
    reader.setScaledSize((QSizeF(reader.size()) * scale).toSize());
    return reader.read();
}

QImage with(QImage slide, const QImage& cursor, const QPoint& place)
{
    QPainter(&slide).drawImage(place, cursor);
    return slide;
}

} // namespace

// The mouse over a slide, and zooming it, as a person has it.
class PointerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mShow = std::make_unique<ShowDriver>(); }
    void cleanup()
    {
        mShow->server().releaseButton();
        mShow->server().releaseKey(QStringLiteral("Control_L"));
        mShow.reset();
    }

    void theChosenPictureIsUnderTheHeldMouse_data();
    void theChosenPictureIsUnderTheHeldMouse();
    void theWheelScalesThePictureAndNotTheSlide();
    void leavingTheWindowTakesThePictureAway();
    void keysZoomStepByStepAndBack();
    void theSlideIsZoomedWithoutLimit();
    void actualSizeIsMovedWithControl();
    void anEnlargedSlideIsMovedNoFurtherThanItsEdges();
    void theNextSlideIsFitted();
    void clicksDoNotChangeTheSlide();
    void thePictureIsAboveTheNameOfTheFile();

private:
    bool open(const QImage& picture)
    {
        mShow->folder.addFile("1.png", encoded(picture, "png"));
        return mShow->startAndRest();
    }
    QSize screen() const { return mShow->server().bounds().size(); }

    std::unique_ptr<ShowDriver> mShow;
};

void PointerTest::theChosenPictureIsUnderTheHeldMouse_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name : {"Arrow", "Hand", "Dot", "Ring", "Spotlight", "Cross"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
}

void PointerTest::theChosenPictureIsUnderTheHeldMouse()
{
    QFETCH(QString, name);
    mShow->set(keys::cursor, name);
    const QImage slide = halves(screen());
    QVERIFY(open(slide));
    QVERIFY(mShow->waitForScreen(slide, QStringLiteral("pointer-before")));
    const QImage picture = cursorPicture(name);
    mShow->server().holdButton({200, 200});
    QVERIFY(mShow->waitForScreen(with(slide, picture, {200, 200}), QStringLiteral("pointer-light"), {1, 1.0}));
    const QPoint dark(screen().width() / 2 + 150, 310);
    mShow->server().moveMouse(dark);
    QVERIFY(mShow->waitForScreen(with(slide, picture, dark), QStringLiteral("pointer-dark"), {1, 1.0}));
    const QPoint corner(screen().width() - 20, screen().height() - 10); // most of it is beyond the screen
    mShow->server().moveMouse(corner);
    QVERIFY(mShow->waitForScreen(with(slide, picture, corner), QStringLiteral("pointer-corner"), {1, 1.0}));
    mShow->server().releaseButton();
    QVERIFY(mShow->waitForScreen(slide, QStringLiteral("pointer-after")));
}

void PointerTest::theWheelScalesThePictureAndNotTheSlide()
{
    mShow->set(keys::cursor, QStringLiteral("Hand"));
    const QImage slide = halves(screen());
    QVERIFY(open(slide));
    mShow->server().holdButton({400, 300});
    // Each time the mouse goes where it has not been: that is when the picture is put there.
    int x = 400;
    for (const auto& [notches, scale] : {std::pair(1, 0.5), std::pair(9, 19.0 / 96), std::pair(-9, 1.0)}) {
        mShow->server().turnWheel(notches);
        const QPoint place(++x, 300);
        mShow->server().moveMouse(place);
        const QImage expected = with(slide, cursorPicture(QStringLiteral("Hand"), scale), place);
        QVERIFY(mShow->waitForScreen(expected, QStringLiteral("pointer-wheel-%1").arg(notches), {1, 1.0}));
    }
}

void PointerTest::leavingTheWindowTakesThePictureAway()
{
    QVERIFY(open(halves(screen())));
    mShow->press(QStringLiteral("ctrl+shift+w"));
    const auto window = mShow->showWindow();
    QVERIFY(window.has_value());
    QVERIFY(waitFor([&] { return !mShow->server().isFullScreen(*window); }));
    mShow->server().moveTo(*window, QRect(200, 200, 640, 400));
    QVERIFY(waitFor([&] { return mShow->server().geometry(*window).size() == QSize(640, 400); }));
    QVERIFY(mShow->waitUntilAtRest());
    const QRect inside = mShow->server().geometry(*window);
    const QImage before = mShow->server().grab(*window);
    mShow->server().holdButton(inside.center());
    QVERIFY(waitFor([&] { return mShow->server().grab(*window) != before; }));
    mShow->server().moveMouse(inside.bottomRight() + QPoint(60, 60));
    QVERIFY(waitFor([&] { return mShow->server().grab(*window) == before; }));
    // Coming back with the button still held shows nothing, and the next press does again.
    mShow->server().moveMouse(inside.center());
    mShow->server().releaseButton();
    QVERIFY(waitFor([&] { return mShow->server().grab(*window) == before; }));
    mShow->server().holdButton(inside.center());
    QVERIFY(waitFor([&] { return mShow->server().grab(*window) != before; }));
}

void PointerTest::keysZoomStepByStepAndBack()
{
    const QImage slide = landscape(screen());
    QVERIFY(open(slide));
    QVERIFY(mShow->waitForScreen(slide, QStringLiteral("zoom-fitted")));
    double factor = 1;
    for (int step = 1; step <= 3; ++step) {
        mShow->press(QStringLiteral("plus"));
        factor *= 1.5;
        const QSizeF size = QSizeF(screen()) * factor;
        const QRectF rect(
            QPointF((screen().width() - size.width()) / 2, (screen().height() - size.height()) / 2), size);
        QVERIFY(
            mShow->waitForScreen(onBlack(slide, rect, screen()), QStringLiteral("zoom-step-%1").arg(step), {60, 6.0}));
        QVERIFY(mShow->waitUntilAtRest());
    }
    mShow->press(QStringLiteral("minus"));
    QVERIFY(mShow->waitForScreen(slide, QStringLiteral("zoom-off")));
}

void PointerTest::theSlideIsZoomedWithoutLimit()
{
    const QColor colour(30, 160, 30);
    QImage slide(screen(), QImage::Format_RGB32);
    slide.fill(colour);
    QVERIFY(open(slide));
    for (int step = 0; step < 70; ++step) {
        mShow->press(QStringLiteral("plus"));
        const QImage now = mShow->screen();
        QCOMPARE(now.pixelColor(now.rect().center()), colour);
        QCOMPARE(now.pixelColor(3, 3), colour);
    }
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(mShow->waitForColour(colour));
    mShow->press(QStringLiteral("minus"));
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(mShow->waitForColour(colour));
}

void PointerTest::actualSizeIsMovedWithControl()
{
    const QImage slide = landscape(screen() * 2);
    QVERIFY(open(slide));
    mShow->press(QStringLiteral("ctrl+0"));
    const QRect middle(QPoint(screen().width() / 2, screen().height() / 2), screen());
    QVERIFY(mShow->waitForScreen(slide.copy(middle), QStringLiteral("actual-size")));
    QVERIFY(mShow->waitUntilAtRest());
    mShow->server().holdKey(QStringLiteral("Control_L"));
    mShow->server().holdButton({400, 300});
    mShow->server().moveMouse({500, 340});
    mShow->server().moveMouse({523, 271});
    QVERIFY(mShow->waitForScreen(slide.copy(middle.translated(-123, 29)), QStringLiteral("actual-size-moved")));
    mShow->server().releaseButton();
    mShow->server().moveMouse({100, 100}); // without the button nothing moves
    mShow->server().releaseKey(QStringLiteral("Control_L"));
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(mShow->waitForScreen(slide.copy(middle.translated(-123, 29)), QStringLiteral("actual-size-stays")));
}

void PointerTest::anEnlargedSlideIsMovedNoFurtherThanItsEdges()
{
    const QImage slide = landscape(screen() * 2);
    QVERIFY(open(slide));
    mShow->press(QStringLiteral("ctrl+0"));
    QVERIFY(mShow->waitUntilAtRest());
    mShow->server().holdKey(QStringLiteral("Control_L"));
    const QSize size = screen();
    for (int i = 0; i < 3; ++i) {
        mShow->server().holdButton({50, 50});
        mShow->server().moveMouse({size.width() - 50, size.height() - 50});
        mShow->server().releaseButton();
    }
    QVERIFY(mShow->waitForScreen(slide.copy(QRect(QPoint(), size)), QStringLiteral("edge-upper-left")));
    for (int i = 0; i < 3; ++i) {
        mShow->server().holdButton({size.width() - 50, size.height() - 50});
        mShow->server().moveMouse({50, 50});
        mShow->server().releaseButton();
    }
    QVERIFY(mShow->waitForScreen(
        slide.copy(QRect(QPoint(size.width(), size.height()), size)), QStringLiteral("edge-lower-right")));
}

void PointerTest::theNextSlideIsFitted()
{
    const QImage slide = landscape(screen());
    mShow->addColour("0.png", Qt::red);
    QVERIFY(open(slide));
    QVERIFY(mShow->waitForColour(Qt::red));
    mShow->press(QStringLiteral("plus"));
    QVERIFY(mShow->waitUntilAtRest());
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForScreen(slide, QStringLiteral("zoom-next")));
}

void PointerTest::clicksDoNotChangeTheSlide()
{
    mShow->addColour("1.png", Qt::red);
    mShow->addColour("2.png", Qt::green);
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(Qt::red));
    for (const MouseButton button : {MouseButton::Left, MouseButton::Middle, MouseButton::Right}) {
        mShow->server().click({300, 300}, button);
    }
    mShow->server().doubleClick({300, 300});
    mShow->server().turnWheel(3);
    mShow->server().turnWheel(-3);
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(mShow->waitForColour(Qt::red));
    QCOMPARE(mShow->server().windowsOf(mShow->program().processId()).size(), 1);
}

void PointerTest::thePictureIsAboveTheNameOfTheFile()
{
    mShow->set(keys::showFileName, true);
    QVERIFY(open(halves(screen())));
    mShow->press(QStringLiteral("Right")); // the slide that makes the window has no label
    QVERIFY(mShow->waitUntilAtRest());
    const QImage before = mShow->screen();
    const QPoint place(2, screen().height() - 30);
    mShow->server().holdButton(place);
    const QImage picture = cursorPicture(QStringLiteral("Arrow"));
    QVERIFY(mShow->waitForScreen(with(before, picture, place), QStringLiteral("pointer-label"), {1, 1.0}));
}

QTEST_GUILESS_MAIN(PointerTest)
#include "PointerTest.moc"
