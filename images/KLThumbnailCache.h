#pragma once

#include "KLThumbnail.h"
#include "SerialQueue.h"

#include <QHash>

#include <mutex>

namespace frameflow {

// One thumbnail per file for as long as a show runs, without a limit. One for the process. Any thread, but not from a
// job of its own queue.
class KLThumbnailCache
{
public:
    KLThumbnailCache();

    static KLThumbnailCache& instance();
    // The cached picture, else null; never loads.
    static QImage imageWithURL(const FileUrl& url);
    // Makes the thumbnail, on the calling thread, and keeps it; null when there is none. Blocks.
    static QImage cacheImageWithURL(const FileUrl& url);
    static void purge();

    // Replaces an earlier one of the same file. Throws AssertionFailure for null and for one without URL or picture.
    void addImage(const KLThumbnailPtr& thumbnail);
    // Null when absent.
    KLThumbnailPtr findImageWithURL(const FileUrl& url);
    void removeAll();

private:
    // removeAll() stays on its caller's thread while others may add.
    std::mutex mMutex;
    QHash<FileUrl, KLThumbnailPtr> mCache;
    SerialQueue mDispatchQueue;
};

} // namespace frameflow
