#include "VipsDecoder.h"

#include "Limits.h"
#include "MemoryFile.h"
#include "PhotoshopInks.h"
#include "TargetMemory.h"
#include "VipsColour.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <optional>

namespace frameflow {

namespace {

enum class Input
{
    Source, // reads from a source, here memory
    Bytes, // reads from memory
    Name, // opens a file by its name
};

// Each type has its one loader, called by name: libvips is never left to guess, and none of these follows a path that
// stands in a file. ImageMagick tells types apart by the first bytes; those of its own languages, which do name other
// files, are none of the bytes by which a file came to be of one of these types.
struct Loader
{
    ContentType type;
    const char* operation;
    Input input;
    SampleRange range;
};

constexpr std::array loaders{
    Loader{ContentType::Dds, "magickload_buffer", Input::Bytes, SampleRange::OfFormat},
    Loader{ContentType::Fits, "fitsload", Input::Name, SampleRange::OfPicture},
    Loader{ContentType::Heif, "heifload_source", Input::Source, SampleRange::OfFormat},
    Loader{ContentType::Jpeg, "jpegload_source", Input::Source, SampleRange::OfFormat},
    Loader{ContentType::Jpeg2000, "jp2kload_source", Input::Source, SampleRange::OfFormat},
    Loader{ContentType::JpegXl, "jxlload_source", Input::Source, SampleRange::OfFormat},
    Loader{ContentType::OpenExr, "openexrload", Input::Name, SampleRange::OfFormat},
    Loader{ContentType::Pcx, "magickload_buffer", Input::Bytes, SampleRange::OfFormat},
    Loader{ContentType::Png, "pngload_source", Input::Source, SampleRange::OfFormat},
    Loader{ContentType::Psd, "magickload_buffer", Input::Bytes, SampleRange::OfFormat},
    Loader{ContentType::Radiance, "radload_source", Input::Source, SampleRange::OfFormat},
    Loader{ContentType::Sgi, "magickload_buffer", Input::Bytes, SampleRange::OfFormat},
    Loader{ContentType::Targa, "magickload_buffer", Input::Bytes, SampleRange::OfFormat},
    Loader{ContentType::Tiff, "tiffload_source", Input::Source, SampleRange::OfFormat},
};

constexpr Loader inkLoader{ContentType::Tiff, "tiffload_source", Input::Source, SampleRange::Inverted};

bool startVipsOnce()
{
    static std::once_flag once;
    static bool started = false;
    std::call_once(once, [] {
        g_log_set_handler(
            "VIPS", G_LOG_LEVEL_MASK, [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
        started = vips_init("frameflow") == 0;
        // Pictures are decoded side by side already, and nothing is decoded twice in a row.
        vips_concurrency_set(1);
        vips_cache_set_max(0);
    });
    return started;
}

struct LoadOptions
{
    int shrink = 1; // JPEG only
    bool storedThumbnail = false; // HEIF only
};

// The input of one loader, kept alive while the picture is read.
class Load
{
public:
    Load(const Loader& loader, const QByteArray& contents) : mLoader(loader), mContents(contents)
    {
        if (loader.input == Input::Name) {
            mFile.emplace(contents);
        }
    }

    VipsImagePtr open(const LoadOptions& options) const
    {
        VipsOperation* operation = vips_operation_new(mLoader.operation);
        if (operation == nullptr) {
            return nullptr;
        }
        const std::unique_ptr<VipsOperation, Unref> owner(operation);
        setInput(operation);
        // A damaged JPEG is shown as far as it goes.
        const VipsFailOn failOn = mLoader.type == ContentType::Jpeg ? VIPS_FAIL_ON_NONE : VIPS_FAIL_ON_TRUNCATED;
        g_object_set(operation, "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", failOn, nullptr);
        if (mLoader.type == ContentType::Jpeg) {
            g_object_set(operation, "shrink", options.shrink, nullptr);
        } else if (mLoader.type == ContentType::Heif) {
            g_object_set(operation, "thumbnail", options.storedThumbnail ? TRUE : FALSE, nullptr);
        }
        VipsImage* result = nullptr;
        if (vips_object_build(VIPS_OBJECT(operation)) == 0) {
            g_object_get(operation, "out", &result, nullptr);
        }
        vips_object_unref_outputs(VIPS_OBJECT(operation));
        return VipsImagePtr(result);
    }

private:
    void setInput(VipsOperation* operation) const
    {
        if (mFile) {
            g_object_set(operation, "filename", mFile->name().constData(), nullptr);
        } else if (mLoader.input == Input::Source) {
            const VipsSourcePtr source(vips_source_new_from_memory(mContents.constData(), mContents.size()));
            g_object_set(operation, "source", source.get(), nullptr);
        } else {
            VipsBlob* const blob = vips_blob_new(nullptr, mContents.constData(), mContents.size());
            g_object_set(operation, "buffer", blob, nullptr);
            vips_area_unref(VIPS_AREA(blob));
        }
    }

    const Loader& mLoader;
    const QByteArray mContents;
    std::optional<MemoryFile> mFile;
};

QSize sizeOf(const VipsImagePtr& image)
{
    return {vips_image_get_width(image.get()), vips_image_get_height(image.get())};
}

// How far the JPEG decoder itself can reduce without falling below the size wanted.
int shrinkFor(QSize size, QSize held)
{
    int shrink = 1;
    while (shrink < 8 && held.width() * shrink * 2 <= size.width() && held.height() * shrink * 2 <= size.height()) {
        shrink *= 2;
    }
    return shrink;
}

// Whether the codec hands the picture over line by line or tile by tile, and it can be reduced like that. With what
// shines through, all of it would have to be multiplied first, which takes too long.
bool comesInStrips(const Loader& loader, const VipsImagePtr& image)
{
    const bool isWholeInMemory
        = loader.type == ContentType::Png && vips_image_get_typeof(image.get(), "interlaced") != 0;
    return (loader.type == ContentType::Tiff || loader.type == ContentType::Png) && !isWholeInMemory
        && vips_image_hasalpha(image.get()) == FALSE;
}

// By whole numbers, no further than to the size wanted, in the colours of the file: less to convert.
VipsImagePtr reducedAsItComes(VipsImagePtr image, QSize held)
{
    const QSize size = sizeOf(image);
    const int share = std::min(size.width() / held.width(), size.height() / held.height());
    if (share > 1) {
        image = applied(image, vips_shrink, double(share), double(share));
    }
    return image;
}

VipsImagePtr reduced(VipsImagePtr image, QSize held)
{
    if (!image || sizeOf(image) == held) {
        return image;
    }
    const double across = double(held.width()) / vips_image_get_width(image.get());
    const double down = double(held.height()) / vips_image_get_height(image.get());
    image = applied(image, vips_premultiply);
    image = applied(image, vips_resize, across, "vscale", down);
    image = applied(image, vips_unpremultiply);
    return applied(image, vips_cast_uchar);
}

// From red, green, blue and alpha. Null when the file ends too early, or there is no memory.
QImage toImage(const VipsImagePtr& image)
{
    if (!image) {
        return {};
    }
    const QSize size = sizeOf(image);
    QImage result = targetBitmap(size, QImage::Format_ARGB32_Premultiplied);
    const std::unique_ptr<VipsRegion, Unref> region(vips_region_new(image.get()));
    if (result.isNull() || !region) {
        return {};
    }
    int tileWidth = 0;
    int tileHeight = 0;
    int lines = 0;
    vips_get_tile_size(image.get(), &tileWidth, &tileHeight, &lines);
    lines = std::max(lines, 1);
    for (int top = 0; top < size.height(); top += lines) {
        VipsRect part{0, top, size.width(), std::min(lines, size.height() - top)};
        if (vips_region_prepare(region.get(), &part) != 0) {
            return {};
        }
        for (int y = top; y < top + part.height; ++y) {
            const QImage line(reinterpret_cast<const uchar*>(VIPS_REGION_ADDR(region.get(), 0, y)), size.width(), 1,
                QImage::Format_RGBA8888);
            const QImage converted = line.convertToFormat(QImage::Format_ARGB32_Premultiplied);
            std::memcpy(result.scanLine(y), converted.constBits(), converted.sizeInBytes());
        }
    }
    return result;
}

DecodedPicture decode(const Loader& loader, const QByteArray& contents, int longestSide)
{
    const Load load(loader, contents);
    VipsImagePtr image = load.open({});
    if (!image) {
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    // Some of the codecs make the whole bitmap, whatever is wanted of it.
    const qint64 bytes = VIPS_IMAGE_SIZEOF_PEL(image.get());
    DecodedPicture picture;
    picture.size = sizeOf(image);
    const bool isLarge = !canDecode(picture.size, static_cast<int>(std::max<qint64>(bytes, 4)));
    if (isLarge && !(comesInStrips(loader, image) && canDecodeInStrips(picture.size, static_cast<int>(bytes)))) {
        return DecodedPicture::failed(DecodeError::TooLarge);
    }
    const qint64 mostPixels = mostPixelsOf(picture.size, contents.size(), pixelsOfAByte(loader.type));
    const QSize held = heldSize(picture.size, longestSide, mostPixels);
    if (isLarge) {
        image = reducedAsItComes(std::move(image), held);
    } else if (loader.type == ContentType::Jpeg) {
        image = load.open({.shrink = shrinkFor(picture.size, held)});
    } else if (loader.type == ContentType::Heif && longestSide > 0) {
        VipsImagePtr stored = load.open({.storedThumbnail = true});
        if (stored && std::max(sizeOf(stored).width(), sizeOf(stored).height()) >= longestSide) {
            image = std::move(stored);
        }
    }
    picture.pixels = toImage(reduced(inScreenColours(std::move(image), loader.range), held));
    return picture.pixels.isNull() ? DecodedPicture::failed(DecodeError::Damaged) : picture;
}

} // namespace

void prepareVips()
{
    startVipsOnce();
}

DecodedPicture decodeWithVips(const QByteArray& contents, ContentType type, int longestSide)
{
    const auto* loader
        = std::find_if(loaders.begin(), loaders.end(), [&](const Loader& entry) { return entry.type == type; });
    if (loader == loaders.end() || !startVipsOnce()) {
        return DecodedPicture::failed(DecodeError::NotAPicture);
    }
    const QByteArray inks = type == ContentType::Psd ? tiffOfPhotoshopInks(contents) : QByteArray();
    DecodedPicture picture
        = inks.isEmpty() ? decode(*loader, contents, longestSide) : decode(inkLoader, inks, longestSide);
    vips_error_clear();
    vips_thread_shutdown();
    return picture;
}

} // namespace frameflow
