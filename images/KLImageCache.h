#pragma once

#include "KLImage.h"

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
};

} // namespace frameflow
