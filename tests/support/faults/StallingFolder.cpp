#include "StallingFolder.h"

#include "FileCalls.h"

#include <QDirIterator>
#include <QFile>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mount.h>
#include <sys/uio.h>
#include <unistd.h>

namespace frameflow {

namespace {

// A volume that this process is to serve; -1 where that is forbidden.
int mountAt(const QByteArray& folder)
{
    const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (device < 0) {
        return -1;
    }
    const QByteArray options = "rootmode=40000,user_id=" + QByteArray::number(geteuid())
        + ",group_id=" + QByteArray::number(getegid()) + ",fd=" + QByteArray::number(device);
    if (mount("frameflow", folder.constData(), "fuse.frameflow", MS_NOSUID | MS_NODEV, options.constData()) != 0) {
        close(device);
        return -1;
    }
    return device;
}

int callOf(uint32_t operation)
{
    switch (operation) {
    case FUSE_LOOKUP:
    case FUSE_GETATTR:
        return static_cast<int>(FileCall::Look);
    case FUSE_OPEN:
        return static_cast<int>(FileCall::Open);
    case FUSE_READ:
        return static_cast<int>(FileCall::Read);
    case FUSE_OPENDIR:
    case FUSE_READDIR:
        return static_cast<int>(FileCall::List);
    case FUSE_CREATE:
    case FUSE_MKDIR:
    case FUSE_RENAME:
    case FUSE_RENAME2:
    case FUSE_UNLINK:
    case FUSE_WRITE:
        return static_cast<int>(FileCall::Change);
    default:
        return 0;
    }
}

} // namespace

class StallingFolder::Server
{
public:
    Server(const QByteArray& files, int device)
        : mCalls(files), mDevice(device), mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), mThread([this] { serve(); })
    {
    }
    ~Server()
    {
        mIsEnding = true;
        wake();
        mThread.join();
        close(mDevice); // whoever waits is told that the volume is gone
        close(mWake);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void stall(int calls)
    {
        mStalled = calls;
        wake();
    }
    int waiting() const { return mWaiting; }

private:
    struct Request
    {
        fuse_in_header head;
        QByteArray rest;
    };

    void wake() const
    {
        const uint64_t one = 1;
        static_cast<void>(write(mWake, &one, sizeof one));
    }

    void serve()
    {
        QByteArray buffer(1 << 18, Qt::Uninitialized);
        while (!mIsEnding) {
            pollfd files[] = {{mDevice, POLLIN, 0}, {mWake, POLLIN, 0}};
            poll(files, 2, -1);
            uint64_t times = 0;
            static_cast<void>(read(mWake, &times, sizeof times));
            if ((files[0].revents & POLLIN) != 0) {
                const auto size = read(mDevice, buffer.data(), buffer.size());
                if (size >= static_cast<ssize_t>(sizeof(fuse_in_header))) {
                    take(buffer.left(size));
                }
            }
            if (times > 0) {
                answerThoseThatMayGo();
            }
        }
    }

    void take(const QByteArray& bytes)
    {
        Request request{};
        std::memcpy(&request.head, bytes.constData(), sizeof request.head);
        request.rest = bytes.mid(sizeof request.head);
        if (request.head.opcode == FUSE_FORGET || request.head.opcode == FUSE_BATCH_FORGET) {
            return;
        }
        if (request.head.opcode == FUSE_INTERRUPT) {
            uint64_t number = 0;
            std::memcpy(&number, request.rest.constData(), sizeof number);
            if (mHeld.erase(number) > 0) {
                tell(number, -EINTR, {});
                mWaiting = static_cast<int>(mHeld.size());
            }
            return;
        }
        if ((callOf(request.head.opcode) & mStalled) != 0) {
            mHeld.emplace(request.head.unique, request);
            mWaiting = static_cast<int>(mHeld.size());
        } else {
            answer(request);
        }
    }

    void answerThoseThatMayGo()
    {
        for (auto it = mHeld.begin(); it != mHeld.end();) {
            if ((callOf(it->second.head.opcode) & mStalled) == 0) {
                answer(it->second);
                it = mHeld.erase(it);
            } else {
                ++it;
            }
        }
        mWaiting = static_cast<int>(mHeld.size());
    }

    void answer(const Request& request)
    {
        int error = 0;
        const QByteArray result = mCalls.answer(request.head, request.rest, error);
        tell(request.head.unique, error, error == 0 ? result : QByteArray());
    }

    void tell(uint64_t number, int error, QByteArray result) const
    {
        fuse_out_header head{};
        head.len = static_cast<uint32_t>(sizeof head + result.size());
        head.error = error;
        head.unique = number;
        const iovec parts[] = {{&head, sizeof head}, {result.data(), static_cast<size_t>(result.size())}};
        static_cast<void>(writev(mDevice, parts, 2));
    }

    FileCalls mCalls;
    const int mDevice;
    const int mWake;
    std::map<uint64_t, Request> mHeld;
    std::atomic<int> mStalled = 0;
    std::atomic<int> mWaiting = 0;
    std::atomic<bool> mIsEnding = false;
    std::thread mThread; // last: it uses the others
};

// Whoever opens one of the files waits until they are gone.
class StallingFolder::Leases
{
public:
    explicit Leases(const QByteArray& folder)
    {
        QDirIterator files(QFile::decodeName(folder), QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const int file = open(QFile::encodeName(files.next()).constData(), O_RDWR | O_CLOEXEC);
            // The signal that tells of somebody who waits is of no interest.
            if (file >= 0 && fcntl(file, F_SETSIG, SIGURG) == 0 && fcntl(file, F_SETLEASE, F_WRLCK) == 0) {
                mFiles.push_back(file);
            } else if (file >= 0) {
                close(file);
            }
        }
    }
    ~Leases()
    {
        for (const int file : mFiles) {
            close(file);
        }
    }
    Leases(const Leases&) = delete;
    Leases& operator=(const Leases&) = delete;

    bool areWaitedFor() const
    {
        return std::any_of(mFiles.begin(), mFiles.end(), [](int file) { return fcntl(file, F_GETLEASE) != F_WRLCK; });
    }

private:
    std::vector<int> mFiles;
};

bool StallingFolder::canBeVolume()
{
    const TestFolder folder;
    const int device = mountAt(folder.path());
    if (device < 0) {
        return false;
    }
    close(device);
    umount2(folder.path().constData(), MNT_DETACH);
    return true;
}

StallingFolder::StallingFolder(Kind kind)
{
    if (kind == Kind::Volume) {
        const int device = mountAt(mVolume.path());
        if (device < 0) {
            qFatal("no file system in user space: %s", std::strerror(errno));
        }
        mServer = std::make_unique<Server>(mFiles.path(), device);
    }
}

StallingFolder::~StallingFolder()
{
    if (mServer) {
        mServer.reset();
        umount2(mVolume.path().constData(), MNT_DETACH);
    }
}

void StallingFolder::stall(int calls)
{
    if (mServer) {
        mServer->stall(calls);
    } else if ((calls & static_cast<int>(FileCall::Open)) != 0) {
        mLeases = std::make_unique<Leases>(mFiles.path());
    }
}

void StallingFolder::go()
{
    if (mServer) {
        mServer->stall(0);
    }
    mLeases.reset();
}

bool StallingFolder::isWaitedFor() const
{
    return mServer ? mServer->waiting() > 0 : mLeases && mLeases->areWaitedFor();
}

} // namespace frameflow
