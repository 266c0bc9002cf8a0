#include "MemoryPeak.h"

#include "Program.h"

#include <QFile>

#include <algorithm>
#include <optional>

#include <poll.h>

namespace frameflow::e2e {

namespace {

// The number of kilobytes behind a name at the beginning of a line.
std::optional<qint64> kilobytes(const QString& path, const QByteArray& name)
{
    QFile file(path);
    const QByteArray text = file.open(QIODevice::ReadOnly) ? '\n' + file.readAll() : QByteArray();
    const auto place = text.indexOf('\n' + name + ':');
    if (place < 0) {
        return std::nullopt;
    }
    const auto start = place + name.size() + 2;
    return text.mid(start, text.indexOf('\n', start) - start).trimmed().split(' ').front().toLongLong();
}

} // namespace

qint64 proportionalBytesOf(qint64 process)
{
    const QString folder = QStringLiteral("/proc/%1/").arg(process);
    const auto share = kilobytes(folder + QStringLiteral("smaps_rollup"), "Pss");
    return 1024 * (share ? *share : kilobytes(folder + QStringLiteral("status"), "RssAnon").value_or(0));
}

MemoryPeak::MemoryPeak(qint64 process) : mProcess(process), mThread([this] { run(); }) { }

MemoryPeak::~MemoryPeak()
{
    mIsEnding = true;
    mThread.join();
}

void MemoryPeak::run()
{
    constexpr int pause = 40; // milliseconds
    while (!mIsEnding) {
        qint64 sum = proportionalBytesOf(mProcess);
        for (const qint64 child : childrenOf(mProcess)) {
            sum += proportionalBytesOf(child);
        }
        mBytes = std::max<qint64>(mBytes, sum);
        poll(nullptr, 0, pause);
    }
}

} // namespace frameflow::e2e
