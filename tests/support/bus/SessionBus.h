#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace frameflow {

// A message bus of the test's own, gone with its object.
class SessionBus
{
public:
    // Ends the program (qFatal) when there is none to be had.
    SessionBus();
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    QString address() const;
    // From then on it takes connections and answers nobody.
    void suspend() const;
    void resume() const;
    void stop();

private:
    QTemporaryDir mFolder;
    QProcess mDaemon;
};

} // namespace frameflow
