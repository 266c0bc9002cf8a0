#include "TypeSamples.h"

#include "PictureFiles.h"

#include <QStringList>

namespace frameflow {

const std::vector<TypeSample>& typeSamples()
{
    static const std::vector<TypeSample> samples{
        {"a.jpg", "convert", "%in -quality 95 %out", 20},
        {"progressive.jpg", "convert", "%in -interlace JPEG -quality 95 %out", 20},
        {"a.jpeg", "convert", "%in -sampling-factor 4:4:4 -quality 95 %out", 20},
        {"a.png", "convert", "%in %out", 0},
        {"interlaced.png", "convert", "%in -interlace PNG %out", 0},
        {"palette.png", "convert", "%in -type palette png8:%out", 0},
        {"a.gif", "convert", "%in %out", 0},
        {"a.webp", "convert", "%in -define webp:lossless=true %out", 0},
        {"lossy.webp", "convert", "%in -quality 95 %out", 30},
        {"a.bmp", "convert", "%in %out", 0},
        {"rle.bmp", "convert", "%in -type palette -compress RLE %out", 0},
        {"a.tif", "convert", "%in -compress none %out", 0},
        {"lzw.tiff", "convert", "%in -compress LZW %out", 0},
        {"zip.tif", "convert", "%in -compress Zip %out", 0},
        {"jpeg.tif", "convert", "%in -compress JPEG -quality 95 %out", 20},
        {"tiled.tif", "vips", "tiffsave %in %out --tile --compression deflate", 0},
        {"pyramid.tif", "vips", "tiffsave %in %out --tile --pyramid", 0},
        {"big.tif", "vips", "tiffsave %in %out --bigtiff", 0},
        {"a.ico", "convert", "%in %out", 0},
        {"plain.tga", "convert", "%in -type TrueColor %out", 0},
        {"palette.tga", "convert", "%in -type palette %out", 0},
        {"a.tga", "convert", "%in -type TrueColor -compress RLE %out", 0},
        {"a.ppm", "convert", "%in %out", 0},
        {"plain.ppm", "convert", "%in -compress none %out", 0},
        {"a.xpm", "convert", "%in %out", 0},
        {"a.heic", "heif-enc", "-q 95 -o %out %in", 40},
        {"a.avif", "heif-enc", "-A -q 95 -o %out %in", 40},
        {"a.jxl", "cjxl", "%in %out -d 0", 2},
        {"lossy.jxl", "cjxl", "%in %out -d 1", 30},
        {"a.jp2", "vips", "jp2ksave %in %out --lossless", 0},
        {"a.psd", "convert", "%in -type TrueColor %out", 0},
        {"packed.psd", "convert", "%in -type TrueColor -compress RLE %out", 0},
        {"a.exr", "convert", "%in -colorspace RGB %out", 2},
        {"a.hdr", "convert", "%in -colorspace RGB %out", 16},
        {"a.fits", "convert", "%in %out", 2},
        {"a.dds", "convert", "%in -define dds:compression=none %out", 0},
        {"dxt.dds", "convert", "%in -define dds:compression=dxt1 %out", 10},
        {"a.pcx", "convert", "%in %out", 0},
        {"a.sgi", "convert", "%in %out", 0},
        {"a.rgb", "convert", "%in sgi:%out", 0},
    };
    return samples;
}

bool makeTypeSample(const TypeSample& sample, const QByteArray& in, const QByteArray& out)
{
    QStringList arguments;
    for (const QByteArray& word : QByteArray(sample.arguments).split(' ')) {
        arguments << QString::fromUtf8(QByteArray(word).replace("%in", in).replace("%out", out));
    }
    return runTool(QString::fromUtf8(sample.program), arguments);
}

} // namespace frameflow
