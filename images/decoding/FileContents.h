#pragma once

#include "DecodedPicture.h"
#include "FileUrl.h"

#include <QByteArray>

#include <optional>
#include <utility>

namespace frameflow {

// A file opened for reading; closed with its owner.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : mDescriptor(descriptor) { }
    FileDescriptor(FileDescriptor&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, -1)) { }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(mDescriptor, other.mDescriptor);
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor();

    bool isOpen() const { return mDescriptor >= 0; }
    int number() const { return mDescriptor; }

private:
    int mDescriptor = -1;
};

// Tells one state of a file from another, without its contents.
struct FileStamp
{
    qint64 device = 0;
    qint64 inode = 0;
    qint64 size = -1;
    qint64 modified = 0; // nanoseconds since the epoch

    friend bool operator==(const FileStamp& a, const FileStamp& b)
    {
        return a.device == b.device && a.inode == b.inode && a.size == b.size && a.modified == b.modified;
    }
};

// Opens a regular file without ever waiting for another program; anything else is not opened. Links are followed.
FileDescriptor openForDecoding(const FileUrl& url);

// Nothing when the file cannot be asked.
std::optional<FileStamp> stampOf(const FileDescriptor& file);
std::optional<FileStamp> stampOf(const FileUrl& url);

// The file from its start, into memory: a file that is cut off meanwhile is merely short. Nothing when it cannot be
// read, or is larger than what decoding may take.
std::optional<QByteArray> readContents(int descriptor, DecodeError* error);

} // namespace frameflow
