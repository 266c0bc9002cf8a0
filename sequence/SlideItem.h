#pragma once

#include "FileUrl.h"

#include <QSharedData>

#include <compare>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

#include <sys/stat.h>

namespace frameflow {

// A file's time as its file system keeps it: seconds since 1970 and nanoseconds within the second.
struct FileDate
{
    qint64 seconds = 0;
    qint32 nanoseconds = 0;

    static FileDate now();
    static FileDate modificationDate(const struct stat& attributes);

    friend bool operator==(const FileDate&, const FileDate&) = default;
    friend std::strong_ordering operator<=>(const FileDate& a, const FileDate& b)
    {
        return std::tie(a.seconds, a.nanoseconds) <=> std::tie(b.seconds, b.nanoseconds);
    }
};

class SlideItem;
using SlideItemPtr = QExplicitlySharedDataPointer<SlideItem>;
using SlideItems = std::vector<SlideItemPtr>;

// One file of a sequence, equal to another by its URL alone. Making one and refreshing it ask the file system, nothing
// else does. Shared between lists and threads, which only read it; refreshing is for an item that nobody shares.
class SlideItem : public QSharedData
{
public:
    explicit SlideItem(const FileUrl& url);
    // Of a file whose attributes are known. The resolved name is that of a link's target, and empty for all else.
    SlideItem(const FileUrl& url, FileDate modified, const QByteArray& resolvedName);

    static SlideItemPtr itemWithURL(const FileUrl& url);

    const FileUrl& mURL() const { return mUrl; }
    // The last component of the path with its links resolved; valid while the item is and until it is refreshed.
    QByteArrayView mFileName() const;
    // Absent when the file could not be examined.
    std::optional<FileDate> fileModificationDate() const;

    void refreshAttributes();
    // Whether the file was last modified one second before now, or earlier. Looks again before it says no.
    bool isReady(FileDate now = FileDate::now());
    // Only "jpg", in any case. An absent URL counts as one.
    bool isJPG() const;

    // An item without URL equals none.
    bool isEqual(const SlideItem& other) const { return !mUrl.isEmpty() && mUrl == other.mUrl; }
    size_t hash() const { return qHash(mUrl); }

    // How this item stands to the other: less is first.
    // Without a date this item is equivalent to all; another one without stands before all that have one.
    std::weak_ordering dateCompare(const SlideItem& other) const;
    std::weak_ordering nameCompare(const SlideItem& other) const;
    std::weak_ordering baseCompare(const SlideItem& other) const;
    std::weak_ordering urlCompare(const SlideItem& other) const;
    // The file name without its last extension.
    QByteArrayView baseName() const;

private:
    static constexpr qint32 noDate = -1;

    // Ordered so that an item fits into 48 bytes.
    qint32 mNanoseconds = noDate;
    qint64 mSeconds = 0;
    FileUrl mUrl;
    std::unique_ptr<QByteArray> mResolvedName; // null: the URL's own name
};

} // namespace frameflow
