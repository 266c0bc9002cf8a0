#include "PoolFixture.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace frameflow {

namespace {

// The kernel's letter; none for a process that is gone.
char stateOf(pid_t process)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(process));
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    return text.mid(text.lastIndexOf(')') + 2).isEmpty() ? '\0' : text.at(text.lastIndexOf(')') + 2);
}

QByteArrayList linesOf(const QByteArray& path)
{
    QFile file(QFile::decodeName(path));
    QByteArrayList lines;
    if (file.open(QIODevice::ReadOnly)) {
        lines = file.readAll().split('\n');
        lines.removeAll(QByteArray());
    }
    return lines;
}

} // namespace

DecoderPool::Options PoolFixture::options(int atOnce) const
{
    DecoderPool::Options options;
    options.commonDecoder = OBEDIENT_DECODER;
    options.extraDecoder = mFolder.pathOf("decoder-extra");
    if (!QFile::exists(QFile::decodeName(options.extraDecoder))) {
        mFolder.addLink("decoder-extra", OBEDIENT_DECODER);
    }
    options.atOnce = atOnce;
    return options;
}

DecodeJob PoolFixture::job(const QByteArray& name, const QByteArray& order, Urgency urgency) const
{
    DecodeRequest request;
    request.fileName = name;
    return {FileUrl::fromPath(mFolder.addFile(name, order)), request, urgency};
}

DecodeJob PoolFixture::gate(const QByteArray& name, Urgency urgency) const
{
    return job(name, "gate " + mFolder.pathOf("gate-" + name), urgency);
}

QList<pid_t> PoolFixture::begun(const QByteArray& name) const
{
    return noted("gate-" + name + ".begun");
}

QList<pid_t> PoolFixture::noted(const QByteArray& file) const
{
    QList<pid_t> processes;
    for (const QByteArray& line : linesOf(mFolder.pathOf(file))) {
        processes.append(line.toInt());
    }
    return processes;
}

DecoderPool::Ticket PoolFixture::start(DecoderPool& pool, const DecodeJob& job)
{
    return pool.decode(job, [this, name = job.request.fileName.toStdString()](DecodedFile&& file) {
        const std::lock_guard lock(mMutex);
        mDone.push_back(name);
        mResults[name] = std::move(file);
    });
}

bool PoolFixture::isDone(const QByteArray& name) const
{
    return callbacks(name) > 0;
}

DecodedFile PoolFixture::result(const QByteArray& name) const
{
    const std::lock_guard lock(mMutex);
    const auto found = mResults.find(name.toStdString());
    return found == mResults.end() ? DecodedFile() : found->second;
}

DecodeJob PoolFixture::noting(const QByteArray& name, Urgency urgency) const
{
    return job(name, "note-name " + mFolder.pathOf("begun"), urgency);
}

QByteArrayList PoolFixture::begunInOrder() const
{
    return linesOf(mFolder.pathOf("begun"));
}

int PoolFixture::callbacks(const QByteArray& name) const
{
    const std::lock_guard lock(mMutex);
    return static_cast<int>(std::count(mDone.begin(), mDone.end(), name.toStdString()));
}

bool isSuspended(pid_t process)
{
    return stateOf(process) == 'T';
}

bool hasEnded(pid_t process)
{
    return stateOf(process) == 'Z' || !exists(process);
}

bool exists(pid_t process)
{
    return kill(process, 0) == 0 || errno != ESRCH;
}

} // namespace frameflow
