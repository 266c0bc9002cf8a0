#pragma once

#include "TestFiles.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>

namespace frameflow {

inline QImage solid(QSize size, QColor color)
{
    QImage image(size, color.alpha() == 255 ? QImage::Format_RGB32 : QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    return image;
}

// Red and green above, blue and white below: shows how a picture is turned.
inline QImage quarters(QSize size)
{
    QImage image = solid(size, Qt::red);
    const QSize half = size / 2;
    QPainter painter(&image);
    painter.fillRect(QRect(QPoint(half.width(), 0), size), Qt::green);
    painter.fillRect(QRect(QPoint(0, half.height()), half), Qt::blue);
    painter.fillRect(QRect(QPoint(half.width(), half.height()), size), Qt::white);
    return image;
}

// Every pixel unlike its neighbours, so that the least shift or smoothing shows.
inline QImage noise(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            image.setPixelColor(x, y, QColor((x * 97 + y * 31) % 256, (x * 57 + y * 149) % 256, (x ^ y) % 256));
        }
    }
    return image;
}

inline FileUrl writePicture(const TestFolder& folder, const QByteArray& name, const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) {
        qFatal("cannot encode %s", name.constData());
    }
    folder.addFile(name, bytes);
    return folder.urlOf(name);
}

inline bool isNear(QColor actual, QColor expected, int tolerance = 2)
{
    const bool near = std::abs(actual.red() - expected.red()) <= tolerance
        && std::abs(actual.green() - expected.green()) <= tolerance
        && std::abs(actual.blue() - expected.blue()) <= tolerance;
    if (!near) {
        qWarning() << "colour" << actual << "instead of" << expected;
    }
    return near;
}

} // namespace frameflow
