#pragma once

#include "TestFiles.h"

#include <QByteArray>

#include <memory>

namespace frameflow {

// What a file system may be asked for and not answer.
enum class FileCall
{
    Look = 1, // for a name, or for attributes
    Open = 2,
    Read = 4,
    List = 8,
    Change = 16,
    All = 31,
};

// A folder of real files on a volume of its own, which answers or does not as a test says: a file system in user space,
// which this process serves. The calls that still wait at its end fail. Where none can be mounted it is a plain folder,
// of which only the opening of files can be made to wait, for half a minute or so: by leases on them.
class StallingFolder
{
public:
    // Whether this system lets a volume be made; to be asked after makeOwnMounts().
    static bool canBeVolume();

    enum class Kind
    {
        Volume,
        Leases,
    };
    explicit StallingFolder(Kind kind);
    ~StallingFolder();
    StallingFolder(const StallingFolder&) = delete;
    StallingFolder& operator=(const StallingFolder&) = delete;

    // Where the volume is. The test itself must not touch it while it stalls.
    QByteArray path() const { return mServer ? mVolume.path() : mFiles.path(); }
    // The same files without the volume: what a test puts there is on it.
    const TestFolder& files() const { return mFiles; }

    // From now on these calls wait, until go() answers them. A call is given up when its caller is ended, as on a
    // network's file system.
    void stall(int calls = static_cast<int>(FileCall::All));
    void stall(FileCall call) { stall(static_cast<int>(call)); }
    void go();
    // Whether any call waits now.
    bool isWaitedFor() const;

private:
    class Server;
    class Leases;

    TestFolder mFiles;
    TestFolder mVolume;
    std::unique_ptr<Server> mServer; // null without a volume
    std::unique_ptr<Leases> mLeases; // while it stalls without one
};

} // namespace frameflow
