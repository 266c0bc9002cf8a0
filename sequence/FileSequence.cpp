#include "FileSequence.h"

#include "Duplicates.h"
#include "FolderWalk.h"
#include "SettingsKeys.h"
#include "Shuffle.h"
#include "Sources.h"
#include "UserDefaults.h"

#include <utility>

namespace frameflow {

FileSequence::FileSequence(UserDefaults& defaults) : mDefaults(defaults) { }

FileSequence::FileSequence(UserDefaults& defaults, Clock& clock)
    : mDefaults(defaults), mClock(&clock), mTimer(clock) { }

FileSequence::~FileSequence()
{
    abandonCollections();
    stopScanning();
    *mSelf = nullptr;
    dispose(std::move(mItems));
}

void FileSequence::addURLs(const QList<FileUrl>& urls)
{
    const auto self = mSelf;
    mAllowHotFolder = urls.size() == 1;
    for (const auto& url : urls) {
        addURL(url);
        if (*self == nullptr) {
            return;
        }
    }
    sort();
}

void FileSequence::addFiles(const QList<QByteArray>& paths)
{
    const auto self = mSelf;
    mAllowHotFolder = paths.size() == 1;
    mAddDirectories = true;
    for (const auto& path : paths) {
        addFile(path);
        if (*self == nullptr) {
            return;
        }
    }
    sort();
}

void FileSequence::addURL(const FileUrl& url)
{
    const auto kind = kindOfPath(url.path());
    if (kind == PathKind::Folder && mAddDirectories) {
        searchFolder(url);
    } else if (kind == PathKind::File && displayableURL(url)) {
        addDirectly({SlideItem::itemWithURL(url)}, url);
    }
}

void FileSequence::addFile(const QByteArray& path)
{
    addURL(FileUrl::fromPath(path));
}

void FileSequence::addDirectory(const QByteArray& path)
{
    searchFolder(FileUrl::fromPath(path));
}

void FileSequence::searchFolder(const FileUrl& folder)
{
    const auto self = mSelf;
    beginFolder(folder);
    SlideItems found;
    walkFolder(folder, mDefaults.integerValue(keys::maxFolderLevel), CancelToken(),
        [&](SlideItemPtr item) { found.push_back(std::move(item)); });
    addDirectly(std::move(found), folder);
    if (*self != nullptr) {
        mAddDirectories = true;
        if (mClock != nullptr) {
            updateHotFolder(); // which has the folders watched, too
        }
    }
}

// The first folder of an empty sequence that was added alone is the one to watch; any further folder ends that.
void FileSequence::beginFolder(const FileUrl& folder)
{
    mAddDirectories = false;
    if (mHotFolder.isEmpty() && mAllowHotFolder) {
        mHotFolder = folder;
        setupFSEvents();
        resetHotFolderScanTime();
        startTimer();
    } else {
        stopHotfolder();
    }
}

bool FileSequence::displayableURL(const FileUrl& url)
{
    return isDisplayable(url);
}

void FileSequence::checkFirstFile()
{
    if (mItems.size() == 1 && myDelegate != nullptr) {
        myDelegate->firstFileFound();
    }
}

void FileSequence::addDirectly(SlideItems&& items, const FileUrl& source)
{
    mSources.append(source);
    if (mSources.size() > 1 && mMayHoldEquals != true) {
        mMayHoldEquals.reset();
    }
    if (isCollecting()) {
        mCollecting.added.insert(mCollecting.added.end(), items.begin(), items.end());
    }
    appendItems(std::move(items));
}

// False when a callback has destroyed or emptied the sequence; the rest of the items is dropped then.
bool FileSequence::appendItems(SlideItems&& items)
{
    if (items.empty()) {
        return true;
    }
    listChanged(ListChange::Addition);
    if (!mItems.isEmpty()) {
        mItems.append(std::move(items));
        return true;
    }
    const auto self = mSelf;
    const auto generation = mGeneration;
    // As if they came one by one: while the delegate drops what it is told of, the next one is the first again.
    size_t taken = 0;
    while (mItems.isEmpty() && taken < items.size()) {
        mItems.append(std::move(items[taken++]));
        checkFirstFile();
        if (*self == nullptr || mGeneration != generation) {
            return false;
        }
    }
    items.erase(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(taken));
    mItems.append(std::move(items));
    return true;
}

FileUrl FileSequence::current() const
{
    return URLAtIndex(mCurrentFileIndex);
}

FileUrl FileSequence::URLAtIndex(size_t index) const
{
    return index < count() ? mItems.at(index)->mURL() : FileUrl();
}

FileUrl FileSequence::first()
{
    return gotoIndex(0);
}

FileUrl FileSequence::gotoIndex(size_t index)
{
    if (index < count()) {
        mCurrentFileIndex = index;
    }
    return URLAtIndex(index);
}

std::optional<size_t> FileSequence::indexOf(const FileUrl& url, size_t from) const
{
    const size_t near = std::min(from, count());
    for (size_t distance = 0; distance <= std::max(near, count() - near); ++distance) {
        if (near + distance < count() && mItems.at(near + distance)->mURL() == url) {
            return near + distance;
        }
        if (distance <= near && near - distance < count() && mItems.at(near - distance)->mURL() == url) {
            return near - distance;
        }
    }
    return std::nullopt;
}

FileUrl FileSequence::next()
{
    if (mItems.isEmpty()) {
        return {};
    }
    ++mCurrentFileIndex;
    if (mCurrentFileIndex >= count() && mDefaults.stringValue(keys::endMode) == keys::endModeRewind) {
        rewind();
    }
    if (mCurrentFileIndex >= count()) {
        mCurrentFileIndex = count() - 1;
        return {};
    }
    return current();
}

FileUrl FileSequence::previous()
{
    mCurrentFileIndex = mCurrentFileIndex == 0 ? quint64(count()) - 1 : mCurrentFileIndex - 1;
    return current();
}

FileUrl FileSequence::atOffset(qint64 offset) const
{
    const auto size = static_cast<qint64>(count());
    auto index = static_cast<qint64>(mCurrentFileIndex + static_cast<quint64>(offset));
    if (index >= size) {
        index -= size;
    }
    if (index < 0) {
        index += size;
    }
    return index < 0 ? FileUrl() : URLAtIndex(static_cast<quint64>(index));
}

void FileSequence::rewind()
{
    mCurrentFileIndex = 0;
    sort();
}

SortOrder FileSequence::sortOrder() const
{
    return sortOrderFromSetting(mDefaults.stringValue(keys::sort));
}

void FileSequence::sort()
{
    const auto order = sortOrder();
    if (order == mOrder) {
        return;
    }
    listChanged(ListChange::Order);
    auto items = mItems.takeAll();
    sortItems(items, order);
    mItems.assign(std::move(items));
    // Every sort in random order is a new shuffle.
    mOrder = order == SortOrder::Random ? std::nullopt : std::optional(order);
}

void FileSequence::sortArray(SlideItems& items) const
{
    sortItems(items, sortOrder());
}

void FileSequence::shuffle()
{
    auto items = mItems.takeAll();
    frameflow::shuffle(items);
    mItems.assign(std::move(items));
    listChanged(ListChange::Order);
}

void FileSequence::removeDuplicates()
{
    auto items = mItems.takeAll();
    removeDuplicates(items);
    mItems.assign(std::move(items));
    listChanged(ListChange::Removal);
}

void FileSequence::removeDuplicates(SlideItems& items)
{
    const auto duplicates = takeDuplicates(items);
    mRemovedURLs.append(UrlList::Entries(duplicates.urls.begin(), duplicates.urls.end()));
    for (const auto& item : duplicates.items) {
        noteRemoved(item);
    }
}

FileUrl FileSequence::trash(const TrashMover& move)
{
    const FileUrl url = current();
    if (url.isEmpty() || !move(url)) {
        return {};
    }
    noteRemoved(mItems.takeAt(mCurrentFileIndex));
    mTrashedURLs.append(url);
    listChanged(ListChange::Removal);
    if (mCurrentFileIndex == count()) {
        rewind();
    }
    return current();
}

void FileSequence::removeTrashed(const FileUrl& url)
{
    mTrashedURLs.append(url);
    const auto place = indexOf(url, mCurrentFileIndex);
    if (place && *place < mCurrentFileIndex) {
        --mCurrentFileIndex;
    }
    takeOut(url);
}

void FileSequence::remove(const FileUrl& url)
{
    if (!url.isEmpty()) {
        mRemovedURLs.append(url);
        takeOut(url);
    }
}

void FileSequence::removeUnloadable(const FileUrl& url)
{
    if (mHotFolder.isEmpty()) {
        remove(url);
    } else if (!url.isEmpty()) {
        mWatching.unloadable.push_back(url);
        takeOut(url);
        lookForUnloadable();
    }
}

void FileSequence::takeOut(const FileUrl& url)
{
    bool found = current() == url;
    if (found) {
        noteRemoved(mItems.takeAt(mCurrentFileIndex));
    }
    for (size_t i = mItems.size(); i > 0 && (!found || mayHoldEquals()); --i) {
        if (mItems.at(i - 1)->mURL() == url) {
            noteRemoved(mItems.takeAt(i - 1));
            found = true;
        }
    }
    listChanged(ListChange::Removal);
    if (mCurrentFileIndex == count()) {
        rewind();
    }
}

QList<FileUrl> FileSequence::removedURLs() const
{
    auto urls = mRemovedURLs.copy();
    urls.insert(urls.end(), mWatching.unloadable.begin(), mWatching.unloadable.end());
    return {urls.begin(), urls.end()};
}

void FileSequence::listChanged(ListChange change)
{
    ++mRevision;
    mMembership += change == ListChange::Order ? 0 : 1;
    mAdditions += change == ListChange::Addition ? 1 : 0;
    if (change != ListChange::Removal) {
        mOrder.reset();
    }
    if (change == ListChange::Addition) {
        mIsFreeOfDuplicates = false;
    }
}

void FileSequence::noteRemoved(SlideItemPtr item)
{
    if (isCollecting()) {
        mCollecting.removed.push_back(std::move(item));
    }
}

bool FileSequence::mayHoldEquals()
{
    if (!mMayHoldEquals) {
        mMayHoldEquals = sourcesOverlap(mSources);
    }
    return *mMayHoldEquals;
}

void FileSequence::clear()
{
    abandonCollections();
    ++mGeneration;
    mSources.clear();
    reset();
}

void FileSequence::reset()
{
    stopHotfolder();
    dispose(std::move(mItems));
    mItems = {};
    mTrashedURLs = {};
    listChanged(ListChange::Addition);
    mCurrentFileIndex = 0;
    mAllowHotFolder = true;
    mMayHoldEquals = false;
}

void FileSequence::itemChanged(const FileUrl& url)
{
    if (!url.isEmpty() && url == current() && myDelegate != nullptr) {
        myDelegate->currentFileChanged();
    }
}

} // namespace frameflow
