#pragma once

#include <QByteArray>
#include <QtGlobal>

namespace frameflow {

// The types of picture that are shown, told apart by what a file holds.
enum class ContentType
{
    Unknown, // also every type that is never shown: documents, play lists, programs
    Bmp,
    CameraRaw,
    Dds,
    Fits,
    Gif,
    Heif, // HEIC and AVIF
    Icon,
    Jpeg,
    Jpeg2000,
    JpegXl,
    OpenExr,
    Pcx,
    Png,
    PortableMap,
    Psd,
    Radiance,
    Sgi,
    Svg, // plain or compressed
    Targa,
    Tiff,
    WebP,
    Xpm,
};

// By the first bytes; the file name is asked only for the types that have none of their own.
ContentType contentType(const QByteArray& contents, QByteArrayView fileName);

// For how many pixels an honest file of the type has a byte at least.
qint64 pixelsOfAByte(ContentType type);

// Whether it is of a kind that Qt opens but shows wrongly: colours given as inks, or grey whose alpha it drops.
bool isMisreadByQt(const QByteArray& contents, ContentType type);

} // namespace frameflow
