#pragma once

#include "Bookmark.h"
#include "FileUrl.h"
#include "SerialQueue.h"
#include "UserDefaults.h"

#include <QList>

#include <functional>
#include <optional>
#include <vector>

namespace frameflow {

// The folders that were opened last, newest first, ten at most, kept in the settings as bookmarks. Looking at a folder
// may take as long as its file system wants: after a moment it is taken to be where it was. Main thread only.
class RecentFolders
{
public:
    // Finds the folder of a bookmark. Called on a thread of the list's own, which it may hold for ever.
    using Resolve = std::function<std::optional<ResolvedBookmark>(const QByteArray& bookmark)>;

    // The settings must outlive the list.
    explicit RecentFolders(UserDefaults& defaults, Resolve resolve = resolveBookmark)
        : mDefaults(defaults), mResolve(std::move(resolve))
    {
    }
    ~RecentFolders() { mQueue.abandonRunning(); }

    // Takes over the stored list; false when none is stored.
    bool load();
    size_t count() const { return mBookmarks.size(); }
    // Puts a folder at the top and stores the list. False, with nothing changed, for what is no folder.
    bool remember(const FileUrl& folder);
    // Where the folders are. Those that are gone, or have another one in their place, leave the list and the store.
    QList<FileUrl> paths();
    // Empty when the folder is gone; an index that is out of range is a mistake.
    FileUrl folderAt(size_t index);
    void clear();

private:
    // What was found out about a bookmark.
    struct Place
    {
        FileUrl folder; // empty when it is gone
        bool isStale = false;
    };
    std::vector<Place> placesOf(const std::vector<QByteArray>& bookmarks);
    void store();

    UserDefaults& mDefaults;
    const Resolve mResolve;
    std::vector<QByteArray> mBookmarks;
    SerialQueue mQueue{"com.quillory.recentfolders"};
};

} // namespace frameflow
