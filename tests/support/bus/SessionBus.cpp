#include "SessionBus.h"

#include <csignal>

namespace frameflow {

SessionBus::SessionBus()
{
    mDaemon.start(QStringLiteral("dbus-daemon"),
        {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
            QStringLiteral("--nosyslog"), QStringLiteral("--print-address"), QStringLiteral("--address=") + address()});
    // The address is printed when connections are taken.
    while (!mDaemon.canReadLine()) {
        if (!mDaemon.waitForReadyRead(20000)) {
            qFatal("no session bus: %s", mDaemon.readAllStandardError().constData());
        }
    }
}

SessionBus::~SessionBus()
{
    stop();
}

QString SessionBus::address() const
{
    return QStringLiteral("unix:path=") + mFolder.filePath(QStringLiteral("bus"));
}

void SessionBus::suspend() const
{
    kill(static_cast<pid_t>(mDaemon.processId()), SIGSTOP);
}

void SessionBus::resume() const
{
    kill(static_cast<pid_t>(mDaemon.processId()), SIGCONT);
}

void SessionBus::stop()
{
    mDaemon.kill();
    mDaemon.waitForFinished();
}

} // namespace frameflow
