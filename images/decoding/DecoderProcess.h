#pragma once

#include "DecodedPicture.h"
#include "FileContents.h"

#include <QByteArray>

#include <chrono>
#include <memory>

#include <sys/types.h>

namespace frameflow {

class PictureMemory;

// What one decoding may take.
struct DecoderLimits
{
    std::chrono::milliseconds processorTime{20'000};
    std::chrono::milliseconds wallTime{60'000}; // for one that waits without working
    qint64 memory = 0; // bytes of address space; 0 for the share of this machine
};

// One decoder process and the socket to it. Belongs to one thread at a time, but for interrupt().
class DecoderProcess
{
public:
    // Starts the program; null when that fails. Does not wait until it is ready.
    static std::unique_ptr<DecoderProcess> start(const QByteArray& program, const DecoderLimits& limits);
    // Ends the process and waits for its end.
    ~DecoderProcess();

    // Blocks until the file is decoded, the limits are reached, the process is lost, or interrupt() was called. After
    // DecoderLost or Cancelled the process is of no more use. The pixels are mapped, not copied; large ones may lie in
    // the memory that is given, which may be null.
    DecodedPicture decode(
        const FileDescriptor& file, const DecodeRequest& request, std::shared_ptr<PictureMemory> memory = nullptr);
    // Any thread: makes a running decode() end with Cancelled, and every later one.
    void interrupt();

    // Any thread: suspends it, and lets it go on. Time spent suspended does not count.
    void pause();
    void resume();

    bool isUsable() const;
    // Waits that long at most for the process to end by itself.
    bool endsWithin(std::chrono::milliseconds span) const;
    pid_t processId() const;

private:
    struct State;
    explicit DecoderProcess(std::unique_ptr<State> state);
    std::unique_ptr<State> mState;
};

} // namespace frameflow
