#include "SharedBitmap.h"

#include "Limits.h"

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
void unmapInBackground(void* info)
{
    constexpr size_t quickLength = size_t(1) << 20;
    const std::unique_ptr<Mapping> mapping(static_cast<Mapping*>(info));
    try {
        if (mapping->length > quickLength) {
            std::thread(unmapAll, *mapping).detach();
            return;
        }
    } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch): without a thread, it is done here
    }
    unmapAll(*mapping);
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

bool writePixels(const QImage& image, const FileDescriptor& memory)
{
    const uchar* const bytes = image.constBits();
    const qsizetype count = image.sizeInBytes();
    qsizetype written = 0;
    while (written < count) {
        const ssize_t part = pwrite(memory.number(), bytes + written, count - written, written);
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

std::optional<SharedBitmap> sealed(const QImage& image)
{
    if (image.isNull() || !isFormat(image.format())) {
        return std::nullopt;
    }
    // Written, not decoded into: a write takes half the time of bringing in the memory page by page, and a decoder's
    // own bitmap has large pages, which memory of this kind rarely has.
    SharedBitmap shared{emptySharedMemory(), layoutOf(image)};
    if (!shared.memory.isOpen() || !writePixels(image, shared.memory)
        || fcntl(shared.memory.number(), F_ADD_SEALS, allSeals) != 0) {
        return std::nullopt;
    }
    return shared;
}

std::optional<QImage> mapSealed(const FileDescriptor& memory, const BitmapLayout& layout)
{
    const auto bytes = bytesOf(layout);
    if (!bytes || !isSealedMemory(memory, *bytes)) {
        return std::nullopt;
    }
    // Private, because older kernels map sealed memory in no other way.
    void* const start = mmap(nullptr, *bytes, PROT_READ, MAP_PRIVATE, memory.number(), 0);
    if (start == MAP_FAILED) {
        return std::nullopt;
    }
    auto mapping = std::make_unique<Mapping>(Mapping{static_cast<uchar*>(start), size_t(*bytes)});
    // What cannot be brought in now would end the process when it is looked at. Older kernels do not know the question.
    const bool isThere = madvise(start, *bytes, MADV_POPULATE_READ) == 0 || errno == EINVAL;
    const uchar* const pixels = mapping->start;
    QImage image = isThere ? QImage(pixels, layout.width, layout.height, qsizetype(layout.bytesPerLine),
                       QImage::Format(layout.format), unmapInBackground, mapping.get())
                           : QImage();
    if (image.isNull()) {
        unmapAll(*mapping);
        return std::nullopt;
    }
    static_cast<void>(mapping.release()); // the image unmaps it
    return image;
}

} // namespace frameflow
