#include "FileEventStream.h"

#include "MainThread.h"
#include "PendingEvents.h"

#include <array>
#include <cerrno>
#include <mutex>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace frameflow {

namespace {

constexpr Duration latency = std::chrono::seconds(1);

// Of one batch. Beyond, looking at everything again is no dearer than telling what changed.
constexpr size_t mostPaths = 32768;

} // namespace

// What the reading thread and the main thread share. Lives until both have let go.
class FileEventStream::Reader
{
public:
    Reader(const FileUrl& folder, std::shared_ptr<FolderWatches> watches, std::shared_ptr<FileEventStream*> stream,
        int wakeUp)
        : mWatches(std::move(watches)), mStream(std::move(stream)), mWakeUp(wakeUp), mPending(folder, mostPaths)
    {
    }
    ~Reader() { close(mWakeUp); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // Returns after end().
    void run()
    {
        std::array<pollfd, 2> waiting{pollfd{mWatches->descriptor(), POLLIN, 0}, pollfd{mWakeUp, POLLIN, 0}};
        for (;;) {
            if (poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) {
                return;
            }
            if (waiting[1].revents != 0) {
                return;
            }
            if (waiting[0].revents != 0) {
                add(mWatches->read());
            }
        }
    }

    void end() const { static_cast<void>(eventfd_write(mWakeUp, 1)); }

    bool hasPending() const
    {
        const std::lock_guard lock(mMutex);
        return !mPending.isEmpty();
    }

    std::vector<FileEvent> take()
    {
        const std::lock_guard lock(mMutex);
        return mPending.take();
    }

private:
    void add(const std::vector<FileEvent>& events)
    {
        if (events.empty()) {
            return;
        }
        const std::lock_guard lock(mMutex);
        const bool isFirst = mPending.isEmpty();
        for (const FileEvent& event : events) {
            mPending.add(event);
        }
        if (isFirst) {
            postToMainThread([stream = mStream] {
                if (*stream != nullptr) {
                    (*stream)->batchBegun();
                }
            });
        }
    }

    const std::shared_ptr<FolderWatches> mWatches;
    const std::shared_ptr<FileEventStream*> mStream;
    const int mWakeUp;
    mutable std::mutex mMutex;
    PendingEvents mPending;
};

std::unique_ptr<FileEventStream> FileEventStream::create(
    const FileUrl& folder, Clock& clock, Callback callback, int mostWatches)
{
    auto watches = FolderWatches::create(folder, mostWatches);
    const int wakeUp = watches ? eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) : -1;
    if (wakeUp < 0) {
        return {};
    }
    return std::unique_ptr<FileEventStream>(
        new FileEventStream(folder, clock, std::move(callback), std::move(watches), wakeUp));
}

FileEventStream::FileEventStream(
    const FileUrl& folder, Clock& clock, Callback callback, std::shared_ptr<FolderWatches> watches, int wakeUp)
    : mWatches(std::move(watches)), mCallback(std::move(callback)), mClock(clock), mLatency(clock),
      mSelf(std::make_shared<FileEventStream*>(this)),
      mReader(std::make_shared<Reader>(folder, mWatches, mSelf, wakeUp))
{
    mQueue.async([reader = mReader] { reader->run(); });
}

FileEventStream::~FileEventStream()
{
    *mSelf = nullptr;
    mReader->end();
    // It looks at files, and one of those may never answer: its thread is not waited for then.
    mQueue.abandonRunning();
}

bool FileEventStream::hasPending() const
{
    return mReader->hasPending();
}

void FileEventStream::batchBegun()
{
    mLatency.start(mClock.now() + latency, [this] { tell(); });
}

void FileEventStream::tell()
{
    const auto batch = mReader->take();
    if (!batch.empty()) {
        const auto callback = mCallback; // the stream may not outlive it
        callback(batch);
    }
}

} // namespace frameflow
