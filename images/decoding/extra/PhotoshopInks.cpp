#include "PhotoshopInks.h"

#include <QtEndian>

#include <vector>

namespace frameflow {

namespace {

constexpr quint32 inks = 4;
constexpr quint16 shortType = 3;
constexpr quint16 longType = 4;

quint32 read32(const QByteArray& contents, qsizetype at)
{
    return at >= 0 && at + 4 <= contents.size() ? qFromBigEndian<quint32>(contents.constData() + at) : 0;
}

quint16 read16(const QByteArray& contents, qsizetype at)
{
    return at >= 0 && at + 2 <= contents.size() ? qFromBigEndian<quint16>(contents.constData() + at) : 0;
}

template <typename Number>
void append(QByteArray& to, Number number)
{
    const Number big = qToBigEndian(number);
    to.append(reinterpret_cast<const char*>(&big), sizeof(big));
}

void appendEntry(QByteArray& to, quint16 tag, quint16 type, quint32 count, quint32 value)
{
    append(to, tag);
    append(to, type);
    append(to, count);
    append(to, type == shortType && count == 1 ? value << 16 : value);
}

// Where each row of each ink stands in the file; both lists are empty when rows are missing.
struct Rows
{
    std::vector<quint32> offsets;
    std::vector<quint32> lengths;
};

Rows rowsOf(const QByteArray& contents, qsizetype at, bool packed, quint32 rowLength, quint32 height, quint32 channels)
{
    Rows rows;
    qsizetype offset = at + (packed ? qsizetype(2) * height * channels : 0);
    for (quint32 row = 0; row < height * inks; ++row) {
        const quint32 length = packed ? read16(contents, at + qsizetype(2) * row) : rowLength;
        if (offset + length > contents.size()) {
            return {};
        }
        rows.offsets.push_back(static_cast<quint32>(offset));
        rows.lengths.push_back(length);
        offset += length;
    }
    return rows;
}

} // namespace

QByteArray tiffOfPhotoshopInks(const QByteArray& contents)
{
    constexpr quint16 inkMode = 4;
    const quint16 channels = read16(contents, 12);
    const quint32 height = read32(contents, 14);
    const quint32 width = read32(contents, 18);
    const quint16 depth = read16(contents, 22);
    constexpr quint32 longestSide = 30000;
    if (read16(contents, 4) != 1 || read16(contents, 24) != inkMode || channels < inks || depth != 8 || width == 0
        || height == 0 || width > longestSide || height > longestSide) {
        return {};
    }
    qsizetype at = 26;
    for (int section = 0; section < 3; ++section) {
        at += 4 + qsizetype(read32(contents, at));
    }
    const quint16 packing = read16(contents, at);
    const Rows rows = rowsOf(contents, at + 2, packing == 1, width, height, channels);
    if (packing > 1 || rows.offsets.empty()) {
        return {};
    }
    QByteArray file = contents;
    file.replace(0, 4, QByteArray("MM\0*", 4));
    const auto listsAt = static_cast<quint32>(file.size());
    const auto count = static_cast<quint32>(rows.offsets.size());
    for (const auto& list : {rows.offsets, rows.lengths}) {
        for (const quint32 number : list) {
            append(file, number);
        }
    }
    const auto bitsAt = static_cast<quint32>(file.size());
    for (quint32 i = 0; i < inks; ++i) {
        append(file, depth);
    }
    const auto directoryAt = qToBigEndian(static_cast<quint32>(file.size()));
    file.replace(4, 4, reinterpret_cast<const char*>(&directoryAt), 4);
    append(file, quint16(10));
    appendEntry(file, 256, longType, 1, width);
    appendEntry(file, 257, longType, 1, height);
    appendEntry(file, 258, shortType, inks, bitsAt);
    appendEntry(file, 259, shortType, 1, packing == 1 ? 32773 : 1);
    appendEntry(file, 262, shortType, 1, 5);
    appendEntry(file, 273, longType, count, listsAt);
    appendEntry(file, 277, shortType, 1, inks);
    appendEntry(file, 278, longType, 1, 1);
    appendEntry(file, 279, longType, count, listsAt + 4 * count);
    appendEntry(file, 284, shortType, 1, 2);
    append(file, quint32(0));
    return file;
}

} // namespace frameflow
