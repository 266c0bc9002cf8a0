#include "FileBytes.h"

#include <algorithm>

namespace frameflow {

namespace {

class Deflater
{
public:
    explicit Deflater(Wrapping wrapping)
    {
        constexpr int gzip = 16;
        constexpr int usualMemory = 8;
        const int bits = MAX_WBITS + (wrapping == Wrapping::Gzip ? gzip : 0);
        deflateInit2(&mStream, Z_BEST_SPEED, Z_DEFLATED, bits, usualMemory, Z_DEFAULT_STRATEGY);
    }
    ~Deflater() { deflateEnd(&mStream); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    void add(const QByteArray& bytes, int flush)
    {
        mStream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.constData())); // NOLINT: zlib only reads it
        mStream.avail_in = static_cast<uInt>(bytes.size());
        QByteArray part(1 << 16, Qt::Uninitialized);
        do {
            mStream.next_out = reinterpret_cast<Bytef*>(part.data());
            mStream.avail_out = static_cast<uInt>(part.size());
            deflate(&mStream, flush);
            result.append(part.constData(), part.size() - qsizetype(mStream.avail_out));
        } while (mStream.avail_out == 0);
    }

    QByteArray result;

private:
    z_stream mStream = {};
};

} // namespace

QByteArray deflated(const QByteArray& bytes, Wrapping wrapping)
{
    Deflater deflater(wrapping);
    deflater.add(bytes, Z_FINISH);
    return deflater.result;
}

QByteArray deflatedZeros(qint64 count, Wrapping wrapping)
{
    constexpr qint64 piece = 1 << 20;
    const QByteArray zeros(piece, '\0');
    Deflater deflater(wrapping);
    for (; count > piece; count -= piece) {
        deflater.add(zeros, Z_NO_FLUSH);
    }
    deflater.add(zeros.left(count), Z_FINISH);
    return deflater.result;
}

QByteArray pngChunk(const QByteArray& type, const QByteArray& data)
{
    const QByteArray body = type + data;
    const auto checksum = crc32(0, reinterpret_cast<const Bytef*>(body.constData()), static_cast<uInt>(body.size()));
    return big32(static_cast<quint32>(data.size())) + body + big32(static_cast<quint32>(checksum));
}

QByteArray png(quint32 width, quint32 height, int depth, int colours, const QByteArray& lines, const QByteArray& chunks)
{
    const QByteArray head = big32(width) + big32(height) + char(depth) + char(colours) + QByteArray(3, '\0');
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + pngChunk("IHDR", head) + chunks + pngChunk("IDAT", lines)
        + pngChunk("IEND", {});
}

QByteArray tiff(std::initializer_list<TiffField> fields, const QByteArray& data, quint32 nextDirectory)
{
    QByteArray file = "II" + little16(42) + little32(tiffDataPlace + quint32(data.size())) + data;
    file += little16(static_cast<quint16>(fields.size()));
    for (const TiffField& field : fields) {
        file += little16(field.tag) + little16(field.type) + little32(field.count) + little32(field.value);
    }
    return file + little32(nextDirectory);
}

QByteArray jpegOfZeros(quint16 side, qsizetype zeros)
{
    const QByteArray oneCode = QByteArray("\1", 1) + QByteArray(15, '\0') + QByteArray(1, '\0');
    return QByteArray("\xff\xd8\xff\xdb\0\x43\0", 7) + QByteArray(64, '\1') + QByteArray("\xff\xc0\0\x0b\x08", 5)
        + big16(side) + big16(side) + QByteArray("\1\1\x11\0", 4) + QByteArray("\xff\xc4\0\x26\0", 5) + oneCode + '\x10'
        + oneCode + QByteArray("\xff\xda\0\x08\1\1\0\0\x3f\0", 10) + QByteArray(zeros, '\0') + "\xff\xd9";
}

QByteArray withSegment(const QByteArray& jpeg, char marker, const QByteArray& payload)
{
    constexpr qsizetype longest = 65533;
    const QByteArray body = payload.left(longest);
    return jpeg.left(2) + '\xff' + marker + big16(static_cast<quint16>(body.size() + 2)) + body + jpeg.mid(2);
}

} // namespace frameflow
