#include "AdPattern.h"

#include <QTest>

#include <limits>

using namespace frameflow;

class AdPatternTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stepsFollowThePattern_data();
    void stepsFollowThePattern();

private:
    static constexpr qint64 sEndless = std::numeric_limits<qint64>::max();
};

void AdPatternTest::stepsFollowThePattern_data()
{
    QTest::addColumn<bool>("isOn");
    QTest::addColumn<qint64>("interval");
    QTest::addColumn<qint64>("counter");
    QTest::addColumn<qint64>("adsLeft");
    QTest::addColumn<QByteArray>("steps"); // s: the next slide, a: the next ad
    const auto row
        = [](const char* name, bool isOn, qint64 interval, qint64 counter, qint64 adsLeft, const QByteArray& steps) {
              QTest::newRow(name) << isOn << interval << counter << adsLeft << steps;
          };
    row("three slides, one ad", true, 3, 0, sEndless, "sssasssasssa");
    row("in the middle of the slides", true, 3, 2, sEndless, "sasssa");
    row("an ad is due", true, 3, 3, sEndless, "asssa");
    row("one slide, one ad", true, 1, 0, sEndless, "sasa");
    row("an ad before every slide", true, 0, 0, sEndless, "aaaa");
    row("a negative interval", true, -5, 0, sEndless, "aaaa");
    row("two ads are left", true, 1, 0, 2, "sasassss");
    row("no ads are left", true, 2, 0, 0, "ssssssss");
    row("a smaller interval than before", true, 2, 5, sEndless, "assa");
    row("switched off", false, 1, 1, sEndless, "ssss");
    row("the largest numbers", true, sEndless, sEndless - 1, sEndless, "sas");
}

void AdPatternTest::stepsFollowThePattern()
{
    QFETCH(const bool, isOn);
    QFETCH(const qint64, interval);
    QFETCH(const qint64, counter);
    QFETCH(const qint64, adsLeft);
    QFETCH(const QByteArray, steps);
    const AdPattern pattern{isOn, interval, counter, adsLeft};
    qint64 slides = 0;
    qint64 ads = 0;
    std::vector<ComingStep> expected;
    for (const char step : steps) {
        expected.push_back(step == 'a' ? ComingStep{true, ++ads} : ComingStep{false, ++slides});
    }
    QVERIFY(pattern.comingSteps(static_cast<int>(steps.size())) == expected);
    QVERIFY(pattern.comingSteps(0).empty());
}

QTEST_APPLESS_MAIN(AdPatternTest)
#include "AdPatternTest.moc"
