#include "FileBytes.h"
#include "HostileFiles.h"
#include "PictureFiles.h"

#include <QImage>

#include <algorithm>
#include <cstring>
#include <limits>

namespace frameflow {

namespace {

QByteArray fits(int bits, qint64 width, qint64 height, const QByteArray& values)
{
    const auto card = [](const char* key, qint64 value) {
        return (QByteArray(key).leftJustified(8, ' ') + '=' + QByteArray::number(value).rightJustified(21, ' '))
            .leftJustified(80, ' ');
    };
    const QByteArray header = QByteArray("SIMPLE  =                    T").leftJustified(80, ' ') + card("BITPIX", bits)
        + card("NAXIS", 2) + card("NAXIS1", width) + card("NAXIS2", height) + QByteArray("END").leftJustified(80, ' ');
    return header.leftJustified(2880, ' ') + values.leftJustified((values.size() + 2879) / 2880 * 2880, '\0');
}

QByteArray bitmapHead(qint32 width, qint32 height, quint16 bits)
{
    return "BM" + little32(1000) + little32(0) + little32(54) + little32(40) + little32(quint32(width))
        + little32(quint32(height)) + little16(1) + little16(bits) + QByteArray(24, '\0');
}

QByteArray codestream(quint32 width, quint32 height)
{
    return QByteArray("\xff\x4f\xff\x51\0\x2f\0\0", 8) + big32(width) + big32(height) + big32(0) + big32(0)
        + big32(width) + big32(height) + big32(0) + big32(0) + big16(3) + QByteArray("\7\1\1\7\1\1\7\1\1", 9);
}

// The types whose heads are written by hand, with that size and next to no pixels.
HostileFiles claims(const QByteArray& words, quint32 width, quint32 height)
{
    const QByteArray text = QByteArray::number(width) + ' ' + QByteArray::number(height);
    const auto low = [](quint32 side) { return static_cast<quint16>(std::min(side, 65535U)); };
    return {
        {words + ".png", png(width, height, 8, 2, deflated(QByteArray(3000, '\0')))},
        {words + " of 16 bits.png", png(width, height, 16, 6, deflated(QByteArray(3000, '\0')))},
        {words + ".bmp", bitmapHead(qint32(width), qint32(height), 24) + QByteArray(3000, '\0')},
        {words + " from the top.bmp", bitmapHead(qint32(width), -qint32(height), 32) + QByteArray(3000, '\0')},
        {words + ".tif",
            tiff({{256, 4, 1, width}, {257, 4, 1, height}, {258, 3, 1, 8}, {259, 3, 1, 1}, {262, 3, 1, 1},
                     {273, 4, 1, 8}, {277, 3, 1, 1}, {278, 4, 1, height}, {279, 4, 1, 3000}},
                QByteArray(3000, '\0'))},
        {words + " of tiles.tif",
            tiff({{256, 4, 1, width}, {257, 4, 1, height}, {258, 3, 1, 8}, {259, 3, 1, 1}, {262, 3, 1, 1},
                     {277, 3, 1, 1}, {322, 4, 1, width}, {323, 4, 1, height}, {324, 4, 1, 8}, {325, 4, 1, 3000}},
                QByteArray(3000, '\0'))},
        {words + ".psd",
            QByteArray("8BPS\0\1\0\0\0\0\0\0\0\3", 14) + big32(height) + big32(width) + QByteArray("\0\x08\0\3", 4)
                + QByteArray(14, '\0')},
        {words + ".tga",
            QByteArray("\0\0\2\0\0\0\0\0\0\0\0\0", 12) + little16(low(width)) + little16(low(height))
                + QByteArray("\x18\0", 2) + QByteArray(3000, '\0')},
        {words + ".ppm", "P6 " + text + " 255\n" + QByteArray(3000, 'x')},
        {words + " of bits.pbm", "P4 " + text + '\n' + QByteArray(3000, 'x')},
        {words + ".gif",
            "GIF89a" + little16(low(width)) + little16(low(height)) + QByteArray("\0\0\0,\0\0\0\0", 8)
                + little16(low(width)) + little16(low(height)) + QByteArray("\0\2\2D\1\0;", 7)},
        {words + ".hdr",
            "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y " + QByteArray::number(height) + " +X "
                + QByteArray::number(width) + '\n' + QByteArray(3000, '\x40')},
        {words + ".fits", fits(8, width, height, QByteArray(3000, '\0'))},
        {words + ".sgi",
            QByteArray("\x01\xda\0\1\0\2", 6) + big16(low(width)) + big16(low(height)) + big16(1)
                + QByteArray(3500, '\0')},
        {words + ".pcx",
            (QByteArray("\x0a\5\1\x08\0\0\0\0", 8) + little16(low(width)) + little16(low(height)))
                    .leftJustified(65, '\0')
                + '\1' + little16(low(width)) + QByteArray(3000, '\xff')},
        {words + ".dds",
            "DDS " + little32(124) + little32(0x1007) + little32(height) + little32(width) + QByteArray(3108, '\0')},
        {words + ".j2k", codestream(width, height)},
        {words + ".xpm", "/* XPM */\nstatic char *x[] = {\n\"" + text + " 1 1\",\n\"a c #ff0000\",\n\"aaa\"};\n"},
        {words + ".svg",
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + QByteArray::number(width) + "\" height=\""
                + QByteArray::number(height) + "\"><rect width=\"9\" height=\"9\"/></svg>"},
    };
}

QImage thin(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(20, 120, 220));
    return image;
}

QByteArray floatTiff(const QByteArray& values, quint32 side, quint16 bits)
{
    return tiff({{256, 4, 1, side}, {257, 4, 1, side}, {258, 3, 1, bits}, {259, 3, 1, 1}, {262, 3, 1, 1},
                    {273, 4, 1, tiffDataPlace}, {277, 3, 1, 1}, {278, 4, 1, side}, {279, 4, 1, quint32(values.size())},
                    {339, 3, 1, 3}},
        values);
}

template <typename Number, typename Bits>
QByteArray rows(Number value, quint32 side, bool isBigEndian)
{
    Bits bits = 0;
    static_assert(sizeof(bits) == sizeof(value));
    std::memcpy(&bits, &value, sizeof(bits));
    return (isBigEndian ? big(bits) : little(bits)).repeated(qsizetype(side) * side);
}

} // namespace

HostileFiles extremeSizes()
{
    HostileFiles files = claims("claims 60000 by 60000", 60000, 60000);
    files += claims("claims nothing", 0, 0);
    files += claims("claims 2 billion squared", 0x7fffffff, 0x7fffffff);
    files += claims("claims a line of 2 billion", 0x7fffffff, 1);
    for (const char* const type : {"png", "jpg", "bmp", "tiff", "ppm"}) {
        files.append({QByteArray("one pixel.") + type, encoded(thin({1, 1}), type)});
        files.append({QByteArray("one by 60000.") + type, encoded(thin({1, 60000}), type)});
        files.append({QByteArray("60000 by one.") + type, encoded(thin({60000, 1}), type)});
    }
    files.append({"one pixel.webp", encoded(thin({1, 1}), "webp")});
    files.append({"one by 16383.webp", encoded(thin({1, 16383}), "webp")});
    files.append({"16383 by one.webp", encoded(thin({16383, 1}), "webp")});
    return files;
}

HostileFiles extremeValues()
{
    constexpr quint32 side = 32;
    constexpr qsizetype area = qsizetype(side) * side;
    using Limits = std::numeric_limits<float>;
    using Doubles = std::numeric_limits<double>;
    HostileFiles files;
    const std::pair<const char*, float> values[] = {{"no number", Limits::quiet_NaN()},
        {"infinite", Limits::infinity()}, {"minus infinite", -Limits::infinity()}, {"largest", Limits::max()},
        {"smallest", Limits::denorm_min()}, {"below nothing", -1e30F}};
    for (const auto& [words, value] : values) {
        files.append({QByteArray(words) + ".tif", floatTiff(rows<float, quint32>(value, side, false), side, 32)});
        files.append({QByteArray(words) + ".fits", fits(-32, side, side, rows<float, quint32>(value, side, true))});
    }
    files.append(
        {"no number in 64 bits.tif", floatTiff(rows<double, quint64>(Doubles::quiet_NaN(), side, false), side, 64)});
    files.append({"largest in 64 bits.fits", fits(-64, side, side, rows<double, quint64>(Doubles::max(), side, true))});
    files.append({"no number in 16 bits.tif", floatTiff(QByteArray(area * 2, '\x7e'), side, 16)});
    files.append({"floats of 24 bits.tif", floatTiff(QByteArray(area * 3, '\x7f'), side, 24)});
    for (const char level : {'\0', '\x7f', '\xff'}) {
        const QByteArray word = QByteArray::number(uchar(level)) + " of 16 bits";
        QByteArray lines;
        for (quint32 row = 0; row < side; ++row) {
            lines += '\0' + QByteArray(qsizetype(side) * 8, level);
        }
        files.append({word + ".png", png(side, side, 16, 6, deflated(lines))});
        files.append({word + ".ppm", "P6 32 32 65535\n" + QByteArray(area * 6, level)});
        files.append(
            {word + ".hdr", "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 32 +X 32\n" + QByteArray(area * 4, level)});
    }
    files.append({"more than its largest value.ppm", "P6 32 32 7\n" + QByteArray(area * 3, '\xff')});
    files.append({"largest value of nothing.pgm", "P5 32 32 0\n" + QByteArray(area, '\1')});
    files.append({"17 bits.png", png(side, side, 17, 2, deflated(QByteArray(9000, '\0')))});
    files.append({"palette without colours.png", png(side, side, 8, 3, deflated(QByteArray(1056, '\7')))});
    files.append({"colours beyond the palette.png",
        png(side, side, 8, 3, deflated(QByteArray(1056, '\4')), pngChunk("PLTE", QByteArray(3, '\0')))});
    files.append({"32 bits whole.tif",
        tiff({{256, 4, 1, side}, {257, 4, 1, side}, {258, 3, 1, 32}, {259, 3, 1, 1}, {262, 3, 1, 1},
                 {273, 4, 1, tiffDataPlace}, {277, 3, 1, 1}, {278, 4, 1, side}, {279, 4, 1, side * side * 4}},
            QByteArray(area * 4, '\xff'))});
    files.append({"200 samples.tif",
        tiff({{256, 4, 1, 8}, {257, 4, 1, 8}, {258, 3, 1, 8}, {259, 3, 1, 1}, {262, 3, 1, 1},
                 {273, 4, 1, tiffDataPlace}, {277, 3, 1, 200}, {278, 4, 1, 8}, {279, 4, 1, 12800}},
            QByteArray(12800, '\x11'))});
    return files;
}

} // namespace frameflow
