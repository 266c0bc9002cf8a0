#include "OpenedFile.h"

#include <algorithm>

#include <sys/vfs.h>

namespace frameflow {

namespace {

// The kernel's numbers of the file systems that ask a server, or a process, for their contents. Not all of them stand
// in the headers of every version.
constexpr quint32 remoteFileSystems[] = {
    0x6969, // NFS
    0x517B, // SMB
    0xFE534D42, // SMB 2
    0xFF534D42, // CIFS
    0x65735546, // FUSE
    0x01021997, // 9P
    0x00C36400, // Ceph
    0x5346414F, // AFS
    0x6B414653, // kAFS
    0x73757245, // Coda
    0x0187, // automounter
    0x7461636F, // OCFS2
    0x01161970, // GFS2
    0x0BD00BD0, // Lustre
    0x786F4256, // shared folders of a virtual machine
};

} // namespace

OpenedFile openFile(const FileUrl& url)
{
    OpenedFile opened{openForDecoding(url), {}, false};
    if (!opened.file.isOpen()) {
        return opened;
    }
    opened.stamp = stampOf(opened.file);
    struct statfs fileSystem = {};
    opened.mayStall = fstatfs(opened.file.number(), &fileSystem) == 0
        && std::find(
               std::begin(remoteFileSystems), std::end(remoteFileSystems), static_cast<quint32>(fileSystem.f_type))
            != std::end(remoteFileSystems);
    return opened;
}

} // namespace frameflow
