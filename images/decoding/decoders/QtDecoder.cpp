#include "QtDecoder.h"

#include "LargeBitmap.h"
#include "Limits.h"
#include "TargetMemory.h"

#include <QBuffer>
#include <QImageReader>

#include <algorithm>
#include <array>
#include <limits>
#include <mutex>

namespace frameflow {

namespace {

struct Reader
{
    ContentType type;
    const char* format;
};

// Qt has a reader for Targa too, but of the kinds in use it reads one alone.
constexpr std::array readers{
    Reader{ContentType::Bmp, "bmp"},
    Reader{ContentType::Gif, "gif"},
    Reader{ContentType::Icon, "ico"},
    Reader{ContentType::Jpeg, "jpeg"},
    Reader{ContentType::Png, "png"},
    Reader{ContentType::PortableMap, "ppm"},
    Reader{ContentType::Tiff, "tiff"},
    Reader{ContentType::WebP, "webp"},
    Reader{ContentType::Xpm, "xpm"},
};

const char* formatOf(ContentType type)
{
    const auto* found = std::find_if(readers.begin(), readers.end(), [&](const Reader& r) { return r.type == type; });
    return found != readers.end() ? found->format : nullptr;
}

void jumpToLargest(QImageReader& reader)
{
    qint64 most = -1;
    int largest = 0;
    for (int i = 0; i < reader.imageCount() && reader.jumpToImage(i); ++i) {
        const QSize size = reader.size();
        const qint64 pixels = qint64(size.width()) * size.height();
        if (pixels > most) {
            most = pixels;
            largest = i;
        }
    }
    reader.jumpToImage(largest);
}

} // namespace

void limitQtAllocations()
{
    static std::once_flag once;
    std::call_once(once, [] {
        constexpr qint64 megabyte = 1 << 20;
        const qint64 limit = std::min<qint64>(mostBytesForDecoding() / megabyte, std::numeric_limits<int>::max());
        QImageReader::setAllocationLimit(std::max(1, static_cast<int>(limit)));
    });
}

bool isQtType(ContentType type)
{
    return formatOf(type) != nullptr;
}

DecodedPicture decodeWithQt(const QByteArray& contents, ContentType type, int longestSide)
{
    limitQtAllocations();
    QBuffer buffer;
    buffer.setData(contents);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, formatOf(type));
    reader.setAutoTransform(false);
    if (type == ContentType::Icon) {
        jumpToLargest(reader);
    }
    DecodedPicture picture;
    picture.size = reader.size();
    // JPEG is reduced while it is decoded; of the other types the whole bitmap stands in memory for a while.
    constexpr int bytesPerPixel = 4;
    const bool reducible = type == ContentType::Jpeg;
    if (picture.size.isValid() && !reducible && !canDecode(picture.size, bytesPerPixel)) {
        return DecodedPicture::failed(DecodeError::TooLarge);
    }
    if (!picture.size.isEmpty()) {
        const qint64 mostPixels = mostPixelsOf(picture.size, contents.size(), pixelsOfAByte(type));
        const QSize held = heldSize(picture.size, longestSide, mostPixels);
        if (reducible && held != picture.size) {
            reader.setScaledSize(held);
        } else if (held == picture.size && reader.imageFormat() != QImage::Format_Invalid) {
            // The reader writes into a bitmap that fits, and makes its own otherwise. What is still to be reduced is
            // not to take the memory that goes round.
            picture.pixels = targetBitmap(picture.size, reader.imageFormat());
        }
    }
    if (!reader.read(&picture.pixels)) {
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    if (!reducible || !picture.size.isValid()) {
        picture.size = picture.pixels.size();
    }
    return picture;
}

} // namespace frameflow
