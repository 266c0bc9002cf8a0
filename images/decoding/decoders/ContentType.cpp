#include "ContentType.h"

#include "FileTypes.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string_view>

namespace frameflow {

namespace {

using namespace std::string_view_literals;

// Far enough for the licence texts that stand before the first element of some drawings.
constexpr qsizetype svgHead = 65536;

struct Mark
{
    std::string_view bytes;
    qsizetype offset;
    ContentType type;
};

constexpr std::array marks{
    Mark{"\xff\xd8\xff"sv, 0, ContentType::Jpeg},
    Mark{"\x89PNG\r\n\x1a\n"sv, 0, ContentType::Png},
    Mark{"GIF87a"sv, 0, ContentType::Gif},
    Mark{"GIF89a"sv, 0, ContentType::Gif},
    Mark{"II*\0\x10\0\0\0CR"sv, 0, ContentType::CameraRaw},
    Mark{"FUJIFILMCCD-RAW"sv, 0, ContentType::CameraRaw},
    Mark{"IIRO"sv, 0, ContentType::CameraRaw},
    Mark{"IIRS"sv, 0, ContentType::CameraRaw},
    Mark{"MMOR"sv, 0, ContentType::CameraRaw},
    Mark{"IIU\0"sv, 0, ContentType::CameraRaw},
    Mark{"FOVb"sv, 0, ContentType::CameraRaw},
    Mark{"\0MRM"sv, 0, ContentType::CameraRaw},
    Mark{"ftypcrx "sv, 4, ContentType::CameraRaw},
    Mark{"II*\0"sv, 0, ContentType::Tiff},
    Mark{"MM\0*"sv, 0, ContentType::Tiff},
    Mark{"II+\0"sv, 0, ContentType::Tiff},
    Mark{"MM\0+"sv, 0, ContentType::Tiff},
    Mark{"8BPS"sv, 0, ContentType::Psd},
    Mark{"\x76\x2f\x31\x01"sv, 0, ContentType::OpenExr},
    Mark{"#?RADIANCE"sv, 0, ContentType::Radiance},
    Mark{"#?RGBE"sv, 0, ContentType::Radiance},
    Mark{"SIMPLE  ="sv, 0, ContentType::Fits},
    Mark{"DDS "sv, 0, ContentType::Dds},
    Mark{"\x01\xda"sv, 0, ContentType::Sgi},
    Mark{"\0\0\x01\0"sv, 0, ContentType::Icon},
    Mark{"\xff\x0a"sv, 0, ContentType::JpegXl},
    Mark{"\0\0\0\x0cJXL \r\n\x87\n"sv, 0, ContentType::JpegXl},
    Mark{"\0\0\0\x0cjP  \r\n\x87\n"sv, 0, ContentType::Jpeg2000},
    Mark{"\xff\x4f\xff\x51"sv, 0, ContentType::Jpeg2000},
    Mark{"BM"sv, 0, ContentType::Bmp},
};

constexpr std::array heifBrands{
    "heic"sv, "heix"sv, "heim"sv, "heis"sv, "hevc"sv, "hevx"sv, "mif1"sv, "msf1"sv, "miaf"sv, "avif"sv, "avis"sv};

bool standsAt(const QByteArray& contents, qsizetype offset, std::string_view bytes)
{
    return contents.size() >= offset + qsizetype(bytes.size())
        && std::memcmp(contents.constData() + offset, bytes.data(), bytes.size()) == 0;
}

bool isHeif(const QByteArray& contents)
{
    return standsAt(contents, 4, "ftyp"sv)
        && std::any_of(
            heifBrands.begin(), heifBrands.end(), [&](std::string_view brand) { return standsAt(contents, 8, brand); });
}

bool isPcx(const QByteArray& contents)
{
    constexpr qsizetype headerSize = 128;
    if (contents.size() < headerSize || contents.at(0) != '\x0a') {
        return false;
    }
    const int version = static_cast<uchar>(contents.at(1));
    const int bits = static_cast<uchar>(contents.at(3));
    return (version == 0 || (version >= 2 && version <= 5)) && contents.at(2) == 1
        && (bits == 1 || bits == 2 || bits == 4 || bits == 8);
}

// No type of text has bytes like these: nothing that is a script for the decoder may pass here.
bool isTarga(const QByteArray& contents)
{
    constexpr qsizetype headerSize = 18;
    if (contents.size() < headerSize) {
        return false;
    }
    const auto* header = reinterpret_cast<const uchar*>(contents.constData());
    const int mapped = header[1];
    const int kind = header[2];
    const int bits = header[16];
    const bool isKnown = (kind >= 1 && kind <= 3) || (kind >= 9 && kind <= 11);
    return mapped <= 1 && isKnown && (bits == 8 || bits == 15 || bits == 16 || bits == 24 || bits == 32);
}

bool isPortableMap(const QByteArray& contents)
{
    return contents.size() > 2 && contents.at(0) == 'P' && contents.at(1) >= '1' && contents.at(1) <= '6'
        && (QByteArrayView(" \t\r\n#").contains(contents.at(2)));
}

bool isSvgText(const QByteArray& contents)
{
    const QByteArrayView head = QByteArrayView(contents).first(std::min(contents.size(), svgHead));
    const QByteArrayView start = (head.startsWith("\xef\xbb\xbf") ? head.sliced(3) : head).trimmed();
    return start.startsWith('<') && head.contains("<svg");
}

ContentType typeByName(const QByteArray& contents, QByteArrayView fileName)
{
    const QString type = mimeTypeForName(fileName);
    if (type == QLatin1String("image/x-tga") && isTarga(contents)) {
        return ContentType::Targa;
    }
    const bool isSvg = type.startsWith(QLatin1String("image/svg+xml"));
    if (isSvg && (standsAt(contents, 0, "\x1f\x8b"sv) || standsAt(contents, 0, "<"sv))) {
        return ContentType::Svg;
    }
    return ContentType::Unknown;
}

} // namespace

ContentType contentType(const QByteArray& contents, QByteArrayView fileName)
{
    for (const Mark& mark : marks) {
        if (standsAt(contents, mark.offset, mark.bytes)) {
            return mark.type;
        }
    }
    if (standsAt(contents, 0, "RIFF"sv) && standsAt(contents, 8, "WEBP"sv)) {
        return ContentType::WebP;
    }
    if (isHeif(contents)) {
        return ContentType::Heif;
    }
    if (isPortableMap(contents)) {
        return ContentType::PortableMap;
    }
    if (contents.first(std::min<qsizetype>(contents.size(), 64)).trimmed().startsWith("/* XPM */")) {
        return ContentType::Xpm;
    }
    if (isSvgText(contents)) {
        return ContentType::Svg;
    }
    if (isPcx(contents)) {
        return ContentType::Pcx;
    }
    return typeByName(contents, fileName);
}

qint64 pixelsOfAByte(ContentType type)
{
    switch (type) {
    // The same pixel many times is all that they can say in few bytes.
    case ContentType::Bmp:
    case ContentType::Dds:
    case ContentType::Pcx:
    case ContentType::Psd:
    case ContentType::Radiance:
    case ContentType::Sgi:
    case ContentType::Targa:
        return 26;
    case ContentType::Jpeg:
        return 128; // an empty page has one for 57 to 85
    case ContentType::Svg:
        return std::numeric_limits<qint64>::max(); // a line of text may draw anything
    default:
        return 512; // scanned plans of one bit a pixel have one for 50 to 400
    }
}

} // namespace frameflow
