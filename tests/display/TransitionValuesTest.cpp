// Every transition in both directions: order, animations, what is presented at the start, in the middle and at the end,
// and what stays.
#include "Presentation.h"
#include "ViewFixture.h"

#include <QtTest>

#include <cstring>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

const QSize viewSize(200, 100);
// The frames of a square slide and of a wide one in that view.
const QRectF square(50, 0, 100, 100);
const QRectF wide(0, 25, 200, 50);

constexpr double easeInMiddle = 0.3153568; // of the curve at half its time
constexpr double easeOutMiddle = 0.6846432;
constexpr double quarterTurn = 1.57075;
constexpr double halfTurn = 3.1415;

enum class Of
{
    From,
    To,
};

// One animated number.
struct Moves
{
    Of layer;
    const char* key;
    KeyPath path;
    double start;
    double middle;
    double end; // just before it
};

struct Model
{
    QPointF anchor{0.5, 0.5};
    QRectF bounds;
    QPointF position;
    double opacity = 1;
    double zPosition = 0;
    double rotationX = 0;
    double rotationZ = 0;
};

struct Case
{
    const char* name;
    const char* title;
    bool forward;
    Duration duration;
    Of above; // which of the two stands directly above the other
    std::vector<Moves> moves;
    Model from; // from the beginning on
    Model to;
};

Model at(QPointF anchor, const QRectF& frame, double opacity = 1)
{
    Model model;
    model.anchor = anchor;
    model.bounds = QRectF(QPointF(), frame.size());
    model.position = frame.topLeft() + QPointF(anchor.x() * frame.width(), anchor.y() * frame.height());
    model.opacity = opacity;
    return model;
}

Model moved(Model model, QPointF position)
{
    model.position = position;
    return model;
}

Model resized(Model model, QSizeF size)
{
    model.bounds.setSize(size);
    return model;
}

Model turned(Model model, double rotationX, double rotationZ, double zPosition = 0)
{
    model.rotationX = rotationX;
    model.rotationZ = rotationZ;
    model.zPosition = zPosition;
    return model;
}

constexpr QPointF middle(0.5, 0.5);
constexpr QPointF corner(0, 0);

Case flip(const char* name, bool forward)
{
    return {name, "Flip", forward, 1s, Of::From,
        {{Of::From, "transition", KeyPath::TransformRotationX, 0, quarterTurn / 2, quarterTurn},
            {Of::To, "transition", KeyPath::TransformRotationX, quarterTurn, quarterTurn / 2, 0}},
        turned(at(corner, square), quarterTurn, 0, 10000), at(middle, wide)};
}

Case rotation(const char* name, const char* title, bool forward, const char* key, double from, double to)
{
    return {name, title, forward, 2s, Of::From,
        {{Of::From, key, KeyPath::TransformRotationZ, 0, from * easeInMiddle, from},
            {Of::To, key, KeyPath::TransformRotationZ, to, to * (1 - easeOutMiddle), 0}},
        turned(at(corner, square), 0, from), at(corner, wide)};
}

Case shrink(const char* name, bool forward)
{
    const double left = 1 - easeInMiddle;
    return {name, "Shrink", forward, 1s, Of::From,
        {{Of::From, "transition", KeyPath::BoundsSizeWidth, 100, 100 * left, 0},
            {Of::From, "transition2", KeyPath::BoundsSizeHeight, 100, 100 * left, 0}},
        resized(at(middle, square), {0, 0}), at(middle, wide)};
}

Case expand(const char* name, bool forward)
{
    return {name, "Expand", forward, 1s, Of::To,
        {{Of::To, "transition", KeyPath::BoundsSizeWidth, 0, 200 * easeOutMiddle, 200},
            {Of::To, "transition2", KeyPath::BoundsSizeHeight, 0, 50 * easeOutMiddle, 50},
            {Of::From, "fade", KeyPath::Opacity, 1, 1 - easeInMiddle, 0}},
        at(middle, square, 0), at(middle, wide)};
}

std::vector<Case> cases()
{
    return {
        flip("flip forward", true),
        flip("flip backward", false),
        rotation("rotate left right forward", "Rotate Left Right", true, "transition", halfTurn, halfTurn),
        rotation("rotate left right backward", "Rotate Left Right", false, "transition", halfTurn, halfTurn),
        rotation("rotate left forward", "Rotate Left", true, "transitionLeft", halfTurn, -halfTurn),
        rotation("rotate left backward", "Rotate Left", false, "transitionLeft", -halfTurn, halfTurn),
        shrink("shrink forward", true),
        shrink("shrink backward", false),
        expand("expand forward", true),
        expand("expand backward", false),
        {"slide forward", "Slide", true, 1400ms, Of::From,
            {{Of::From, "transition", KeyPath::PositionX, 150, 50, -50},
                {Of::To, "transition2", KeyPath::PositionX, 200, 100, 0}},
            moved(at({1, 0}, square), {0, 0}), at(corner, wide)},
        {"slide backward", "Slide", false, 1400ms, Of::From,
            {{Of::From, "transition", KeyPath::PositionX, 50, 150, 250},
                {Of::To, "transition2", KeyPath::PositionX, -200, -100, 0}},
            moved(at(corner, square), {200, 0}), at(corner, wide)},
    };
}

double number(const LayerValues& values, KeyPath path)
{
    switch (path) {
    case KeyPath::BoundsSizeWidth:
        return values.bounds.width();
    case KeyPath::BoundsSizeHeight:
        return values.bounds.height();
    case KeyPath::PositionX:
        return values.position.x();
    case KeyPath::PositionY:
        return values.position.y();
    case KeyPath::Opacity:
        return values.opacity;
    case KeyPath::TransformRotationX:
        return values.transform.rotationX;
    case KeyPath::TransformRotationZ:
        return values.transform.rotationZ;
    }
    return 0;
}

Curve curveOf(const Case& row, const Moves& moves)
{
    const auto isTitle = [&](const char* title) { return std::strcmp(row.title, title) == 0; };
    if (row.duration == 2s || isTitle("Shrink") || moves.path == KeyPath::Opacity) {
        return moves.layer == Of::From ? Curve::EaseIn : Curve::EaseOut;
    }
    return isTitle("Expand") ? Curve::EaseOut : Curve::Linear;
}

} // namespace

Q_DECLARE_METATYPE(Case)

class TransitionValuesTest : public QObject
{
    Q_OBJECT

    // A view that changes from the square slide to the wide one.
    struct Change : ViewFixture
    {
        explicit Change(const QString& title, bool forward) : ViewFixture(viewSize)
        {
            setTransition(title);
            show(solid({100, 100}, Qt::red));
            show(solid({200, 50}, Qt::green), forward);
            from = view->previousLayer();
            to = view->currentLayer();
        }
        const LayerPtr& layer(Of which) const { return which == Of::From ? from : to; }
        LayerValues presented(Of which) const { return presentedValues(*layer(which), clock.now()); }

        LayerPtr from;
        LayerPtr to;
    };

    static bool isNumber(double actual, double expected)
    {
        // Values are made in single precision.
        const bool equal = std::abs(actual - expected) < 2e-4;
        if (!equal) {
            qWarning("%.7f instead of %.7f", actual, expected);
        }
        return equal;
    }

    static bool isModel(const Layer& layer, const Model& expected)
    {
        const LayerValues& values = layer.values();
        return values.anchorPoint == expected.anchor && values.bounds == expected.bounds
            && isNumber(values.position.x(), expected.position.x())
            && isNumber(values.position.y(), expected.position.y()) && isNumber(values.opacity, expected.opacity)
            && isNumber(values.zPosition, expected.zPosition)
            && isNumber(values.transform.rotationX, expected.rotationX)
            && isNumber(values.transform.rotationZ, expected.rotationZ);
    }

    // All numbers of a layer that no animation moves are the model's.
    static bool otherNumbersAreTheModels(const Change& change, const Case& row, Of which)
    {
        const LayerValues presented = change.presented(which);
        for (int path = 0; path <= static_cast<int>(KeyPath::TransformRotationZ); ++path) {
            const auto isThis
                = [&](const Moves& moves) { return moves.layer == which && moves.path == static_cast<KeyPath>(path); };
            const double expected = number(change.layer(which)->values(), static_cast<KeyPath>(path));
            if (std::none_of(row.moves.begin(), row.moves.end(), isThis)
                && !isNumber(number(presented, static_cast<KeyPath>(path)), expected)) {
                return false;
            }
        }
        return true;
    }

    static void rows()
    {
        QTest::addColumn<Case>("row");
        for (const Case& row : cases()) {
            QTest::newRow(row.name) << row;
        }
    }

private Q_SLOTS:
    void presentedNumbers_data() { rows(); }
    void presentedNumbers()
    {
        QFETCH(Case, row);
        Change change(QString::fromLatin1(row.title), row.forward);
        for (const Moves& moves : row.moves) {
            QVERIFY(isNumber(number(change.presented(moves.layer), moves.path), moves.start));
        }
        change.clock.advance(row.duration / 2);
        for (const Moves& moves : row.moves) {
            QVERIFY(isNumber(number(change.presented(moves.layer), moves.path), moves.middle));
        }
        QVERIFY(otherNumbersAreTheModels(change, row, Of::From));
        QVERIFY(otherNumbersAreTheModels(change, row, Of::To));
        change.clock.advance(row.duration / 2 - 1ns);
        QVERIFY(change.view->isBusy());
        for (const Moves& moves : row.moves) {
            QVERIFY(isNumber(number(change.presented(moves.layer), moves.path), moves.end));
        }
        change.clock.advance(1ns);
        QVERIFY(!change.view->isBusy());
        QCOMPARE(change.clock.pendingAlarms(), size_t(0));
    }

    void finalValuesAreSetAtTheBeginning_data() { rows(); }
    void finalValuesAreSetAtTheBeginning()
    {
        QFETCH(Case, row);
        Change change(QString::fromLatin1(row.title), row.forward);
        QVERIFY(isModel(*change.from, row.from));
        QVERIFY(isModel(*change.to, row.to));
        change.clock.advance(row.duration);
        Model hidden = row.from;
        hidden.opacity = 0; // as after every transition
        QVERIFY(isModel(*change.from, hidden));
        QVERIFY(isModel(*change.to, row.to));
        QVERIFY(change.from->runs().empty());
        QVERIFY(change.to->runs().empty());
    }

    void animationsByTheirKeys_data() { rows(); }
    void animationsByTheirKeys()
    {
        QFETCH(Case, row);
        const Change change(QString::fromLatin1(row.title), row.forward);
        const auto expected = [&](Of which) {
            return std::count_if(
                row.moves.begin(), row.moves.end(), [&](const Moves& moves) { return moves.layer == which; });
        };
        QCOMPARE(static_cast<long>(change.from->runs().size()), expected(Of::From));
        QCOMPARE(static_cast<long>(change.to->runs().size()), expected(Of::To));
        for (const Moves& moves : row.moves) {
            const AnimationPtr animation = change.layer(moves.layer)->animation(QString::fromLatin1(moves.key));
            QVERIFY(animation);
            QCOMPARE(animation->duration, row.duration);
            QCOMPARE(animation->curve, curveOf(row, moves));
            QCOMPARE(animation->delegate.get(), static_cast<AnimationDelegate*>(change.view.get()));
            const auto& effect = std::get<PropertyChange>(animation->effect);
            QCOMPARE(effect.keyPath, moves.path);
            QCOMPARE(effect.from, double{static_cast<float>(moves.start)});
            QCOMPARE(effect.to, double{static_cast<float>(moves.end)});
        }
    }

    void orderOfTheLayers_data() { rows(); }
    void orderOfTheLayers()
    {
        QFETCH(Case, row);
        const Change change(QString::fromLatin1(row.title), row.forward);
        const auto& order = change.view->backgroundLayer()->sublayers();
        const LayerPtr& above = change.layer(row.above);
        const LayerPtr& below = change.layer(row.above == Of::From ? Of::To : Of::From);
        const auto place = std::find(order.begin(), order.end(), below);
        QVERIFY(place != order.end() && std::next(place) != order.end());
        QCOMPARE(*std::next(place), above);
        QCOMPARE(order.back(), change.view->cursorLayer());
    }

    void oldAnimationsAreRemovedFirst_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("fromIsCleared");
        QTest::addColumn<bool>("toIsCleared");
        QTest::newRow("cross fade") << QStringLiteral("Cross Fade") << false << false;
        QTest::newRow("flip") << QStringLiteral("Flip") << true << true;
        QTest::newRow("rotate left right") << QStringLiteral("Rotate Left Right") << true << false;
        QTest::newRow("rotate left") << QStringLiteral("Rotate Left") << true << false;
        QTest::newRow("shrink") << QStringLiteral("Shrink") << true << true;
        QTest::newRow("expand") << QStringLiteral("Expand") << true << true;
        QTest::newRow("slide") << QStringLiteral("Slide") << true << true;
        QTest::newRow("bar swipe") << QStringLiteral("Bar Swipe") << false << false;
        QTest::newRow("mod") << QStringLiteral("Mod") << false << false;
        QTest::newRow("swipe") << QStringLiteral("Swipe") << false << false;
    }
    void oldAnimationsAreRemovedFirst()
    {
        QFETCH(QString, title);
        QFETCH(bool, fromIsCleared);
        QFETCH(bool, toIsCleared);
        for (const bool forward : {true, false}) {
            ViewFixture fixture(viewSize);
            fixture.setTransition(title);
            fixture.show(solid({100, 100}, Qt::red));
            const QString key = QStringLiteral("zoomW");
            for (const LayerPtr& layer : {fixture.view->currentLayer(), fixture.view->previousLayer()}) {
                layer->addAnimation(makeAnimation({KeyPath::Opacity, 1, 1}, 10s, Curve::Linear, nullptr), key);
            }
            fixture.show(solid({200, 50}, Qt::green), forward);
            QCOMPARE(!fixture.view->previousLayer()->animation(key), fromIsCleared);
            QCOMPARE(!fixture.view->currentLayer()->animation(key), toIsCleared);
        }
    }

    void rotateLeftMirrorsItself()
    {
        const Change forward(QStringLiteral("Rotate Left"), true);
        const Change backward(QStringLiteral("Rotate Left"), false);
        for (const Of which : {Of::From, Of::To}) {
            const QString key = QStringLiteral("transitionLeft");
            const auto& there = std::get<PropertyChange>(forward.layer(which)->animation(key)->effect);
            const auto& back = std::get<PropertyChange>(backward.layer(which)->animation(key)->effect);
            QCOMPARE(there.from, -back.from);
            QCOMPARE(there.to, -back.to);
        }
    }

    void flipTurnsTheNewSlideAboutItsOwnAnchorPoint()
    {
        Change change(QStringLiteral("Flip"), true);
        QCOMPARE(change.to->anchorPoint(), QPointF(0.5, 0.5));
        change.clock.advance(1s);
        // It then leaves about its lower edge; the one that comes has been turned about its own before.
        change.show(solid({100, 100}, Qt::blue));
        QCOMPARE(change.view->previousLayer()->anchorPoint(), QPointF(0, 0));
        QCOMPARE(change.view->currentLayer()->anchorPoint(), QPointF(0, 0));
        QCOMPARE(change.view->currentLayer()->frame(), square);
    }

    void slideEndsBesideTheView()
    {
        Change change(QStringLiteral("Slide"), true);
        change.clock.advance(1400ms - 1ns);
        const LayerValues from = change.presented(Of::From);
        const QRectF frame = from.toSuperlayer().mapRect(from.bounds);
        QVERIFY(std::abs(frame.right() - -50) < 1e-3);
        QVERIFY(std::abs(frame.width() - 100) < 1e-6);
    }

    void everySecondSlideIsAsTheFirst()
    {
        // What a transition leaves on the layers does no harm to those that follow.
        for (const char* first : {"Flip", "Rotate Left", "Shrink", "Expand", "Slide", "Mod", "Cross Fade"}) {
            for (const char* second : {"Flip", "Rotate Left", "Shrink", "Expand", "Slide", "Mod", "Cross Fade"}) {
                for (const bool forward : {true, false}) {
                    Change change(QString::fromLatin1(first), forward);
                    change.clock.advance(3s);
                    QVERIFY(change.grab() == expectedWide());
                    change.setTransition(QString::fromLatin1(second));
                    change.show(solid({200, 100}, Qt::blue), !forward);
                    change.clock.advance(3s);
                    QCOMPARE(change.grab(), solid(viewSize, Qt::blue));
                }
            }
        }
    }

private:
    static QImage expectedWide()
    {
        QImage image = solid(viewSize, Qt::black);
        QPainter(&image).fillRect(wide.toRect(), Qt::green);
        return image;
    }
};

QTEST_MAIN(TransitionValuesTest)
#include "TransitionValuesTest.moc"
