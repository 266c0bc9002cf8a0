#include "RectText.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace frameflow;

class RectTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesOriginAndSize();
    void everyRectangleComesBackExactly_data();
    void everyRectangleComesBackExactly();
    void readsWithAndWithoutBlanks_data();
    void readsWithAndWithoutBlanks();
    void garbageIsTheZeroRectangle_data();
    void garbageIsTheZeroRectangle();
};

void RectTextTest::writesOriginAndSize()
{
    QCOMPARE(textFromRect(QRectF(0, 0, 1920, 1080)), QStringLiteral("{{0, 0}, {1920, 1080}}"));
    QCOMPARE(textFromRect(QRectF(-1280, 0.5, 1280, 800)), QStringLiteral("{{-1280, 0.5}, {1280, 800}}"));
}

void RectTextTest::everyRectangleComesBackExactly_data()
{
    QTest::addColumn<QRectF>("rect");
    QTest::newRow("zero") << QRectF();
    QTest::newRow("display") << QRectF(0, 0, 2560, 1440);
    QTest::newRow("left of the main display") << QRectF(-1920, -200, 1920, 1080);
    QTest::newRow("fractions") << QRectF(0.1, 1.0 / 3, 853.3333333333334, 1e-7);
    QTest::newRow("huge") << QRectF(-1e300, 1e300, 1e300, 123456789012345678.0);
    QTest::newRow("negative size") << QRectF(1, 2, -3, -4);
}

void RectTextTest::everyRectangleComesBackExactly()
{
    QFETCH(QRectF, rect);
    const QRectF read = rectFromText(textFromRect(rect));
    QVERIFY(read.x() == rect.x() && read.y() == rect.y()); // not QCOMPARE, which is lenient for doubles
    QVERIFY(read.width() == rect.width() && read.height() == rect.height());
}

void RectTextTest::readsWithAndWithoutBlanks_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << QStringLiteral("{{1,2},{3,4}}");
    QTest::newRow("usual") << QStringLiteral("{{1, 2}, {3, 4}}");
    QTest::newRow("many") << QStringLiteral(" { {1 , 2} ,\t{ 3,4 } } \n");
    QTest::newRow("fractions") << QStringLiteral("{{1.0, 2.}, {3e0, 0.4e1}}");
}

void RectTextTest::readsWithAndWithoutBlanks()
{
    QFETCH(QString, text);
    QCOMPARE(rectFromText(text), QRectF(1, 2, 3, 4));
}

void RectTextTest::garbageIsTheZeroRectangle_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << QString();
    QTest::newRow("word") << QStringLiteral("full");
    QTest::newRow("three numbers") << QStringLiteral("{{1, 2}, {3}}");
    QTest::newRow("five numbers") << QStringLiteral("{{1, 2}, {3, 4, 5}}");
    QTest::newRow("flat") << QStringLiteral("{1, 2, 3, 4}");
    QTest::newRow("no outer braces") << QStringLiteral("{1, 2}, {3, 4}");
    QTest::newRow("half") << QStringLiteral("{{1, 2}, {3, 4}");
    QTest::newRow("something behind") << QStringLiteral("{{1, 2}, {3, 4}} x");
    QTest::newRow("words for numbers") << QStringLiteral("{{a, b}, {c, d}}");
    QTest::newRow("one word") << QStringLiteral("{{1, 2}, {3, wide}}");
    QTest::newRow("not a number") << QStringLiteral("{{nan, 2}, {3, 4}}");
    QTest::newRow("infinite") << QStringLiteral("{{1, 2}, {inf, 4}}");
    QTest::newRow("beyond every number") << QStringLiteral("{{1, 2}, {1e999, 4}}");
    QTest::newRow("NUL") << QStringLiteral("{{1, 2}, {3, 4}}") + QChar(0);
    QTest::newRow("many braces") << QString(100000, QLatin1Char('{'));
    QTest::newRow("many blanks") << QLatin1Char('{') + QString(100000, QLatin1Char(' '));
}

void RectTextTest::garbageIsTheZeroRectangle()
{
    QFETCH(QString, text);
    const QRectF rect = rectFromText(text);
    QVERIFY(rect.x() == 0 && rect.y() == 0 && rect.width() == 0 && rect.height() == 0);
}

QTEST_GUILESS_MAIN(RectTextTest)
#include "RectTextTest.moc"
