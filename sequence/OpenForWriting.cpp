#include "OpenForWriting.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

Writer writerOf(int folder, const char* name)
{
    const int file = openat(folder, name, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) {
        return errno == EWOULDBLOCK ? Writer::Some : Writer::Unknown;
    }
    struct stat attributes
    {
    };
    if (fstat(file, &attributes) == 0 && S_ISREG(attributes.st_mode) && attributes.st_size == 0) {
        close(file);
        return Writer::Some;
    }
    // A read lease is refused while there is a writer. Whoever begins to write while we have it, which is for a moment,
    // waits that long, and we get a signal, which must be a harmless one.
    fcntl(file, F_SETSIG, SIGURG);
    Writer writer = Writer::None;
    if (fcntl(file, F_SETLEASE, F_RDLCK) != 0) {
        writer = errno == EAGAIN ? Writer::Some : Writer::Unknown;
    }
    close(file); // ends the lease too
    return writer;
}

bool isUnfinished(Writer writer, bool isAwaited, FileDate modified, FileDate now)
{
    constexpr qint64 longestPause = 60;
    return writer == Writer::Some
        || (writer == Writer::Unknown && isAwaited && now.seconds - modified.seconds < longestPause);
}

} // namespace frameflow
