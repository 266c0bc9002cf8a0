#pragma once

#include "SlideItem.h"

#include <QByteArray>

#include <vector>

namespace frameflow {

// A folder as it was when it was last listed. What is added to it, taken out or renamed in it changes these values.
struct FolderRecord
{
    QByteArray path;
    bool isThere = false; // else the rest means nothing
    quint64 device = 0;
    quint64 inode = 0;
    FileDate modified;
    FileDate changed; // its permissions too

    friend bool operator==(const FolderRecord&, const FolderRecord&) = default;
};

// All folders of a tree, the topmost first. Any thread.
class FolderRecords
{
public:
    // The folder that is open there, or at that path for -1; one attribute read, and one more for each file system.
    void add(int folder, const QByteArray& path);

    size_t count() const { return mRecords.size(); }
    // Whether all folders are as they were. Costs one attribute read for each, and ends at the first that is not.
    bool areUnchanged() const;
    // Whether a later change would show. File systems count time in steps, so a change soon after another one may leave
    // no trace; and on network file systems nothing is certain.
    bool showChangesAfter(FileDate moment) const;

private:
    std::vector<FolderRecord> mRecords;
    bool mIsRemote = false;
};

// Whether a file system of that type (statfs) keeps its files on another machine, or in another program's hands.
bool isRemoteFileSystem(qint64 type);

} // namespace frameflow
