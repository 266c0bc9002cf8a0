#include "BenchFolders.h"

#include <QImage>
#include <QPainter>
#include <QRandomGenerator>

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace frameflow::bench {

namespace {

// As hard to decode as a photograph: smooth shapes under noise, with a plain square in the middle.
QImage picture(const QSize& size, QRgb colour)
{
    QImage image(size, QImage::Format_RGB32);
    QRandomGenerator random(7);
    for (int y = 0; y < size.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const int noise = static_cast<int>(random.generate() & 15);
            line[x] = qRgb(x * 200 / size.width() + noise, y * 200 / size.height() + noise, (x ^ y) / 32 % 128 + noise);
        }
    }
    const QSize square = size / 6;
    QPainter painter(&image);
    painter.fillRect(
        QRect(image.rect().center() - QPoint(square.width(), square.height()) / 2, square), QColor(colour));
    return image;
}

QByteArray nameOf(const QByteArray& folder, int number)
{
    return folder + '/' + QByteArray::number(number).rightJustified(6, '0') + ".jpg";
}

void save(const QImage& image, const QByteArray& path)
{
    constexpr int quality = 90;
    if (!image.save(QString::fromUtf8(path), "JPG", quality)) {
        qFatal("%s cannot be written", path.constData());
    }
}

} // namespace

void fillFolder(const QByteArray& folder, int files, const QSize& size)
{
    constexpr int mostLinks = 30000; // one file system allows 65000, others fewer
    save(picture(size, firstColour), nameOf(folder, 0));
    const QImage other = picture(size, otherColour);
    for (int number = 1; number < files; ++number) {
        const int original = (number - 1) / mostLinks * mostLinks + 1;
        const QByteArray path = nameOf(folder, number);
        if (number == original) {
            save(other, path);
        } else if (link(nameOf(folder, original).constData(), path.constData()) != 0) {
            qFatal("%s: %s", path.constData(), std::strerror(errno));
        }
    }
}

} // namespace frameflow::bench
