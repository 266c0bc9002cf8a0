#include "PictureFiles.h"

#include <QBuffer>
#include <QImageWriter>
#include <QPainter>
#include <QProcess>
#include <QtEndian>

#include <array>
#include <cstdlib>
#include <vector>

namespace frameflow {

namespace {

struct Letter
{
    char letter;
    QRgb colour;
};

constexpr std::array letters{
    Letter{'R', 0xffff0000U}, Letter{'G', 0xff00ff00U}, Letter{'B', 0xff0000ffU}, Letter{'Y', 0xffffff00U}};

char letterOf(QRgb colour, int tolerance)
{
    for (const Letter& letter : letters) {
        if (isNear(colour, letter.colour, tolerance)) {
            return letter.letter;
        }
    }
    return 'K';
}

enum Type : quint16
{
    Byte = 1,
    Ascii = 2,
    Short = 3,
    Long = 4,
    Rational = 5,
    SignedShort = 8,
    SignedRational = 10,
};

// One field of a little-endian TIFF directory, its values as they stand in the file.
struct Field
{
    quint16 tag;
    Type type;
    quint32 count;
    QByteArray values;
};

template <typename Number>
QByteArray bytesOf(std::initializer_list<Number> numbers)
{
    QByteArray bytes;
    for (const Number number : numbers) {
        const Number little = qToLittleEndian(number);
        bytes.append(reinterpret_cast<const char*>(&little), sizeof(little));
    }
    return bytes;
}

Field shortField(quint16 tag, quint16 value)
{
    return {tag, Short, 1, bytesOf<quint16>({value})};
}

Field longField(quint16 tag, quint32 value)
{
    return {tag, Long, 1, bytesOf<quint32>({value})};
}

// The directory as it stands at an offset of its file, followed by the values that are longer than four bytes.
QByteArray directory(const std::vector<Field>& fields, quint32 offset, quint32 next)
{
    constexpr quint32 entrySize = 12;
    QByteArray head = bytesOf<quint16>({static_cast<quint16>(fields.size())});
    QByteArray tail;
    const quint32 tailAt = offset + 2 + entrySize * static_cast<quint32>(fields.size()) + 4;
    for (const Field& field : fields) {
        head += bytesOf<quint16>({field.tag, field.type}) + bytesOf<quint32>({field.count});
        if (field.values.size() <= 4) {
            head += field.values.leftJustified(4, '\0');
        } else {
            head += bytesOf<quint32>({tailAt + static_cast<quint32>(tail.size())});
            tail += field.values;
        }
    }
    return head + bytesOf<quint32>({next}) + tail;
}

QByteArray tiffHeader()
{
    return QByteArray("II") + bytesOf<quint16>({42}) + bytesOf<quint32>({8});
}

// The samples behind red, green, green and blue filters.
QByteArray bayerSamples(QSize size)
{
    const QImage picture = quartersPicture(size);
    QByteArray samples(qsizetype(size.width()) * size.height() * 2, '\0');
    auto* to = reinterpret_cast<quint16*>(samples.data());
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const QRgb colour = picture.pixel(x, y);
            const bool isRed = y % 2 == 0 && x % 2 == 0;
            const bool isBlue = y % 2 == 1 && x % 2 == 1;
            const int value = isRed ? qRed(colour) : isBlue ? qBlue(colour) : qGreen(colour);
            *to++ = qToLittleEndian<quint16>(value * 16000 / 255);
        }
    }
    return samples;
}

} // namespace

bool isNear(QRgb a, QRgb b, int tolerance)
{
    return std::abs(qRed(a) - qRed(b)) <= tolerance && std::abs(qGreen(a) - qGreen(b)) <= tolerance
        && std::abs(qBlue(a) - qBlue(b)) <= tolerance;
}

QByteArray quarters(const QImage& image, int tolerance)
{
    const int left = image.width() / 4;
    const int right = image.width() - 1 - left;
    const int top = image.height() / 4;
    const int bottom = image.height() - 1 - top;
    QByteArray result;
    for (const QPoint point : {QPoint(left, top), QPoint(right, top), QPoint(left, bottom), QPoint(right, bottom)}) {
        result += letterOf(image.pixel(point), tolerance);
    }
    return result;
}

QImage quartersOf(const QByteArray& colours, QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    const int x = size.width() / 2;
    const int y = size.height() / 2;
    const QRect places[] = {{0, 0, x, y}, {x, 0, size.width() - x, y}, {0, y, x, size.height() - y},
        {x, y, size.width() - x, size.height() - y}};
    QPainter painter(&image);
    for (int i = 0; i < 4; ++i) {
        for (const auto& letter : letters) {
            if (letter.letter == colours.at(i)) {
                painter.fillRect(places[i], QColor(letter.colour));
            }
        }
    }
    return image;
}

QImage quartersPicture(QSize size)
{
    return quartersOf("RGBY", size);
}

QByteArray uprightQuarters(int orientation)
{
    static constexpr std::array<const char*, 8> turned{"RGBY", "GRYB", "YBGR", "BYRG", "RBGY", "BRYG", "YGBR", "GYRB"};
    return turned.at(orientation - 1);
}

QByteArray encoded(const QImage& image, const char* format, int quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    if (!writer.write(image)) {
        qFatal("cannot write %s: %s", format, qPrintable(writer.errorString()));
    }
    return bytes;
}

QByteArray exifBlock(std::optional<int> orientation, const QByteArray& thumbnailJpeg, bool adobeRgb)
{
    std::vector<Field> fields;
    if (orientation && *orientation < 0) {
        fields.push_back({0x0112, SignedShort, 1, bytesOf<qint16>({static_cast<qint16>(*orientation)})});
    } else if (orientation) {
        fields.push_back(shortField(0x0112, static_cast<quint16>(*orientation)));
    }
    QByteArray tail;
    const quint32 first = 8;
    if (adobeRgb) {
        fields.push_back(longField(0x8769, 0));
    }
    const auto tailAt = static_cast<quint32>(first + directory(fields, first, 0).size());
    if (adobeRgb) {
        const auto exif = [&](quint32 interoperabilityAt) {
            return directory({shortField(0xa001, 0xffff), longField(0xa005, interoperabilityAt)}, tailAt, 0);
        };
        const auto interoperabilityAt = tailAt + static_cast<quint32>(exif(0).size());
        tail
            = exif(interoperabilityAt) + directory({{0x0001, Ascii, 4, QByteArray("R03\0", 4)}}, interoperabilityAt, 0);
        fields.back() = longField(0x8769, tailAt);
    }
    quint32 next = 0;
    if (!thumbnailJpeg.isEmpty()) {
        next = tailAt + static_cast<quint32>(tail.size());
        const auto length = static_cast<quint32>(thumbnailJpeg.size());
        const auto fieldsAt = [&](quint32 at) {
            return directory({shortField(0x0103, 6), longField(0x0201, at), longField(0x0202, length)}, next, 0);
        };
        const auto thumbnailAt = next + static_cast<quint32>(fieldsAt(0).size());
        tail += fieldsAt(thumbnailAt) + thumbnailJpeg;
    }
    return tiffHeader() + directory(fields, first, next) + tail;
}

QByteArray withExif(const QByteArray& jpeg, const QByteArray& exif)
{
    const QByteArray body = QByteArray("Exif\0\0", 6) + exif;
    const quint16 length = qToBigEndian<quint16>(static_cast<quint16>(body.size() + 2));
    return jpeg.left(2) + "\xff\xe1" + QByteArray(reinterpret_cast<const char*>(&length), 2) + body + jpeg.mid(2);
}

QByteArray cameraRaw(QSize size, int orientation, const QByteArray& preview)
{
    const QByteArray samples = bayerSamples(size);
    const auto samplesAt = quint32(8);
    const auto previewAt = samplesAt + static_cast<quint32>(samples.size());
    const auto directoryAt = previewAt + static_cast<quint32>(preview.size());
    const auto one = bytesOf<quint32>({1, 1});
    // From XYZ to the camera's colours, which are those of sRGB.
    const auto matrix = bytesOf<qint32>({32405, 10000, -15371, 10000, -4985, 10000, -9693, 10000, 18760, 10000, 416,
        10000, 556, 10000, -2040, 10000, 10572, 10000});
    std::vector<Field> raw{
        longField(0x00fe, 0),
        longField(0x0100, size.width()),
        longField(0x0101, size.height()),
        shortField(0x0102, 16),
        shortField(0x0103, 1),
        shortField(0x0106, 32803),
        {0x010f, Ascii, 5, QByteArray("Test\0", 5)},
        {0x0110, Ascii, 7, QByteArray("Camera\0", 7)},
        longField(0x0111, samplesAt),
        shortField(0x0112, static_cast<quint16>(orientation)),
        shortField(0x0115, 1),
        longField(0x0116, size.height()),
        longField(0x0117, static_cast<quint32>(samples.size())),
        shortField(0x011c, 1),
        {0x828d, Short, 2, bytesOf<quint16>({2, 2})},
        {0x828e, Byte, 4, QByteArray("\0\1\1\2", 4)},
        {0xc612, Byte, 4, QByteArray("\1\4\0\0", 4)},
        {0xc614, Ascii, 12, QByteArray("Test Camera\0", 12)},
        longField(0xc61d, 16000),
        {0xc621, SignedRational, 9, matrix},
        {0xc628, Rational, 3, one + one + one},
        shortField(0xc65a, 21),
    };
    QByteArray header = QByteArray("II") + bytesOf<quint16>({42}) + bytesOf<quint32>({directoryAt});
    const QByteArray measured = directory(raw, directoryAt, 0);
    const auto next = preview.isEmpty() ? 0 : directoryAt + static_cast<quint32>(measured.size());
    QByteArray file = header + samples + preview + directory(raw, directoryAt, next);
    if (!preview.isEmpty()) {
        const QImage image = QImage::fromData(preview);
        file += directory(
            {longField(0x00fe, 1), longField(0x0100, image.width()), longField(0x0101, image.height()),
                {0x0102, Short, 3, bytesOf<quint16>({8, 8, 8})}, shortField(0x0103, 7), shortField(0x0106, 6),
                longField(0x0111, previewAt), shortField(0x0115, 3), longField(0x0116, image.height()),
                longField(0x0117, static_cast<quint32>(preview.size()))},
            next, 0);
    }
    return file;
}

bool runTool(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool succeeded
        = process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (!succeeded) {
        qWarning(
            "%s failed: %s %s", qPrintable(program), qPrintable(process.errorString()), process.readAll().constData());
    }
    return succeeded;
}

} // namespace frameflow
