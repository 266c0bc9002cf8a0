#include "RecentFolders.h"

#include "SettingsKeys.h"

#include <memory>
#include <mutex>

namespace frameflow {

namespace {

constexpr size_t longestList = 10;

// Shared with a job that may still be stuck when nobody wants its result any more.
template <typename Result>
struct Pending
{
    std::mutex mutex;
    Result result;

    void put(Result value)
    {
        const std::lock_guard lock(mutex);
        result = std::move(value);
    }
    Result get()
    {
        const std::lock_guard lock(mutex);
        return result;
    }
};

} // namespace

bool RecentFolders::load()
{
    const QVariant stored = mDefaults.value(keys::recentFolderBookmarks);
    if (!stored.isValid()) {
        return false;
    }
    // A list of one comes back from the file as its only entry.
    const QVariantList list = stored.canConvert<QVariantList>() ? stored.toList() : QVariantList{stored};
    for (const QVariant& bookmark : list.first(std::min<qsizetype>(list.size(), longestList))) {
        mBookmarks.push_back(bookmark.toByteArray());
    }
    return true;
}

bool RecentFolders::remember(const FileUrl& folder)
{
    const auto made = std::make_shared<Pending<QByteArray>>();
    mQueue.runForAMoment([made, folder] { made->put(bookmarkForFolder(folder)); });
    const QByteArray bookmark = made->get();
    if (bookmark.isEmpty()) {
        return false;
    }
    const std::vector<Place> places = placesOf(mBookmarks);
    const auto known
        = std::find_if(places.begin(), places.end(), [&](const Place& place) { return place.folder == folder; });
    if (known != places.end()) {
        mBookmarks.erase(mBookmarks.begin() + (known - places.begin()));
    }
    mBookmarks.insert(mBookmarks.begin(), bookmark);
    mBookmarks.resize(std::min(mBookmarks.size(), longestList));
    store();
    return true;
}

QList<FileUrl> RecentFolders::paths()
{
    QList<FileUrl> folders;
    std::vector<QByteArray> kept;
    const std::vector<Place> places = placesOf(mBookmarks);
    for (size_t i = 0; i < places.size(); ++i) {
        if (!places[i].folder.isEmpty() && !places[i].isStale) {
            folders.append(places[i].folder);
            kept.push_back(mBookmarks[i]);
        }
    }
    if (kept.size() < mBookmarks.size()) {
        mBookmarks = std::move(kept);
        store();
    }
    return folders;
}

FileUrl RecentFolders::folderAt(size_t index)
{
    return placesOf({mBookmarks.at(index)}).front().folder;
}

void RecentFolders::clear()
{
    mBookmarks.clear();
    store();
}

std::vector<RecentFolders::Place> RecentFolders::placesOf(const std::vector<QByteArray>& bookmarks)
{
    if (bookmarks.empty()) {
        return {};
    }
    std::vector<Place> remembered;
    remembered.reserve(bookmarks.size());
    for (const QByteArray& bookmark : bookmarks) {
        remembered.push_back({rememberedFolder(bookmark), false});
    }
    const auto found = std::make_shared<Pending<std::vector<Place>>>();
    found->put(remembered);
    mQueue.runForAMoment([found, bookmarks, resolve = mResolve] {
        for (size_t i = 0; i < bookmarks.size(); ++i) {
            const auto resolved = resolve(bookmarks[i]);
            const std::lock_guard lock(found->mutex);
            found->result[i] = resolved ? Place{resolved->folder, resolved->isStale} : Place();
        }
    });
    return found->get();
}

void RecentFolders::store()
{
    QVariantList list;
    for (const QByteArray& bookmark : mBookmarks) {
        list.append(bookmark);
    }
    mDefaults.setValue(keys::recentFolderBookmarks, list);
}

} // namespace frameflow
