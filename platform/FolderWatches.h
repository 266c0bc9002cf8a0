#pragma once

#include "FileEvent.h"

#include <QHash>
#include <QSet>

#include <memory>
#include <mutex>
#include <vector>

namespace frameflow {

// What the kernel's word about an entry means; 0 for what is not told. "Unfinished": the file was created under our
// eyes and has not been closed since.
quint32 fileEventFlags(quint32 kernelMask, bool isUnfinished);

// The kernel's watches on folders, one for each. Whoever walks a tree names each folder before listing it, so that what
// comes afterwards is either listed or told. Walks and reading may be on different threads.
class FolderWatches
{
public:
    static constexpr int noLimit = -1;

    enum class Outcome
    {
        Watched,
        LimitReached, // the machine's, or the one given at the creation
        Failed,
    };

    // Null when the machine offers no watching at all. Events of the root itself carry its URL as given here.
    static std::shared_ptr<FolderWatches> create(const FileUrl& root, int mostWatches = noLimit);
    ~FolderWatches();
    FolderWatches(const FolderWatches&) = delete;
    FolderWatches& operator=(const FolderWatches&) = delete;

    // Around a walk, one at a time. The end of a pass gives up the watches of all folders that it did not name; a walk
    // that was broken off leaves them.
    void beginPass();
    // An open descriptor of the folder, and the path under which its entries are to be told.
    Outcome watch(int folder, const QByteArray& path);
    void endPass();

    // Whether every folder that the last pass named is watched.
    bool isComplete() const;
    size_t count() const;
    // Created under our eyes and not closed since: somebody may still be writing it.
    bool isUnfinished(const FileUrl& url) const;

    // Becomes readable when there are changes.
    int descriptor() const { return mDescriptor; }
    // What has changed, without waiting, in order and at most some thousand changes; what follows comes next time.
    // Files whose names the program cannot show are left out. One thread at a time.
    std::vector<FileEvent> read();

private:
    FolderWatches(FileUrl root, int mostWatches, int descriptor);

    struct Watch
    {
        QByteArray prefix; // the path with a slash at its end
        quint64 pass = 0;
    };
    struct Change
    {
        int watch = 0;
        quint32 mask = 0;
        quint32 cookie = 0;
        QByteArrayView name;
    };

    void take(const Change& change, std::vector<FileEvent>& events);
    quint32 takeFile(const Change& change, const FileUrl& url);

    const FileUrl mRoot;
    const int mMostWatches;
    const int mDescriptor;

    mutable std::mutex mMutex; // for all below
    QHash<int, Watch> mWatches;
    quint64 mPass = 0;
    bool mComplete = false;
    QSet<FileUrl> mUnfinished;
    quint32 mMovedUnfinished = 0; // the cookie of an unfinished file that has lost its old name; 0 for none
};

} // namespace frameflow
