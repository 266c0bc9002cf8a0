#pragma once

#include "Clock.h"
#include "FileContents.h"

#include <QByteArray>
#include <QList>

#include <optional>

#include <sys/types.h>

namespace frameflow {

// A program started with one end of a socket that keeps packets whole as its descriptor 3, and nothing else of this
// process: no other descriptors, no blocked or ignored signals, no terminal. Belongs to one thread, but for signal().
class ChildProcess
{
public:
    // Nothing when the program cannot be started. The arguments follow the program's own name.
    static std::optional<ChildProcess> start(const QByteArray& program, const QList<QByteArray>& arguments);

    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    // Kills the process and sees to it that nothing of it stays.
    ~ChildProcess();

    pid_t id() const { return mId; }
    int socket() const { return mSocket.number(); }
    // Becomes readable when the process has ended.
    int lifeline() const { return mLifeline.number(); }
    void signal(int number) const;
    // What all its threads have used so far; nothing when the kernel does not tell.
    std::optional<Duration> processorTime() const;

private:
    ChildProcess(pid_t id, FileDescriptor lifeline, FileDescriptor socket);

    pid_t mId = -1;
    FileDescriptor mLifeline;
    FileDescriptor mSocket;
};

} // namespace frameflow
