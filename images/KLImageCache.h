#pragma once

#include "KLImage.h"

#include <vector>

namespace frameflow {

// The last five full-size pictures that were asked for, most recently used first. One for the process. Main thread
// only.
class KLImageCache
{
public:
    static KLImageCache& instance();
    // From the cache, else loaded and added; null, with nothing cached, when the file cannot be decoded.
    static KLImagePtr imageWithURL(const FileUrl& url);
    static void cacheImageWithURL(const FileUrl& url);
    static void purge();
    static void removeImageWithURL(const FileUrl& url);

    // Puts a picture in front, the same file's twice if it is added twice. Throws AssertionFailure for null.
    void addImage(const KLImagePtr& image);
    // Moved to the front; null when absent.
    KLImagePtr findImageWithURL(const FileUrl& url);
    void removeCachedImageWithURL(const FileUrl& url);
    void removeAll();

    const std::vector<KLImagePtr>& images() const { return mCache; }

private:
    std::vector<KLImagePtr>::iterator position(const FileUrl& url);

    std::vector<KLImagePtr> mCache;
};

} // namespace frameflow
