#pragma once

#include <QByteArray>

namespace frameflow {

// A copy of some bytes as a file that has no place in any folder, for libraries that open files by name only.
class MemoryFile
{
public:
    explicit MemoryFile(const QByteArray& contents);
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile();

    // Empty when it could not be made. Good for as long as this object.
    QByteArray name() const;

private:
    int mDescriptor = -1;
};

} // namespace frameflow
