#include "Curve.h"

#include <QtTest>

#include <limits>

using namespace frameflow;

class CurveTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void followsTheBezierCurve_data()
    {
        QTest::addColumn<int>("curve");
        QTest::addColumn<double>("fraction");
        QTest::addColumn<double>("value");
        const auto row = [](const char* name, Curve curve, double fraction, double value) {
            QTest::newRow(name) << static_cast<int>(curve) << fraction << value;
        };
        row("linear quarter", Curve::Linear, 0.25, 0.25);
        row("linear half", Curve::Linear, 0.5, 0.5);
        row("ease-in quarter", Curve::EaseIn, 0.25, 0.0934646);
        row("ease-in half", Curve::EaseIn, 0.5, 0.3153568);
        row("ease-out half", Curve::EaseOut, 0.5, 0.6846432);
        row("ease-out three quarters", Curve::EaseOut, 0.75, 1 - 0.0934646);
        row("ease-in-ease-out quarter", Curve::EaseInEaseOut, 0.25, 0.1291619);
        row("ease-in-ease-out half", Curve::EaseInEaseOut, 0.5, 0.5);
        row("ease-in-ease-out three quarters", Curve::EaseInEaseOut, 0.75, 1 - 0.1291619);
    }
    void followsTheBezierCurve()
    {
        QFETCH(int, curve);
        QFETCH(double, fraction);
        QFETCH(double, value);
        QVERIFY(std::abs(curveValue(static_cast<Curve>(curve), fraction) - value) < 1e-6);
    }

    void beginsAtNoughtEndsAtOneAndNeverFalls()
    {
        for (const Curve curve : {Curve::Linear, Curve::EaseIn, Curve::EaseOut, Curve::EaseInEaseOut}) {
            QCOMPARE(curveValue(curve, 0), 0.0);
            QCOMPARE(curveValue(curve, 1), 1.0);
            QCOMPARE(curveValue(curve, -3), 0.0);
            QCOMPARE(curveValue(curve, 3), 1.0);
            QCOMPARE(curveValue(curve, std::numeric_limits<double>::quiet_NaN()), 0.0);
            double last = 0;
            for (int i = 1; i <= 1000; ++i) {
                const double value = curveValue(curve, i / 1000.0);
                QVERIFY(value >= last);
                QVERIFY(value - last < 0.003);
                last = value;
            }
        }
    }
};

QTEST_GUILESS_MAIN(CurveTest)
#include "CurveTest.moc"
