#include "KLLayerView.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"

#include <QLatin1String>

#include <algorithm>
#include <array>

namespace frameflow {

namespace {

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
    both("Fast Cross Fade", &KLLayerView::transitionFastCross),
    both("None", &KLLayerView::transitionNone),
    // Titles that may be stored, whose slides change with a plain cross fade.
    both("Flip", &KLLayerView::transitionCrossFade),
    both("Rotate Left Right", &KLLayerView::transitionCrossFade),
    both("Rotate Left", &KLLayerView::transitionCrossFade),
    both("Shrink", &KLLayerView::transitionCrossFade),
    both("Expand", &KLLayerView::transitionCrossFade),
    both("Slide", &KLLayerView::transitionCrossFade),
    both("All", &KLLayerView::transitionCrossFade),
    both("Test", &KLLayerView::transitionCrossFade),
    both("Bar Swipe", &KLLayerView::transitionCrossFade),
    both("Mod", &KLLayerView::transitionCrossFade),
    both("Swipe", &KLLayerView::transitionCrossFade),
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

void KLLayerView::transitionNone(const LayerPtr& from, const LayerPtr& to)
{
    from->setOpacity(0.0);
    to->setOpacity(1.0);
}

void KLLayerView::transitionCrossFade(const LayerPtr& from, const LayerPtr& to)
{
    fade(from, to, std::chrono::seconds(1));
}

void KLLayerView::transitionFastCross(const LayerPtr& from, const LayerPtr& to)
{
    fade(from, to, std::chrono::milliseconds(200));
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

} // namespace frameflow
