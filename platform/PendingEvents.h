#pragma once

#include "FileEvent.h"

#include <QHash>

#include <vector>

namespace frameflow {

// Changes that wait to be told together: one entry for each path, in the order of the first change to each. A plain
// value, for one thread at a time.
class PendingEvents
{
public:
    // When there are more paths than that, the batch becomes one entry that says to look at everything again.
    explicit PendingEvents(FileUrl root, size_t mostPaths) : mRoot(std::move(root)), mMostPaths(mostPaths) { }

    void add(const FileEvent& event);
    bool isEmpty() const { return mEvents.empty(); }
    // All of them; nothing waits afterwards.
    std::vector<FileEvent> take();

private:
    FileUrl mRoot;
    size_t mMostPaths;
    bool mOverflowed = false;
    std::vector<FileEvent> mEvents;
    QHash<FileUrl, size_t> mPlaces;
};

} // namespace frameflow
