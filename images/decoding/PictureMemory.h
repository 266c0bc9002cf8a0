#pragma once

#include "Clock.h"
#include "FileContents.h"
#include "SharedBitmap.h"

#include <QImage>

#include <array>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace frameflow {

// Memory of this program's making that a decoder writes a large picture into. Its size never changes, so nothing that
// a decoder does with it can end this program; its contents are pixels and are taken for nothing else. It is used
// again for picture after picture: bringing in fresh pages takes as long as decoding does.
class PictureMemory
{
public:
    // At least so many bytes. Null when there is no memory.
    static std::unique_ptr<PictureMemory> create(qint64 bytes);
    // Gives the pages back, even where a decoder still knows the memory, and takes tens of milliseconds for it.
    ~PictureMemory();
    PictureMemory(const PictureMemory&) = delete;
    PictureMemory& operator=(const PictureMemory&) = delete;

    int descriptor() const { return mMemory.number(); }
    qint64 size() const { return mSize; }
    // The picture that a decoder has put there, read-only and without a copy; the image shares the ownership. Nothing
    // when it cannot lie there like that.
    static std::optional<QImage> image(const std::shared_ptr<PictureMemory>& memory, const BitmapLayout& layout);
    // The same for the smaller copy behind a picture that lies like that.
    static std::optional<QImage> imageBehind(
        const std::shared_ptr<PictureMemory>& memory, const BitmapLayout& layout, QSize size);

private:
    PictureMemory(FileDescriptor memory, uchar* start, qint64 size);
    static std::optional<QImage> imageAt(
        const std::shared_ptr<PictureMemory>& memory, qint64 place, const BitmapLayout& layout);
    FileDescriptor mMemory;
    uchar* mStart;
    qint64 mSize;
    qint64 mPopulated = 0; // bytes from its start
};

// Hands out memory for large pictures and takes it back when the last image in it is gone: some of it is kept
// for a short while for the pictures after. Any thread.
class PictureMemoryStore : public std::enable_shared_from_this<PictureMemoryStore>
{
public:
    // The function is called, on any thread, when nextEnd() has changed; it must not call back.
    explicit PictureMemoryStore(std::function<void()> changed) : mChanged(std::move(changed)) { }

    // A picture of so many bytes, a copy behind it included, has been decoded; the next ones are likely to be no larger
    // than the last few.
    void noteSize(qint64 bytes);
    // Memory for the next picture; null when none so large is expected, or there is none. Waits so long for some to
    // come back before it makes fresh one, where some has come back before.
    std::shared_ptr<PictureMemory> take(Duration patience = {});

    // Gives back what has not been wanted for a while.
    void endIdle(TimePoint now);
    std::optional<TimePoint> nextEnd() const;
    // Gives back what is kept; from now on nothing is.
    void close();

private:
    std::shared_ptr<PictureMemory> shared(std::unique_ptr<PictureMemory> memory);
    void putBack(std::unique_ptr<PictureMemory> memory);

    const std::function<void()> mChanged;
    mutable std::mutex mMutex; // for what follows
    std::array<qint64, 4> mSizes = {};
    size_t mNextSize = 0;
    struct Spare
    {
        std::unique_ptr<PictureMemory> memory;
        TimePoint since;
    };
    std::vector<Spare> mSpares; // the last one that came back at the end
    std::condition_variable mCameBack;
    bool mGoesRound = false; // some has come back
    bool mIsClosed = false;
};

} // namespace frameflow
