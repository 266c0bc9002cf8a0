#include "FolderWatches.h"

#include "FileTypes.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

constexpr quint32 watchedChanges
    = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

// Files whose end of writing is awaited; what is beyond counts as finished.
constexpr qsizetype mostUnfinished = 100000;

// A link to another file, or a second name for one: there is nothing that somebody could be writing under this name.
bool isBornWhole(const FileUrl& url)
{
    struct stat attributes
    {
    };
    return lstat(url.path().constData(), &attributes) == 0 && (!S_ISREG(attributes.st_mode) || attributes.st_nlink > 1);
}

} // namespace

quint32 fileEventFlags(quint32 kernelMask, bool isUnfinished)
{
    const bool isFolder = (kernelMask & IN_ISDIR) != 0;
    quint32 flags = 0;
    if ((kernelMask & IN_Q_OVERFLOW) != 0) {
        flags |= fileEvent::mustScan | fileEvent::dropped;
    }
    if ((kernelMask & IN_CREATE) != 0 && isFolder) {
        flags |= fileEvent::created;
    }
    if ((kernelMask & IN_CLOSE_WRITE) != 0) {
        flags |= isUnfinished ? fileEvent::created | fileEvent::modified : fileEvent::modified;
    }
    if ((kernelMask & IN_MOVED_TO) != 0) {
        // It may have taken the place of another file.
        flags |= isFolder ? fileEvent::renamed : fileEvent::renamed | fileEvent::modified;
    }
    if ((kernelMask & (IN_MOVED_FROM | IN_MOVE_SELF)) != 0) {
        flags |= fileEvent::renamed;
    }
    if ((kernelMask & (IN_DELETE | IN_DELETE_SELF | IN_UNMOUNT)) != 0) {
        flags |= fileEvent::removed;
    }
    const bool mayHideOrShow = flags != 0 || (kernelMask & IN_ATTRIB) != 0;
    if (isFolder && mayHideOrShow) {
        flags |= fileEvent::mustScan;
    }
    return flags;
}

std::shared_ptr<FolderWatches> FolderWatches::create(const FileUrl& root, int mostWatches)
{
    const int descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    return std::shared_ptr<FolderWatches>(descriptor < 0 ? nullptr : new FolderWatches(root, mostWatches, descriptor));
}

FolderWatches::FolderWatches(FileUrl root, int mostWatches, int descriptor)
    : mRoot(std::move(root)), mMostWatches(mostWatches), mDescriptor(descriptor)
{
}

FolderWatches::~FolderWatches()
{
    close(mDescriptor);
}

void FolderWatches::beginPass()
{
    const std::lock_guard lock(mMutex);
    ++mPass;
    mComplete = true;
}

FolderWatches::Outcome FolderWatches::watch(int folder, const QByteArray& path)
{
    // By the descriptor: what is watched is what will be listed, whatever happens to the path.
    const QByteArray opened = "/proc/self/fd/" + QByteArray::number(folder);
    const std::lock_guard lock(mMutex); // kept, so that the first change is not read before its folder is known
    const int watch = inotify_add_watch(mDescriptor, opened.constData(), watchedChanges);
    if (watch < 0) {
        mComplete = false;
        return errno == ENOSPC ? Outcome::LimitReached : Outcome::Failed;
    }
    if (mMostWatches >= 0 && mWatches.size() >= mMostWatches && !mWatches.contains(watch)) {
        inotify_rm_watch(mDescriptor, watch);
        mComplete = false;
        return Outcome::LimitReached;
    }
    Watch& entry = mWatches[watch];
    entry.prefix = path.endsWith('/') ? path : path + '/';
    entry.pass = mPass;
    return Outcome::Watched;
}

void FolderWatches::endPass()
{
    const std::lock_guard lock(mMutex);
    mWatches.removeIf([this](const QHash<int, Watch>::iterator& watch) {
        const bool isOld = watch->pass != mPass;
        if (isOld) {
            inotify_rm_watch(mDescriptor, watch.key());
        }
        return isOld;
    });
}

bool FolderWatches::isComplete() const
{
    const std::lock_guard lock(mMutex);
    return mComplete;
}

size_t FolderWatches::count() const
{
    const std::lock_guard lock(mMutex);
    return mWatches.size();
}

bool FolderWatches::isUnfinished(const FileUrl& url) const
{
    const std::lock_guard lock(mMutex);
    return mUnfinished.contains(url);
}

std::vector<FileEvent> FolderWatches::read()
{
    alignas(inotify_event) std::array<char, 65536> buffer; // filled by the kernel
    std::vector<FileEvent> events;
    const ssize_t size = ::read(mDescriptor, buffer.data(), buffer.size());
    for (ssize_t place = 0; place < size;) {
        inotify_event record{};
        std::memcpy(&record, buffer.data() + place, sizeof record);
        const char* name = buffer.data() + place + sizeof record;
        const auto length = record.len > 0 ? static_cast<qsizetype>(strnlen(name, record.len)) : 0;
        take({record.wd, record.mask, record.cookie, QByteArrayView(name, length)}, events);
        place += static_cast<ssize_t>(sizeof record + record.len);
    }
    return events;
}

void FolderWatches::take(const Change& change, std::vector<FileEvent>& events)
{
    if ((change.mask & IN_Q_OVERFLOW) != 0) {
        events.push_back({mRoot, fileEventFlags(change.mask, false)});
        return;
    }
    QByteArray path;
    {
        const std::lock_guard lock(mMutex);
        const auto watch = mWatches.constFind(change.watch);
        if (watch == mWatches.constEnd()) {
            return;
        }
        if ((change.mask & IN_IGNORED) != 0) {
            mWatches.erase(watch);
            return;
        }
        path.reserve(watch->prefix.size() + change.name.size());
        path.append(watch->prefix).append(change.name);
    }
    const auto url = FileUrl::fromPath(path);
    // Without a name it is the watched folder itself.
    const bool isFolder = (change.mask & IN_ISDIR) != 0 || change.name.isEmpty();
    quint32 flags = 0;
    if (isFolder) {
        flags = fileEventFlags(change.mask | IN_ISDIR, false);
    } else if (mediaKindForName(change.name) != MediaKind::None) {
        flags = takeFile(change, url);
    }
    if (flags != 0) {
        events.push_back({url, flags});
    }
}

quint32 FolderWatches::takeFile(const Change& change, const FileUrl& url)
{
    if ((change.mask & IN_CREATE) != 0 && isBornWhole(url)) {
        return fileEvent::created;
    }
    const std::lock_guard lock(mMutex);
    const bool arrivesUnfinished
        = (change.mask & IN_MOVED_TO) != 0 && std::exchange(mMovedUnfinished, 0) == change.cookie && change.cookie != 0;
    if ((change.mask & IN_CREATE) != 0 || arrivesUnfinished) {
        if (mUnfinished.size() < mostUnfinished) {
            mUnfinished.insert(url);
        }
        return fileEventFlags(change.mask, true);
    }
    constexpr quint32 ends = IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
    const bool wasUnfinished = (change.mask & ends) != 0 && mUnfinished.remove(url);
    if (wasUnfinished && (change.mask & IN_MOVED_FROM) != 0) {
        mMovedUnfinished = change.cookie;
    }
    return fileEventFlags(change.mask, wasUnfinished);
}

} // namespace frameflow
