#include "SharedBitmap.h"

#include "Limits.h"
#include "TargetMemory.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>

// The oldest kernel headers that are built with do not know it; the oldest kernels refuse it.
#ifndef MFD_NOEXEC_SEAL
#define MFD_NOEXEC_SEAL 0x0008U
#endif
#ifndef MADV_POPULATE_READ
#define MADV_POPULATE_READ 22
#endif

namespace frameflow {

namespace {

constexpr qint64 bytesPerPixel = 4;
constexpr unsigned allSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;

bool isFormat(qint64 format)
{
    return format == QImage::Format_RGB32 || format == QImage::Format_ARGB32_Premultiplied;
}

bool isSealedMemory(const FileDescriptor& memory, qint64 leastBytes)
{
    const int seals = fcntl(memory.number(), F_GET_SEALS);
    struct stat status = {};
    struct statfs system = {};
    // Memory of large pages can be sealed as well, but may turn out missing at the first look at it.
    return seals >= 0 && (unsigned(seals) & allSeals) == allSeals && fstat(memory.number(), &status) == 0
        && S_ISREG(status.st_mode) && status.st_size >= leastBytes && fstatfs(memory.number(), &system) == 0
        && system.f_type == TMPFS_MAGIC;
}

struct Mapping
{
    uchar* start;
    size_t length;
};

void unmapAll(Mapping mapping)
{
    // In pieces, so that nobody who needs this process's map of memory waits for the whole.
    constexpr size_t piece = size_t(4) << 20;
    for (size_t offset = 0; offset < mapping.length; offset += piece) {
        munmap(mapping.start + offset, std::min(piece, mapping.length - offset));
    }
}

// Giving the pages of a photograph back takes longer than a frame of an animation, and the last image is often dropped
// on the main thread.
void unmapInBackground(const Mapping* info)
{
    constexpr size_t quickLength = size_t(1) << 20;
    const std::unique_ptr<const Mapping> mapping(info);
    try {
        if (mapping->length > quickLength) {
            std::thread(unmapAll, *mapping).detach();
            return;
        }
    } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch): without a thread, it is done here
    }
    unmapAll(*mapping);
}

using SharedMapping = std::shared_ptr<const Mapping>;

// It shares the mapping.
QImage imageIn(const SharedMapping& mapping, qint64 place, const BitmapLayout& layout)
{
    auto owner = std::make_unique<SharedMapping>(mapping);
    const uchar* const pixels = mapping->start + place;
    QImage image(
        pixels, layout.width, layout.height, qsizetype(layout.bytesPerLine), QImage::Format(layout.format),
        [](void* info) { delete static_cast<SharedMapping*>(info); }, owner.get());
    if (!image.isNull()) {
        static_cast<void>(owner.release()); // the image deletes it
    }
    return image;
}

BitmapLayout layoutOfCopy(QSize size, const BitmapLayout& original)
{
    return {size.width(), size.height(), size.width() * bytesPerPixel, original.format};
}

} // namespace

std::optional<qint64> bytesOf(const BitmapLayout& layout)
{
    const bool makesSense = layout.width > 0 && layout.height > 0 && isFormat(layout.format)
        && qint64(layout.width) * layout.height <= mostPixelsHeld && layout.bytesPerLine % bytesPerPixel == 0
        && layout.bytesPerLine >= layout.width * bytesPerPixel
        && layout.bytesPerLine <= std::numeric_limits<int>::max();
    const qint64 bytes = makesSense ? layout.bytesPerLine * layout.height : 0;
    return bytes > 0 && bytes <= mostPixelsHeld * bytesPerPixel ? std::optional(bytes) : std::nullopt;
}

FileDescriptor emptySharedMemory()
{
    constexpr unsigned flags = MFD_CLOEXEC | MFD_ALLOW_SEALING;
    const int descriptor = memfd_create("pixels", flags | MFD_NOEXEC_SEAL);
    return FileDescriptor(descriptor < 0 && errno == EINVAL ? memfd_create("pixels", flags) : descriptor);
}

BitmapLayout layoutOf(const QImage& image)
{
    return {image.width(), image.height(), image.bytesPerLine(), qint32(image.format())};
}

bool writeBytes(const uchar* bytes, qint64 count, int memory, qint64 place)
{
    qint64 written = 0;
    while (written < count) {
        const ssize_t part = pwrite(memory, bytes + written, count - written, place + written);
        if (part < 0 && errno == EINTR) {
            continue;
        }
        if (part <= 0) {
            return false;
        }
        written += part;
    }
    return true;
}

bool writePixels(const QImage& image, const FileDescriptor& memory, qint64 place)
{
    return writeBytes(image.constBits(), image.sizeInBytes(), memory.number(), place);
}

std::optional<SharedBitmap> sealed(const QImage& image, const QImage& copy)
{
    if (image.isNull() || !isFormat(image.format())) {
        return std::nullopt;
    }
    // Written, not decoded into: a write takes half the time of bringing in the memory page by page, and a decoder's
    // own bitmap has large pages, which memory of this kind rarely has.
    FileDescriptor memory = emptySharedMemory();
    return memory.isOpen() && writePixels(image, memory) ? sealedWith(std::move(memory), image, copy) : std::nullopt;
}

std::optional<SharedBitmap> sealedWith(FileDescriptor memory, const QImage& image, const QImage& copy)
{
    SharedBitmap shared{std::move(memory), layoutOf(image)};
    const bool isWhole = copy.isNull() || writePixels(copy, shared.memory, placeBehind(image.sizeInBytes()));
    if (!isWhole || fcntl(shared.memory.number(), F_ADD_SEALS, allSeals) != 0) {
        return std::nullopt;
    }
    return shared;
}

bool hasPages(int memory, qint64 bytes)
{
    struct stat status = {};
    constexpr qint64 block = 512; // of the system call, whatever the file system
    return fstat(memory, &status) == 0 && status.st_blocks * block >= bytes;
}

std::optional<QImage> mapSealed(const FileDescriptor& memory, const BitmapLayout& layout)
{
    auto bitmap = mapSealedWithCopy(memory, layout, {});
    return bitmap ? std::optional(std::move(bitmap->pixels)) : std::nullopt;
}

std::optional<BitmapWithCopy> mapSealedWithCopy(const FileDescriptor& memory, const BitmapLayout& layout, QSize copy)
{
    const auto bytes = bytesOf(layout);
    const auto bytesOfCopy = copy.isEmpty() ? std::optional<qint64>(0) : bytesOf(layoutOfCopy(copy, layout));
    if (!bytes || !bytesOfCopy) {
        return std::nullopt;
    }
    const qint64 length = copy.isEmpty() ? *bytes : placeBehind(*bytes) + *bytesOfCopy;
    if (!isSealedMemory(memory, length)) {
        return std::nullopt;
    }
    // Private, because older kernels map sealed memory in no other way.
    void* const start = mmap(nullptr, length, PROT_READ, MAP_PRIVATE, memory.number(), 0);
    if (start == MAP_FAILED) {
        return std::nullopt;
    }
    const SharedMapping mapping(new Mapping{static_cast<uchar*>(start), size_t(length)}, unmapInBackground);
    // What cannot be brought in now would end the process when it is looked at. Older kernels do not know the question.
    if (!hasPages(memory.number(), length) && madvise(start, length, MADV_POPULATE_READ) != 0 && errno != EINVAL) {
        return std::nullopt;
    }
    BitmapWithCopy bitmap{imageIn(mapping, 0, layout), {}};
    if (!copy.isEmpty()) {
        bitmap.copy = imageIn(mapping, placeBehind(*bytes), layoutOfCopy(copy, layout));
    }
    if (bitmap.pixels.isNull() || bitmap.copy.isNull() != copy.isEmpty()) {
        return std::nullopt;
    }
    return bitmap;
}

} // namespace frameflow
