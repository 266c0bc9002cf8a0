#include "ReadAhead.h"

#include "DecoderPool.h"
#include "FileContents.h"
#include "KLImageCache.h"
#include "MainThread.h"
#include "Reduction.h"
#include "SerialQueue.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>

namespace frameflow {

namespace {

// One file on its way to the screen.
struct Entry
{
    FileUrl url;
    FrameRule frame;
    DecoderPool::Ticket ticket;
    bool done = false;
    KLImagePtr image; // null while it is not done, and for a file without a picture
    std::optional<MovieFacts> movie; // absent while it is not done, and for what is no movie
    std::optional<FileStamp> stamp; // of the file that was decoded; absent for one that could not be opened
    bool mayStall = false;
    bool wasAskedFor = false; // since it was decoded or looked at last: whoever asked takes it as it is
    int takers = 0; // that wait for it
};

using EntryPtr = std::shared_ptr<Entry>;

DecodeJob decodeJob(const FileUrl& url)
{
    DecodeJob job;
    job.url = url;
    job.request.wanted = KLImage::isMovieURL(url) ? Wanted::MovieProbe : Wanted::Picture;
    job.request.fileName = url.fileName().toByteArray();
    return job;
}

KLImagePtr cachedImage(const FileUrl& url)
{
    const auto& images = KLImageCache::instance().images();
    const auto found
        = std::find_if(images.begin(), images.end(), [&](const KLImagePtr& image) { return image->mURL() == url; });
    return found != images.end() ? *found : nullptr;
}

bool isPrepared(const Entry& entry, const FrameRule& frame)
{
    return entry.done && (!entry.image || entry.image->isPreparedFor(frame));
}

bool isFresh(const Entry& entry)
{
    return entry.wasAskedFor || (!entry.mayStall && stampOf(entry.url) == entry.stamp);
}

QImage reducedOrNone(const QImage& picture, QSize pixels)
{
    return pixels.isEmpty() ? QImage() : reducedTo(picture, pixels);
}

} // namespace

class ReadAhead::State : public std::enable_shared_from_this<State>
{
public:
    explicit State(DecoderPool& pool) : mPool(pool), mReducing("reducing ahead"), mLooking("looking at files") { }

    void setWanted(const std::vector<AheadFile>& files);
    bool isReady(const AheadFile& file) const;
    void ask(const AheadFile& file, std::function<void()> ready);
    void cancelAsked();
    bool isAsking() const { return mAsked.has_value(); }
    void lookAt(const KLImagePtr& image, std::function<void()> changed);
    KLImagePtr take(const FileUrl& url);
    KLImagePtr held(const FileUrl& url) const;
    std::optional<ProbedMovie> takeMovie(const FileUrl& url);
    void purge();
    std::vector<FileUrl> files() const;

private:
    std::vector<EntryPtr> entries() const;
    EntryPtr find(const FileUrl& url) const; // with the lock held
    void drop(const EntryPtr& entry);
    EntryPtr begin(const AheadFile& file, Urgency urgency);
    void decoded(const EntryPtr& entry, DecodedFile&& file);
    void askFor(const EntryPtr& entry);
    void lookAt(const EntryPtr& entry);
    void looked(const EntryPtr& entry, bool unchanged);
    void reduce(const KLImagePtr& image, const FrameRule& frame);
    void check();
    template <typename Job>
    void post(Job job);

    DecoderPool& mPool;
    mutable std::mutex mMutex; // for the entries: a picture may be taken on any thread
    std::condition_variable mDecoded;
    std::vector<EntryPtr> mEntries;

    struct Asked
    {
        AheadFile file;
        std::function<void()> ready;
    };
    // The rest is the main thread's.
    std::optional<Asked> mAsked;
    std::vector<KLImagePtr> mBeingReduced;
    SerialQueue mReducing;
    SerialQueue mLooking; // a file system that does not answer holds up nothing else
};

template <typename Job>
void ReadAhead::State::post(Job job)
{
    postToMainThread([weak = weak_from_this(), job] {
        if (const auto self = weak.lock()) {
            job(*self);
        }
    });
}

std::vector<EntryPtr> ReadAhead::State::entries() const
{
    const std::lock_guard lock(mMutex);
    return mEntries;
}

EntryPtr ReadAhead::State::find(const FileUrl& url) const
{
    const auto found
        = std::find_if(mEntries.begin(), mEntries.end(), [&](const EntryPtr& entry) { return entry->url == url; });
    return found != mEntries.end() ? *found : nullptr;
}

void ReadAhead::State::drop(const EntryPtr& entry)
{
    bool isUnwanted = false;
    {
        const std::lock_guard lock(mMutex);
        std::erase(mEntries, entry);
        isUnwanted = !entry->done && entry->takers == 0;
    }
    if (isUnwanted) {
        entry->ticket.cancel();
    }
}

void ReadAhead::State::setWanted(const std::vector<AheadFile>& files)
{
    std::vector<AheadFile> wanted(files.begin(), files.begin() + std::min(files.size(), mostFiles));
    const auto isWanted = [&](const FileUrl& url) {
        return (mAsked && mAsked->file.url == url)
            || std::any_of(wanted.begin(), wanted.end(), [&](const AheadFile& file) { return file.url == url; });
    };
    for (const EntryPtr& entry : entries()) {
        if (!isWanted(entry->url)) {
            drop(entry);
        }
    }
    for (const AheadFile& file : wanted) {
        if (file.url.isEmpty()) {
            continue;
        }
        if (const KLImagePtr cached = cachedImage(file.url)) {
            reduce(cached, file.frame);
            continue;
        }
        EntryPtr entry;
        {
            const std::lock_guard lock(mMutex);
            entry = find(file.url);
            if (entry) {
                entry->frame = file.frame;
            }
        }
        if (!entry) {
            begin(file, Urgency::Ahead);
        } else if (entry->done && entry->image) {
            reduce(entry->image, file.frame);
        }
    }
}

bool ReadAhead::State::isReady(const AheadFile& file) const
{
    if (const KLImagePtr cached = cachedImage(file.url)) {
        return cached->isPreparedFor(file.frame);
    }
    EntryPtr entry;
    {
        const std::lock_guard lock(mMutex);
        entry = find(file.url);
        if (!entry || !isPrepared(*entry, file.frame)) {
            return false;
        }
    }
    return isFresh(*entry);
}

EntryPtr ReadAhead::State::begin(const AheadFile& file, Urgency urgency)
{
    auto entry = std::make_shared<Entry>();
    entry->url = file.url;
    entry->frame = file.frame;
    entry->wasAskedFor = urgency == Urgency::Asked;
    DecodeJob job = decodeJob(file.url);
    job.urgency = urgency;
    job.request.frame = file.frame;
    const std::lock_guard lock(mMutex);
    mEntries.push_back(entry);
    entry->ticket = mPool.decode(job, [weak = weak_from_this(), entry](DecodedFile&& decoded) {
        if (const auto self = weak.lock()) {
            self->decoded(entry, std::move(decoded));
        }
    });
    return entry;
}

// On a thread of the pool: the reduction too belongs to what is done with one core for one file.
void ReadAhead::State::decoded(const EntryPtr& entry, DecodedFile&& file)
{
    FrameRule frame;
    {
        const std::lock_guard lock(mMutex);
        frame = entry->frame;
    }
    const auto stamp = file.stamp;
    const bool mayStall = file.mayStall;
    const auto movie = file.picture.error == DecodeError::None ? file.picture.movie : std::nullopt;
    const KLImagePtr image = KLImage::imageWithDecoded(entry->url, std::move(file));
    if (image && !image->isPreparedFor(frame)) {
        image->setReduced(reducedOrNone(image->getCGImage(), image->reductionFor(frame)));
    }
    {
        const std::lock_guard lock(mMutex);
        entry->image = image;
        entry->movie = movie;
        entry->stamp = stamp;
        entry->mayStall = mayStall;
        entry->done = true;
    }
    mDecoded.notify_all();
    post([](State& self) { self.check(); });
}

void ReadAhead::State::ask(const AheadFile& file, std::function<void()> ready)
{
    mAsked = Asked{file, std::move(ready)};
    if (const KLImagePtr cached = cachedImage(file.url)) {
        reduce(cached, file.frame);
        post([](State& self) { self.check(); });
        return;
    }
    EntryPtr entry;
    bool done = false;
    {
        const std::lock_guard lock(mMutex);
        entry = find(file.url);
        if (entry) {
            entry->frame = file.frame;
            done = entry->done;
            if (!done) {
                entry->wasAskedFor = true;
                entry->ticket.raise(Urgency::Asked);
            }
        }
    }
    if (!entry) {
        begin(file, Urgency::Asked);
    } else if (done) {
        lookAt(entry);
    }
}

// Whether its file is still the one that was decoded.
void ReadAhead::State::lookAt(const EntryPtr& entry)
{
    mLooking.async([weak = weak_from_this(), entry] {
        const bool unchanged = stampOf(entry->url) == entry->stamp;
        if (const auto self = weak.lock()) {
            self->post([entry, unchanged](State& state) { state.looked(entry, unchanged); });
        }
    });
}

void ReadAhead::State::looked(const EntryPtr& entry, bool unchanged)
{
    if (!mAsked || mAsked->file.url != entry->url) {
        return;
    }
    if (unchanged) {
        entry->wasAskedFor = true;
        if (entry->image) {
            reduce(entry->image, mAsked->file.frame);
        }
        check();
        return;
    }
    drop(entry);
    begin(mAsked->file, Urgency::Asked);
}

void ReadAhead::State::lookAt(const KLImagePtr& image, std::function<void()> changed)
{
    mLooking.async([stamp = image->stamp(), url = image->mURL(), changed = std::move(changed)] {
        const auto now = stampOf(url);
        if (now && now != stamp) {
            postToMainThread(changed);
        }
    });
}

void ReadAhead::State::reduce(const KLImagePtr& image, const FrameRule& frame)
{
    const bool isUnderWay = std::find(mBeingReduced.begin(), mBeingReduced.end(), image) != mBeingReduced.end();
    if (image->isPreparedFor(frame) || isUnderWay) {
        return;
    }
    mBeingReduced.push_back(image);
    // The job gets values: the picture itself may be loaded anew meanwhile.
    mReducing.async(
        [weak = weak_from_this(), image, bitmap = image->getCGImage(), pixels = image->reductionFor(frame)] {
            const QImage reduced = reducedOrNone(bitmap, pixels);
            if (const auto self = weak.lock()) {
                self->post([image, key = bitmap.cacheKey(), reduced](State& state) {
                    if (image->getCGImage().cacheKey() == key) {
                        image->setReduced(reduced);
                    }
                    std::erase(state.mBeingReduced, image);
                    state.check();
                });
            }
        });
}

// Tells whoever asked, when all is there.
void ReadAhead::State::check()
{
    if (!mAsked) {
        return;
    }
    if (isReady(mAsked->file)) {
        const auto asked = std::move(*mAsked);
        mAsked.reset();
        asked.ready();
        const std::lock_guard lock(mMutex);
        if (const auto left = find(asked.file.url)) {
            left->wasAskedFor = false; // whoever asks again will want to know whether its file has changed since
        }
        return;
    }
    // The frame may have changed while the picture was reduced for another one.
    if (const KLImagePtr cached = cachedImage(mAsked->file.url)) {
        reduce(cached, mAsked->file.frame);
        return;
    }
    EntryPtr entry;
    {
        const std::lock_guard lock(mMutex);
        entry = find(mAsked->file.url);
    }
    if (!entry) {
        begin(mAsked->file, Urgency::Asked); // taken by somebody else meanwhile
    } else if (entry->done && entry->image) {
        reduce(entry->image, mAsked->file.frame);
    }
}

void ReadAhead::State::cancelAsked()
{
    mAsked.reset();
}

KLImagePtr ReadAhead::State::take(const FileUrl& url)
{
    EntryPtr entry;
    {
        std::unique_lock lock(mMutex);
        entry = find(url);
        if (entry) {
            if (!entry->done) {
                entry->wasAskedFor = true;
                entry->ticket.raise(Urgency::Asked);
            }
            ++entry->takers;
            mDecoded.wait(lock, [&] { return entry->done; });
            --entry->takers;
            std::erase(mEntries, entry);
        }
    }
    if (entry && isFresh(*entry)) {
        return entry->image;
    }
    return KLImage::imageWithDecoded(url, mPool.decodeAndWait(decodeJob(url)));
}

KLImagePtr ReadAhead::State::held(const FileUrl& url) const
{
    if (const KLImagePtr cached = cachedImage(url)) {
        return cached;
    }
    const std::lock_guard lock(mMutex);
    const EntryPtr entry = find(url);
    return entry ? entry->image : nullptr;
}

std::optional<ProbedMovie> ReadAhead::State::takeMovie(const FileUrl& url)
{
    const std::lock_guard lock(mMutex);
    const EntryPtr entry = find(url);
    if (!entry || !entry->done) {
        return std::nullopt;
    }
    std::erase(mEntries, entry);
    return entry->movie ? std::optional(ProbedMovie{*entry->movie, entry->image}) : std::nullopt;
}

void ReadAhead::State::purge()
{
    mAsked.reset();
    setWanted({});
}

std::vector<FileUrl> ReadAhead::State::files() const
{
    std::vector<FileUrl> urls;
    for (const EntryPtr& entry : entries()) {
        urls.push_back(entry->url);
    }
    return urls;
}

// ---- The interface

ReadAhead& ReadAhead::instance()
{
    // Never destroyed: pictures may be taken until the process ends.
    static auto* const readAhead = new ReadAhead(DecoderPool::instance());
    return *readAhead;
}

ReadAhead::ReadAhead(DecoderPool& pool) : mState(std::make_shared<State>(pool)) { }

ReadAhead::~ReadAhead()
{
    mState->purge();
}

void ReadAhead::setWanted(const std::vector<AheadFile>& files)
{
    mState->setWanted(files);
}

bool ReadAhead::isReady(const AheadFile& file) const
{
    return mState->isReady(file);
}

void ReadAhead::ask(const AheadFile& file, std::function<void()> ready)
{
    mState->ask(file, std::move(ready));
}

void ReadAhead::cancelAsked()
{
    mState->cancelAsked();
}

bool ReadAhead::isAsking() const
{
    return mState->isAsking();
}

void ReadAhead::lookAt(const KLImagePtr& image, std::function<void()> changed)
{
    mState->lookAt(image, std::move(changed));
}

KLImagePtr ReadAhead::take(const FileUrl& url)
{
    return mState->take(url);
}

KLImagePtr ReadAhead::held(const FileUrl& url) const
{
    return mState->held(url);
}

std::optional<ProbedMovie> ReadAhead::takeMovie(const FileUrl& url)
{
    return mState->takeMovie(url);
}

void ReadAhead::purge()
{
    mState->purge();
}

std::vector<FileUrl> ReadAhead::files() const
{
    return mState->files();
}

} // namespace frameflow
