#pragma once

#include "SequenceFixture.h"
#include "SerialQueue.h"

#include <memory>
#include <semaphore>
#include <utility>

namespace frameflow {

// A job at the head of a queue that ends when the test says so.
class Blocker
{
public:
    explicit Blocker(SerialQueue& queue)
    {
        queue.async([state = mState] {
            state->started.release();
            state->released.acquire();
        });
    }
    ~Blocker() { release(); }
    Blocker(const Blocker&) = delete;
    Blocker& operator=(const Blocker&) = delete;

    void waitUntilRunning() const { mState->started.acquire(); }
    void release()
    {
        if (!std::exchange(mDone, true)) {
            mState->released.release();
        }
    }

private:
    struct State
    {
        // Not Qt's: the thread sanitizer does not see what those order.
        std::counting_semaphore<> started{0};
        std::counting_semaphore<> released{0};
    };

    std::shared_ptr<State> mState = std::make_shared<State>();
    bool mDone = false;
};

// A sequence with a queue and a folder of numbered files: 0.jpg, 1.jpg and so on.
struct QueuedFixture : SequenceFixture
{
    explicit QueuedFixture(int files = 0)
    {
        addFiles(files);
        sequence.setDelegate(&delegate);
    }

    CollectionRequest folderRequest() const
    {
        return {CollectionRequest::Adder::Directory, {folder.url()}, false, true, true};
    }

    void collect(const CollectionRequest& request)
    {
        sequence.collect(queue, request, [this] { ++finished; });
    }

    // Lets the queue come to its end without handling what it posts.
    void runQueue()
    {
        queue.sync([] {});
    }

    RecordingDelegate delegate;
    SerialQueue queue{"test"};
    int finished = 0;
};

} // namespace frameflow
