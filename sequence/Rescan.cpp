#include "Rescan.h"

#include "ByteTable.h"
#include "OpenForWriting.h"

#include <algorithm>
#include <utility>

#include <fcntl.h>

namespace frameflow {

namespace {

// The files of a list, and those that must not come into it, by path; and which of them a walk has met.
class KnownFiles
{
public:
    explicit KnownFiles(const ListState& list) : mTable(list.items.size() + list.removed.size() + list.trashed.size())
    {
        mItems.reserve(list.items.size());
        mKeys.reserve(list.items.size() + list.removed.size() + list.trashed.size());
        forEachPath(list.items, [this](const SlideItemPtr& item, size_t place) {
            const auto number = static_cast<quint32>(place);
            mItems.push_back(&item);
            mKeys.emplace_back(item->mURL().path());
            const quint32 first = mTable.findOrInsert(mKeys.back(), number, KeyOf{mKeys});
            if (first != number) {
                mEquals.push_back({first, number});
            }
        });
        mStates.resize(mItems.size(), State::Missing);
        for (const UrlList* urls : {&list.removed, &list.trashed}) {
            urls->forEach([this](const FileUrl& url, size_t) { bar(url); });
        }
    }

    // Whether there is nothing more to be known about a file that was met.
    bool meet(const QByteArray& path)
    {
        const quint32 number = mTable.find(path, KeyOf{mKeys});
        if (number == ByteTable::none) {
            return false;
        }
        if (number < mStates.size() && mStates[number] == State::Missing) {
            mStates[number] = State::Met;
        }
        return true;
    }

    SlideItems vanished()
    {
        for (const auto& equal : mEquals) {
            mStates[equal.second] = mStates[equal.first];
        }
        SlideItems items;
        for (size_t number = 0; number < mItems.size(); ++number) {
            if (mStates[number] != State::Met) {
                items.push_back(*mItems[number]);
            }
        }
        return items;
    }

private:
    struct KeyOf
    {
        const std::vector<QByteArrayView>& keys;
        QByteArrayView operator()(quint32 number) const { return keys[number]; }
    };

    enum class State : unsigned char
    {
        Missing,
        Met,
        Barred,
    };

    void bar(const FileUrl& url)
    {
        const auto number = static_cast<quint32>(mKeys.size());
        mKeys.emplace_back(url.path());
        const quint32 known = mTable.findOrInsert(url.path(), number, KeyOf{mKeys});
        if (known < mStates.size()) {
            mStates[known] = State::Barred;
        }
    }

    ByteTable mTable;
    std::vector<const SlideItemPtr*> mItems;
    std::vector<QByteArrayView> mKeys; // of the items, and then of those that are barred
    std::vector<State> mStates; // of the items
    std::vector<std::pair<quint32, quint32>> mEquals; // items of the same path: the first of them, and another
};

// Compares a tree with a list while walking through it.
class Comparison
{
public:
    explicit Comparison(const Rescan& rescan) : mRescan(rescan), mKnown(rescan.list) { }

    WalkEnd run()
    {
        if (mRescan.watches) {
            mRescan.watches->beginPass();
        }
        WalkSinks sinks;
        sinks.folder = [this](int folder, const QByteArray& path) { enter(folder, path); };
        sinks.file = [this](const ListedFile& file) { take(file); };
        const WalkEnd end = walkTree(mRescan.folder, mRescan.levelLimit, mRescan.cancel, sinks);
        if (mRescan.watches && end == WalkEnd::Complete) {
            mRescan.watches->endPass();
        }
        return end;
    }

    TreeChanges changes() { return {mKnown.vanished(), std::move(mFresh)}; }
    FolderRecords&& folders() { return std::move(mFolders); }
    std::vector<FileUrl>&& unfinished() { return std::move(mUnfinished); }

private:
    void enter(int folder, const QByteArray& path)
    {
        if (mRescan.watches && folder >= 0) {
            mRescan.watches->watch(folder, path);
        }
        mFolders.add(folder, path);
    }

    void take(const ListedFile& file)
    {
        mRescan.rest.take(mRescan.cancel);
        mPath = file.prefix();
        mPath.append(file.name());
        const bool isThere = !file.isLink() || kindOfPath(mPath) == PathKind::File;
        if (!isThere || mKnown.meet(mPath)) {
            return;
        }
        auto item = file.item();
        if (!item) {
            return;
        }
        const Writer writer
            = file.folder() >= 0 ? writerOf(file.folder(), file.name().data()) : writerOf(AT_FDCWD, mPath.constData());
        const bool isAwaited = mRescan.watches && mRescan.watches->isUnfinished(item->mURL());
        const auto modified = item->fileModificationDate().value_or(FileDate());
        if (isUnfinished(writer, isAwaited, modified, mRescan.now)) {
            mUnfinished.push_back(item->mURL());
        } else {
            mFresh.push_back(std::move(item));
        }
    }

    const Rescan& mRescan;
    KnownFiles mKnown;
    SlideItems mFresh;
    FolderRecords mFolders;
    std::vector<FileUrl> mUnfinished;
    QByteArray mPath; // of the file at hand; kept for its memory
};

} // namespace

// The folders as they were, and nothing to be expected of the files that were left alone.
bool Rescan::isUnchanged() const
{
    return memory->isTrustworthy && memory->folders.areUnchanged()
        && std::all_of(memory->unfinished.begin(), memory->unfinished.end(),
            [](const FileUrl& url) { return writerOf(AT_FDCWD, url.path().constData()) == Writer::Some; });
}

void Rescan::finish(RescanResult& result) const
{
    result.unfinished = {memory->unfinished.begin(), memory->unfinished.end()};
    if (!result.changes.isEmpty()) {
        result.plan = RescanPlan(list, result.changes);
    }
    result.isComplete = true;
}

// False when a walk is needed.
bool Rescan::lookAtTold(RescanResult& result) const
{
    if (told.isEmpty() || memory->folders.count() == 0) {
        return false;
    }
    auto found = changesOf(told, {folder, levelLimit, watches.get(), now}, list, memory->unfinished);
    if (!found) {
        return false;
    }
    result.changes = std::move(*found);
    return true;
}

RescanResult Rescan::run() const
{
    RescanResult result;
    if (cancel.isCancelled()) {
        return result;
    }
    if (mayLookOnly && isUnchanged()) {
        finish(result);
        return result;
    }
    if (lookAtTold(result)) {
        finish(result);
        return result;
    }
    result.hasWalked = true;
    Comparison comparison(*this);
    const WalkEnd end = comparison.run();
    memory->isTrustworthy = false;
    if (end != WalkEnd::Complete) {
        return result;
    }
    memory->folders = comparison.folders();
    memory->unfinished = comparison.unfinished();
    memory->isTrustworthy = memory->folders.showChangesAfter(now);
    result.changes = comparison.changes();
    finish(result);
    return result;
}

} // namespace frameflow
