#include "SvgDecoder.h"

#include "LargeBitmap.h"
#include "Limits.h"
#include "QtDecoder.h"

#include <QBuffer>
#include <QImageReader>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <optional>

#include <zlib.h>

namespace frameflow {

namespace {

// Of a drawing's text, unpacked; far above what is drawn by hand or exported.
constexpr qsizetype longestDrawing = 64 << 20;
// The parser and the drawing both descend with the elements.
constexpr int deepestNesting = 500;

std::optional<QByteArray> unpacked(const QByteArray& contents)
{
    if (!contents.startsWith("\x1f\x8b")) {
        return contents.size() <= longestDrawing ? std::optional(contents) : std::nullopt;
    }
    z_stream stream = {};
    constexpr int gzip = 16 + MAX_WBITS;
    if (inflateInit2(&stream, gzip) != Z_OK) {
        return std::nullopt;
    }
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(contents.constData())); // NOLINT: zlib only reads it
    stream.avail_in = static_cast<uInt>(contents.size());
    QByteArray text;
    QByteArray part(65536, Qt::Uninitialized);
    int status = Z_OK;
    while (status == Z_OK && text.size() <= longestDrawing) {
        stream.next_out = reinterpret_cast<Bytef*>(part.data());
        stream.avail_out = static_cast<uInt>(part.size());
        status = inflate(&stream, Z_NO_FLUSH);
        text.append(part.constData(), part.size() - stream.avail_out);
    }
    inflateEnd(&stream);
    return status == Z_STREAM_END && text.size() <= longestDrawing ? std::optional(text) : std::nullopt;
}

bool isReference(const QXmlStreamAttribute& attribute)
{
    return attribute.qualifiedName() == QLatin1String("href")
        || attribute.qualifiedName().endsWith(QLatin1String(":href"));
}

bool pointsOutside(const QXmlStreamAttribute& attribute)
{
    const auto target = attribute.value().trimmed();
    return isReference(attribute) && !target.startsWith(u'#') && !target.startsWith(QLatin1String("data:"));
}

void copyElement(const QXmlStreamReader& reader, QXmlStreamWriter& writer)
{
    writer.writeStartElement(reader.qualifiedName().toString());
    for (const QXmlStreamAttribute& attribute : reader.attributes()) {
        if (!pointsOutside(attribute)) {
            writer.writeAttribute(attribute.qualifiedName().toString(), attribute.value().toString());
        }
    }
}

// The drawing again without references to files, style sheets to load, document types and entities. Empty when it is
// not well formed or no drawing at all.
QByteArray selfContained(const QByteArray& text)
{
    QXmlStreamReader reader(text);
    reader.setNamespaceProcessing(false);
    QByteArray result;
    QXmlStreamWriter writer(&result);
    int depth = 0;
    bool isDrawing = false;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement:
            if (++depth > deepestNesting) {
                return {};
            }
            isDrawing = isDrawing || reader.qualifiedName() == QLatin1String("svg")
                || reader.qualifiedName().endsWith(QLatin1String(":svg"));
            copyElement(reader, writer);
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            writer.writeEndElement();
            break;
        case QXmlStreamReader::Characters:
            writer.writeCharacters(reader.text().toString());
            break;
        default:
            break;
        }
    }
    return reader.hasError() || !isDrawing ? QByteArray() : result;
}

} // namespace

DecodedPicture decodeSvg(const QByteArray& contents, int longestSide)
{
    const auto text = unpacked(contents);
    QByteArray drawing = text ? selfContained(*text) : QByteArray();
    if (drawing.isEmpty()) {
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    limitQtAllocations();
    QBuffer buffer(&drawing);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "svg");
    DecodedPicture picture;
    picture.size = reader.size();
    if (picture.size.isEmpty()) {
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    const QSize held = heldSize(picture.size, longestSide);
    reader.setScaledSize(held);
    // The reader clears and draws into a bitmap that fits.
    picture.pixels = largeBitmap(held, QImage::Format_ARGB32_Premultiplied);
    if (!reader.read(&picture.pixels)) {
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    return picture;
}

} // namespace frameflow
