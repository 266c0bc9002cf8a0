// What transitions look like, against a plain drawing of the same moment.
#include "PictureCompare.h"
#include "Presentation.h"
#include "ReferenceDrawing.h"
#include "ViewFixture.h"

#include <QtTest>

using namespace frameflow;

namespace {

const QSize viewSize(480, 300);

struct TransitionRow
{
    const char* title;
    double seconds;
};

constexpr std::array transitions{TransitionRow{"Cross Fade", 1}, TransitionRow{"Fast Cross Fade", 0.2},
    TransitionRow{"Flip", 1}, TransitionRow{"Rotate Left Right", 2}, TransitionRow{"Rotate Left", 2},
    TransitionRow{"Shrink", 1}, TransitionRow{"Expand", 1}, TransitionRow{"Slide", 1.4},
    TransitionRow{"Bar Swipe", 0.6}, TransitionRow{"Mod", 0.7}, TransitionRow{"Swipe", 0.4},
    TransitionRow{"Test", 0.4}};

// Gentle slopes with some hard edges, as photographs have them.
QImage photograph(QSize size, double phase)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const auto wave
                = [&](double a, double b) { return static_cast<int>(127 + 100 * std::sin(x * a + y * b + phase)); };
            const int step = (x / 61 + y / 47) % 2 * 20;
            image.setPixel(x, y, qRgb(wave(0.11, 0.03) + step, wave(0.02, -0.14) + step, wave(-0.07, 0.08)));
        }
    }
    return image;
}

} // namespace

class TransitionPicturesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void looksLikeThePlainDrawing_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("forward");
        QTest::addColumn<double>("seconds");
        for (const TransitionRow& row : transitions) {
            for (const bool forward : {true, false}) {
                QTest::addRow("%s %s", row.title, forward ? "forward" : "backward")
                    << QString::fromLatin1(row.title) << forward << row.seconds;
            }
        }
    }
    void looksLikeThePlainDrawing()
    {
        QFETCH(QString, title);
        QFETCH(bool, forward);
        QFETCH(double, seconds);
        ViewFixture fixture(viewSize);
        fixture.setTransition(title);
        fixture.show(photograph(viewSize, 0));
        fixture.show(photograph(viewSize, 2), forward);
        double passed = 0;
        for (const double part : {0.0, 0.137, 0.5, 0.733, 0.97}) {
            fixture.clock.advanceSeconds(part * seconds - passed);
            passed = part * seconds;
            const QImage actual = fixture.grab().convertToFormat(QImage::Format_RGB32);
            const DrawList items = presentation(*fixture.view->backgroundLayer(), fixture.clock.now());
            const QImage expected = referenceDrawing(items, {QSizeF(viewSize), 1}, QRect(QPoint(), viewSize));
            const double ratio = decibels(actual, expected);
            QVERIFY2(ratio >= 40, qPrintable(QStringLiteral("%1 dB at %2").arg(ratio).arg(part)));
            const QString name = QStringLiteral("%1-%2-%3").arg(title).arg(forward).arg(part);
            QVERIFY(e2e::isSamePicture(actual, expected, name, {.largestError = 64, .worstTileError = 2.5}));
        }
    }
};

QTEST_MAIN(TransitionPicturesTest)
#include "TransitionPicturesTest.moc"
