#include "ReducedCopies.h"

#include "FrameRule.h"
#include "Pictures.h"
#include "Reduction.h"

#include <QtTest>

using namespace frameflow;

class ReducedCopiesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newPictureIsReducedAtOnce()
    {
        ReducedCopies copies([] {});
        const QImage picture = noise({200, 100});
        copies.setWanted({{picture, {50, 25}}}, {});
        QVERIFY(!copies.isReducing());
        QCOMPARE(copies.drawable(picture, {50, 25}), reducedTo(picture, {50, 25}));
    }

    void newSizeIsMadeMeanwhile()
    {
        int improvements = 0;
        ReducedCopies copies([&] { ++improvements; });
        const QImage picture = noise({800, 400});
        copies.setWanted({{picture, {50, 25}}}, {});
        copies.setWanted({{picture, {100, 50}}}, {});
        QVERIFY(copies.isReducing());
        QCOMPARE(copies.drawable(picture, {100, 50}).size(), QSize(50, 25)); // the older copy
        copies.setWanted({{picture, {120, 60}}}, {}); // wanted anew before it was there
        QTRY_VERIFY(!copies.isReducing());
        QCOMPARE(copies.drawable(picture, {120, 60}).size(), QSize(120, 60));
        QCOMPARE(improvements, 2);
    }

    void reducesOnlyWhereBothSidesShrink_data()
    {
        QTest::addColumn<QSize>("pixels");
        QTest::addColumn<bool>("reduced");
        QTest::newRow("smaller") << QSize(100, 50) << true;
        QTest::newRow("same") << QSize(200, 100) << false;
        QTest::newRow("same width") << QSize(200, 50) << false;
        QTest::newRow("wider") << QSize(300, 50) << false;
        QTest::newRow("larger") << QSize(300, 150) << false;
    }
    void reducesOnlyWhereBothSidesShrink()
    {
        QFETCH(QSize, pixels);
        QFETCH(bool, reduced);
        ReducedCopies copies([] {});
        const QImage picture = noise({200, 100});
        copies.setWanted({{picture, pixels}}, {});
        QCOMPARE(copies.drawable(picture, pixels).size(), reduced ? pixels : picture.size());
        QCOMPARE(needsReduction(picture.size(), pixels), reduced);
    }

    void drawsWithoutConversion_data()
    {
        QTest::addColumn<QImage::Format>("format");
        QTest::addColumn<QImage::Format>("drawn");
        QTest::newRow("grey") << QImage::Format_Grayscale8 << QImage::Format_RGB32;
        QTest::newRow("rgb") << QImage::Format_RGB888 << QImage::Format_RGB32;
        QTest::newRow("rgba") << QImage::Format_RGBA8888 << QImage::Format_ARGB32_Premultiplied;
        QTest::newRow("argb") << QImage::Format_ARGB32 << QImage::Format_ARGB32_Premultiplied;
        QTest::newRow("ready") << QImage::Format_RGB32 << QImage::Format_RGB32;
    }
    void drawsWithoutConversion()
    {
        QFETCH(QImage::Format, format);
        QFETCH(QImage::Format, drawn);
        for (const QSize pixels : {QSize(100, 50), QSize(300, 300)}) {
            ReducedCopies copies([] {});
            const QImage picture = noise({200, 100}).convertToFormat(format);
            copies.setWanted({{picture, pixels}}, {});
            QCOMPARE(copies.drawable(picture, pixels).format(), drawn);
        }
    }

    void keepsNoMoreThanWhatIsWanted()
    {
        ReducedCopies copies([] {});
        const QImage first = noise({200, 100});
        const QImage second = solid({200, 100}, Qt::red);
        const QImage third = solid({200, 100}, Qt::blue);
        copies.setWanted({{first, {20, 10}}, {second, {20, 10}}}, {});
        copies.setWanted({{second, {20, 10}}, {third, {20, 10}}}, {first.cacheKey()});
        QCOMPARE(copies.drawable(first, {20, 10}).size(), QSize(20, 10));
        copies.setWanted({{second, {20, 10}}, {third, {20, 10}}}, {});
        QCOMPARE(copies.drawable(first, {20, 10}).size(), QSize(200, 100));
        QCOMPARE(copies.drawable(second, {20, 10}).size(), QSize(20, 10));
    }

    void copyStaysWhileTheFrameIsEmpty()
    {
        ReducedCopies copies([] {});
        const QImage picture = noise({200, 100});
        copies.setWanted({{picture, {20, 10}}}, {});
        copies.setWanted({{picture, QSize()}}, {});
        QCOMPARE(copies.drawable(picture, {20, 10}).size(), QSize(20, 10));
    }

    void resultForADroppedPictureIsForgotten()
    {
        int improvements = 0;
        const QImage picture = noise({800, 400});
        auto copies = std::make_unique<ReducedCopies>([&] { ++improvements; });
        copies->setWanted({{picture, {50, 25}}}, {});
        copies->setWanted({{picture, {100, 50}}}, {});
        copies->setWanted({}, {});
        QVERIFY(!copies->isReducing());
        copies->setWanted({{picture, {60, 30}}}, {});
        copies->setWanted({{picture, {110, 55}}}, {});
        copies.reset(); // with work under way
        QCoreApplication::processEvents();
        QCOMPARE(improvements, 0);
    }

    void thinPicturesStayVisible()
    {
        ReducedCopies copies([] {});
        const QImage picture = solid({2, 100000}, Qt::red);
        copies.setWanted({{picture, {1, 100}}}, {});
        QCOMPARE(copies.drawable(picture, {1, 100}).pixelColor(0, 50), QColor(Qt::red));
    }
};

QTEST_GUILESS_MAIN(ReducedCopiesTest)
#include "ReducedCopiesTest.moc"
