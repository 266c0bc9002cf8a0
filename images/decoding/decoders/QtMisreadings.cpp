#include "ContentType.h"

#include <QtEndian>

#include <optional>

namespace frameflow {

namespace {

// The number of components in the frame header of a JPEG; 0 when there is none.
int jpegComponents(const QByteArray& contents)
{
    const auto* bytes = reinterpret_cast<const uchar*>(contents.constData());
    constexpr qsizetype frameHeader = 10;
    qsizetype at = 2;
    while (at + frameHeader <= contents.size()) {
        if (bytes[at] != 0xff) {
            return 0;
        }
        const int marker = bytes[at + 1];
        if (marker == 0xff) {
            ++at;
            continue;
        }
        const bool isFrame = marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
        if (isFrame) {
            return bytes[at + 9];
        }
        constexpr int startOfScan = 0xda;
        const int length = qFromBigEndian<quint16>(bytes + at + 2);
        if (marker == startOfScan || length < 2) {
            return 0;
        }
        at += 2 + length;
    }
    return 0;
}

template <typename Number>
Number read(const QByteArray& contents, qsizetype at, bool bigEndian)
{
    if (at < 0 || at > contents.size() - qsizetype(sizeof(Number))) {
        return 0;
    }
    const char* from = contents.constData() + at;
    return bigEndian ? qFromBigEndian<Number>(from) : qFromLittleEndian<Number>(from);
}

// A number from the first directory of a classic TIFF; nothing where it is not there.
std::optional<int> tiffNumber(const QByteArray& contents, int tag)
{
    constexpr qsizetype entrySize = 12;
    const bool bigEndian = contents.startsWith('M');
    if (read<quint16>(contents, 2, bigEndian) != 42) {
        return std::nullopt;
    }
    const qsizetype directory = read<quint32>(contents, 4, bigEndian);
    const int count = read<quint16>(contents, directory, bigEndian);
    for (int i = 0; i < count; ++i) {
        const qsizetype entry = directory + 2 + i * entrySize;
        if (read<quint16>(contents, entry, bigEndian) == tag) {
            return read<quint16>(contents, entry + 8, bigEndian);
        }
    }
    return std::nullopt;
}

bool isTiffMisread(const QByteArray& contents)
{
    constexpr int photometricTag = 262;
    constexpr int samplesTag = 277;
    constexpr int blackIsZero = 1;
    constexpr int separated = 5;
    const auto photometric = tiffNumber(contents, photometricTag);
    const bool isGrey = photometric && *photometric <= blackIsZero;
    return photometric == separated || (isGrey && tiffNumber(contents, samplesTag).value_or(1) > 1);
}

} // namespace

bool isMisreadByQt(const QByteArray& contents, ContentType type)
{
    return (type == ContentType::Jpeg && jpegComponents(contents) == 4)
        || (type == ContentType::Tiff && isTiffMisread(contents));
}

} // namespace frameflow
