#include "WaitingForFiles.h"

#include "FileContents.h"

#include <array>

#include <sys/inotify.h>
#include <unistd.h>

namespace frameflow {

void waitUntilThere(const QByteArray& path)
{
    const FileDescriptor events(inotify_init1(IN_CLOEXEC));
    const QByteArray folder = path.left(path.lastIndexOf('/'));
    inotify_add_watch(events.number(), folder.constData(), IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF);
    std::array<char, 4096> event{};
    while (access(path.constData(), F_OK) != 0 && read(events.number(), event.data(), event.size()) > 0) { }
}

} // namespace frameflow
