#include "KLImageCache.h"

#include "AssertionFailure.h"

#include <algorithm>

namespace frameflow {

namespace {

constexpr size_t mostImages = 5;

} // namespace

KLImageCache& KLImageCache::instance()
{
    // Never destroyed: pictures may outlive the main function.
    static auto* const cache = new KLImageCache;
    return *cache;
}

KLImagePtr KLImageCache::imageWithURL(const FileUrl& url)
{
    KLImageCache& cache = instance();
    if (auto found = cache.findImageWithURL(url)) {
        return found;
    }
    auto loaded = KLImage::imageWithURL(url);
    if (loaded) {
        cache.addImage(loaded);
    }
    return loaded;
}

void KLImageCache::cacheImageWithURL(const FileUrl& url)
{
    imageWithURL(url);
}

void KLImageCache::purge()
{
    instance().removeAll();
}

void KLImageCache::removeImageWithURL(const FileUrl& url)
{
    instance().removeCachedImageWithURL(url);
}

void KLImageCache::addImage(const KLImagePtr& image)
{
    if (!image) {
        throw AssertionFailure("KLImageCache", 17, "the image may not be nil");
    }
    mCache.reserve(mostImages);
    if (mCache.size() == mostImages) {
        mCache.pop_back();
    }
    mCache.insert(mCache.begin(), image);
}

KLImagePtr KLImageCache::findImageWithURL(const FileUrl& url)
{
    const auto found = position(url);
    if (found == mCache.end()) {
        return nullptr;
    }
    std::rotate(mCache.begin(), found, found + 1);
    return mCache.front();
}

void KLImageCache::removeCachedImageWithURL(const FileUrl& url)
{
    const auto found = position(url);
    if (found != mCache.end()) {
        mCache.erase(found);
    }
}

void KLImageCache::removeAll()
{
    mCache.clear();
}

std::vector<KLImagePtr>::iterator KLImageCache::position(const FileUrl& url)
{
    return std::find_if(mCache.begin(), mCache.end(), [&](const KLImagePtr& image) { return image->mURL() == url; });
}

} // namespace frameflow
