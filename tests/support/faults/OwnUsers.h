#pragma once

#include <QByteArray>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace frameflow {

inline bool writeText(const char* path, const QByteArray& text)
{
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    const bool isWritten = file >= 0 && write(file, text.constData(), text.size()) == text.size();
    if (file >= 0) {
        close(file);
    }
    return isWritten;
}

// Makes this process the superuser among its own users, with what else the flags of unshare() ask for. To be called
// before there is a second thread. False where that is forbidden; the process may then be good for nothing any more.
inline bool enterOwnUsers(int flags = 0)
{
    const QByteArray user = QByteArray::number(geteuid());
    const QByteArray group = QByteArray::number(getegid());
    return unshare(CLONE_NEWUSER | flags) == 0 && writeText("/proc/self/setgroups", "deny")
        && writeText("/proc/self/uid_map", "0 " + user + " 1") && writeText("/proc/self/gid_map", "0 " + group + " 1");
}

} // namespace frameflow
