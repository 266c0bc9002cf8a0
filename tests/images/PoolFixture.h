#pragma once

#include "DecoderPool.h"
#include "Leftovers.h"
#include "TestFiles.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace frameflow {

// Files with orders for the obedient decoder, and what became of them.
class PoolFixture
{
public:
    const TestFolder& folder() const { return mFolder; }
    DecoderPool::Options options(int atOnce = 2) const;

    // A job for a file of that name with that order.
    DecodeJob job(const QByteArray& name, const QByteArray& order, Urgency urgency = Urgency::Asked) const;
    // A job that waits, once begun, until it is let go.
    DecodeJob gate(const QByteArray& name, Urgency urgency) const;
    // The processes that have begun it, in turn.
    QList<pid_t> begun(const QByteArray& name) const;
    bool hasBegun(const QByteArray& name) const { return !begun(name).isEmpty(); }
    void letGo(const QByteArray& name) const { mFolder.addFile("gate-" + name); }
    // A job that notes when it is begun, and the names of those begun so far.
    DecodeJob noting(const QByteArray& name, Urgency urgency) const;
    QByteArrayList begunInOrder() const;
    QList<pid_t> noted(const QByteArray& file) const;

    // Has it decoded; the callback notes the result under the file's name.
    DecoderPool::Ticket start(DecoderPool& pool, const DecodeJob& job);
    bool isDone(const QByteArray& name) const;
    DecodedFile result(const QByteArray& name) const;
    DecodeError error(const QByteArray& name) const { return result(name).picture.error; }
    int callbacks(const QByteArray& name) const;

private:
    TestFolder mFolder;
    mutable std::mutex mMutex;
    // Names of no Qt type: its library counts who shares one unseen by a thread sanitizer.
    std::vector<std::string> mDone;
    std::map<std::string, DecodedFile> mResults;
};

// Which process has decoded it, where the order has it told.
inline pid_t processOf(const DecodedFile& file)
{
    return file.picture.size.width();
}

// Whether it stands still.
bool isSuspended(pid_t process);
// Whether it has ended, though nobody has waited for it yet.
bool hasEnded(pid_t process);
bool exists(pid_t process);

} // namespace frameflow
