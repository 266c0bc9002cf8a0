#include "Bookmark.h"

#include <QList>

#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace frameflow {

namespace {

// The record is text: this line, four numbers, and the path, which ends with the record and may hold line ends.
constexpr char firstLine[] = "frameflow bookmark 1";
constexpr qsizetype longestRecord = 8192; // paths end at 4096 bytes

// By what a folder is known; numbers that the file system does not tell are 0.
struct Identity
{
    quint64 inode = 0;
    quint64 birth = 0; // nanoseconds since the epoch
    quint64 fileSystem = 0;

    bool isKnown() const { return inode != 0 && birth != 0; }
    bool isSameFolder(const Identity& other) const { return inode == other.inode && birth == other.birth; }
};

// Links are followed. Absent for what is no folder.
std::optional<Identity> identityOf(int parent, const char* name)
{
    struct statx attributes = {};
    if (statx(parent, name, 0, STATX_TYPE | STATX_INO | STATX_BTIME, &attributes) != 0
        || !S_ISDIR(attributes.stx_mode)) {
        return std::nullopt;
    }
    Identity identity;
    identity.inode = attributes.stx_ino;
    if ((attributes.stx_mask & STATX_BTIME) != 0) {
        identity.birth
            = static_cast<quint64>(attributes.stx_btime.tv_sec) * 1'000'000'000 + attributes.stx_btime.tv_nsec;
    }
    return identity;
}

quint64 fileSystemOf(const char* path)
{
    struct statfs fileSystem = {};
    if (statfs(path, &fileSystem) != 0) {
        return 0;
    }
    const auto& words = fileSystem.f_fsid.__val;
    return (static_cast<quint64>(static_cast<quint32>(words[0])) << 32) | static_cast<quint32>(words[1]);
}

std::optional<Identity> identityOf(const FileUrl& folder)
{
    auto identity = identityOf(AT_FDCWD, folder.path().constData());
    if (identity) {
        identity->fileSystem = fileSystemOf(folder.path().constData());
    }
    return identity;
}

// The folder under its new name, in the folder where it was.
FileUrl renamedBeside(const FileUrl& folder, const Identity& wanted)
{
    const QByteArray& path = folder.path();
    const QByteArray parent = path.left(path.lastIndexOf('/') + 1);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(parent.constData()), &closedir);
    if (!entries || fileSystemOf(parent.constData()) != wanted.fileSystem) {
        return {};
    }
    while (const dirent* entry = readdir(entries.get())) {
        const bool mayBeFolder = entry->d_type == DT_DIR || entry->d_type == DT_UNKNOWN;
        if (entry->d_ino != wanted.inode || !mayBeFolder) {
            continue;
        }
        const auto found = identityOf(dirfd(entries.get()), entry->d_name);
        if (found && found->isSameFolder(wanted)) {
            return FileUrl::fromPath(parent + entry->d_name);
        }
    }
    return {};
}

struct Record
{
    Identity identity;
    FileUrl folder;
};

std::optional<Record> readRecord(const QByteArray& bookmark)
{
    constexpr int numbers = 3;
    if (bookmark.size() > longestRecord || bookmark.contains('\0')) {
        return std::nullopt;
    }
    const QList<QByteArray> lines = bookmark.split('\n');
    if (lines.size() < numbers + 2 || lines.first() != firstLine) {
        return std::nullopt;
    }
    const Identity identity{lines[1].toULongLong(), lines[2].toULongLong(), lines[3].toULongLong()};
    const QByteArray path = lines.mid(numbers + 1).join('\n');
    if (!path.startsWith('/')) {
        return std::nullopt;
    }
    return Record{identity, FileUrl::fromPath(path)};
}

} // namespace

QByteArray bookmarkForFolder(const FileUrl& folder)
{
    const auto identity = folder.isEmpty() ? std::nullopt : identityOf(folder);
    if (!identity) {
        return {};
    }
    QByteArray record(firstLine);
    for (const quint64 number : {identity->inode, identity->birth, identity->fileSystem}) {
        record += '\n' + QByteArray::number(number);
    }
    return record + '\n' + folder.path();
}

FileUrl rememberedFolder(const QByteArray& bookmark)
{
    const auto record = readRecord(bookmark);
    return record ? record->folder : FileUrl();
}

std::optional<ResolvedBookmark> resolveBookmark(const QByteArray& bookmark)
{
    const auto record = readRecord(bookmark);
    if (!record) {
        return std::nullopt;
    }
    const auto& [remembered, folder] = *record;
    if (const auto now = identityOf(folder)) {
        const bool isComparable = remembered.isKnown() && now->isKnown() && now->fileSystem == remembered.fileSystem;
        return ResolvedBookmark{folder, isComparable && !now->isSameFolder(remembered)};
    }
    const FileUrl renamed = remembered.isKnown() ? renamedBeside(folder, remembered) : FileUrl();
    return renamed.isEmpty() ? std::nullopt : std::optional(ResolvedBookmark{renamed, false});
}

} // namespace frameflow
