#include "AreaReduction.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <cmath>

using namespace frameflow;

namespace {

QImage noise(QSize size, QImage::Format format)
{
    QImage image(size, format);
    QRandomGenerator random(3);
    for (int y = 0; y < size.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const QRgb colour = random.generate();
            line[x] = format == QImage::Format_RGB32 ? colour | 0xff000000U : qPremultiply(colour);
        }
    }
    return image;
}

QImage reduced(const QImage& image, QSize size)
{
    QImage result(size, image.format());
    AreaReduction(image.size(), size).advance(image.constBits(), image.bytesPerLine(), image.height(), result);
    return result;
}

// The mean over the area that a new pixel covers, to the last digit.
double exactMean(const QImage& image, QSize size, int column, int row, int channel)
{
    const double width = double(image.width()) / size.width();
    const double height = double(image.height()) / size.height();
    const auto share = [](int pixel, double begin, double end) {
        return std::max(0.0, std::min<double>(pixel + 1, end) - std::max<double>(pixel, begin));
    };
    double sum = 0;
    for (int y = int(row * height); y < std::min<int>(int(std::ceil((row + 1) * height)) + 1, image.height()); ++y) {
        for (int x = int(column * width); x < std::min<int>(int(std::ceil((column + 1) * width)) + 1, image.width());
             ++x) {
            sum += share(x, column * width, (column + 1) * width) * share(y, row * height, (row + 1) * height)
                * image.constScanLine(y)[4 * x + channel];
        }
    }
    return sum / (width * height);
}

} // namespace

class AreaReductionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sizesThatCanBeMade_data();
    void sizesThatCanBeMade();
    void everyPixelIsTheMeanOfItsArea_data();
    void everyPixelIsTheMeanOfItsArea();
    void plainColoursStayAsTheyAre();
    void opaquePixelsStayOpaque();
    void coloursStayWithinTheirAlpha();
    void theSameSizeChangesNothing();
    void linesMayComeInPieces();
};

void AreaReductionTest::sizesThatCanBeMade_data()
{
    QTest::addColumn<QSize>("from");
    QTest::addColumn<QSize>("to");
    QTest::addColumn<bool>("possible");
    QTest::newRow("a photograph on a screen") << QSize(6000, 4000) << QSize(1620, 1080) << true;
    QTest::newRow("as large as before") << QSize(10, 10) << QSize(10, 10) << true;
    QTest::newRow("wider") << QSize(10, 10) << QSize(11, 5) << false;
    QTest::newRow("higher") << QSize(10, 10) << QSize(5, 11) << false;
    QTest::newRow("empty") << QSize(10, 10) << QSize(0, 5) << false;
    QTest::newRow("nearly the least") << QSize(6399, 10) << QSize(100, 10) << true;
    QTest::newRow("too narrow") << QSize(6400, 10) << QSize(100, 10) << false;
    QTest::newRow("too low") << QSize(10, 6400) << QSize(10, 100) << false;
}

void AreaReductionTest::sizesThatCanBeMade()
{
    QFETCH(QSize, from);
    QFETCH(QSize, to);
    QTEST(AreaReduction::isPossible(from, to), "possible");
}

void AreaReductionTest::everyPixelIsTheMeanOfItsArea_data()
{
    QTest::addColumn<QSize>("from");
    QTest::addColumn<QSize>("to");
    QTest::newRow("half") << QSize(64, 48) << QSize(32, 24);
    QTest::newRow("a fraction") << QSize(601, 401) << QSize(162, 108);
    QTest::newRow("hardly smaller") << QSize(203, 101) << QSize(202, 100);
    QTest::newRow("much smaller") << QSize(630, 315) << QSize(10, 5);
    QTest::newRow("one axis alone") << QSize(100, 40) << QSize(100, 13);
    QTest::newRow("lines of a few bytes") << QSize(3, 90) << QSize(2, 7);
    QTest::newRow("lines that end within a step") << QSize(37, 11) << QSize(9, 4);
    QTest::newRow("one pixel") << QSize(17, 23) << QSize(1, 1);
}

void AreaReductionTest::everyPixelIsTheMeanOfItsArea()
{
    QFETCH(QSize, from);
    QFETCH(QSize, to);
    for (const auto format : {QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied}) {
        const QImage image = noise(from, format);
        const QImage result = reduced(image, to);
        double worst = 0;
        double squares = 0;
        for (int y = 0; y < to.height(); ++y) {
            for (int x = 0; x < to.width(); ++x) {
                for (int channel = 0; channel < 4; ++channel) {
                    const double error = result.constScanLine(y)[4 * x + channel] - exactMean(image, to, x, y, channel);
                    worst = std::max(worst, std::abs(error));
                    squares += error * error;
                }
            }
        }
        QVERIFY2(worst <= 2.5, QByteArray::number(worst).constData());
        const double perChannel = squares / (4.0 * to.width() * to.height());
        QVERIFY2(perChannel < 0.5, QByteArray::number(perChannel).constData());
    }
}

void AreaReductionTest::plainColoursStayAsTheyAre()
{
    for (const QRgb colour : {0xff000000U, 0xffffffffU, 0xff010203U, 0xff7f80feU}) {
        QImage image(101, 77, QImage::Format_RGB32);
        image.fill(colour);
        QImage expected(29, 31, QImage::Format_RGB32);
        expected.fill(colour);
        QCOMPARE(reduced(image, expected.size()), expected);
    }
}

void AreaReductionTest::opaquePixelsStayOpaque()
{
    const QImage result = reduced(noise({123, 87}, QImage::Format_RGB32), {41, 30});
    for (int y = 0; y < result.height(); ++y) {
        for (int x = 0; x < result.width(); ++x) {
            QCOMPARE(int(result.constScanLine(y)[4 * x + 3]), 255);
        }
    }
}

void AreaReductionTest::coloursStayWithinTheirAlpha()
{
    const QImage result = reduced(noise({123, 87}, QImage::Format_ARGB32_Premultiplied), {41, 30});
    for (int y = 0; y < result.height(); ++y) {
        for (int x = 0; x < result.width(); ++x) {
            const uchar* const pixel = result.constScanLine(y) + 4 * x;
            QVERIFY(*std::max_element(pixel, pixel + 3) <= pixel[3]);
        }
    }
}

void AreaReductionTest::theSameSizeChangesNothing()
{
    const QImage image = noise({75, 31}, QImage::Format_RGB32);
    QCOMPARE(reduced(image, image.size()), image);
}

void AreaReductionTest::linesMayComeInPieces()
{
    const QImage image = noise({200, 150}, QImage::Format_RGB32);
    const QSize size(61, 47);
    QImage result(size, image.format());
    AreaReduction reduction(image.size(), size);
    // What has not come yet is not looked at.
    QImage sofar(image.size(), image.format());
    sofar.fill(Qt::magenta);
    for (int lines = 0; lines <= image.height(); lines += 1 + lines % 7) {
        for (int y = 0; y < lines; ++y) {
            std::copy_n(image.constScanLine(y), image.bytesPerLine(), sofar.scanLine(y));
        }
        reduction.advance(sofar.constBits(), sofar.bytesPerLine(), lines, result);
    }
    reduction.advance(image.constBits(), image.bytesPerLine(), image.height(), result);
    QCOMPARE(result, reduced(image, size));
}

QTEST_GUILESS_MAIN(AreaReductionTest)
#include "AreaReductionTest.moc"
