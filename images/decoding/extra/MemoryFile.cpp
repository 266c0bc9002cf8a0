#include "MemoryFile.h"

#include <cerrno>

#include <sys/mman.h>
#include <unistd.h>

namespace frameflow {

MemoryFile::MemoryFile(const QByteArray& contents) : mDescriptor(memfd_create("picture", MFD_CLOEXEC))
{
    qsizetype written = 0;
    while (mDescriptor >= 0 && written < contents.size()) {
        const ssize_t count = write(mDescriptor, contents.constData() + written, contents.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            close(mDescriptor);
            mDescriptor = -1;
            return;
        }
        written += count;
    }
}

MemoryFile::~MemoryFile()
{
    if (mDescriptor >= 0) {
        close(mDescriptor);
    }
}

QByteArray MemoryFile::name() const
{
    return mDescriptor >= 0 ? "/proc/self/fd/" + QByteArray::number(mDescriptor) : QByteArray();
}

} // namespace frameflow
