// The round of "All". A program of its own, because the turn is one for the whole process.
#include "ViewFixture.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

// Tells a transition by the animations that it leaves on the layers.
QString nameOf(const KLLayerView& view)
{
    const LayerPtr& from = view.previousLayer();
    const QString key = QStringLiteral("transition");
    if (const AnimationPtr left = from->animation(QStringLiteral("transitionLeft"))) {
        return std::get<PropertyChange>(left->effect).to > 0 ? QStringLiteral("rotate left")
                                                             : QStringLiteral("rotate right");
    }
    if (from->animation(QStringLiteral("fade"))) {
        return QStringLiteral("expand");
    }
    const AnimationPtr animation = from->animation(key);
    if (!animation) {
        return QStringLiteral("none");
    }
    if (const auto* effect = std::get_if<TransitionEffect>(&animation->effect)) {
        const QString fade = animation->duration == 1s ? QStringLiteral("cross fade") : QStringLiteral("fast");
        return effect->kind == TransitionEffect::Kind::Fade ? fade : effect->filterName;
    }
    switch (std::get<PropertyChange>(animation->effect).keyPath) {
    case KeyPath::TransformRotationX:
        return QStringLiteral("flip");
    case KeyPath::TransformRotationZ:
        return QStringLiteral("rotate left right");
    case KeyPath::BoundsSizeWidth:
        return QStringLiteral("shrink");
    default:
        return from->anchorPoint() == QPointF(1, 0) ? QStringLiteral("slide") : QStringLiteral("slide back");
    }
}

} // namespace

class TransitionRoundTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void elevenFollowEachOtherWhateverTheDirectionAndTheView()
    {
        const QStringList round{QStringLiteral("cross fade"), QStringLiteral("flip"),
            QStringLiteral("rotate left right"), QStringLiteral("rotate left"), QStringLiteral("fast"),
            QStringLiteral("shrink"), QStringLiteral("expand"), QStringLiteral("CIBarsSwipeTransition"),
            QStringLiteral("CIModTransition"), QStringLiteral("CISwipeTransition"), QStringLiteral("slide")};
        ViewFixture first;
        ViewFixture second;
        for (ViewFixture* fixture : {&first, &second}) {
            fixture->setTransition(QStringLiteral("All"));
            fixture->show(solid({200, 100}, Qt::red));
        }
        for (int i = 0; i < 3 * round.size(); ++i) {
            ViewFixture& fixture = i % 3 == 1 ? second : first;
            fixture.show(solid({200, 100}, i % 2 == 0 ? Qt::green : Qt::red), i % 2 == 0);
            QCOMPARE(nameOf(*fixture.view), round[i % round.size()]);
            fixture.clock.advance(2s);
            QVERIFY(!fixture.view->isBusy());
        }
    }
};

QTEST_MAIN(TransitionRoundTest)
#include "TransitionRoundTest.moc"
