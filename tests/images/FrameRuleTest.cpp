#include "FrameRule.h"

#include <QTest>

#include <limits>

using namespace frameflow;

// What size a picture is shown in.
class FrameRuleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyModeHasItsSize_data();
    void everyModeHasItsSize();
    void sizesAreWholeDevicePixels_data();
    void sizesAreWholeDevicePixels();
    void withoutASizeItSaysNothing_data();
    void withoutASizeItSaysNothing();
    void onlyWhatShrinksOnBothSidesIsReduced_data();
    void onlyWhatShrinksOnBothSidesIsReduced();
    void aBitmapThatIsReducedAlreadyCountsAsItIs();
    void picturesStandInTheMiddleOrFillTheView();
};

Q_DECLARE_METATYPE(frameflow::FitMode)

void FrameRuleTest::everyModeHasItsSize_data()
{
    QTest::addColumn<FitMode>("mode");
    QTest::addColumn<QSize>("picture");
    QTest::addColumn<QSize>("pixels");
    QTest::newRow("shrink, small") << FitMode::Shrink << QSize(400, 300) << QSize(400, 300);
    QTest::newRow("shrink, large") << FitMode::Shrink << QSize(6000, 4000) << QSize(1620, 1080);
    QTest::newRow("zoom, small") << FitMode::Zoom << QSize(400, 300) << QSize(1440, 1080);
    QTest::newRow("zoom, large") << FitMode::Zoom << QSize(6000, 4000) << QSize(1620, 1080);
    QTest::newRow("fill, small") << FitMode::Fill << QSize(400, 300) << QSize(1920, 1440);
    QTest::newRow("fill, large") << FitMode::Fill << QSize(6000, 4000) << QSize(1920, 1280);
    QTest::newRow("stretch, small") << FitMode::Stretch << QSize(400, 300) << QSize(1920, 1080);
    QTest::newRow("stretch, large") << FitMode::Stretch << QSize(6000, 4000) << QSize(1920, 1080);
}

void FrameRuleTest::everyModeHasItsSize()
{
    QFETCH(const FitMode, mode);
    QFETCH(const QSize, picture);
    const FrameRule rule{QSizeF(1920, 1080), 1, mode};
    QTEST(rule.pixelsFor(picture), "pixels");
}

void FrameRuleTest::sizesAreWholeDevicePixels_data()
{
    QTest::addColumn<QSizeF>("view");
    QTest::addColumn<double>("pixelsPerPoint");
    QTest::addColumn<QSize>("pixels");
    QTest::newRow("two in a point") << QSizeF(960, 540) << 2.0 << QSize(1920, 1080);
    QTest::newRow("one and a half in a point") << QSizeF(101, 51) << 1.5 << QSize(152, 77);
    QTest::newRow("below the half") << QSizeF(100.49, 50.49) << 1.0 << QSize(100, 50);
    QTest::newRow("the half") << QSizeF(100.5, 50.5) << 1.0 << QSize(101, 51);
}

void FrameRuleTest::sizesAreWholeDevicePixels()
{
    QFETCH(const QSizeF, view);
    QFETCH(const double, pixelsPerPoint);
    const FrameRule rule{view, pixelsPerPoint, FitMode::Stretch};
    QTEST(rule.pixelsFor(QSize(6000, 4000)), "pixels");
}

void FrameRuleTest::withoutASizeItSaysNothing_data()
{
    const double infinite = std::numeric_limits<double>::infinity();
    const double none = std::numeric_limits<double>::quiet_NaN();
    QTest::addColumn<FrameRule>("rule");
    QTest::addColumn<QSize>("picture");
    const QSize picture(400, 300);
    QTest::newRow("no view") << FrameRule() << picture;
    QTest::newRow("a view without height") << FrameRule{QSizeF(100, 0), 1, FitMode::Fill} << picture;
    QTest::newRow("less than half a pixel") << FrameRule{QSizeF(100, 0.4), 1, FitMode::Stretch} << picture;
    QTest::newRow("endless") << FrameRule{QSizeF(infinite, 100), 1, FitMode::Stretch} << picture;
    QTest::newRow("no number") << FrameRule{QSizeF(100, 100), none, FitMode::Stretch} << picture;
    QTest::newRow("beyond every screen") << FrameRule{QSizeF(1e6, 1e6), 1e6, FitMode::Stretch} << picture;
    QTest::newRow("a picture of no size") << FrameRule{QSizeF(100, 100), 1, FitMode::Zoom} << QSize(0, 0);
}

Q_DECLARE_METATYPE(frameflow::FrameRule)

void FrameRuleTest::withoutASizeItSaysNothing()
{
    QFETCH(const FrameRule, rule);
    QFETCH(const QSize, picture);
    QVERIFY(rule.pixelsFor(picture).isEmpty());
    QVERIFY(rule.reductionOf(picture, picture).isEmpty());
}

void FrameRuleTest::onlyWhatShrinksOnBothSidesIsReduced_data()
{
    QTest::addColumn<QSize>("picture");
    QTest::addColumn<bool>("reduced");
    QTest::newRow("larger") << QSize(200, 100) << true;
    QTest::newRow("a pixel larger") << QSize(101, 51) << true;
    QTest::newRow("as large") << QSize(100, 50) << false;
    QTest::newRow("as wide") << QSize(100, 51) << false;
    QTest::newRow("as high") << QSize(101, 50) << false;
    QTest::newRow("smaller") << QSize(10, 5) << false;
}

void FrameRuleTest::onlyWhatShrinksOnBothSidesIsReduced()
{
    QFETCH(const QSize, picture);
    QFETCH(const bool, reduced);
    const FrameRule rule{QSizeF(100, 50), 1, FitMode::Stretch};
    QCOMPARE(rule.reductionOf(picture, picture), reduced ? QSize(100, 50) : QSize());
}

void FrameRuleTest::aBitmapThatIsReducedAlreadyCountsAsItIs()
{
    const FrameRule rule{QSizeF(9000, 6000), 1, FitMode::Shrink};
    QCOMPARE(rule.reductionOf(QSize(20000, 10000), QSize(10000, 5000)), QSize(9000, 4500));
    QVERIFY(rule.reductionOf(QSize(20000, 10000), QSize(8000, 4000)).isEmpty());
}

void FrameRuleTest::picturesStandInTheMiddleOrFillTheView()
{
    const QSizeF view(200, 100);
    QCOMPARE(frameIn(view, QSizeF(50, 50), FitMode::Shrink), QRectF(75, 25, 50, 50));
    QCOMPARE(frameIn(view, QSizeF(50, 50), FitMode::Zoom), QRectF(50, 0, 100, 100));
    QCOMPARE(frameIn(view, QSizeF(50, 50), FitMode::Fill), QRectF(0, -50, 200, 200));
    QCOMPARE(frameIn(view, QSizeF(50, 50), FitMode::Stretch), QRectF(0, 0, 200, 100));
}

QTEST_GUILESS_MAIN(FrameRuleTest)
#include "FrameRuleTest.moc"
