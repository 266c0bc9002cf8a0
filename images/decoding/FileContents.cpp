#include "FileContents.h"

#include "Limits.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

FileStamp stampFrom(const struct stat& status)
{
    constexpr qint64 nanosecondsPerSecond = 1'000'000'000;
    return {static_cast<qint64>(status.st_dev), static_cast<qint64>(status.st_ino), status.st_size,
        status.st_mtim.tv_sec * nanosecondsPerSecond + status.st_mtim.tv_nsec};
}

} // namespace

FileDescriptor::~FileDescriptor()
{
    if (isOpen()) {
        close(mDescriptor);
    }
}

FileDescriptor openForDecoding(const FileUrl& url)
{
    if (url.isEmpty()) {
        return {};
    }
    FileDescriptor file(open(url.path().constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat status = {};
    if (!file.isOpen() || fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    return file;
}

std::optional<FileStamp> stampOf(const FileDescriptor& file)
{
    struct stat status = {};
    if (fstat(file.number(), &status) != 0) {
        return std::nullopt;
    }
    return stampFrom(status);
}

std::optional<FileStamp> stampOf(const FileUrl& url)
{
    struct stat status = {};
    if (stat(url.path().constData(), &status) != 0) {
        return std::nullopt;
    }
    return stampFrom(status);
}

std::optional<QByteArray> readContents(int descriptor, DecodeError* error)
{
    *error = DecodeError::Unreadable;
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    if (status.st_size > mostBytesOfMachine()) {
        *error = DecodeError::TooLarge;
        return std::nullopt;
    }
    QByteArray contents(status.st_size, Qt::Uninitialized);
    qsizetype length = 0;
    while (length < contents.size()) {
        const ssize_t count = pread(descriptor, contents.data() + length, contents.size() - length, length);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        length += count;
    }
    contents.truncate(length);
    *error = DecodeError::None;
    return contents;
}

} // namespace frameflow
