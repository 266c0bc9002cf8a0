#include "TestFiles.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

void require(bool succeeded, const char* what, const QByteArray& path)
{
    if (!succeeded) {
        qFatal("%s %s: %s", what, path.constData(), std::strerror(errno));
    }
}

void makeFolders(const QByteArray& path)
{
    for (qsizetype slash = path.indexOf('/', 1); slash > 0; slash = path.indexOf('/', slash + 1)) {
        const QByteArray folder = path.left(slash);
        require(mkdir(folder.constData(), 0777) == 0 || errno == EEXIST, "mkdir", folder);
    }
}

} // namespace

TestFolder::TestFolder() : mFolder(mTemporary.path().toUtf8())
{
    require(mTemporary.isValid(), "temporary folder", mFolder);
}

// QTemporaryDir leaves files behind whose names are not UTF-8.
TestFolder::~TestFolder()
{
    std::error_code failure;
    std::filesystem::remove_all(mFolder.toStdString(), failure);
}

QByteArray TestFolder::addFile(const QByteArray& name, const QByteArray& contents) const
{
    QByteArray path = pathOf(name);
    makeFolders(path);
    const int file = open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    require(file >= 0, "open", path);
    require(write(file, contents.constData(), contents.size()) == contents.size(), "write", path);
    close(file);
    return path;
}

QByteArray TestFolder::addFolder(const QByteArray& name) const
{
    QByteArray path = pathOf(name);
    makeFolders(path + '/');
    return path;
}

QByteArray TestFolder::addLink(const QByteArray& name, const QByteArray& target) const
{
    QByteArray path = pathOf(name);
    makeFolders(path);
    require(symlink(target.constData(), path.constData()) == 0, "symlink", path);
    return path;
}

void TestFolder::setModified(const QByteArray& name, double secondsSinceEpoch) const
{
    const double whole = std::floor(secondsSinceEpoch);
    timespec times[2]{};
    times[1].tv_sec = static_cast<time_t>(whole);
    times[1].tv_nsec = static_cast<long>((secondsSinceEpoch - whole) * 1e9);
    times[0] = times[1];
    require(utimensat(AT_FDCWD, pathOf(name).constData(), times, 0) == 0, "utimensat", pathOf(name));
}

} // namespace frameflow
