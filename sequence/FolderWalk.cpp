#include "FolderWalk.h"

#include "FileTypes.h"

#include <cerrno>
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
    int descriptor() const { return mDirectory ? dirfd(mDirectory.get()) : -1; }

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

// A file of an OpenFolder, valid as long as its entry is.
class FolderFile final : public ListedFile
{
public:
    FolderFile(const OpenFolder& folder, QByteArrayView name, bool isLink)
        : mFolder(folder), mName(name), mIsLink(isLink)
    {
    }

    const QByteArray& prefix() const override { return mFolder.prefix(); }
    QByteArrayView name() const override { return mName; }
    bool isLink() const override { return mIsLink; }
    int folder() const override { return mFolder.descriptor(); }

    SlideItemPtr item() const override
    {
        if (mIsLink) {
            const QByteArray path = mFolder.pathOf(mName);
            return kindOfPath(path) == PathKind::File ? SlideItem::itemWithURL(FileUrl::fromPath(path))
                                                      : SlideItemPtr();
        }
        struct stat attributes
        {
        };
        if (!mFolder.examine(mName, attributes) || !S_ISREG(attributes.st_mode)) {
            return {};
        }
        return SlideItemPtr(
            new SlideItem(FileUrl::fromPath(mFolder.pathOf(mName)), FileDate::modificationDate(attributes), {}));
    }

private:
    const OpenFolder& mFolder;
    QByteArrayView mName;
    bool mIsLink;
};

class Walk
{
public:
    Walk(qint64 levelLimit, const CancelToken& cancel, const WalkSinks& sinks)
        : mLevelLimit(levelLimit), mCancel(cancel), mSinks(sinks)
    {
    }

    WalkEnd run(const FileUrl& folder)
    {
        go(openDirectory(AT_FDCWD, folder.path().constData(), 0), folder.path());
        FolderEntry entry;
        while (!mFolders.empty()) {
            if (mCancel.isCancelled() || (mSinks.goesOn && !mSinks.goesOn())) {
                return WalkEnd::Cancelled;
            }
            if (!mFolders.back().next(entry)) {
                mFolders.pop_back();
            } else if (mFolders.size() > 1 || !entry.name.startsWith('.')) {
                take(mFolders.back(), entry);
            }
        }
        if (mCancel.isCancelled()) {
            return WalkEnd::Cancelled;
        }
        return mIsOutOfResources ? WalkEnd::OutOfResources : WalkEnd::Complete;
    }

private:
    void take(OpenFolder& folder, const FolderEntry& entry)
    {
        // The kernel takes no longer path, so nobody could open the file.
        if (folder.prefix().size() + entry.name.size() >= PATH_MAX) {
            return;
        }
        unsigned char type = entry.type;
        if (type == DT_UNKNOWN) {
            struct stat attributes
            {
            };
            folder.examine(entry.name, attributes);
            type = static_cast<unsigned char>(IFTODT(attributes.st_mode));
        }
        if (type == DT_DIR) {
            enter(folder, entry.name);
        } else if ((type == DT_REG || type == DT_LNK) && mediaKindForName(entry.name) != MediaKind::None) {
            mSinks.file(FolderFile(folder, entry.name, type == DT_LNK));
        }
    }

    void enter(OpenFolder& folder, QByteArrayView name)
    {
        const auto level = static_cast<qint64>(mFolders.size());
        if (mLevelLimit > 0 && level >= mLevelLimit) {
            return;
        }
        const QByteArray path = folder.pathOf(name);
        auto directory = folder.openSubfolder(name);
        if (directory && mFolders.size() >= mostOpenFolders) {
            folder.readAllAndClose();
        }
        go(std::move(directory), path);
    }

    // Right after the folder was opened, or could not be.
    void go(Directory directory, const QByteArray& path)
    {
        if (!directory && (errno == EMFILE || errno == ENFILE || errno == ENOMEM)) {
            mIsOutOfResources = true;
        }
        if (mSinks.folder) {
            mSinks.folder(directory ? dirfd(directory.get()) : -1, path);
        }
        if (directory) {
            mFolders.emplace_back(std::move(directory), path);
        }
    }

    const qint64 mLevelLimit;
    const CancelToken& mCancel;
    const WalkSinks& mSinks;
    bool mIsOutOfResources = false;
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

WalkEnd walkTree(const FileUrl& folder, qint64 levelLimit, const CancelToken& cancel, const WalkSinks& sinks)
{
    return Walk(levelLimit, cancel, sinks).run(folder);
}

void walkFolder(const FileUrl& folder, qint64 levelLimit, const CancelToken& cancel, const ItemSink& found)
{
    WalkSinks sinks;
    sinks.file = [&](const ListedFile& file) {
        if (auto item = file.item()) {
            found(std::move(item));
        }
    };
    walkTree(folder, levelLimit, cancel, sinks);
}

} // namespace frameflow
