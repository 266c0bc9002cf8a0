#include "KLLayerView.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"

#include <QLatin1String>

#include <algorithm>
#include <array>

namespace frameflow {

namespace {

using namespace std::chrono_literals;

using Transition = void (KLLayerView::*)(const LayerPtr& from, const LayerPtr& to);

struct TransitionRow
{
    QLatin1String title; // the stored value
    Transition forward;
    Transition backward;
};

constexpr TransitionRow both(const char* title, Transition transition)
{
    return {QLatin1String(title), transition, transition};
}

constexpr std::array transitionTable{
    both("Cross Fade", &KLLayerView::transitionCrossFade),
    TransitionRow{
        QLatin1String("Flip"), &KLLayerView::transitionHorizontalFlip, &KLLayerView::transitionHorizontalFlipBack},
    both("Fast Cross Fade", &KLLayerView::transitionFastCross),
    both("Rotate Left Right", &KLLayerView::transitionRotate),
    TransitionRow{
        QLatin1String("Rotate Left"), &KLLayerView::transitionRotateLeft, &KLLayerView::transitionRotateRight},
    both("Shrink", &KLLayerView::transitionShrink),
    both("Expand", &KLLayerView::transitionExpand),
    TransitionRow{QLatin1String("Slide"), &KLLayerView::transitionSlide, &KLLayerView::transitionSlideBack},
    both("All", &KLLayerView::transitionAll),
    both("Test", &KLLayerView::transitionTest),
    both("Bar Swipe", &KLLayerView::transitionBarSwipe),
    both("Mod", &KLLayerView::transitionMod),
    both("Swipe", &KLLayerView::transitionSwipe),
    both("None", &KLLayerView::transitionNone),
};

// The round of "All".
constexpr std::array roundRobin{
    &KLLayerView::transitionCrossFade,
    &KLLayerView::transitionHorizontalFlip,
    &KLLayerView::transitionRotate,
    &KLLayerView::transitionRotateLeft,
    &KLLayerView::transitionFastCross,
    &KLLayerView::transitionShrink,
    &KLLayerView::transitionExpand,
    &KLLayerView::transitionBarSwipe,
    &KLLayerView::transitionMod,
    &KLLayerView::transitionSwipe,
    &KLLayerView::transitionSlide,
};

const QString transitionKey = QStringLiteral("transition");

} // namespace

void KLLayerView::transition(const LayerPtr& from, const LayerPtr& to, bool forward)
{
    const QString title = mDefaults.stringValue(keys::transition);
    const auto row = std::find_if(transitionTable.begin(), transitionTable.end(),
        [&](const TransitionRow& candidate) { return title == candidate.title; });
    if (row != transitionTable.end()) {
        (this->*(forward ? row->forward : row->backward))(from, to);
    }
}

void KLLayerView::transitionAll(const LayerPtr& from, const LayerPtr& to)
{
    static quint32 next = 0;
    const Transition chosen = roundRobin[next];
    next = (next + 1) % roundRobin.size();
    (this->*chosen)(from, to);
}

void KLLayerView::transitionNone(const LayerPtr& from, const LayerPtr& to)
{
    from->setOpacity(0.0);
    to->setOpacity(1.0);
}

void KLLayerView::transitionCrossFade(const LayerPtr& from, const LayerPtr& to)
{
    fade(from, to, 1s);
}

void KLLayerView::transitionFastCross(const LayerPtr& from, const LayerPtr& to)
{
    fade(from, to, 200ms);
}

void KLLayerView::fade(const LayerPtr& from, const LayerPtr& to, Duration duration)
{
    put(from, to);
    from->setZPosition(1.0);
    to->setZPosition(0.0);
    const AnimationPtr animation = makeAnimation(TransitionEffect(), duration, this);
    from->addAnimation(animation, transitionKey);
    to->addAnimation(animation, transitionKey);
    from->setOpacity(0.0);
    to->setOpacity(1.0);
}

void KLLayerView::transitionPush_BuildIn(const LayerPtr& from, const LayerPtr& to)
{
    putFlat(to, from);
    from->setOpacity(1.0);
    to->setOpacity(1.0);
    TransitionEffect effect;
    effect.kind = TransitionEffect::Kind::PushFromRight;
    const AnimationPtr animation = makeAnimation(effect, 1s, this);
    to->addAnimation(animation, transitionKey);
    from->addAnimation(animation, transitionKey);
    from->setOpacity(0.0);
}

AnimationPtr KLLayerView::filter(const char* name, Duration duration, const QRectF& extent)
{
    TransitionEffect effect;
    effect.kind = TransitionEffect::Kind::Filter;
    effect.filterName = QString::fromLatin1(name);
    effect.inputExtent = extent;
    return makeAnimation(effect, duration, this);
}

void KLLayerView::transitionBarSwipe(const LayerPtr& from, const LayerPtr& to)
{
    putFlat(from, to);
    from->addAnimation(filter("CIBarsSwipeTransition", 600ms), transitionKey);
    transitionNone(from, to);
}

void KLLayerView::transitionMod(const LayerPtr& from, const LayerPtr& to)
{
    putFlat(from, to);
    const AnimationPtr animation = filter("CIModTransition", 700ms);
    from->addAnimation(animation, transitionKey);
    to->addAnimation(animation, transitionKey);
    transitionNone(from, to);
}

void KLLayerView::transitionSwipe(const LayerPtr& from, const LayerPtr& to)
{
    putFlat(from, to);
    const QRectF extent(0, 0, static_cast<float>(width()), static_cast<float>(height()));
    from->addAnimation(filter("CISwipeTransition", 400ms, extent), transitionKey);
    transitionNone(from, to);
}

void KLLayerView::transitionTest(const LayerPtr& from, const LayerPtr& to)
{
    transitionSwipe(from, to);
}

void KLLayerView::putFlat(const LayerPtr& layer, const LayerPtr& above)
{
    put(layer, above);
    layer->setZPosition(0.0);
    above->setZPosition(0.0);
}

} // namespace frameflow
