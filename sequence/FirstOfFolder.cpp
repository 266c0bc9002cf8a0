#include "FirstOfFolder.h"

#include "FolderWalk.h"
#include "NameKey.h"

#include <compare>
#include <string>
#include <utility>

#include <sys/stat.h>

namespace frameflow {

namespace {

// The first one of those that it was offered.
class First
{
public:
    explicit First(SortOrder order) : mOrder(order) { }

    void offer(QByteArrayView name)
    {
        mKey.clear();
        if (mOrder == SortOrder::Name) {
            appendNameKey(name, mKey);
        }
        const int place = mName.isNull() ? -1 : mKey.compare(mFirstKey);
        if (place < 0 || (place == 0 && name < QByteArrayView(mName))) {
            mName = name.toByteArray();
            std::swap(mKey, mFirstKey);
        }
    }

    SlideItemPtr item(const QByteArray& prefix) const
    {
        const QByteArray path = prefix + mName;
        const bool isFile = !mName.isNull() && kindOfPath(path) == PathKind::File;
        return isFile ? SlideItem::itemWithURL(FileUrl::fromPath(path)) : SlideItemPtr();
    }

private:
    const SortOrder mOrder;
    QByteArray mName;
    std::string mFirstKey;
    std::string mKey; // of the one that is offered; here for its memory
};

// 0 where that cannot be known.
qint64 bytesOf(const FileUrl& folder)
{
    struct stat status = {};
    return stat(folder.path().constData(), &status) == 0 ? qint64(status.st_size) : 0;
}

bool isJpeg(QByteArrayView name)
{
    constexpr QByteArrayView suffix(".jpg");
    return name.size() > suffix.size() && name.last(suffix.size()).compare(suffix, Qt::CaseInsensitive) == 0;
}

} // namespace

SlideItemPtr firstOfFolder(const FileUrl& folder, SortOrder order, bool leavesOutCompanions, const CancelToken& cancel,
    const FirstOfFolderLimits& limits)
{
    const bool saysOrder = order == SortOrder::Name || order == SortOrder::Url;
    if (!saysOrder || bytesOf(folder) > limits.bytes) {
        return {};
    }
    First first(order);
    First firstJpeg(order);
    QByteArray prefix;
    qint64 left = limits.entries;
    const auto end = std::chrono::steady_clock::now() + limits.time;
    WalkSinks sinks;
    sinks.goesOn = [&] { return left-- > 0 && std::chrono::steady_clock::now() < end; };
    sinks.file = [&](const ListedFile& file) {
        if (prefix.isNull()) {
            prefix = file.prefix();
        }
        first.offer(file.name());
        if (leavesOutCompanions && isJpeg(file.name())) {
            firstJpeg.offer(file.name());
        }
    };
    walkTree(folder, 1, cancel, sinks);
    const auto item = first.item(prefix);
    if (leavesOutCompanions && item && !item->isJPG()) {
        const auto jpeg = firstJpeg.item(prefix);
        return jpeg && std::is_eq(jpeg->baseCompare(*item)) ? jpeg : item;
    }
    return item;
}

} // namespace frameflow
