#include "ToldFiles.h"

#include "ByteTable.h"
#include "FolderWalk.h"
#include "OpenForWriting.h"

#include <algorithm>
#include <utility>

#include <fcntl.h>

namespace frameflow {

namespace {

// The path within a tree; absent for what is none of it.
std::optional<QByteArrayView> pathWithin(const FileUrl& folder, const FileUrl& url)
{
    QByteArray prefix = folder.path();
    if (!prefix.endsWith('/')) {
        prefix += '/';
    }
    if (url.path().size() <= prefix.size() || !url.path().startsWith(prefix)) {
        return {};
    }
    return QByteArrayView(url.path()).sliced(prefix.size());
}

// The rules of walkTree().
bool isWithinReach(QByteArrayView path, qint64 levelLimit)
{
    const auto level = 1 + std::count(path.begin(), path.end(), '/');
    return !path.startsWith('.') && (levelLimit <= 0 || level <= levelLimit);
}

// The told files by path, and what is known of each.
class Files
{
public:
    struct File
    {
        const FileUrl* url = nullptr;
        bool isThere = false;
        bool isListed = false;
        bool isBarred = false;
    };

    explicit Files(const ToldFiles& files) : mTable(files.urls.size())
    {
        for (const FileUrl& url : files.urls) {
            const auto number = static_cast<quint32>(mFiles.size());
            if (mTable.findOrInsert(url.path(), number, KeyOf{mFiles}) == number) {
                mFiles.push_back({&url});
            }
        }
    }

    std::vector<File>& all() { return mFiles; }
    // Null for a file that was not told.
    File* find(const FileUrl& url)
    {
        const quint32 number = mTable.find(url.path(), KeyOf{mFiles});
        return number == ByteTable::none ? nullptr : &mFiles[number];
    }

private:
    struct KeyOf
    {
        const std::vector<File>& files;
        QByteArrayView operator()(quint32 number) const { return files[number].url->path(); }
    };

    ByteTable mTable;
    std::vector<File> mFiles;
};

bool isBeingWritten(const SlideItem& item, const ToldTree& tree)
{
    const bool isAwaited = tree.watches != nullptr && tree.watches->isUnfinished(item.mURL());
    return isUnfinished(writerOf(AT_FDCWD, item.mURL().path().constData()), isAwaited,
        item.fileModificationDate().value_or(FileDate()), tree.now);
}

} // namespace

std::optional<TreeChanges> changesOf(
    const ToldFiles& files, const ToldTree& tree, const ListState& list, std::vector<FileUrl>& unfinished)
{
    Files told(files);
    for (Files::File& file : told.all()) {
        const auto path = pathWithin(tree.folder, *file.url);
        if (!path) {
            return {};
        }
        file.isThere = isWithinReach(*path, tree.levelLimit) && isDisplayable(*file.url)
            && kindOfPath(file.url->path()) == PathKind::File;
    }
    for (const UrlList* urls : {&list.removed, &list.trashed}) {
        urls->forEach([&](const FileUrl& url, size_t) {
            if (Files::File* const file = told.find(url)) {
                file->isBarred = true;
            }
        });
    }
    TreeChanges changes;
    forEachPath(list.items, [&](const SlideItemPtr& item, size_t) {
        Files::File* const file = told.find(item->mURL());
        if (file != nullptr) {
            file->isListed = true;
            if (!file->isThere || file->isBarred) {
                changes.vanished.push_back(item);
            }
        }
    });
    std::erase_if(unfinished, [&](const FileUrl& url) { return told.find(url) != nullptr; });
    for (const Files::File& file : told.all()) {
        if (!file.isThere || file.isListed || file.isBarred) {
            continue;
        }
        auto item = SlideItem::itemWithURL(*file.url);
        if (isBeingWritten(*item, tree)) {
            unfinished.push_back(*file.url);
        } else {
            changes.fresh.push_back(std::move(item));
        }
    }
    return changes;
}

} // namespace frameflow
