#pragma once

#include <QByteArray>
#include <QtEndian>

#include <initializer_list>

#include <zlib.h>

namespace frameflow {

// Numbers and common pieces of files, as they stand there.

template <typename Number>
QByteArray big(Number number)
{
    const Number bytes = qToBigEndian(number);
    return {reinterpret_cast<const char*>(&bytes), qsizetype(sizeof(bytes))};
}

template <typename Number>
QByteArray little(Number number)
{
    const Number bytes = qToLittleEndian(number);
    return {reinterpret_cast<const char*>(&bytes), qsizetype(sizeof(bytes))};
}

inline QByteArray big16(quint16 number)
{
    return big(number);
}

inline QByteArray big32(quint32 number)
{
    return big(number);
}

inline QByteArray little16(quint16 number)
{
    return little(number);
}

inline QByteArray little32(quint32 number)
{
    return little(number);
}

// Compressed as zlib does, or as gzip with its head.
enum class Wrapping
{
    Zlib,
    Gzip,
};
QByteArray deflated(const QByteArray& bytes, Wrapping wrapping = Wrapping::Zlib);
// So many zeros, which never stand in memory at once.
QByteArray deflatedZeros(qint64 count, Wrapping wrapping = Wrapping::Zlib);

QByteArray pngChunk(const QByteArray& type, const QByteArray& data);
// With the chunks between the head and the compressed lines.
QByteArray png(
    quint32 width, quint32 height, int depth, int colours, const QByteArray& lines, const QByteArray& chunks = {});

// A field of a TIFF's directory: the value itself, or the place where the values stand.
struct TiffField
{
    quint16 tag;
    quint16 type;
    quint32 count;
    quint32 value;
};
// Little-endian, with the first directory behind the data, which begins at tiffDataPlace.
constexpr quint32 tiffDataPlace = 8;
QByteArray tiff(std::initializer_list<TiffField> fields, const QByteArray& data, quint32 nextDirectory = 0);

// A square, grey JPEG whose blocks take one bit for the brightness and one for the end: so many bytes of zeros.
QByteArray jpegOfZeros(quint16 side, qsizetype zeros);
// A JPEG with a segment behind its first marker.
QByteArray withSegment(const QByteArray& jpeg, char marker, const QByteArray& payload);

} // namespace frameflow
