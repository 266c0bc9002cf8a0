#include "FolderRecords.h"

#include <algorithm>
#include <array>
#include <utility>

#include <sys/stat.h>
#include <sys/vfs.h>

namespace frameflow {

namespace {

// Times within these many seconds before a moment may be those of a change after it.
constexpr qint64 coarsestTime = 2;

FolderRecord recordOf(const QByteArray& path, const struct stat& attributes)
{
    return {path, true, attributes.st_dev, attributes.st_ino, FileDate::modificationDate(attributes),
        {attributes.st_ctim.tv_sec, static_cast<qint32>(attributes.st_ctim.tv_nsec)}};
}

// The topmost folder may be a link to one; below it links are not followed.
FolderRecord look(const QByteArray& path, bool isTopmost)
{
    struct stat attributes
    {
    };
    const int failed = isTopmost ? stat(path.constData(), &attributes) : lstat(path.constData(), &attributes);
    FolderRecord missing;
    missing.path = path;
    return failed == 0 ? recordOf(path, attributes) : missing;
}

} // namespace

void FolderRecords::add(int folder, const QByteArray& path)
{
    struct stat attributes
    {
    };
    if (folder < 0 || fstat(folder, &attributes) != 0) {
        mRecords.push_back(look(path, mRecords.empty()));
        return;
    }
    const bool isNewDevice = mRecords.empty() || mRecords.back().device != attributes.st_dev;
    struct statfs fileSystem
    {
    };
    if (isNewDevice && (fstatfs(folder, &fileSystem) != 0 || isRemoteFileSystem(fileSystem.f_type))) {
        mIsRemote = true;
    }
    mRecords.push_back(recordOf(path, attributes));
}

bool FolderRecords::areUnchanged() const
{
    bool isTopmost = true;
    return std::all_of(mRecords.begin(), mRecords.end(),
        [&](const FolderRecord& record) { return look(record.path, std::exchange(isTopmost, false)) == record; });
}

bool FolderRecords::showChangesAfter(FileDate moment) const
{
    const FileDate limit{moment.seconds - coarsestTime, moment.nanoseconds};
    return !mIsRemote && !mRecords.empty()
        && std::all_of(mRecords.begin(), mRecords.end(), [&](const FolderRecord& record) {
               return !record.isThere || (record.modified <= limit && record.changed <= limit);
           });
}

bool isRemoteFileSystem(qint64 type)
{
    constexpr std::array<quint32, 17> remote{
        0x6969, // NFS
        0x517b, 0xff534d42, 0xfe534d42, // SMB
        0x65735546, // FUSE
        0x01021997, // 9P
        0x00c36400, // Ceph
        0x5346414f, 0x6b414653, // AFS
        0x73757245, // Coda
        0x7461636f, // OCFS2
        0x01161970, // GFS2
        0x0bd00bd0, // Lustre
        0x786f4256, // folders of a host machine
        0xbacbacbc, // the same
        0x564c, // NCP
        0x19830326, // BeeGFS
    };
    return std::find(remote.begin(), remote.end(), static_cast<quint32>(type)) != remote.end();
}

} // namespace frameflow
