#include "Compositor.h"

#include "Layer.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>

#include <algorithm>

namespace frameflow {

namespace {

// The events that begin a handler of their own. Others, such as a resize, are also sent from within a handler.
bool beginsAHandler(const QEvent& event)
{
    switch (event.type()) {
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::Timer:
    case QEvent::MetaCall:
        return true;
    default:
        return false;
    }
}

} // namespace

// Gets the callbacks delivered before the next handler runs: by an event of its own, and, as several events may be
// under way already, ahead of the first of them.
class Compositor::Mailbox final : public QObject
{
public:
    explicit Mailbox(Compositor& compositor) : mCompositor(compositor) { }

    void post()
    {
        if (!mPosted && QCoreApplication::instance()) {
            mPosted = true;
            QCoreApplication::postEvent(this, new QEvent(QEvent::User), Qt::HighEventPriority);
            QCoreApplication::instance()->installEventFilter(this);
        }
    }

    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User) {
            return QObject::event(event);
        }
        deliver();
        return true;
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (!beginsAHandler(*event)) {
            return false;
        }
        const QPointer<QObject> receiver = watched;
        deliver();
        return !receiver; // a callback may have destroyed it
    }

private:
    // May destroy this.
    void deliver()
    {
        if (mPosted) {
            mPosted = false;
            QCoreApplication::removePostedEvents(this, QEvent::User);
            QCoreApplication::instance()->removeEventFilter(this);
            mCompositor.deliverPending();
        }
    }

    Compositor& mCompositor;
    bool mPosted = false;
};

std::shared_ptr<Compositor> Compositor::create(Clock& clock, std::function<void()> changed)
{
    return std::shared_ptr<Compositor>(new Compositor(clock, std::move(changed)));
}

Compositor::Compositor(Clock& clock, std::function<void()> changed)
    : mClock(clock), mChanged(std::move(changed)), mFrameClock(clock, [this] { tick(); }),
      mMailbox(std::make_unique<Mailbox>(*this))
{
}

Compositor::~Compositor() = default;

Duration Compositor::scaled(Duration duration) const
{
    return std::max(Duration::zero(), durationFromSeconds(secondsFromDuration(duration) * mDurationScale));
}

void Compositor::stop()
{
    mChanged = nullptr;
    mFrameClock.stop();
    mEnds.clear();
    mStarts.clear();
    mMailbox.reset();
}

void Compositor::modelChanged()
{
    if (mChanged) {
        mChanged();
    }
}

void Compositor::runAdded(Layer& layer, const std::shared_ptr<AnimationRun>& run)
{
    if (std::find(mAnimated.begin(), mAnimated.end(), &layer) == mAnimated.end()) {
        mAnimated.push_back(&layer);
    }
    mStarts.push_back({run, false, mTurn});
    requestDelivery();
    schedule();
    modelChanged();
}

void Compositor::runEnded(Layer& layer, const std::shared_ptr<AnimationRun>& run, bool finished)
{
    if (layer.runs().empty()) {
        std::erase(mAnimated, &layer);
    }
    run->isOver = true;
    if (finished || run->startDelivered) {
        mEnds.push_back({run, finished, mTurn});
        requestDelivery();
    } else {
        std::erase_if(mStarts, [&](const Pending& start) { return start.run == run; });
    }
    schedule();
    modelChanged();
}

void Compositor::requestDelivery()
{
    if (mMailbox) {
        mMailbox->post();
    }
}

void Compositor::schedule()
{
    if (mAnimated.empty() || !mMailbox) {
        mFrameClock.stop();
        return;
    }
    TimePoint firstEnd = TimePoint::max();
    for (const Layer* layer : mAnimated) {
        for (const auto& run : layer->runs()) {
            firstEnd = std::min(firstEnd, run->end());
        }
    }
    mFrameClock.schedule(firstEnd);
}

void Compositor::tick()
{
    const auto self = shared_from_this();
    deliverPending();
    const auto layers = mAnimated; // finishing takes layers out of the list, and calls nobody
    for (Layer* layer : layers) {
        layer->finishAnimations(mClock.now());
    }
    deliverPending();
    schedule();
    modelChanged();
}

void Compositor::deliverPending()
{
    const auto self = shared_from_this();
    const quint64 turn = mTurn++;
    const auto next = [turn](std::deque<Pending>& waiting) -> std::optional<Pending> {
        if (waiting.empty() || waiting.front().turn > turn) {
            return std::nullopt;
        }
        const Pending pending = waiting.front();
        waiting.pop_front();
        return pending;
    };
    while (const auto end = next(mEnds)) {
        // An animation may be over before its turn to start came.
        std::erase_if(mStarts, [&](const Pending& start) { return start.run == end->run; });
        deliverStart(*end->run);
        deliverEnd(*end->run, end->finished);
    }
    while (const auto start = next(mStarts)) {
        deliverStart(*start->run);
    }
}

void Compositor::deliverStart(AnimationRun& run)
{
    if (run.startDelivered) {
        return;
    }
    run.startDelivered = true;
    if (AnimationDelegate* delegate = run.animation->delegate.get()) {
        delegate->animationDidStart(run.animation);
    }
}

void Compositor::deliverEnd(AnimationRun& run, bool finished)
{
    if (AnimationDelegate* delegate = run.animation->delegate.get()) {
        delegate->animationDidStop(run.animation, finished);
    }
}

} // namespace frameflow
