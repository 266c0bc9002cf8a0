#pragma once

#include "Animation.h"
#include "FrameClock.h"

#include <deque>
#include <memory>
#include <vector>

namespace frameflow {

class Layer;

// What the layers of one view share: the time, the frames, and the callbacks of their animations. Main thread only.
//
// Callbacks are collected while layers change and delivered before the next event: first the ends, then the starts. A
// callback may do anything, even release the layer, the view and the compositor.
class Compositor : public std::enable_shared_from_this<Compositor>
{
public:
    // The clock outlives the compositor. "Changed" is called, at any time until stop(), when a new picture is due; it
    // must only take note.
    static std::shared_ptr<Compositor> create(Clock& clock, std::function<void()> changed);
    ~Compositor();
    Compositor(const Compositor&) = delete;
    Compositor& operator=(const Compositor&) = delete;

    TimePoint now() const { return mClock.now(); }
    void setRefreshRate(double hertz) { mFrameClock.setRefreshRate(hertz); }
    // For animations added from now on: 1 is their own pace, 0 makes all of them end at once.
    void setDurationScale(double scale) { mDurationScale = scale; }
    Duration scaled(Duration duration) const;

    bool isMoving() const { return !mAnimated.empty(); }
    // Delivers now what is waiting; what the callbacks cause waits for the next turn.
    void deliverPending();
    // Ends all work and all calls out, for good.
    void stop();

    // For layers.
    void modelChanged();
    void runAdded(Layer& layer, const std::shared_ptr<AnimationRun>& run);
    // The layer has taken the run out of its list already.
    void runEnded(Layer& layer, const std::shared_ptr<AnimationRun>& run, bool finished);

private:
    class Mailbox;
    struct Pending
    {
        std::shared_ptr<AnimationRun> run;
        bool finished;
        quint64 turn;
    };

    Compositor(Clock& clock, std::function<void()> changed);
    void tick();
    void schedule();
    void requestDelivery();
    static void deliverStart(AnimationRun& run);
    static void deliverEnd(AnimationRun& run, bool finished);

    Clock& mClock;
    std::function<void()> mChanged;
    FrameClock mFrameClock;
    double mDurationScale = 1;
    std::vector<Layer*> mAnimated; // the layers with animations
    std::deque<Pending> mEnds;
    std::deque<Pending> mStarts;
    quint64 mTurn = 0;
    std::unique_ptr<Mailbox> mMailbox;
};

} // namespace frameflow
