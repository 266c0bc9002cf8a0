#pragma once

#include "KLThumbnail.h"
#include "SerialQueue.h"

#include <QByteArray>
#include <QHash>

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
    // The cached picture, else null; never loads.
    static QImage imageWithURL(const FileUrl& url);
    // Whether there is one, which costs nothing.
    static bool hasImageWithURL(const FileUrl& url);
    // Makes the thumbnail, on the calling thread, and keeps it; null when there is none. Blocks.
    static QImage cacheImageWithURL(const FileUrl& url);
    static void purge();

    // Replaces an earlier one of the same file. Throws AssertionFailure for null and for one without URL or picture.
    void addImage(const KLThumbnailPtr& thumbnail);
    // Null when absent. One that was compressed is not exactly the one that was added.
    KLThumbnailPtr findImageWithURL(const FileUrl& url);
    // These are about to be asked for: what is compressed among them is made a bitmap in the background.
    void prepare(const std::vector<FileUrl>& urls);
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
    void unpack(const FileUrl& url);
    void keep(Entry& entry, const KLThumbnailPtr& thumbnail);
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
    SerialQueue mDispatchQueue;
};

} // namespace frameflow
