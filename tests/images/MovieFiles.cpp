#include "MovieFiles.h"

#include "PictureFiles.h"

#include <QFile>
#include <QtEndian>

#include <array>
#include <cstring>

namespace frameflow {

namespace {

constexpr int stripes = 8;

// The bits of a picture's number as white and black stripes, the lowest one at the left.
constexpr const char* numbering = "geq=lum='if(mod(floor(N/pow(2,floor(X*8/W))),2),235,16)':cb=128:cr=128";

// The unit vectors of a picture as they are shown, y down, for the EXIF orientations.
constexpr std::array<std::array<qint32, 4>, 8> turns{{{1, 0, 0, 1}, {-1, 0, 0, 1}, {-1, 0, 0, -1}, {1, 0, 0, -1},
    {0, 1, 1, 0}, {0, 1, -1, 0}, {0, -1, -1, 0}, {0, -1, 1, 0}}};

// From the name of a track's header to its matrix.
constexpr qsizetype matrixDistance = 44;
constexpr qint32 one = 0x10000;

} // namespace

MovieFiles::MovieFiles()
{
    mFolder.addFile("quarters.png", encoded(quartersPicture(), "png"));
    const QByteArray source = "-f lavfi -i color=black:s=128x96:r=25:d=10,format=yuv420p,";
    if (!make("numbers.mkv", source + numbering + " -c:v ffv1")) {
        qFatal("ffmpeg is needed to write test movies");
    }
}

bool MovieFiles::make(const QByteArray& name, const QByteArray& options) const
{
    QStringList arguments{
        QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-nostdin")};
    const auto words = options.split(' ');
    for (QByteArray word : words) {
        arguments += QString::fromUtf8(word.replace("%folder", mFolder.path()));
    }
    arguments += QString::fromUtf8(pathOf(name));
    return runTool(QStringLiteral("ffmpeg"), arguments);
}

QByteArray MovieFiles::contentsOf(const QByteArray& name) const
{
    QFile file(QString::fromUtf8(pathOf(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

int numberIn(const QImage& image)
{
    int number = 0;
    for (int i = 0; i < stripes && !image.isNull(); ++i) {
        const int x = (2 * i + 1) * image.width() / (2 * stripes);
        const int grey = qGray(image.pixel(x, image.height() / 2));
        if (grey > 64 && grey < 192) {
            return -1;
        }
        number |= grey >= 192 ? 1 << i : 0;
    }
    return image.isNull() ? -1 : number;
}

QByteArray patched(QByteArray mp4, const char* box, qsizetype distance, quint32 value)
{
    const qsizetype at = mp4.indexOf(box);
    if (at < 0 || at + distance + 4 > mp4.size()) {
        qFatal("no %s in the movie", box);
    }
    const quint32 big = qToBigEndian(value);
    std::memcpy(mp4.data() + at + distance, &big, sizeof(big));
    return mp4;
}

QByteArray withOrientation(QByteArray mp4, int orientation)
{
    const auto& turn = turns.at(orientation - 1);
    const std::array<qsizetype, 4> places{0, 1, 3, 4};
    for (size_t i = 0; i < places.size(); ++i) {
        mp4 = patched(mp4, "tkhd", matrixDistance + 4 * places.at(i), static_cast<quint32>(turn.at(i) * one));
    }
    return mp4;
}

} // namespace frameflow
