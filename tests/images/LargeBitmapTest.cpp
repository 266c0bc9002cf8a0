#include "LargeBitmap.h"

#include "PictureFiles.h"

#include <QTest>

using namespace frameflow;

class LargeBitmapTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bitmapsHaveTheirSizeAndFormat_data();
    void bitmapsHaveTheirSizeAndFormat();
    void formatsAreConvertedAsQtDoes_data();
    void formatsAreConvertedAsQtDoes();
    void pixelsOfOneOwnerStayWhereTheyAre();
    void pixelsOfSeveralOwnersAreCopied();
    void readOnlyPixelsAreLeftAlone();
    void coloursOfATableAreLookedUp();
};

namespace {

QImage shades(QSize size)
{
    QImage image(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            image.setPixel(x, y, qRgba(x & 255, y & 255, (x + y) & 255, (x * 3) & 255));
        }
    }
    return image;
}

constexpr QSize large(2400, 1300);

} // namespace

void LargeBitmapTest::bitmapsHaveTheirSizeAndFormat_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("small") << QSize(10, 10);
    QTest::newRow("large") << large;
}

void LargeBitmapTest::bitmapsHaveTheirSizeAndFormat()
{
    QFETCH(QSize, size);
    for (const auto format : {QImage::Format_RGB32, QImage::Format_RGB888, QImage::Format_RGBA64}) {
        QImage image = largeBitmap(size, format);
        QCOMPARE(image.size(), size);
        QCOMPARE(image.format(), format);
        QCOMPARE(image.bytesPerLine() % 4, qsizetype(0));
        image.fill(Qt::white);
        QCOMPARE(image.pixelColor(size.width() - 1, size.height() - 1), QColor(Qt::white));
    }
    QVERIFY(largeBitmap(QSize(), QImage::Format_RGB32).isNull());
}

void LargeBitmapTest::formatsAreConvertedAsQtDoes_data()
{
    QTest::addColumn<QImage::Format>("from");
    QTest::addColumn<QImage::Format>("to");
    constexpr auto premultiplied = QImage::Format_ARGB32_Premultiplied;
    QTest::newRow("alpha") << QImage::Format_ARGB32 << premultiplied;
    QTest::newRow("alpha back") << premultiplied << QImage::Format_ARGB32;
    QTest::newRow("order of bytes") << QImage::Format_RGBA8888 << premultiplied;
    QTest::newRow("three bytes") << QImage::Format_RGB888 << QImage::Format_RGB32;
    QTest::newRow("grey") << QImage::Format_Grayscale8 << QImage::Format_RGB32;
    QTest::newRow("one bit") << QImage::Format_Mono << QImage::Format_RGB32;
    QTest::newRow("deep") << QImage::Format_RGBA64 << premultiplied;
    QTest::newRow("to deep") << QImage::Format_ARGB32 << QImage::Format_RGBA64;
    QTest::newRow("the same") << QImage::Format_RGB32 << QImage::Format_RGB32;
}

void LargeBitmapTest::formatsAreConvertedAsQtDoes()
{
    QFETCH(QImage::Format, from);
    QFETCH(QImage::Format, to);
    // One band, several, lines longer than a band.
    for (const QSize size : {QSize(31, 17), large, QSize(40'000, 3)}) {
        const QImage image = shades(size).convertToFormat(from);
        const QImage expected = image.convertToFormat(to);
        QImage own = image.copy();
        QCOMPARE(inFormat(std::move(own), to), expected);
        QCOMPARE(inFormat(image, to), expected);
        QCOMPARE(inFormat(image, to).format(), to);
    }
    QVERIFY(inFormat(QImage(), to).isNull());
}

void LargeBitmapTest::pixelsOfOneOwnerStayWhereTheyAre()
{
    QImage image = largeBitmap(large, QImage::Format_ARGB32);
    image.fill(qRgba(200, 100, 50, 128));
    const uchar* const pixels = image.constBits();
    const QImage converted = inFormat(std::move(image), QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(converted.constBits(), pixels);
    QCOMPARE(converted.format(), QImage::Format_ARGB32_Premultiplied);
}

void LargeBitmapTest::pixelsOfSeveralOwnersAreCopied()
{
    const QImage image = shades(QSize(100, 100));
    const QImage before = image.copy();
    const QImage converted = inFormat(image, QImage::Format_ARGB32_Premultiplied);
    QVERIFY(converted.constBits() != image.constBits());
    QCOMPARE(image, before);
}

void LargeBitmapTest::readOnlyPixelsAreLeftAlone()
{
    const QImage image = shades(QSize(100, 100));
    const QImage before = image.copy();
    QImage view(image.constBits(), image.width(), image.height(), image.bytesPerLine(), image.format());
    const QImage converted = inFormat(std::move(view), QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(converted, before.convertToFormat(QImage::Format_ARGB32_Premultiplied));
    QCOMPARE(image, before);
}

void LargeBitmapTest::coloursOfATableAreLookedUp()
{
    QImage image(QSize(300, 200), QImage::Format_Indexed8);
    image.setColorTable({qRgb(255, 0, 0), qRgba(0, 255, 0, 128)});
    image.fill(1);
    const QImage converted = inFormat(image, QImage::Format_ARGB32);
    QCOMPARE(converted.pixel(299, 199), qRgba(0, 255, 0, 128));
}

QTEST_GUILESS_MAIN(LargeBitmapTest)
#include "LargeBitmapTest.moc"
