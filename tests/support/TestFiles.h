#pragma once

#include "FileUrl.h"

#include <QTemporaryDir>

namespace frameflow {

// A folder of real files that is gone when the test is.
class TestFolder
{
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    QByteArray path() const { return mFolder; }
    FileUrl url() const { return FileUrl::fromPath(mFolder); }
    // The path of an entry, whether it exists or not. Names are native bytes.
    QByteArray pathOf(const QByteArray& name) const { return mFolder + '/' + name; }
    FileUrl urlOf(const QByteArray& name) const { return FileUrl::fromPath(pathOf(name)); }

    // Each makes the folders that its name needs, fails the program (qFatal) when it cannot, and answers the path.
    QByteArray addFile(const QByteArray& name, const QByteArray& contents = "x") const;
    QByteArray addFolder(const QByteArray& name) const;
    QByteArray addLink(const QByteArray& name, const QByteArray& target) const;
    // Seconds since the epoch, fractions allowed.
    void setModified(const QByteArray& name, double secondsSinceEpoch) const;

private:
    QTemporaryDir mTemporary;
    QByteArray mFolder;
};

} // namespace frameflow
