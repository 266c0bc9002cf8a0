#include "SettingsFile.h"

#include "SettingsText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace frameflow {

namespace {

constexpr qint64 largestFile = 16 << 20;

// The lock that every program takes on the file's folder before it replaces the file. The kernel releases it when its
// holder dies, and it leaves nothing behind.
class FolderLock
{
public:
    explicit FolderLock(const QString& folder)
        : mDescriptor(open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
        while (mDescriptor >= 0 && flock(mDescriptor, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK && errno != EINTR) {
                break; // a file system without locks: better written without than never
            }
            if (std::chrono::steady_clock::now() > deadline) {
                close(mDescriptor);
                mDescriptor = -1;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    ~FolderLock()
    {
        if (mDescriptor >= 0) {
            close(mDescriptor);
        }
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    bool isHeld() const { return mDescriptor >= 0; }

private:
    int mDescriptor;
};

// The name under which a damaged file is kept: the first that is free.
QString freeNameBeside(const QString& path)
{
    for (int number = 1;; ++number) {
        QString name = QStringLiteral("%1.damaged-%2").arg(path).arg(number);
        const QFileInfo info(name);
        if (!info.exists() && !info.isSymLink()) {
            return name;
        }
    }
}

} // namespace

SettingsFile::Values SettingsFile::read() const
{
    const QFileInfo info(mPath);
    if (!info.exists() && !info.isSymLink()) {
        return {};
    }
    QFile file(mPath);
    if (!info.isFile() || info.size() > largestFile || !file.open(QIODevice::ReadOnly)) {
        return tl::unexpected(SettingsFileError::Unreadable);
    }
    const QByteArray text = file.read(std::min(file.size(), largestFile)); // room is made for as much as is asked for
    if (file.error() != QFileDevice::NoError) {
        return tl::unexpected(SettingsFileError::Unreadable);
    }
    const auto values = readSettingsText(text);
    if (!values) {
        return tl::unexpected(
            values.error() == SettingsTextError::Damaged ? SettingsFileError::Damaged : SettingsFileError::Unreadable);
    }
    return *values;
}

SettingsFile::Values SettingsFile::merge(const QVariantMap& changes, const QVariantMap& known) const
{
    const QString folder = QFileInfo(mPath).path();
    QDir().mkpath(folder);
    const FolderLock lock(folder);
    if (!lock.isHeld()) {
        return tl::unexpected(SettingsFileError::NotWritten);
    }
    auto present = read();
    if (present) {
        return replaced(changes, *present);
    }
    if (present.error() != SettingsFileError::Damaged) {
        return present;
    }
    return setAside() ? replaced(changes, known) : tl::unexpected(SettingsFileError::NotWritten);
}

SettingsFile::Values SettingsFile::replaced(const QVariantMap& changes, QVariantMap values) const
{
    for (auto it = changes.cbegin(); it != changes.cend(); ++it) {
        if (it.value().isValid()) {
            values.insert(it.key(), it.value());
        } else {
            values.remove(it.key());
        }
    }
    const QFileInfo present(mPath);
    if (present.exists() && !present.isWritable()) {
        return tl::unexpected(SettingsFileError::NotWritten);
    }
    // Where the path is a link, the file that it leads to is replaced.
    const QString path = present.exists() ? present.canonicalFilePath() : mPath;
    QTemporaryFile file(path + QStringLiteral(".XXXXXX"));
    if (!file.open()) {
        return tl::unexpected(SettingsFileError::NotWritten);
    }
    file.close();
    if (present.exists()) {
        file.setPermissions(present.permissions());
    }
    if (!writeSettingsText(file.fileName(), values)
        || std::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(path).constData()) != 0) {
        return tl::unexpected(SettingsFileError::NotWritten);
    }
    file.setAutoRemove(false);
    return values;
}

bool SettingsFile::setAside() const
{
    return QFile::rename(mPath, freeNameBeside(mPath));
}

} // namespace frameflow
