#include "SessionBusAddress.h"

#include <QFile>

namespace frameflow {

QString sessionBusAddress()
{
    QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (!address.isEmpty()) {
        // Which would start one.
        return address.contains(QLatin1String("autolaunch:")) ? QString() : address;
    }
    const QString socket = qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus");
    return QFile::exists(socket) ? QStringLiteral("unix:path=") + socket : QString();
}

} // namespace frameflow
