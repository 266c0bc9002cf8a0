#include "Leftovers.h"

#include <QDir>
#include <QFile>

namespace frameflow {

namespace {

QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList entriesOf(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System | QDir::Hidden);
}

} // namespace

Belongings belongings()
{
    Belongings result;
    const QStringList threads = entriesOf(QStringLiteral("/proc/self/task"));
    result.threads = static_cast<int>(threads.size());
    for (const QString& thread : threads) {
        const QByteArray children = contentsOf(QStringLiteral("/proc/self/task/%1/children").arg(thread));
        for (const QByteArray& child : children.simplified().split(' ')) {
            if (!child.isEmpty()) {
                result.children.append(child.toInt());
            }
        }
    }
    result.descriptors = static_cast<int>(entriesOf(QStringLiteral("/proc/self/fd")).size());
    result.pictures = static_cast<int>(contentsOf(QStringLiteral("/proc/self/maps")).count("/memfd:"));
    return result;
}

qint64 residentBytes()
{
    constexpr qint64 pageSize = 4096;
    const auto fields = contentsOf(QStringLiteral("/proc/self/statm")).split(' ');
    return (fields.value(1).toLongLong() - fields.value(2).toLongLong()) * pageSize;
}

} // namespace frameflow
