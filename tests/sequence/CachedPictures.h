#pragma once

#include "KLImage.h"
#include "KLImageCache.h"

#include <QImage>

#include <memory>

namespace frameflow {

inline bool isCached(const FileUrl& url)
{
    return KLImageCache::instance().findImageWithURL(url) != nullptr;
}

// Puts a picture into the cache as if it had been decoded from that file.
inline void cache(const FileUrl& url)
{
    KLImageCache::instance().addImage(std::make_shared<KLImage>(url, QImage(2, 2, QImage::Format_RGB32), 1));
}

} // namespace frameflow
