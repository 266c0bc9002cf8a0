#pragma once

#include "OwnUsers.h"

#include <QByteArray>
#include <QDir>

#include <sys/mount.h>
#include <sys/wait.h>

namespace frameflow {

// Gives this process mounts of its own, which nobody else sees: as the superuser, or as one among its own users. To be
// called before there is a second thread. False where that is forbidden.
inline bool makeOwnMounts()
{
    const bool isApart = unshare(CLONE_NEWNS) == 0 || enterOwnUsers(CLONE_NEWNS);
    return isApart && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// Tried by another process, because one that has come halfway may not even be able to make files.
inline bool mayMount()
{
    const pid_t child = fork();
    if (child == 0) {
        const QByteArray folder = QDir::tempPath().toLocal8Bit();
        const bool isMounted = makeOwnMounts() && mount("frameflow", folder.constData(), "tmpfs", 0, nullptr) == 0;
        const int file = isMounted ? open((folder + "/file").constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600) : -1;
        _exit(file >= 0 ? 0 : 1);
    }
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

} // namespace frameflow
