#include "KLThumbnailCache.h"

#include "AssertionFailure.h"

namespace frameflow {

namespace {

// Room to begin with, not a limit.
constexpr qsizetype expectedThumbnails = 2000;

void require(bool condition, int line, const char* message)
{
    if (!condition) {
        throw AssertionFailure("KLThumbnailCache", line, message);
    }
}

} // namespace

KLThumbnailCache::KLThumbnailCache() : mDispatchQueue("com.quillory.thumbnailcache")
{
    mCache.reserve(expectedThumbnails);
}

KLThumbnailCache& KLThumbnailCache::instance()
{
    // Never destroyed: background work may still hold on to it when the main function returns.
    static auto* const cache = new KLThumbnailCache;
    return *cache;
}

QImage KLThumbnailCache::imageWithURL(const FileUrl& url)
{
    const auto found = instance().findImageWithURL(url);
    return found ? found->mImage() : QImage();
}

QImage KLThumbnailCache::cacheImageWithURL(const FileUrl& url)
{
    const auto thumbnail = KLThumbnail::thumbnailWithURL(url);
    if (!thumbnail) {
        return {};
    }
    instance().addImage(thumbnail);
    return thumbnail->mImage();
}

void KLThumbnailCache::purge()
{
    instance().removeAll();
}

void KLThumbnailCache::addImage(const KLThumbnailPtr& thumbnail)
{
    require(thumbnail != nullptr, 58, "the image may not be nil");
    require(!thumbnail->mURL().isEmpty(), 59, "the url may not be nil");
    require(!thumbnail->mImage().isNull(), 60, "the url may not be nil");
    mDispatchQueue.sync([&] {
        const std::lock_guard lock(mMutex);
        mCache.insert(thumbnail->mURL(), thumbnail);
    });
}

KLThumbnailPtr KLThumbnailCache::findImageWithURL(const FileUrl& url)
{
    KLThumbnailPtr found;
    mDispatchQueue.sync([&] {
        const std::lock_guard lock(mMutex);
        found = mCache.value(url);
    });
    return found;
}

void KLThumbnailCache::removeAll()
{
    const std::lock_guard lock(mMutex);
    mCache.clear();
}

} // namespace frameflow
