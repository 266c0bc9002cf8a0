#include "FolderWalk.h"

#include "FileTypes.h"

#include <climits>
#include <cstring>
#include <deque>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

// Folders that are kept open on the way down. The entries of deeper ones are read into memory before the walk goes
// below them, so that no tree uses up the descriptors.
constexpr size_t mostOpenFolders = 64;

struct DirectoryCloser
{
    void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

Directory openDirectory(int at, const char* path, int flags)
{
    const int descriptor = openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags);
    if (descriptor < 0) {
        return {};
    }
    Directory directory(fdopendir(descriptor));
    if (!directory) {
        close(descriptor);
    }
    return directory;
}

struct FolderEntry
{
    QByteArrayView name; // valid until the next entry is asked for
    unsigned char type = DT_UNKNOWN;
};

// The entries of one folder, from its descriptor or from memory.
class OpenFolder
{
public:
    OpenFolder(Directory directory, QByteArray path) : mDirectory(std::move(directory)), mPrefix(std::move(path))
    {
        if (!mPrefix.endsWith('/')) {
            mPrefix += '/';
        }
    }

    // The path with a slash at its end.
    const QByteArray& prefix() const { return mPrefix; }
    bool isOpen() const { return mDirectory != nullptr; }

    bool next(FolderEntry& entry)
    {
        if (!mDirectory) {
            if (mKept.empty()) {
                return false;
            }
            mCurrent = std::move(mKept.front());
            mKept.pop_front();
            entry = {mCurrent.name, mCurrent.type};
            return true;
        }
        while (const dirent* read = readdir(mDirectory.get())) {
            const QByteArrayView name(read->d_name, static_cast<qsizetype>(std::strlen(read->d_name)));
            if (name != QByteArrayView(".") && name != QByteArrayView("..")) {
                entry = {name, read->d_type};
                return true;
            }
        }
        return false;
    }

    void readAllAndClose()
    {
        FolderEntry entry;
        while (mDirectory && next(entry)) {
            mKept.push_back({entry.name.toByteArray(), entry.type});
        }
        mDirectory.reset();
    }

    bool examine(const QByteArrayView name, struct stat& attributes) const
    {
        if (mDirectory) {
            return fstatat(dirfd(mDirectory.get()), name.data(), &attributes, AT_SYMLINK_NOFOLLOW) == 0;
        }
        return lstat(pathOf(name).constData(), &attributes) == 0;
    }

    Directory openSubfolder(QByteArrayView name) const
    {
        return mDirectory ? openDirectory(dirfd(mDirectory.get()), name.data(), O_NOFOLLOW)
                          : openDirectory(AT_FDCWD, pathOf(name).constData(), O_NOFOLLOW);
    }

    QByteArray pathOf(QByteArrayView name) const
    {
        QByteArray path;
        path.reserve(mPrefix.size() + name.size());
        return path.append(mPrefix).append(name);
    }

private:
    struct Kept
    {
        QByteArray name;
        unsigned char type = DT_UNKNOWN;
    };

    Directory mDirectory;
    QByteArray mPrefix;
    std::deque<Kept> mKept;
    Kept mCurrent;
};

class Walk
{
public:
    Walk(qint64 levelLimit, const CancelToken& cancel, const ItemSink& found)
        : mLevelLimit(levelLimit), mCancel(cancel), mFound(found)
    {
    }

    void run(const FileUrl& folder)
    {
        if (auto directory = openDirectory(AT_FDCWD, folder.path().constData(), 0)) {
            mFolders.emplace_back(std::move(directory), folder.path());
        }
        FolderEntry entry;
        while (!mFolders.empty() && !mCancel.isCancelled()) {
            if (!mFolders.back().next(entry)) {
                mFolders.pop_back();
            } else if (mFolders.size() > 1 || !entry.name.startsWith('.')) {
                take(mFolders.back(), entry);
            }
        }
    }

private:
    void take(OpenFolder& folder, const FolderEntry& entry)
    {
        // The kernel takes no longer path, so nobody could open the file.
        if (folder.prefix().size() + entry.name.size() >= PATH_MAX) {
            return;
        }
        unsigned char type = entry.type;
        struct stat attributes
        {
        };
        bool examined = false;
        if (type == DT_UNKNOWN) {
            examined = folder.examine(entry.name, attributes);
            type = static_cast<unsigned char>(IFTODT(attributes.st_mode));
        }
        if (type == DT_DIR) {
            enter(folder, entry.name);
        } else if (type == DT_REG && mediaKindForName(entry.name) != MediaKind::None) {
            if ((examined || folder.examine(entry.name, attributes)) && S_ISREG(attributes.st_mode)) {
                mFound(SlideItemPtr(new SlideItem(
                    FileUrl::fromPath(folder.pathOf(entry.name)), FileDate::modificationDate(attributes), {})));
            }
        } else if (type == DT_LNK && mediaKindForName(entry.name) != MediaKind::None) {
            const QByteArray path = folder.pathOf(entry.name);
            if (kindOfPath(path) == PathKind::File) {
                mFound(SlideItem::itemWithURL(FileUrl::fromPath(path)));
            }
        }
    }

    void enter(OpenFolder& folder, QByteArrayView name)
    {
        const auto level = static_cast<qint64>(mFolders.size());
        if (mLevelLimit > 0 && level >= mLevelLimit) {
            return;
        }
        auto directory = folder.openSubfolder(name);
        if (!directory) {
            return;
        }
        QByteArray path = folder.pathOf(name);
        if (mFolders.size() >= mostOpenFolders) {
            folder.readAllAndClose();
        }
        mFolders.emplace_back(std::move(directory), std::move(path));
    }

    const qint64 mLevelLimit;
    const CancelToken& mCancel;
    const ItemSink& mFound;
    std::deque<OpenFolder> mFolders; // from the top down; references stay valid while it grows
};

} // namespace

PathKind kindOfPath(const QByteArray& path)
{
    struct stat attributes
    {
    };
    if (path.contains('\0') || stat(path.constData(), &attributes) != 0) {
        return PathKind::Missing;
    }
    if (S_ISDIR(attributes.st_mode)) {
        return PathKind::Folder;
    }
    return S_ISREG(attributes.st_mode) ? PathKind::File : PathKind::Missing;
}

bool isDisplayable(const FileUrl& url)
{
    return mediaKindForName(url.fileName()) != MediaKind::None;
}

void walkFolder(const FileUrl& folder, qint64 levelLimit, const CancelToken& cancel, const ItemSink& found)
{
    Walk(levelLimit, cancel, found).run(folder);
}

} // namespace frameflow
