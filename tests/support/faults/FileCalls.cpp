#include "FileCalls.h"

#include <QDir>
#include <QList>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace frameflow {

namespace {

template <typename Part>
Part partOf(const QByteArray& bytes)
{
    Part part{};
    std::memcpy(&part, bytes.constData(), std::min<size_t>(sizeof part, bytes.size()));
    return part;
}

template <typename Part>
QByteArray bytesOf(const Part& part)
{
    return {reinterpret_cast<const char*>(&part), sizeof part};
}

fuse_attr attributesFrom(const struct stat& file)
{
    fuse_attr result{};
    result.ino = file.st_ino;
    result.size = file.st_size;
    result.blocks = file.st_blocks;
    result.atime = file.st_atim.tv_sec;
    result.mtime = file.st_mtim.tv_sec;
    result.ctime = file.st_ctim.tv_sec;
    result.atimensec = file.st_atim.tv_nsec;
    result.mtimensec = file.st_mtim.tv_nsec;
    result.ctimensec = file.st_ctim.tv_nsec;
    result.mode = file.st_mode;
    result.nlink = file.st_nlink;
    result.uid = file.st_uid;
    result.gid = file.st_gid;
    result.blksize = file.st_blksize;
    return result;
}

void note(bool isDone, int& error)
{
    if (!isDone) {
        error = -errno;
    }
}

QByteArray introduction(const QByteArray& rest)
{
    const auto offered = partOf<fuse_init_in>(rest);
    fuse_init_out result{};
    result.major = FUSE_KERNEL_VERSION;
    result.minor = std::min<uint32_t>(offered.minor, FUSE_KERNEL_MINOR_VERSION);
    result.max_readahead = offered.max_readahead;
    result.max_write = 1 << 17;
    result.max_background = 64;
    result.congestion_threshold = 48;
    result.time_gran = 1;
    return bytesOf(result);
}

QByteArray space()
{
    fuse_statfs_out result{};
    result.st.blocks = result.st.bfree = result.st.bavail = 1 << 20;
    result.st.files = result.st.ffree = 1 << 20;
    result.st.bsize = result.st.frsize = 4096;
    result.st.namelen = 255;
    return bytesOf(result);
}

} // namespace

FileCalls::FileCalls(const QByteArray& folder)
{
    mPaths.insert(FUSE_ROOT_ID, folder);
}

QByteArray FileCalls::answer(const fuse_in_header& head, const QByteArray& rest, int& error)
{
    switch (head.opcode) {
    case FUSE_INIT:
        return introduction(rest);
    case FUSE_LOOKUP:
        return entry(childOf(head.nodeid, rest.constData()), error);
    case FUSE_GETATTR:
        return attributes(head.nodeid, error);
    case FUSE_OPEN:
        return opened(pathOf(head.nodeid), static_cast<int>(partOf<fuse_open_in>(rest).flags), error);
    case FUSE_OPENDIR:
        return bytesOf(fuse_open_out{});
    case FUSE_READ:
        return read(rest, error);
    case FUSE_READDIR:
        return listed(head.nodeid, rest);
    case FUSE_RELEASE:
        close(static_cast<int>(partOf<fuse_release_in>(rest).fh));
        return {};
    case FUSE_RELEASEDIR:
    case FUSE_FLUSH:
        return {};
    case FUSE_STATFS:
        return space();
    default:
        return changed(head, rest, error);
    }
}

uint64_t FileCalls::nodeOf(const QByteArray& path)
{
    const uint64_t known = mPaths.key(path, 0);
    if (known == 0) {
        const uint64_t node = mPaths.size() + 1;
        mPaths.insert(node, path);
        return node;
    }
    return known;
}

QByteArray FileCalls::entry(const QByteArray& path, int& error)
{
    struct stat file
    {
    };
    note(lstat(path.constData(), &file) == 0, error);
    fuse_entry_out result{};
    if (error == 0) {
        result.nodeid = nodeOf(path);
        result.attr = attributesFrom(file);
    }
    return bytesOf(result);
}

QByteArray FileCalls::attributes(uint64_t node, int& error) const
{
    struct stat file
    {
    };
    note(lstat(pathOf(node).constData(), &file) == 0, error);
    fuse_attr_out result{};
    result.attr = attributesFrom(file);
    return bytesOf(result);
}

QByteArray FileCalls::opened(const QByteArray& path, int flags, int& error) const
{
    fuse_open_out result{};
    const int file = open(path.constData(), (flags & ~(O_CREAT | O_EXCL)) | O_CLOEXEC);
    note(file >= 0, error);
    result.fh = static_cast<uint64_t>(file);
    return bytesOf(result);
}

QByteArray FileCalls::read(const QByteArray& rest, int& error) const
{
    const auto asked = partOf<fuse_read_in>(rest);
    QByteArray bytes(asked.size, Qt::Uninitialized);
    const auto count = pread(static_cast<int>(asked.fh), bytes.data(), asked.size, static_cast<off_t>(asked.offset));
    note(count >= 0, error);
    bytes.truncate(std::max<ssize_t>(count, 0));
    return bytes;
}

QByteArray FileCalls::written(const QByteArray& rest, int& error) const
{
    const auto asked = partOf<fuse_write_in>(rest);
    const char* const bytes = rest.constData() + sizeof asked;
    const auto count = pwrite(static_cast<int>(asked.fh), bytes, asked.size, static_cast<off_t>(asked.offset));
    note(count >= 0, error);
    fuse_write_out result{};
    result.size = static_cast<uint32_t>(std::max<ssize_t>(count, 0));
    return bytesOf(result);
}

QByteArray FileCalls::listed(uint64_t node, const QByteArray& rest) const
{
    const auto asked = partOf<fuse_read_in>(rest);
    const QStringList names
        = QDir(QString::fromUtf8(pathOf(node))).entryList(QDir::AllEntries | QDir::System | QDir::Hidden, QDir::Name);
    QByteArray result;
    for (qsizetype i = static_cast<qsizetype>(asked.offset); i < names.size(); ++i) {
        const QByteArray name = names.at(i).toUtf8();
        fuse_dirent head{};
        head.ino = static_cast<uint64_t>(i) + 2;
        head.off = static_cast<uint64_t>(i) + 1;
        head.namelen = static_cast<uint32_t>(name.size());
        QByteArray one = QByteArray(reinterpret_cast<const char*>(&head), FUSE_NAME_OFFSET) + name;
        one.append(QByteArray(static_cast<qsizetype>(FUSE_DIRENT_ALIGN(one.size())) - one.size(), '\0'));
        if (result.size() + one.size() > static_cast<qsizetype>(asked.size)) {
            break;
        }
        result.append(one);
    }
    return result;
}

// ---- What changes files

QByteArray FileCalls::created(uint64_t node, const QByteArray& rest, int& error)
{
    const auto asked = partOf<fuse_create_in>(rest);
    const QByteArray path = childOf(node, rest.constData() + sizeof asked);
    const int file = open(path.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, asked.mode);
    note(file >= 0, error);
    if (file < 0) {
        return {};
    }
    fuse_open_out result{};
    result.fh = static_cast<uint64_t>(file);
    return entry(path, error) + bytesOf(result);
}

void FileCalls::rename(const QByteArray& from, const QByteArray& to, int& error)
{
    note(std::rename(from.constData(), to.constData()) == 0, error);
    if (error == 0) {
        const uint64_t node = mPaths.key(from, 0);
        if (node != 0) {
            mPaths.insert(node, to);
        }
    }
}

QByteArray FileCalls::changed(const fuse_in_header& head, const QByteArray& rest, int& error)
{
    const char* const name = rest.constData();
    switch (head.opcode) {
    case FUSE_CREATE:
        return created(head.nodeid, rest, error);
    case FUSE_WRITE:
        return written(rest, error);
    case FUSE_SETATTR:
        return attributes(head.nodeid, error);
    case FUSE_MKDIR: {
        const QByteArray path = childOf(head.nodeid, name + sizeof(fuse_mkdir_in));
        note(mkdir(path.constData(), partOf<fuse_mkdir_in>(rest).mode) == 0, error);
        return error == 0 ? entry(path, error) : QByteArray();
    }
    case FUSE_UNLINK:
        note(unlink(childOf(head.nodeid, name).constData()) == 0, error);
        return {};
    case FUSE_RMDIR:
        note(rmdir(childOf(head.nodeid, name).constData()) == 0, error);
        return {};
    case FUSE_RENAME:
    case FUSE_RENAME2: {
        const auto size = head.opcode == FUSE_RENAME ? sizeof(fuse_rename_in) : sizeof(fuse_rename2_in);
        const char* const old = name + size;
        rename(
            childOf(head.nodeid, old), childOf(partOf<fuse_rename_in>(rest).newdir, old + std::strlen(old) + 1), error);
        return {};
    }
    default:
        error = -ENOSYS;
        return {};
    }
}

} // namespace frameflow
