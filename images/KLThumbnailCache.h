#pragma once

#include "KLThumbnail.h"
#include "SerialQueue.h"

#include <QByteArray>
#include <QHash>

#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <vector>

namespace frameflow {

// One thumbnail per file for as long as a show runs, without a limit. Those that were asked for lately are kept as they
// are, the others compressed, some twenty kilobytes each. One for the process. Any thread, but not from a job of its
// own queue.
class KLThumbnailCache
{
public:
    // What is kept as bitmaps: the thumbnails of several screens.
    static constexpr qsizetype mostBytesOfBitmaps = qsizetype(96) << 20;

    explicit KLThumbnailCache(qsizetype bytesOfBitmaps = mostBytesOfBitmaps);

    static KLThumbnailCache& instance();
    // The cached picture, else null; never loads. Uncompresses, which takes about a millisecond, where it has to.
    static QImage imageWithURL(const FileUrl& url);
    // The cached picture if it is there as a bitmap, else null; never waits.
    static QImage bitmapWithURL(const FileUrl& url);
    // Whether there is one, which costs nothing.
    static bool hasImageWithURL(const FileUrl& url);
    // Makes the thumbnail, on the calling thread, and keeps it; null when there is none. Blocks.
    static QImage cacheImageWithURL(const FileUrl& url);
    static void purge();

    // Replaces an earlier one of the same file. Throws AssertionFailure for null and for one without URL or picture.
    void addImage(const KLThumbnailPtr& thumbnail);
    // Null when absent. One that was compressed is not exactly the one that was added.
    KLThumbnailPtr findImageWithURL(const FileUrl& url);
    // Called on another thread for each file that is there, with null where there is no memory for its picture, which
    // is then not there any more.
    using Ready = std::function<void(const FileUrl& url, const QImage& picture)>;
    // These are about to be asked for: what is compressed among them is made a bitmap in the background, in this order.
    // What was asked for earlier and has not been begun is given up.
    void prepare(const std::vector<FileUrl>& urls, Ready ready = {});
    void removeAll();

    // What all pictures take, in bytes, once those that are too many have been compressed: waits for that.
    qsizetype bytes();

private:
    struct Entry
    {
        KLThumbnailPtr thumbnail; // null where it is only there compressed
        QByteArray packed; // empty where it has never been compressed
        std::list<FileUrl>::iterator place; // in mRecent, where there is a thumbnail
    };
    struct Wanted
    {
        FileUrl url;
        std::shared_ptr<const Ready> ready;
    };
    // Null when absent and when there is no memory for it.
    KLThumbnailPtr findBitmap(const FileUrl& url);
    KLThumbnailPtr unpack(const FileUrl& url);
    void prepareNext();
    void keep(Entry& entry, const KLThumbnailPtr& thumbnail);
    KLThumbnailPtr used(Entry& entry);
    void forgetBitmap(Entry& entry);
    void packLater();
    // Compresses the bitmap that has not been asked for the longest, if there are too many. False when there are not.
    bool packTheOldest();

    const qsizetype mMostBytesOfBitmaps;
    // removeAll() stays on its caller's thread while others may add.
    std::mutex mMutex;
    QHash<FileUrl, Entry> mCache;
    std::list<FileUrl> mRecent; // what is there as a bitmap, the latest asked for first
    qsizetype mBytesOfBitmaps = 0;
    qsizetype mBytesPacked = 0;
    std::deque<Wanted> mWanted;
    SerialQueue mDispatchQueue;
};

} // namespace frameflow
