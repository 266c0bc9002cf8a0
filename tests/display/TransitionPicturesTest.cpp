// What transitions look like, against a plain drawing of the same moment.
#include "PictureCompare.h"
#include "Presentation.h"
#include "ReferenceDrawing.h"
#include "TransitionRows.h"
#include "ViewFixture.h"

#include <QtTest>

using namespace frameflow;

namespace {

const QSize viewSize(480, 300);

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
        for (const TransitionRow& row : transitionRows) {
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
        fixture.show(gentlePicture(viewSize, 0));
        fixture.show(gentlePicture(viewSize, 2), forward);
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
            QVERIFY(e2e::isSamePicture(actual, expected, name, {.largestError = 24, .worstTileError = 1.5}));
        }
    }
};

QTEST_MAIN(TransitionPicturesTest)
#include "TransitionPicturesTest.moc"
