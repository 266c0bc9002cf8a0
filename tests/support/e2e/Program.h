#pragma once

#include <QList>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <chrono>
#include <functional>
#include <optional>

namespace frameflow::e2e {

constexpr std::chrono::milliseconds usualDeadline = std::chrono::seconds(15);

// Looks every few milliseconds, while the event loop turns, whether the condition holds. False when the deadline has
// passed without it.
bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds deadline = usualDeadline);

// The settings file that programs started in this run use. What was there before is replaced.
void writeSettings(const QVariantMap& values);
// What stands in that file now; invalid when the key is absent.
QVariant storedSetting(const QString& key);

// A program that runs as a child, with the environment of the test. It is ended with its object.
class Program
{
public:
    explicit Program(QString path) : mPath(std::move(path)) { }
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // From the next start on the program is the first of a session of its own, by which all that it starts is known.
    void useOwnSession();
    // Variables are added to, or replace, those of the test. False when the program cannot be started.
    bool start(const QStringList& arguments = {}, const QMap<QString, QString>& variables = {});

    qint64 processId() const { return mProcess.processId(); }
    bool isRunning() const { return mProcess.state() != QProcess::NotRunning; }
    bool waitForExit(std::chrono::milliseconds deadline = usualDeadline);
    // Absent while the program runs, and when a signal ended it.
    std::optional<int> exitCode() const;
    // All that the program has written so far, standard output and error in one.
    QByteArray output();
    // Asks the program to end (SIGTERM), and kills it when it does not.
    void end();

    // Of all threads since their start, wanted and unwanted ones. A program that sleeps does not add to it.
    qint64 contextSwitches() const;
    qint64 residentBytes() const;
    int threads() const;

private:
    QString mPath;
    QProcess mProcess;
    QByteArray mOutput;
};

// As the functions of Program, for a process known by its number. -1 when there is none.
qint64 contextSwitchesOf(qint64 process);
qint64 residentBytesOf(qint64 process);
// Those that the process has started and not waited for yet.
QList<qint64> childrenOf(qint64 process);
// What its threads have used so far; none for one that is not there.
std::chrono::milliseconds processorTimeOf(qint64 process);
bool hasEnded(qint64 process); // whether it was waited for or not
// Those of a session that have not ended, by the process that was its first.
QList<qint64> processesOfSession(qint64 first);

} // namespace frameflow::e2e
