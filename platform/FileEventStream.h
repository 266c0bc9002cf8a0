#pragma once

#include "Clock.h"
#include "FileEvent.h"
#include "FolderWatches.h"
#include "SerialQueue.h"

#include <functional>
#include <memory>
#include <vector>

namespace frameflow {

// Tells what changes below a folder, in batches: one is told a latency after its first change. Which folders are
// watched is said by whoever walks the tree, through watches(). Main thread only, but for watches().
class FileEventStream
{
public:
    // May destroy the stream.
    using Callback = std::function<void(const std::vector<FileEvent>& batch)>;

    // Null when the machine offers no watching. The clock outlives the stream.
    static std::unique_ptr<FileEventStream> create(
        const FileUrl& folder, Clock& clock, Callback callback, int mostWatches = FolderWatches::noLimit);
    ~FileEventStream();
    FileEventStream(const FileEventStream&) = delete;
    FileEventStream& operator=(const FileEventStream&) = delete;

    const std::shared_ptr<FolderWatches>& watches() const { return mWatches; }
    // Whether there are changes that no batch has told yet.
    bool hasPending() const;

private:
    class Reader;

    FileEventStream(
        const FileUrl& folder, Clock& clock, Callback callback, std::shared_ptr<FolderWatches> watches, int wakeUp);
    void batchBegun();
    void tell();

    std::shared_ptr<FolderWatches> mWatches;
    Callback mCallback;
    Clock& mClock;
    OneShotTimer mLatency;
    std::shared_ptr<FileEventStream*> mSelf; // for what is posted: null once the stream is gone
    std::shared_ptr<Reader> mReader;
    SerialQueue mQueue{"com.quillory.fileevents"};
};

} // namespace frameflow
