#pragma once

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace frameflow::e2e {

// An X server with a window manager that a test may take away. As long as it exists $DISPLAY names it, for the test and
// for the programs that it starts.
class OwnXServer
{
public:
    // The options are added to those of a server with one display of 1280 × 800 pixels. Ends the program (qFatal) when
    // there is none to be had.
    explicit OwnXServer(const QStringList& options = {});
    ~OwnXServer();
    OwnXServer(const OwnXServer&) = delete;
    OwnXServer& operator=(const OwnXServer&) = delete;

    // As when it crashes: nobody is told.
    void kill();

private:
    QByteArray mBefore; // what $DISPLAY was
    QTemporaryDir mFolder;
    QProcess mServer;
    QProcess mWindowManager;
};

} // namespace frameflow::e2e
