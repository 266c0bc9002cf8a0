#include "PictureMemory.h"

#include "Limits.h"
#include "TargetMemory.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#ifndef MADV_POPULATE_READ
#define MADV_POPULATE_READ 22
#endif

namespace frameflow {

namespace {

using namespace std::chrono_literals;

// Long enough for the one who steps on, too short to be missed by other programs.
constexpr Duration spareSpan = 2s;
// One comes back with every step, and two when steps are quick.
constexpr size_t mostSpares = 2;
// Smaller ones are quickly brought in.
constexpr qint64 leastBytes = qint64(8) << 20;
constexpr qint64 bytesPerPixel = 4;

// Ends it where that holds up nobody: images are dropped on the main thread, too.
void endInBackground(std::unique_ptr<PictureMemory> memory)
{
    if (!memory) {
        return;
    }
    // Not the thread's to lose where none can be had.
    const auto shared = std::make_shared<std::unique_ptr<PictureMemory>>(std::move(memory));
    try {
        std::thread([shared] { shared->reset(); }).detach();
    } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch): without a thread, it is done here
    }
}

} // namespace

std::unique_ptr<PictureMemory> PictureMemory::create(qint64 bytes)
{
    FileDescriptor memory = emptySharedMemory();
    // Whole pages: of a part nothing could be given back.
    const qint64 page = sysconf(_SC_PAGESIZE);
    bytes = (bytes + page - 1) / page * page;
    if (bytes <= 0 || !memory.isOpen() || ftruncate(memory.number(), bytes) != 0
        || fcntl(memory.number(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        return nullptr;
    }
    void* const start = mmap(nullptr, bytes, PROT_READ, MAP_SHARED, memory.number(), 0);
    if (start == MAP_FAILED) {
        return nullptr;
    }
    return std::unique_ptr<PictureMemory>(new PictureMemory(std::move(memory), static_cast<uchar*>(start), bytes));
}

PictureMemory::PictureMemory(FileDescriptor memory, uchar* start, qint64 size)
    : mMemory(std::move(memory)), mStart(start), mSize(size)
{
}

PictureMemory::~PictureMemory()
{
    // In pieces, so that nobody who needs this process's map of memory waits for the whole.
    constexpr qint64 piece = qint64(4) << 20;
    for (qint64 offset = 0; offset < mSize; offset += piece) {
        munmap(mStart + offset, std::min(piece, mSize - offset));
    }
    fallocate(mMemory.number(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, mSize);
}

std::optional<QImage> PictureMemory::image(const std::shared_ptr<PictureMemory>& memory, const BitmapLayout& layout)
{
    return imageAt(memory, 0, layout);
}

std::optional<QImage> PictureMemory::imageBehind(
    const std::shared_ptr<PictureMemory>& memory, const BitmapLayout& layout, QSize size)
{
    const auto bytes = bytesOf(layout);
    const BitmapLayout behind{size.width(), size.height(), size.width() * bytesPerPixel, layout.format};
    return bytes ? imageAt(memory, placeBehind(*bytes), behind) : std::nullopt;
}

std::optional<QImage> PictureMemory::imageAt(
    const std::shared_ptr<PictureMemory>& memory, qint64 place, const BitmapLayout& layout)
{
    const auto bytes = bytesOf(layout);
    if (!bytes || *bytes > memory->mSize - place) {
        return std::nullopt;
    }
    // What cannot be brought in now would end the process when it is looked at. Older kernels do not know the question.
    if (place + *bytes > memory->mPopulated) {
        if (!hasPages(memory->descriptor(), place + *bytes)
            && madvise(memory->mStart, place + *bytes, MADV_POPULATE_READ) != 0 && errno != EINVAL) {
            return std::nullopt;
        }
        memory->mPopulated = place + *bytes;
    }
    auto owner = std::make_unique<std::shared_ptr<PictureMemory>>(memory);
    const uchar* const pixels = memory->mStart + place;
    QImage image(
        pixels, layout.width, layout.height, qsizetype(layout.bytesPerLine), QImage::Format(layout.format),
        [](void* info) { delete static_cast<std::shared_ptr<PictureMemory>*>(info); }, owner.get());
    if (image.isNull()) {
        return std::nullopt;
    }
    static_cast<void>(owner.release()); // the image deletes it
    return image;
}

void PictureMemoryStore::noteSize(qint64 bytes)
{
    const std::lock_guard lock(mMutex);
    mSizes[mNextSize] = bytes;
    mNextSize = (mNextSize + 1) % mSizes.size();
}

std::shared_ptr<PictureMemory> PictureMemoryStore::take(Duration patience)
{
    std::unique_ptr<PictureMemory> spare;
    qint64 wanted = 0;
    {
        std::unique_lock lock(mMutex);
        wanted = std::min(*std::max_element(mSizes.begin(), mSizes.end()), 2 * mostPixelsHeld * bytesPerPixel);
        if (wanted < leastBytes) {
            return nullptr;
        }
        if (mGoesRound) {
            mCameBack.wait_for(lock, patience, [&] { return !mSpares.empty() || mIsClosed; });
        }
        if (mIsClosed) {
            return nullptr;
        }
        if (!mSpares.empty()) {
            spare = std::move(mSpares.back().memory);
            mSpares.pop_back();
        }
    }
    if (spare && (spare->size() < wanted || spare->size() / mostTimesLarger > wanted)) {
        endInBackground(std::exchange(spare, nullptr));
    }
    return shared(spare ? std::move(spare) : PictureMemory::create(wanted));
}

std::shared_ptr<PictureMemory> PictureMemoryStore::shared(std::unique_ptr<PictureMemory> memory)
{
    return {memory.release(), [weak = weak_from_this()](PictureMemory* last) {
                std::unique_ptr<PictureMemory> owned(last);
                if (const auto store = weak.lock()) {
                    store->putBack(std::move(owned));
                } else {
                    endInBackground(std::move(owned));
                }
            }};
}

void PictureMemoryStore::putBack(std::unique_ptr<PictureMemory> memory)
{
    if (!memory) {
        return;
    }
    std::unique_ptr<PictureMemory> surplus;
    {
        const std::lock_guard lock(mMutex);
        if (mIsClosed) {
            surplus = std::move(memory);
        } else {
            mGoesRound = true;
            mSpares.push_back({std::move(memory), std::chrono::steady_clock::now()});
            mCameBack.notify_one();
            if (mSpares.size() > mostSpares) {
                surplus = std::move(mSpares.front().memory);
                mSpares.erase(mSpares.begin());
            }
        }
    }
    endInBackground(std::move(surplus));
    mChanged();
}

void PictureMemoryStore::endIdle(TimePoint now)
{
    std::vector<Spare> ending; // ended without the lock
    {
        const std::lock_guard lock(mMutex);
        const auto end = std::find_if(
            mSpares.begin(), mSpares.end(), [&](const Spare& spare) { return now < spare.since + spareSpan; });
        std::move(mSpares.begin(), end, std::back_inserter(ending));
        mSpares.erase(mSpares.begin(), end);
    }
    for (Spare& spare : ending) {
        endInBackground(std::move(spare.memory));
    }
}

std::optional<TimePoint> PictureMemoryStore::nextEnd() const
{
    const std::lock_guard lock(mMutex);
    return mSpares.empty() ? std::nullopt : std::optional(mSpares.front().since + spareSpan);
}

void PictureMemoryStore::close()
{
    std::vector<Spare> ending;
    const std::lock_guard lock(mMutex);
    mIsClosed = true;
    mCameBack.notify_all();
    ending.swap(mSpares);
}

} // namespace frameflow
