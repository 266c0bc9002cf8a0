#include "KLThumbnailCache.h"

#include "AssertionFailure.h"

#include <QBuffer>

#include <utility>

#include <sys/resource.h>
#include <unistd.h>

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

// What the queue does is for later frames; the one that is being drawn has the cores first. Of the calling thread
// alone, as Linux has it; without effect where it is refused.
void runBehindOthers()
{
    constexpr int niceness = 10;
    static_cast<void>(setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), niceness));
}

// JPEG for photographs, PNG for what shines through somewhere. Empty when it cannot be done.
QByteArray packed(const QImage& image)
{
    constexpr int quality = 92; // no difference to be seen in a thumbnail
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    const bool isDone = image.hasAlphaChannel() ? image.save(&buffer, "png") : image.save(&buffer, "jpeg", quality);
    QByteArray bytes = isDone ? buffer.data() : QByteArray();
    bytes.squeeze();
    return bytes;
}

QImage unpacked(const QByteArray& bytes)
{
    const bool isPng = bytes.startsWith('\x89');
    QImage image = QImage::fromData(bytes, isPng ? "png" : "jpeg");
    image.convertTo(isPng ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    return image;
}

} // namespace

KLThumbnailCache::KLThumbnailCache(qsizetype bytesOfBitmaps)
    : mMostBytesOfBitmaps(bytesOfBitmaps), mDispatchQueue("com.quillory.thumbnailcache")
{
    mCache.reserve(expectedThumbnails);
    mDispatchQueue.async(runBehindOthers);
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

QImage KLThumbnailCache::bitmapWithURL(const FileUrl& url)
{
    const auto found = instance().findBitmap(url);
    return found ? found->mImage() : QImage();
}

bool KLThumbnailCache::hasImageWithURL(const FileUrl& url)
{
    KLThumbnailCache& cache = instance();
    const std::lock_guard lock(cache.mMutex);
    return cache.mCache.contains(url);
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
    bool isMuchTooMuch = false;
    {
        const std::lock_guard lock(mMutex);
        Entry& entry = mCache[thumbnail->mURL()];
        forgetBitmap(entry);
        mBytesPacked -= entry.packed.size();
        entry.packed.clear();
        keep(entry, thumbnail);
        isMuchTooMuch = mBytesOfBitmaps > 2 * mMostBytesOfBitmaps;
    }
    // Who adds waits for nobody, unless it adds faster than others compress.
    if (isMuchTooMuch) {
        mDispatchQueue.sync([this] { packTheOldest(); });
    }
}

KLThumbnailPtr KLThumbnailCache::findImageWithURL(const FileUrl& url)
{
    const auto found = findBitmap(url);
    return found ? found : unpack(url);
}

// A grid that is scrolled asks for dozens in each frame, and another thread is some way off.
KLThumbnailPtr KLThumbnailCache::findBitmap(const FileUrl& url)
{
    const std::lock_guard lock(mMutex);
    const auto entry = mCache.find(url);
    return entry != mCache.end() ? used(*entry) : KLThumbnailPtr();
}

KLThumbnailPtr KLThumbnailCache::unpack(const FileUrl& url)
{
    QByteArray bytes;
    {
        const std::lock_guard lock(mMutex);
        const auto entry = mCache.find(url);
        if (entry == mCache.end() || entry->thumbnail) {
            return entry != mCache.end() ? used(*entry) : KLThumbnailPtr();
        }
        bytes = entry->packed;
    }
    // Without the lock, which others want for a moment.
    const QImage image = unpacked(bytes);
    const std::lock_guard lock(mMutex);
    const auto entry = mCache.find(url);
    // Purged, replaced, or found by another meanwhile?
    if (entry == mCache.end() || entry->thumbnail || entry->packed.constData() != bytes.constData()) {
        return entry != mCache.end() ? used(*entry) : KLThumbnailPtr();
    }
    if (image.isNull()) {
        // There was no memory: it is made again when it is wanted.
        mBytesPacked -= entry->packed.size();
        mCache.erase(entry);
        return {};
    }
    const auto thumbnail = std::make_shared<const KLThumbnail>(url, image);
    keep(*entry, thumbnail);
    return thumbnail;
}

void KLThumbnailCache::prepare(const std::vector<FileUrl>& urls, Ready ready)
{
    const auto shared = std::make_shared<const Ready>(std::move(ready));
    const std::lock_guard lock(mMutex);
    mWanted.clear();
    for (const FileUrl& url : urls) {
        if (mCache.contains(url)) {
            mWanted.push_back({url, shared});
            // Each in a job of its own, like compressing.
            mDispatchQueue.async([this] { prepareNext(); });
        }
    }
}

void KLThumbnailCache::prepareNext()
{
    Wanted next;
    {
        const std::lock_guard lock(mMutex);
        if (mWanted.empty()) {
            return; // given up
        }
        next = std::move(mWanted.front());
        mWanted.pop_front();
    }
    const auto found = unpack(next.url);
    if (*next.ready) {
        (*next.ready)(next.url, found ? found->mImage() : QImage());
    }
}

void KLThumbnailCache::removeAll()
{
    const std::lock_guard lock(mMutex);
    mCache.clear();
    mRecent.clear();
    mWanted.clear();
    mBytesOfBitmaps = 0;
    mBytesPacked = 0;
}

qsizetype KLThumbnailCache::bytes()
{
    qsizetype bytes = 0;
    mDispatchQueue.sync([&] {
        while (packTheOldest()) { }
        const std::lock_guard lock(mMutex);
        bytes = mBytesOfBitmaps + mBytesPacked;
    });
    return bytes;
}

void KLThumbnailCache::keep(Entry& entry, const KLThumbnailPtr& thumbnail)
{
    entry.thumbnail = thumbnail;
    entry.place = mRecent.insert(mRecent.begin(), thumbnail->mURL());
    mBytesOfBitmaps += thumbnail->mImage().sizeInBytes();
    if (mBytesOfBitmaps > mMostBytesOfBitmaps) {
        packLater();
    }
}

// The last to be compressed from now on; null where it is only there compressed.
KLThumbnailPtr KLThumbnailCache::used(Entry& entry)
{
    if (entry.thumbnail) {
        mRecent.splice(mRecent.begin(), mRecent, entry.place);
    }
    return entry.thumbnail;
}

void KLThumbnailCache::forgetBitmap(Entry& entry)
{
    if (entry.thumbnail) {
        mBytesOfBitmaps -= entry.thumbnail->mImage().sizeInBytes();
        mRecent.erase(entry.place);
        entry.thumbnail.reset();
    }
}

// Each in a job of its own, so that nobody who looks for a thumbnail waits for many of them.
void KLThumbnailCache::packLater()
{
    mDispatchQueue.async([this] {
        if (packTheOldest()) {
            packLater();
        }
    });
}

bool KLThumbnailCache::packTheOldest()
{
    KLThumbnailPtr oldest;
    {
        const std::lock_guard lock(mMutex);
        if (mBytesOfBitmaps <= mMostBytesOfBitmaps || mRecent.size() < 2) {
            return false;
        }
        Entry& entry = mCache[mRecent.back()];
        if (!entry.packed.isEmpty()) {
            forgetBitmap(entry);
            return true;
        }
        oldest = entry.thumbnail;
    }
    // Without the lock, which purging waits for.
    const QByteArray bytes = packed(oldest->mImage());
    const std::lock_guard lock(mMutex);
    const auto entry = mCache.find(oldest->mURL());
    if (entry == mCache.end() || entry->thumbnail != oldest) {
        return true; // purged meanwhile
    }
    if (bytes.isEmpty()) {
        mRecent.splice(mRecent.begin(), mRecent, entry->place);
        return false;
    }
    entry->packed = bytes;
    mBytesPacked += bytes.size();
    forgetBitmap(*entry);
    return true;
}

} // namespace frameflow
