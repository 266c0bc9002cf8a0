#include "Filters.h"

#include "Bands.h"
#include "Mixing.h"
#include "Pictures.h"

#include <QtTest>

#include <atomic>
#include <map>

using namespace frameflow;

namespace {

const QString bars = QStringLiteral("CIBarsSwipeTransition");
const QString mod = QStringLiteral("CIModTransition");
const QString swipe = QStringLiteral("CISwipeTransition");

// The shares of the whole view, row after row.
std::vector<int> sharesOf(const QString& name, double progress, const ViewArea& area, const QRectF& extent = {})
{
    Bands bands;
    FilterShares shares;
    shares.prepare(*transitionFilter(name), progress, extent, area, bands);
    std::vector<quint16> room(area.pixels().width());
    std::vector<int> all;
    for (int y = 0; y < area.pixels().height(); ++y) {
        const quint16* const row = shares.row(y, room);
        all.insert(all.end(), row, row + area.pixels().width());
    }
    return all;
}

MixDraw mixOf(const QString& filterName, double progress)
{
    MixDraw mix;
    mix.effect.kind = filterName.isEmpty() ? TransitionEffect::Kind::Fade : TransitionEffect::Kind::Filter;
    mix.effect.filterName = filterName;
    mix.progress = progress;
    return mix;
}

QImage mixed(const QImage& source, const QImage& target, const MixDraw& mix, QSize size)
{
    QImage result(size, QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::magenta);
    Mixer().mix(result, source, target, mix, {QSizeF(size), 1});
    return result;
}

} // namespace

class FiltersTest : public QObject
{
    Q_OBJECT

    static void filters()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("bars") << bars;
        QTest::newRow("mod") << mod;
        QTest::newRow("swipe") << swipe;
    }

private Q_SLOTS:
    void unknownNamesAreNoFilters()
    {
        QVERIFY(!transitionFilter(QStringLiteral("CISwirlTransition")));
        QVERIFY(!transitionFilter(QStringLiteral("ciswipetransition")));
        QVERIFY(!transitionFilter(QString()));
    }

    void sharesGrowFromNothingToAll_data() { filters(); }
    void sharesGrowFromNothingToAll()
    {
        QFETCH(QString, name);
        for (const ViewArea& area : {ViewArea{QSizeF(331, 203), 1}, ViewArea{QSizeF(160, 90), 2}}) {
            std::vector<int> last = sharesOf(name, 1e-9, area);
            QVERIFY(std::all_of(last.begin(), last.end(), [](int share) { return share <= 1; }));
            for (int step = 1; step <= 20; ++step) {
                const std::vector<int> next = sharesOf(name, step / 20.0, area);
                QCOMPARE(next.size(), last.size());
                for (size_t i = 0; i < next.size(); ++i) {
                    QVERIFY(next[i] >= last[i] && next[i] <= FilterShares::whole);
                }
                last = next;
            }
            QVERIFY(std::all_of(last.begin(), last.end(), [](int share) { return share >= FilterShares::whole - 1; }));
        }
    }

    void barsAreThirtyPointsWideAndTheLastIsTenBehind()
    {
        const ViewArea area{QSizeF(300, 1), 1};
        const std::vector<int> shares = sharesOf(bars, 0.5, area);
        // Half of 40 points; the bar at the right has come so far, those to its left less and less.
        for (int bar = 0; bar < 10; ++bar) {
            double open = 0;
            for (int x = 0; x < 30; ++x) {
                open += shares[300 - 30 * (bar + 1) + x] / 256.0;
            }
            QVERIFY(std::abs(open - (20 - bar)) < 0.05);
            QCOMPARE(shares[300 - 30 * bar - 1], FilterShares::whole); // from its right edge on
            QCOMPARE(shares[300 - 30 * (bar + 1)], 0);
        }
    }

    void swipeHasAnEdgeOfThreeHundredPoints()
    {
        const ViewArea area{QSizeF(1000, 1), 1};
        const std::vector<int> shares = sharesOf(swipe, 0.5, area);
        // The edge begins at 1000 - 1300 / 2.
        QCOMPARE(shares[340], 0);
        QVERIFY(shares[380] > 0);
        QVERIFY(std::abs(shares[500] - 128) <= 2);
        QVERIFY(shares[620] < FilterShares::whole);
        QCOMPARE(shares[660], FilterShares::whole);
    }

    void swipePassesOverItsExtent()
    {
        const ViewArea area{QSizeF(1000, 1), 1};
        const std::vector<int> shares = sharesOf(swipe, 0.5, area, QRectF(0, 0, 400, 1));
        QVERIFY(std::abs(shares[200] - 128) <= 2);
        QCOMPARE(sharesOf(swipe, 0.3, area), sharesOf(swipe, 0.3, area, QRectF(0, 0, 1000, 1)));
    }

    void holesSpreadFromTheMiddle()
    {
        const ViewArea area{QSizeF(1200, 800), 1};
        const auto at = [](const std::vector<int>& shares, int x, int y) { return shares[y * 1200 + x]; };
        const std::vector<int> early = sharesOf(mod, 0.2, area);
        QCOMPARE(at(early, 600, 400), FilterShares::whole);
        QCOMPARE(at(early, 5, 5), 0);
        QCOMPARE(at(early, 600, 300), 0); // between the hole in the middle and the first ring
        const std::vector<int> late = sharesOf(mod, 0.75, area);
        QCOMPARE(at(late, 600, 300), FilterShares::whole);
        QVERIFY(at(late, 5, 5) < FilterShares::whole);
    }

    void holesLookTheSameUpsideDown()
    {
        for (const QSize size : {QSize(200, 120), QSize(201, 121)}) {
            const std::vector<int> shares = sharesOf(mod, 0.5, {QSizeF(size), 1});
            for (int y = 0; y < size.height(); ++y) {
                for (int x = 0; x < size.width(); ++x) {
                    const int mirrored = (size.height() - 1 - y) * size.width() + size.width() - 1 - x;
                    QCOMPARE(shares[y * size.width() + x], shares[mirrored]);
                }
            }
        }
    }

    void measuresAreInPoints_data() { filters(); }
    void measuresAreInPoints()
    {
        QFETCH(QString, name);
        const std::vector<int> coarse = sharesOf(name, 0.5, {QSizeF(300, 200), 1});
        const std::vector<int> fine = sharesOf(name, 0.5, {QSizeF(300, 200), 2});
        double difference = 0;
        for (int y = 0; y < 200; ++y) {
            for (int x = 0; x < 300; ++x) {
                difference += std::abs(coarse[y * 300 + x] - fine[(2 * y * 2 * 300) + 2 * x]);
            }
        }
        QVERIFY(difference / (300 * 200) < 6);
    }

    void mixturesEndExactly_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("fade") << QString();
        QTest::newRow("bars") << bars;
        QTest::newRow("mod") << mod;
        QTest::newRow("swipe") << swipe;
    }
    void mixturesEndExactly()
    {
        QFETCH(QString, name);
        const QSize size(333, 77);
        const QImage source = noise(size);
        const QImage target = quarters(size);
        const QImage::Format format = QImage::Format_ARGB32_Premultiplied;
        QCOMPARE(mixed(source, target, mixOf(name, 0), size), source.convertToFormat(format));
        QCOMPARE(mixed(source, target, mixOf(name, 1), size), target.convertToFormat(format));
        QCOMPARE(mixed(source, QImage(), mixOf(name, 1), size).pixel(100, 30), QRgb(0));
        QCOMPARE(mixed(QImage(), target, mixOf(name, 0), size).pixel(100, 30), QRgb(0));
        // What nothing is mixed with keeps its colour, and loses its cover.
        const QRgb half = mixed(solid(size, Qt::white), QImage(), mixOf(QString(), 0.5), size).pixel(5, 5);
        QCOMPARE(qRed(half), qAlpha(half));
        QVERIFY(std::abs(qAlpha(half) - 128) <= 1);
    }

    void opaquePicturesStayOpaqueWhateverTheirFourthByteHolds()
    {
        const QSize size(64, 64);
        QImage odd(size, QImage::Format_RGB32);
        for (int y = 0; y < size.height(); ++y) {
            auto* const line = reinterpret_cast<quint32*>(odd.scanLine(y));
            std::fill(line, line + size.width(), 0x12345678U);
        }
        for (const QString& name : {QString(), bars, mod, swipe}) {
            const QImage result = mixed(odd, odd, mixOf(name, 0.4), size);
            QCOMPARE(result.pixel(10, 10), QRgb(0xff345678));
            QCOMPARE(result.pixel(60, 60), QRgb(0xff345678));
        }
    }

    void viewsThatChangeTheirSizeAreMixedAnew()
    {
        Mixer mixer;
        for (const QSize size : {QSize(300, 200), QSize(100, 50), QSize(301, 201), QSize(1, 1)}) {
            QImage result(size, QImage::Format_ARGB32_Premultiplied);
            mixer.mix(result, solid(size, Qt::red), solid(size, Qt::green), mixOf(mod, 0.5), {QSizeF(size), 1});
            QCOMPARE(result, mixed(solid(size, Qt::red), solid(size, Qt::green), mixOf(mod, 0.5), size));
        }
    }

    void everyRowIsWorkedOnOnce_data()
    {
        QTest::addColumn<int>("rows");
        for (const int rows : {0, 1, 31, 32, 33, 64, 1080, 2161}) {
            QTest::addRow("%d", rows) << rows;
        }
    }
    void everyRowIsWorkedOnOnce()
    {
        QFETCH(int, rows);
        Bands bands;
        for (int round = 0; round < 20; ++round) {
            std::vector<std::atomic<int>> visits(rows);
            bands.forEach(rows, [&](int first, int last) {
                for (int row = first; row < last; ++row) {
                    ++visits[row];
                }
            });
            QVERIFY(std::all_of(visits.begin(), visits.end(), [](const auto& count) { return count == 1; }));
        }
    }
};

QTEST_GUILESS_MAIN(FiltersTest)
#include "FiltersTest.moc"
