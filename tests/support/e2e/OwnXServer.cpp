#include "OwnXServer.h"

#include "Program.h"
#include "XServer.h"

#include <QFile>

namespace frameflow::e2e {

OwnXServer::OwnXServer(const QStringList& options) : mBefore(qgetenv("DISPLAY"))
{
    // It picks a free number and writes it when it takes connections.
    const QString numberFile = mFolder.filePath(QStringLiteral("number"));
    QStringList arguments{QStringLiteral("-c"), QStringLiteral("exec 3>\"$0\"; exec Xvfb -displayfd 3 \"$@\""),
        numberFile, QStringLiteral("-screen"), QStringLiteral("0"), QStringLiteral("1280x800x24"),
        QStringLiteral("-nolisten"), QStringLiteral("tcp"), QStringLiteral("-noreset"), QStringLiteral("-s"),
        QStringLiteral("0")};
    mServer.setStandardErrorFile(QProcess::nullDevice());
    mServer.start(QStringLiteral("sh"), arguments + options);
    QByteArray number;
    const bool isThere = waitFor([&] {
        QFile file(numberFile);
        number = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        return number.endsWith('\n');
    });
    if (!isThere) {
        qFatal("no X server");
    }
    qputenv("DISPLAY", ':' + number.trimmed());
    mWindowManager.setStandardErrorFile(QProcess::nullDevice());
    mWindowManager.start(QStringLiteral("openbox"),
        {QStringLiteral("--sm-disable"), QStringLiteral("--config-file"), QStringLiteral(OPENBOX_CONFIGURATION)});
    const auto connection = XServer::open();
    if (!connection || !waitFor([&] { return connection->hasWindowManager(); })) {
        qFatal("no window manager");
    }
}

OwnXServer::~OwnXServer()
{
    mWindowManager.kill();
    mWindowManager.waitForFinished();
    kill();
    qputenv("DISPLAY", mBefore);
}

void OwnXServer::kill()
{
    mServer.kill();
    mServer.waitForFinished();
}

} // namespace frameflow::e2e
