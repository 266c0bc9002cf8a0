#include "Gigapixels.h"

#include "FileBytes.h"

namespace frameflow {

namespace {

constexpr int side = gigapixelSize.width();

// One line, in its left half of the one value and in its right half of the other.
QByteArray halves(char left, char right, int bytes)
{
    return QByteArray(bytes / 2, left) + QByteArray(bytes / 2, right);
}

// One bit a pixel, each line behind the byte that says that it stands as it is.
QByteArray quartersOfBits(QSize size)
{
    const int bytes = size.width() / 8;
    const QByteArray upper = '\0' + halves('\xff', '\0', bytes);
    const QByteArray lower = '\0' + halves('\0', '\xff', bytes);
    return deflated(upper.repeated(size.height() / 2) + lower.repeated(size.height() / 2));
}

// One byte a pixel, one line a strip, and only two lines in the file.
QByteArray quartersOfStrips()
{
    const QByteArray upper = deflated(halves('\0', '\xff', side));
    const QByteArray lower = deflated(halves('\xff', '\0', side));
    QByteArray data = upper + lower;
    const auto placesAt = tiffDataPlace + quint32(data.size());
    for (int y = 0; y < side; ++y) {
        data += little32(tiffDataPlace + (y < side / 2 ? 0 : quint32(upper.size())));
    }
    const auto lengthsAt = tiffDataPlace + quint32(data.size());
    for (int y = 0; y < side; ++y) {
        data += little32(quint32(y < side / 2 ? upper.size() : lower.size()));
    }
    constexpr quint16 deflate = 8;
    return tiff({{256, 4, 1, side}, {257, 4, 1, side}, {258, 3, 1, 8}, {259, 3, 1, deflate}, {262, 3, 1, 1},
                    {273, 4, side, placesAt}, {277, 3, 1, 1}, {278, 4, 1, 1}, {279, 4, side, lengthsAt}},
        data);
}

} // namespace

HostileFiles gigapixelPictures()
{
    constexpr qsizetype blocks = qsizetype(side / 8) * (side / 8);
    return {
        {"gigapixel 1.jpg", jpegOfZeros(side, blocks / 4)},
        {"gigapixel 2.png", png(side, side, 1, 0, quartersOfBits(gigapixelSize))},
        {"gigapixel 3.tif", quartersOfStrips()},
    };
}

HostileFile largeTablePicture()
{
    constexpr int colourTable = 3;
    const QByteArray table = pngChunk("PLTE", QByteArray("\x10\x40\xe0\xf0\x80\x10", 6)); // blue, orange
    return {"table.png",
        png(tablePictureSize.width(), tablePictureSize.height(), 1, colourTable, quartersOfBits(tablePictureSize),
            table)};
}

} // namespace frameflow
