#pragma once

#include <QByteArray>
#include <QHash>

#include <cstdint>

#include <linux/fuse.h>
#include <sys/stat.h>

namespace frameflow {

// Answers what the kernel asks a file system in user space for, from a folder of real files. Nothing is remembered by
// the kernel, so that every call of a program arrives here.
class FileCalls
{
public:
    // A folder by its path, without a slash at its end.
    explicit FileCalls(const QByteArray& folder);

    // A request as the kernel wrote it, behind its head. The answer to be written back, without its head; a negative
    // error is put where one is due.
    QByteArray answer(const fuse_in_header& head, const QByteArray& rest, int& error);

private:
    QByteArray pathOf(uint64_t node) const { return mPaths.value(node); }
    QByteArray childOf(uint64_t node, const char* name) const { return pathOf(node) + '/' + name; }
    uint64_t nodeOf(const QByteArray& path);
    QByteArray entry(const QByteArray& path, int& error);
    QByteArray attributes(uint64_t node, int& error) const;
    QByteArray opened(const QByteArray& path, int flags, int& error) const;
    QByteArray read(const QByteArray& rest, int& error) const;
    QByteArray written(const QByteArray& rest, int& error) const;
    QByteArray listed(uint64_t node, const QByteArray& rest) const;
    QByteArray created(uint64_t node, const QByteArray& rest, int& error);
    QByteArray changed(const fuse_in_header& head, const QByteArray& rest, int& error);
    void rename(const QByteArray& from, const QByteArray& to, int& error);

    QHash<uint64_t, QByteArray> mPaths;
};

} // namespace frameflow
