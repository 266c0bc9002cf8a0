#include "FileBytes.h"
#include "HostileFiles.h"

#include <algorithm>

namespace frameflow {

namespace {

// Large enough to hurt, and not so large that it would be refused by its numbers alone.
constexpr quint32 bombSide = 8500;

// The lines of a picture of one byte a pixel, all of them the same line of zeros in a TIFF of one line a strip.
QByteArray tiffOfOneLine(quint16 compression, const QByteArray& line)
{
    QByteArray data = line;
    const auto placesAt = tiffDataPlace + quint32(data.size());
    for (quint32 i = 0; i < bombSide; ++i) {
        data += little32(tiffDataPlace);
    }
    const auto lengthsAt = tiffDataPlace + quint32(data.size());
    for (quint32 i = 0; i < bombSide; ++i) {
        data += little32(quint32(line.size()));
    }
    return tiff({{256, 4, 1, bombSide}, {257, 4, 1, bombSide}, {258, 3, 1, 8}, {259, 3, 1, compression}, {262, 3, 1, 1},
                    {273, 4, bombSide, placesAt}, {277, 3, 1, 1}, {278, 4, 1, 1}, {279, 4, bombSide, lengthsAt}},
        data);
}

// As many bytes of one value in Apple's way of packing.
QByteArray packedBits(int count)
{
    constexpr int longestRun = 128;
    QByteArray packed;
    for (; count > 0; count -= longestRun) {
        packed += char(1 - std::min(count, longestRun));
        packed += '\x55';
    }
    return packed;
}

// Each scan goes over the whole picture again.
QByteArray jpegOfScans(quint16 side, int scans)
{
    const QByteArray oneCode = QByteArray("\1", 1) + QByteArray(15, '\0') + QByteArray(1, '\0');
    QByteArray file = QByteArray("\xff\xd8\xff\xdb\0\x43\0", 7) + QByteArray(64, '\1')
        + QByteArray("\xff\xc2\0\x0b\x08", 5) + big16(side) + big16(side) + QByteArray("\1\1\x11\0", 4)
        + QByteArray("\xff\xc4\0\x26\0", 5) + oneCode + '\x10' + oneCode;
    for (int scan = 0; scan < scans; ++scan) {
        file += QByteArray("\xff\xda\0\x08\1\1\0\0\0\0", 10) + QByteArray(64, '\0');
    }
    return file + "\xff\xd9";
}

QByteArray photoshopOfRuns()
{
    const QByteArray line = packedBits(int(bombSide));
    QByteArray file = QByteArray("8BPS\0\1\0\0\0\0\0\0\0\1", 14) + big32(bombSide) + big32(bombSide)
        + QByteArray("\0\x08\0\1", 4) + QByteArray(12, '\0') + QByteArray("\0\1", 2);
    for (quint32 i = 0; i < bombSide; ++i) {
        file += big16(static_cast<quint16>(line.size()));
    }
    for (quint32 i = 0; i < bombSide; ++i) {
        file += line;
    }
    return file;
}

QByteArray targaOfRuns()
{
    constexpr int longestRun = 128;
    QByteArray file = QByteArray("\0\0\x0b\0\0\0\0\0\0\0\0\0", 12) + little16(bombSide) + little16(bombSide)
        + QByteArray("\x08\0", 2);
    for (qint64 left = qint64(bombSide) * bombSide; left > 0; left -= longestRun) {
        file += QByteArray("\xff\x40", 2);
    }
    return file;
}

QByteArray bitmapOfRuns()
{
    const quint32 place = 54 + 1024;
    QByteArray lines;
    for (quint32 row = 0; row < bombSide; ++row) {
        for (quint32 left = bombSide; left > 0; left -= std::min(left, 255U)) {
            lines += char(std::min(left, 255U));
            lines += '\1';
        }
        lines += QByteArray(2, '\0');
    }
    return "BM" + little32(place + quint32(lines.size())) + little32(0) + little32(place) + little32(40)
        + little32(bombSide) + little32(bombSide) + QByteArray("\1\0\x08\0", 4) + little32(1)
        + little32(quint32(lines.size())) + QByteArray(16, '\0') + QByteArray(1024, '\x70') + lines
        + QByteArray("\0\1", 2);
}

QByteArray silicon(quint16 side)
{
    QByteArray line;
    for (int left = side; left > 0; left -= 127) {
        line += char(std::min(left, 127));
        line += '\x33';
    }
    line += '\0';
    const quint32 place = 512 + 8 * quint32(side);
    QByteArray file = QByteArray("\x01\xda\1\1\0\2", 6) + big16(side) + big16(side) + big16(1) + big32(0) + big32(255);
    file = file.leftJustified(512, '\0');
    for (int table = 0; table < 2; ++table) {
        for (int row = 0; row < side; ++row) {
            file += big32(table == 0 ? place : quint32(line.size()));
        }
    }
    return file + line;
}

QByteArray pcxOfRuns()
{
    QByteArray file = QByteArray("\x0a\5\1\x08\0\0\0\0", 8) + little16(bombSide - 1) + little16(bombSide - 1);
    file = file.leftJustified(65, '\0') + '\1' + little16(bombSide) + '\1';
    file = file.leftJustified(128, '\0');
    QByteArray line;
    for (quint32 left = bombSide; left > 0; left -= std::min(left, 63U)) {
        line += char(0xc0 + std::min(left, 63U));
        line += '\2';
    }
    return file + line.repeated(bombSide) + '\x0c' + QByteArray(768, '\x60');
}

QByteArray radianceOfRuns()
{
    QByteArray line = QByteArray("\2\2", 2) + big16(bombSide);
    for (int channel = 0; channel < 4; ++channel) {
        for (quint32 left = bombSide; left > 0; left -= std::min(left, 127U)) {
            line += char(128 + std::min(left, 127U));
            line += '\x7f';
        }
    }
    constexpr int lines = 2000; // the rest is missing
    return "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 8500 +X 8500\n" + line.repeated(lines);
}

QByteArray iconOf(const QByteArray& picture)
{
    return QByteArray("\0\0\1\0\1\0\0\0\0\0\1\0\x20\0", 14) + little32(quint32(picture.size())) + little32(22)
        + picture;
}

// Codes of nine bits that clear the table, each with one pixel: as small as a line of LZW can be told.
QByteArray packedPalettePicture()
{
    QByteArray file = "GIF89a" + little16(bombSide) + little16(bombSide) + QByteArray("\x80\0\0", 3)
        + QByteArray(6, '\x44') + ',' + QByteArray(4, '\0') + little16(bombSide) + little16(bombSide)
        + QByteArray("\0\2", 2);
    const QByteArray block = '\xff' + QByteArray(255, '\x44');
    return file + block.repeated(3000) + QByteArray("\0;", 2);
}

} // namespace

HostileFiles bombs()
{
    constexpr qint64 pixels = qint64(bombSide) * bombSide;
    const QByteArray greyLines = deflatedZeros(pixels + bombSide);
    const QByteArray greyPng = png(bombSide, bombSide, 8, 0, greyLines);
    const QByteArray lineOfZeros(bombSide, '\0');
    const QByteArray svg = R"(<svg xmlns="http://www.w3.org/2000/svg" width="9" height="9"/>)";
    const QByteArray textBomb = deflatedZeros(qint64(200) << 20);
    constexpr qint64 tooLong = qint64(100) << 20; // for a drawing
    return {
        {"bomb of zeros.png", greyPng},
        {"bomb of bits.png", png(20000, 20000, 1, 0, deflatedZeros(20000LL * 2501))},
        {"bomb of colours.png", png(6000, 6000, 8, 6, deflatedZeros(6000LL * 24001))},
        {"bomb with too many lines.png", png(10, 10, 8, 0, greyLines)},
        {"bomb in its text.png",
            png(1, 1, 8, 0, deflated(QByteArray(2, '\0')), pngChunk("zTXt", QByteArray("a\0\0", 3) + textBomb))},
        {"bomb in its profile.png",
            png(1, 1, 8, 0, deflated(QByteArray(2, '\0')), pngChunk("iCCP", QByteArray("a\0\0", 3) + textBomb))},
        {"bomb in its international text.png",
            png(1, 1, 8, 0, deflated(QByteArray(2, '\0')),
                pngChunk("iTXt", QByteArray("XML:com.adobe.xmp\0\1\0\0\0", 22) + textBomb))},
        {"bomb of zeros.jpg", jpegOfZeros(30000, 3'600'000)},
        {"largest there is, without its blocks.jpg", jpegOfZeros(65500, 1000)},
        {"bomb of scans.jpg", jpegOfScans(5000, 200)},
        {"bomb deflated.tif", tiffOfOneLine(8, deflated(lineOfZeros))},
        {"bomb packed.tif", tiffOfOneLine(32773, packedBits(int(bombSide)))},
        {"bomb without compression.tif", tiffOfOneLine(1, lineOfZeros)},
        {"bomb of runs.psd", photoshopOfRuns()},
        {"bomb of runs.tga", targaOfRuns()},
        {"bomb of runs.bmp", bitmapOfRuns()},
        {"bomb of one line.sgi", silicon(bombSide)},
        {"bomb of runs.pcx", pcxOfRuns()},
        {"bomb of runs.hdr", radianceOfRuns()},
        {"bomb in an icon.ico", iconOf(greyPng)},
        {"bomb of clear codes.gif", packedPalettePicture()},
        {"bomb of blanks.svgz", deflatedZeros(tooLong, Wrapping::Gzip)},
        {"bomb behind a drawing.svgz", deflated(svg + QByteArray(60 << 20, ' '), Wrapping::Gzip)},
        {"bomb in a bomb.svgz", deflated(deflatedZeros(tooLong, Wrapping::Gzip), Wrapping::Gzip)},
    };
}

} // namespace frameflow
