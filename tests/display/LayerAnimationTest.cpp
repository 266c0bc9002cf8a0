#include "Compositor.h"
#include "ManualClock.h"
#include "Presentation.h"

#include <QtTest>

#include <map>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

const QString key = QStringLiteral("key");
const QString otherKey = QStringLiteral("other");

// Writes down what it is told, by the names given to the animations.
class Recorder : public AnimationDelegate
{
public:
    void animationDidStart(const AnimationPtr& animation) override
    {
        log << names[animation] + QStringLiteral(" starts");
        if (onStart) {
            onStart();
        }
    }
    void animationDidStop(const AnimationPtr& animation, bool finished) override
    {
        log << names[animation] + (finished ? QStringLiteral(" finished") : QStringLiteral(" stopped"));
        if (onStop) {
            onStop();
        }
    }
    QStringList takeLog() { return std::exchange(log, {}); }

    std::map<AnimationPtr, QString> names;
    QStringList log;
    std::function<void()> onStart;
    std::function<void()> onStop;
};

QStringList texts(std::initializer_list<const char*> list)
{
    QStringList result;
    for (const char* text : list) {
        result << QString::fromLatin1(text);
    }
    return result;
}

} // namespace

class LayerAnimationTest : public QObject
{
    Q_OBJECT

    struct Scene
    {
        Scene()
        {
            layer = std::make_shared<Layer>(compositor);
            layer->setFrame(QRectF(0, 0, 100, 50));
        }

        AnimationPtr make(const char* name, KeyPath path, float from, float to, Duration duration = 1s)
        {
            const AnimationPtr animation = makeAnimation({path, from, to}, duration, Curve::Linear, recorder.get());
            recorder->names[animation] = QString::fromLatin1(name);
            return animation;
        }
        AnimationPtr fadeIn(const char* name, Duration duration = 1s)
        {
            return make(name, KeyPath::Opacity, 0, 1, duration);
        }
        LayerValues presented() const { return presentedValues(*layer, clock.now()); }

        ManualClock clock;
        int changes = 0;
        std::shared_ptr<Compositor> compositor = Compositor::create(clock, [this] { ++changes; });
        std::unique_ptr<Recorder> recorder = std::make_unique<Recorder>();
        LayerPtr layer;
    };

private Q_SLOTS:
    void halfWay()
    {
        Scene scene;
        scene.layer->setOpacity(0.75);
        scene.layer->addAnimation(scene.make("a", KeyPath::Opacity, 0.2F, 0.8F), key);
        QVERIFY(std::abs(scene.presented().opacity - 0.2) < 1e-6);
        scene.clock.advance(500ms);
        QVERIFY(std::abs(scene.presented().opacity - 0.5) < 1e-6);
        QCOMPARE(scene.layer->opacity(), 0.75); // the model is what was set
        scene.clock.advance(500ms);
        QCOMPARE(scene.presented().opacity, 0.75);
    }

    void everyKeyPathMovesItsOwnNumber_data()
    {
        QTest::addColumn<int>("path");
        for (int path = 0; path <= static_cast<int>(KeyPath::TransformRotationZ); ++path) {
            QTest::addRow("%d", path) << path;
        }
    }
    void everyKeyPathMovesItsOwnNumber()
    {
        QFETCH(int, path);
        Scene scene;
        const auto numbers = [&] {
            const LayerValues values = scene.presented();
            return std::vector<double>{values.bounds.width(), values.bounds.height(), values.position.x(),
                values.position.y(), values.opacity, values.transform.rotationX, values.transform.rotationZ};
        };
        std::vector<double> expected = numbers();
        expected[path] = 5;
        scene.layer->addAnimation(scene.make("a", static_cast<KeyPath>(path), 4, 6), key);
        scene.clock.advance(500ms);
        QCOMPARE(numbers(), expected);
    }

    void curveSetsThePace()
    {
        Scene scene;
        scene.layer->addAnimation(makeAnimation({KeyPath::PositionX, 0, 100}, 1s, Curve::EaseIn, nullptr), key);
        scene.clock.advance(500ms);
        QVERIFY(std::abs(scene.presented().position.x() - 31.53568) < 1e-4);
    }

    void pastTheEndInOneJump()
    {
        Scene scene;
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.clock.jump(1h);
        QCOMPARE(scene.presented().opacity, 1.0);
        scene.clock.advance(0s);
        QCOMPARE(scene.recorder->log, texts({"a starts", "a finished"}));
        QVERIFY(!scene.compositor->isMoving());
        QCOMPARE(scene.clock.pendingAlarms(), size_t(0));
    }

    void twoPropertiesStayInStep()
    {
        Scene scene;
        scene.layer->addAnimation(scene.make("w", KeyPath::BoundsSizeWidth, 100, 0), key);
        scene.layer->addAnimation(scene.make("h", KeyPath::BoundsSizeHeight, 50, 0), otherKey);
        for (int i = 0; i < 9; ++i) {
            scene.clock.advance(100ms);
            QCOMPARE(scene.presented().bounds.width(), 2 * scene.presented().bounds.height());
        }
        scene.clock.advance(100ms);
        QCOMPARE(scene.recorder->log, texts({"w starts", "h starts", "w finished", "h finished"}));
    }

    void sameKeyReplacedMidWay()
    {
        Scene scene;
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.clock.advance(500ms);
        QCOMPARE(scene.recorder->takeLog(), texts({"a starts"}));
        const AnimationPtr second = scene.make("b", KeyPath::Opacity, 1, 0);
        scene.layer->addAnimation(second, key);
        QCOMPARE(scene.layer->animation(key), second);
        QCOMPARE(scene.layer->runs().size(), size_t(1));
        QCOMPARE(scene.presented().opacity, 1.0);
        scene.compositor->deliverPending();
        QCOMPARE(scene.recorder->takeLog(), texts({"a stopped", "b starts"}));
        scene.clock.advance(1s);
        QCOMPARE(scene.recorder->takeLog(), texts({"b finished"}));
    }

    void replacedBeforeItsStartGetsNoCallback()
    {
        Scene scene;
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.layer->addAnimation(scene.fadeIn("b"), key);
        scene.layer->addAnimation(scene.fadeIn("c"), otherKey);
        scene.layer->removeAnimation(otherKey);
        scene.compositor->deliverPending();
        QCOMPARE(scene.recorder->takeLog(), texts({"b starts"}));
    }

    void removalEndsUnfinished()
    {
        Scene scene;
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.layer->addAnimation(scene.fadeIn("b"), otherKey);
        scene.clock.advance(100ms);
        scene.recorder->takeLog();
        scene.layer->removeAnimation(QStringLiteral("unknown"));
        scene.layer->removeAllAnimations();
        QCOMPARE(scene.recorder->log, QStringList()); // not from within the call
        QCOMPARE(scene.presented().opacity, 1.0);
        scene.compositor->deliverPending();
        QCOMPARE(scene.recorder->takeLog(), texts({"a stopped", "b stopped"}));
        QVERIFY(!scene.layer->animation(key));
        QCOMPARE(scene.clock.pendingAlarms(), size_t(0));
        scene.clock.advance(2s);
        scene.compositor->deliverPending();
        QCOMPARE(scene.recorder->log, QStringList()); // once only
    }

    void endsComeBeforeStarts()
    {
        Scene scene;
        const LayerPtr other = std::make_shared<Layer>(scene.compositor);
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.compositor->deliverPending();
        scene.recorder->takeLog();
        other->addAnimation(scene.fadeIn("b"), key);
        scene.layer->removeAllAnimations();
        scene.compositor->deliverPending();
        QCOMPARE(scene.recorder->takeLog(), texts({"a stopped", "b starts"}));
    }

    void oneAnimationRunsOnEachOfItsLayers()
    {
        Scene scene;
        const LayerPtr other = std::make_shared<Layer>(scene.compositor);
        const AnimationPtr animation = scene.fadeIn("a");
        scene.layer->addAnimation(animation, key);
        other->addAnimation(animation, key);
        scene.clock.advance(1s);
        QCOMPARE(scene.recorder->takeLog(), texts({"a starts", "a starts", "a finished", "a finished"}));
    }

    void callbacksComeBeforeTheNextEvent()
    {
        Scene scene;
        QMetaObject::invokeMethod(
            this, [&] { scene.recorder->log << QStringLiteral("next event"); }, Qt::QueuedConnection);
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        QCOMPARE(scene.recorder->log, QStringList());
        QCoreApplication::processEvents();
        QCOMPARE(scene.recorder->log, texts({"a starts", "next event"}));
    }

    void callbacksComeBeforeEventsThatAreUnderWay()
    {
        Scene scene;
        QMetaObject::invokeMethod(
            this, [&] { scene.layer->addAnimation(scene.fadeIn("a"), key); }, Qt::QueuedConnection);
        QMetaObject::invokeMethod(
            this, [&] { scene.recorder->log << QStringLiteral("next event"); }, Qt::QueuedConnection);
        QCoreApplication::processEvents();
        QCOMPARE(scene.recorder->log, texts({"a starts", "next event"}));
    }

    void callbacksWaitForTheHandlerToReturn()
    {
        Scene scene;
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        QEvent resize(QEvent::Resize); // as a handler sends it that changes a window
        QCoreApplication::sendEvent(this, &resize);
        QCOMPARE(scene.recorder->log, QStringList());
    }

    void callbackStartsAnother()
    {
        Scene scene;
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        const AnimationPtr next = scene.fadeIn("b");
        scene.recorder->onStop = [&] {
            scene.recorder->onStop = nullptr;
            scene.layer->addAnimation(next, key);
        };
        scene.clock.advance(1s);
        QCOMPARE(scene.recorder->takeLog(), texts({"a starts", "a finished"}));
        QVERIFY(scene.compositor->isMoving());
        QCoreApplication::processEvents();
        QCOMPARE(scene.recorder->takeLog(), texts({"b starts"}));
        scene.clock.advance(500ms);
        QCOMPARE(scene.presented().opacity, 0.5);
        scene.clock.advance(500ms);
        QCOMPARE(scene.recorder->takeLog(), texts({"b finished"}));
    }

    void callbackReleasesTheLayer_data()
    {
        QTest::addColumn<bool>("atStart");
        QTest::newRow("at the start") << true;
        QTest::newRow("at the end") << false;
    }
    void callbackReleasesTheLayer()
    {
        QFETCH(bool, atStart);
        Scene scene;
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.layer->addAnimation(scene.fadeIn("b", 2s), otherKey);
        (atStart ? scene.recorder->onStart : scene.recorder->onStop) = [&] { scene.layer.reset(); };
        scene.clock.advance(3s);
        QCoreApplication::processEvents();
        QCOMPARE(scene.recorder->takeLog(),
            atStart ? texts({"a starts", "a stopped"}) : texts({"a starts", "b starts", "a finished", "b stopped"}));
        QCOMPARE(scene.clock.pendingAlarms(), size_t(0));
    }

    void callbackReleasesEverything_data() { callbackReleasesTheLayer_data(); }
    void callbackReleasesEverything()
    {
        QFETCH(bool, atStart);
        Scene scene;
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.layer->addAnimation(scene.fadeIn("b"), otherKey);
        int calls = 0;
        const auto releaseAll = [&] {
            ++calls;
            scene.compositor->stop();
            scene.layer.reset();
            scene.compositor.reset();
        };
        (atStart ? scene.recorder->onStart : scene.recorder->onStop) = releaseAll;
        if (atStart) {
            QCoreApplication::processEvents(); // from the posted delivery
        }
        scene.clock.advance(3s); // from a frame
        QCoreApplication::processEvents();
        QCOMPARE(calls, 1);
        QCOMPARE(scene.clock.pendingAlarms(), size_t(0));
    }

    void aDelegateThatIsGoneIsNotCalled()
    {
        Scene scene;
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.recorder->names.clear();
        scene.recorder.reset();
        scene.clock.advance(500ms);
        QCOMPARE(scene.presented().opacity, 0.5);
        scene.clock.advance(500ms);
        QVERIFY(!scene.compositor->isMoving());
    }

    void zeroDurationStartsAndEnds()
    {
        Scene scene;
        scene.layer->setOpacity(0.75);
        scene.layer->addAnimation(scene.fadeIn("a", 0s), key);
        QCOMPARE(scene.presented().opacity, 0.75);
        scene.clock.advance(0s);
        QCOMPARE(scene.recorder->takeLog(), texts({"a starts", "a finished"}));
        QCOMPARE(scene.clock.pendingAlarms(), size_t(0));
    }

    void timeGoingBackwards()
    {
        Scene scene;
        scene.layer->addAnimation(scene.make("a", KeyPath::Opacity, 0.25F, 0.75F), key);
        scene.clock.advance(500ms);
        scene.clock.jump(-10s);
        QCOMPARE(scene.presented().opacity, 0.25);
        scene.compositor->deliverPending();
        QCOMPARE(scene.recorder->takeLog(), texts({"a starts"}));
        scene.clock.advance(11s);
        QCOMPARE(scene.recorder->takeLog(), texts({"a finished"}));
    }

    void lastsAsLongAtAnyRefreshRate_data()
    {
        QTest::addColumn<double>("hertz");
        QTest::addColumn<int>("frames");
        QTest::newRow("24") << 24.0 << 24;
        QTest::newRow("60") << 60.0 << 60;
        QTest::newRow("144") << 144.0 << 144;
    }
    void lastsAsLongAtAnyRefreshRate()
    {
        QFETCH(double, hertz);
        QFETCH(int, frames);
        Scene scene;
        scene.compositor->setRefreshRate(hertz);
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.compositor->deliverPending();
        scene.recorder->takeLog();
        scene.changes = 0;
        scene.clock.advance(1s - 1ns);
        QCOMPARE(scene.recorder->log, QStringList());
        QVERIFY(std::abs(scene.changes - (frames - 1)) <= 1);
        scene.clock.advance(1ns);
        QCOMPARE(scene.recorder->log, texts({"a finished"}));
    }

    void endsBetweenFramesToo()
    {
        Scene scene;
        scene.compositor->setRefreshRate(60);
        scene.layer->addAnimation(scene.fadeIn("a", 203ms), key);
        scene.clock.advance(203ms);
        QCOMPARE(scene.recorder->takeLog(), texts({"a starts", "a finished"}));
    }

    void nothingIsScheduledWhenNothingMoves()
    {
        Scene scene;
        scene.layer->setOpacity(0.5);
        scene.layer->setPosition(QPointF(3, 3));
        QCOMPARE(scene.clock.pendingAlarms(), size_t(0));
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        QCOMPARE(scene.clock.pendingAlarms(), size_t(1));
        scene.clock.advance(1s);
        QCOMPARE(scene.clock.pendingAlarms(), size_t(0));
        scene.changes = 0;
        scene.clock.advance(1h);
        QCOMPARE(scene.changes, 0);
    }

    void durationsCanBeScaled()
    {
        Scene scene;
        scene.compositor->setDurationScale(0.1);
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.clock.advance(50ms);
        QCOMPARE(scene.presented().opacity, 0.5);
        scene.compositor->setDurationScale(0);
        scene.layer->addAnimation(scene.fadeIn("b"), otherKey);
        scene.clock.advance(0s);
        QCOMPARE(scene.recorder->takeLog(), texts({"a starts", "b starts", "b finished"}));
    }

    void movingALayerInTheTreeKeepsItsAnimations()
    {
        Scene scene;
        const LayerPtr root = std::make_shared<Layer>(scene.compositor);
        const LayerPtr sibling = std::make_shared<Layer>(scene.compositor);
        root->addSublayer(scene.layer);
        root->addSublayer(sibling);
        scene.layer->addAnimation(scene.fadeIn("a"), key);
        scene.layer->removeFromSuperlayer();
        root->insertSublayerAbove(scene.layer, *sibling);
        scene.clock.advance(500ms);
        QCOMPARE(scene.presented().opacity, 0.5);
        QCOMPARE(scene.recorder->takeLog(), texts({"a starts"}));
    }
};

QTEST_GUILESS_MAIN(LayerAnimationTest)
#include "LayerAnimationTest.moc"
