#include "Program.h"

#include "UserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <unistd.h>

namespace frameflow::e2e {

namespace {

// The number that follows the name in a status file of the kernel; 0 when it is not there.
qint64 statusNumber(const QByteArray& status, const QByteArray& name)
{
    const auto place = status.indexOf('\n' + name + ':');
    if (place < 0) {
        return 0;
    }
    const auto start = place + name.size() + 2;
    const QByteArray line = status.mid(start, status.indexOf('\n', start) - start).trimmed();
    return line.split(' ').front().toLongLong();
}

QByteArray statusOf(const QString& process)
{
    QFile file(QStringLiteral("/proc/%1/status").arg(process));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList threadsOf(qint64 process)
{
    return process <= 0
        ? QStringList()
        : QDir(QStringLiteral("/proc/%1/task").arg(process)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

// The fields of the process's stat file from the third, the state, on. Its name, before them, may hold anything.
QList<QByteArray> statOf(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(process));
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    return text.isEmpty() ? QList<QByteArray>() : text.mid(text.lastIndexOf(')') + 2).split(' ');
}

} // namespace

bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds deadline)
{
    return QTest::qWaitFor([&] { return condition(); }, static_cast<int>(deadline.count()));
}

void writeSettings(const QVariantMap& values)
{
    const QString path = UserDefaults::standardFilePath();
    QFile::remove(path);
    UserDefaults defaults(path);
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        defaults.setValue(it.key(), it.value());
    }
    if (!defaults.synchronize()) {
        qFatal("%s cannot be written", qPrintable(path));
    }
}

QVariant storedSetting(const QString& key)
{
    return UserDefaults(UserDefaults::standardFilePath()).value(key);
}

Program::~Program()
{
    end();
}

void Program::useOwnSession()
{
    mProcess.setChildProcessModifier([] { setsid(); });
}

bool Program::start(const QStringList& arguments, const QMap<QString, QString>& variables)
{
    auto environment = QProcessEnvironment::systemEnvironment();
    for (auto it = variables.cbegin(); it != variables.cend(); ++it) {
        environment.insert(it.key(), it.value());
    }
    mOutput.clear();
    mProcess.setProcessEnvironment(environment);
    mProcess.setProcessChannelMode(QProcess::MergedChannels);
    mProcess.start(mPath, arguments, QIODevice::ReadOnly);
    return mProcess.waitForStarted(static_cast<int>(usualDeadline.count()));
}

bool Program::waitForExit(std::chrono::milliseconds deadline)
{
    return !isRunning() || mProcess.waitForFinished(static_cast<int>(deadline.count()));
}

std::optional<int> Program::exitCode() const
{
    if (isRunning() || mProcess.exitStatus() != QProcess::NormalExit) {
        return std::nullopt;
    }
    return mProcess.exitCode();
}

QByteArray Program::output()
{
    mOutput += mProcess.readAll();
    return mOutput;
}

void Program::end()
{
    if (!isRunning()) {
        return;
    }
    mProcess.terminate();
    if (!waitForExit(std::chrono::seconds(3))) {
        mProcess.kill();
        waitForExit();
    }
}

qint64 Program::contextSwitches() const
{
    return contextSwitchesOf(processId());
}

qint64 Program::residentBytes() const
{
    return residentBytesOf(processId());
}

int Program::threads() const
{
    return static_cast<int>(threadsOf(processId()).size());
}

qint64 contextSwitchesOf(qint64 process)
{
    const QStringList threads = threadsOf(process);
    qint64 count = 0;
    for (const QString& thread : threads) {
        const QByteArray status = statusOf(QStringLiteral("%1/task/%2").arg(QString::number(process), thread));
        count += statusNumber(status, "voluntary_ctxt_switches") + statusNumber(status, "nonvoluntary_ctxt_switches");
    }
    return threads.isEmpty() ? -1 : count;
}

qint64 residentBytesOf(qint64 process)
{
    const QByteArray status = statusOf(QString::number(process));
    return status.contains("\nVmRSS:") ? statusNumber(status, "VmRSS") * 1024 : -1; // an ended one has none
}

QList<qint64> childrenOf(qint64 process)
{
    QList<qint64> children;
    for (const QString& thread : threadsOf(process)) {
        QFile file(QStringLiteral("/proc/%1/task/%2/children").arg(QString::number(process), thread));
        const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll().simplified() : QByteArray();
        for (const QByteArray& child : text.isEmpty() ? QList<QByteArray>() : text.split(' ')) {
            children.append(child.toLongLong());
        }
    }
    return children;
}

std::chrono::milliseconds processorTimeOf(qint64 process)
{
    constexpr int userTime = 11;
    const QList<QByteArray> fields = statOf(process);
    const qint64 ticks = fields.value(userTime).toLongLong() + fields.value(userTime + 1).toLongLong();
    return std::chrono::milliseconds(ticks * 1000 / sysconf(_SC_CLK_TCK));
}

bool hasEnded(qint64 process)
{
    const QByteArray state = statOf(process).value(0);
    return state.isEmpty() || state == "Z" || state == "X";
}

QList<qint64> processesOfSession(qint64 first)
{
    constexpr int session = 3;
    QList<qint64> found;
    for (const QString& name : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const qint64 process = name.toLongLong();
        if (process > 0 && statOf(process).value(session).toLongLong() == first && !hasEnded(process)) {
            found.append(process);
        }
    }
    return found;
}

} // namespace frameflow::e2e
