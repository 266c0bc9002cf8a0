#include "Presentation.h"

#include "Compositor.h"
#include "ManualClock.h"
#include "Pictures.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

const QString key = QStringLiteral("transition");

AnimationPtr fadeOver(Duration duration)
{
    return makeAnimation(TransitionEffect(), duration, nullptr);
}

} // namespace

class PresentationTest : public QObject
{
    Q_OBJECT

    ManualClock mClock;
    std::shared_ptr<Compositor> mCompositor;
    LayerPtr mRoot;
    LayerPtr mBelow;
    LayerPtr mAbove;
    QImage mRed = solid({4, 4}, Qt::red);
    QImage mGreen = solid({4, 4}, Qt::green);

    LayerPtr addLayer(const QImage& contents)
    {
        auto layer = std::make_shared<Layer>(mCompositor);
        layer->setFrame(QRectF(0, 0, 200, 100));
        layer->setContents(contents);
        mRoot->addSublayer(layer);
        return layer;
    }
    DrawList items() const { return presentation(*mRoot, mClock.now()); }
    QList<QRgb> colors() const
    {
        QList<QRgb> result;
        for (const DrawItem& item : items()) {
            result << item.picture.pixel(0, 0);
        }
        return result;
    }

private Q_SLOTS:
    void init()
    {
        mCompositor = Compositor::create(mClock, [] {});
        mRoot = std::make_shared<Layer>(mCompositor);
        mRoot->setFrame(QRectF(0, 0, 200, 100));
        mBelow = addLayer(mRed);
        mAbove = addLayer(mGreen);
    }

    void drawsInOrderOfZPositionThenOfSiblings()
    {
        const QRgb red = mRed.pixel(0, 0);
        const QRgb green = mGreen.pixel(0, 0);
        QCOMPARE(colors(), (QList<QRgb>{red, green}));
        mBelow->setZPosition(1.0);
        QCOMPARE(colors(), (QList<QRgb>{green, red}));
        mAbove->setZPosition(1.0);
        QCOMPARE(colors(), (QList<QRgb>{red, green}));
        mRoot->insertSublayerAbove(mBelow, *mAbove);
        QCOMPARE(colors(), (QList<QRgb>{green, red}));
    }

    void frontLayerIsDrawnLastWhateverTheNumbersSay()
    {
        const LayerPtr front = addLayer(solid({4, 4}, Qt::blue));
        front->setLevel(LayerLevel::Front);
        front->setZPosition(2.0);
        mBelow->setZPosition(10000.0);
        mRoot->insertSublayerAbove(mAbove, *front);
        QCOMPARE(colors().last(), QColor(Qt::blue).rgb());
    }

    void leavesOutWhatCannotBeSeen()
    {
        mBelow->setOpacity(0.0);
        mAbove->setContents(QImage());
        QVERIFY(items().empty());
        mAbove->setContents(mGreen);
        mRoot->setOpacity(0.0);
        QVERIFY(items().empty());
    }

    void mapsAnimatedLayersIntoTheView()
    {
        mAbove->setAnchorPoint(QPointF(0, 0));
        mAbove->setFrame(QRectF(20, 10, 100, 50));
        mAbove->addAnimation(makeAnimation({KeyPath::PositionX, 20, 60}, 1s, Curve::Linear, nullptr), key);
        mAbove->addAnimation(
            makeAnimation({KeyPath::BoundsSizeWidth, 100, 0}, 1s, Curve::Linear, nullptr), QStringLiteral("second"));
        mClock.advance(500ms);
        const DrawItem item = items().back();
        QCOMPARE(item.toView.mapRect(item.bounds), QRectF(40, 10, 50, 50));
    }

    void opacityIsInheritedAndKeptInRange()
    {
        mRoot->setOpacity(0.5);
        mAbove->setOpacity(0.5);
        QCOMPARE(items().back().opacity, 0.25);
        mRoot->setOpacity(1.0);
        mAbove->setOpacity(7.0);
        QCOMPARE(items().back().opacity, 1.0);
    }

    void fadeToNothingLeadsFromWhatWasShown()
    {
        mAbove->addAnimation(fadeOver(1s), key);
        mAbove->setOpacity(0.0);
        mAbove->setContents(mRed);
        mAbove->setPosition(QPointF(500, 500));
        QCOMPARE(items().back().opacity, 1.0);
        mClock.advance(250ms);
        const DrawItem item = items().back();
        QVERIFY(!item.mix);
        QCOMPARE(item.opacity, 0.75);
        QCOMPARE(item.picture.pixel(0, 0), mGreen.pixel(0, 0));
        QCOMPARE(item.toView.mapRect(item.bounds), QRectF(0, 0, 200, 100));
        mClock.advance(750ms);
        QCOMPARE(items().size(), size_t(1));
    }

    void fadeFromNothingFollowsTheModel()
    {
        mAbove->setOpacity(0.0);
        mAbove->addAnimation(fadeOver(1s), key);
        mAbove->setOpacity(0.5);
        mClock.advance(500ms);
        QCOMPARE(items().back().opacity, 0.25);
        mAbove->setOpacity(1.0); // the model now, not when the fade began
        QCOMPARE(items().back().opacity, 0.5);
    }

    void fadeBetweenTwoPicturesMixes()
    {
        mAbove->addAnimation(fadeOver(1s), key);
        mAbove->setContents(mRed);
        mClock.advance(250ms);
        const DrawItem item = items().back();
        QVERIFY(item.mix);
        QCOMPARE(item.mix->progress, 0.25);
        QCOMPARE(item.mix->source.front().picture.pixel(0, 0), mGreen.pixel(0, 0));
        QCOMPARE(item.mix->target.front().picture.pixel(0, 0), mRed.pixel(0, 0));
        QCOMPARE(picturesIn(items()), (QSet<qint64>{mRed.cacheKey(), mGreen.cacheKey()}));
    }

    void progressRunsBetweenItsEnds()
    {
        TransitionEffect effect;
        effect.startProgress = 0.5;
        effect.endProgress = 0.7;
        mAbove->addAnimation(makeAnimation(effect, 1s, nullptr), key);
        mAbove->setOpacity(0.0);
        mClock.advance(500ms);
        QVERIFY(std::abs(items().back().opacity - 0.4) < 1e-9);
    }

    void pushMovesBothByTheWidthOfTheView()
    {
        mBelow->setOpacity(0.0);
        TransitionEffect effect;
        effect.kind = TransitionEffect::Kind::PushFromRight;
        mAbove->addAnimation(makeAnimation(effect, 1s, nullptr), key);
        mAbove->setContents(mRed);
        mClock.advance(250ms);
        const DrawList list = items();
        QCOMPARE(list.size(), size_t(2));
        QCOMPARE(list[0].picture.pixel(0, 0), mGreen.pixel(0, 0));
        QCOMPARE(list[0].toView.mapRect(list[0].bounds), QRectF(-50, 0, 200, 100));
        QCOMPARE(list[1].toView.mapRect(list[1].bounds), QRectF(150, 0, 200, 100));
    }

    void filterIsHandedOnByNameWithItsExtent()
    {
        TransitionEffect effect;
        effect.kind = TransitionEffect::Kind::Filter;
        effect.filterName = QStringLiteral("Swirl");
        effect.inputExtent = QRectF(0, 0, 200, 100);
        mAbove->addAnimation(makeAnimation(effect, 1s, nullptr), key);
        mAbove->setOpacity(0.0);
        mClock.advance(750ms);
        const DrawItem item = items().back();
        QVERIFY(item.mix);
        QCOMPARE(item.mix->effect.filterName, effect.filterName);
        QCOMPARE(item.mix->effect.inputExtent, effect.inputExtent);
        QCOMPARE(item.mix->progress, 0.75);
        QCOMPARE(item.mix->source.size(), size_t(1));
        QVERIFY(item.mix->target.empty());
    }

    void fadeBeginsFromTheFadeThatItReplaces()
    {
        mAbove->addAnimation(fadeOver(1s), key);
        mAbove->setOpacity(0.0);
        mClock.advance(500ms);
        mAbove->addAnimation(fadeOver(1s), key); // from half seen to nothing
        QCOMPARE(items().back().opacity, 0.5);
        mClock.advance(500ms);
        QCOMPARE(items().back().opacity, 0.25);
    }

    void endlessReplacingStaysBounded()
    {
        for (int i = 0; i < 1000; ++i) {
            mAbove->addAnimation(fadeOver(1s), key);
            mAbove->setContents(solid({4, 4}, QColor(i % 256, 0, 0)));
            mClock.advance(100ms);
        }
        QVERIFY(picturesIn(items()).size() < 20);
    }

    void changesNothing()
    {
        mAbove->addAnimation(fadeOver(1s), key);
        mAbove->setOpacity(0.0);
        const auto runs = mAbove->runs();
        presentation(*mRoot, mClock.now() + 10s);
        QCOMPARE(mAbove->runs(), runs);
        QCOMPARE(items().back().opacity, 1.0);
    }
};

QTEST_GUILESS_MAIN(PresentationTest)
#include "PresentationTest.moc"
