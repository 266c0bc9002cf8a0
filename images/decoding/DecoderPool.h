#pragma once

#include "DecodedPicture.h"
#include "DecoderProcess.h"
#include "FileContents.h"
#include "FileUrl.h"

#include <functional>
#include <memory>
#include <optional>

namespace frameflow {

struct PoolJob;
class DecoderPoolState;

// Whoever waits comes first; nothing else is started while that would slow it down.
enum class Urgency
{
    Asked, // somebody waits for it
    Ahead, // the next slides
    Thumbnail,
};

struct DecodeJob
{
    FileUrl url;
    DecodeRequest request;
    Urgency urgency = Urgency::Asked;
};

struct DecodedFile
{
    DecodedPicture picture;
    std::optional<FileStamp> stamp; // of the file that was opened; absent when it could not be
    bool mayStall = false; // it lies on a file system whose answers may take any time
};

// Has files decoded by processes of two kinds, one file a process at a time, and as many at once as there are cores.
// The processes are started when first needed, kept, and replaced when they are lost. Where none can be started, the
// same functions run in threads of this process. Any thread.
class DecoderPool
{
public:
    struct Options
    {
        QByteArray commonDecoder; // path of the program for the types that Qt reads
        QByteArray extraDecoder; // of the one for all others
        QByteArray module; // for threads, where no program can be started
        int atOnce = 0; // 0: one a core
        DecoderLimits limits;
    };

    // One decoding that was asked for. Copies stand for the same one; dropping them changes nothing.
    class Ticket
    {
    public:
        Ticket() = default;
        // Its callback hears Cancelled, unless it is being told something else just now.
        void cancel() const;
        // The same where it has not begun, else false: ending a decoder costs more than most thumbnails do.
        bool cancelUnlessBegun() const;
        void raise(Urgency urgency) const;

    private:
        friend class DecoderPool;
        explicit Ticket(std::shared_ptr<PoolJob> job) : mJob(std::move(job)) { }
        std::shared_ptr<PoolJob> mJob;
    };

    // What stands beside this program, as built and as installed.
    static Options installed();
    // The one of the process, made of installed() unless configure() was called before.
    static DecoderPool& instance();
    static void configure(const Options& options);

    explicit DecoderPool(const Options& options);
    // Cancels what is left and ends the processes; waits for nobody who is stuck in a system call.
    ~DecoderPool();
    DecoderPool(const DecoderPool&) = delete;
    DecoderPool& operator=(const DecoderPool&) = delete;

    // Starts the first processes, so that they get ready while its starter does other things. Returns at once.
    void warmUp(int processes = 1);

    // Opens and decodes the file. The callback is called exactly once, on a thread of the pool; it is not to block.
    // Jobs of one urgency are begun in the order of their coming.
    Ticket decode(const DecodeJob& job, std::function<void(DecodedFile&&)> done);
    // The same, waiting. Not from a callback.
    DecodedFile decodeAndWait(const DecodeJob& job);

    // The processes that exist now, for tests and measurements.
    QList<pid_t> processes() const;

private:
    std::shared_ptr<DecoderPoolState> mState;
};

} // namespace frameflow
