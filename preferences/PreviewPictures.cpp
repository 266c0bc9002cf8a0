#include "PreviewPictures.h"

#include <QPainter>
#include <QPainterPath>

#include <array>

namespace frameflow {

namespace {

struct Palette
{
    QRgb top, bottom; // of the sky
    std::array<QRgb, 3> hills; // the farthest first
};

const Palette& paletteOf(PreviewPicture which)
{
    static const Palette day{0xFF4E9BD8, 0xFFFCE7B8, {0xFF8FB6A8, 0xFF5D9273, 0xFF2F6B4A}};
    static const Palette night{0xFF070B22, 0xFF2B3A78, {0xFF27346B, 0xFF18224C, 0xFF0C1230}};
    return which == PreviewPicture::Day ? day : night;
}

// In a square of 100 by 100 that is stretched to the picture.
QPainterPath hill(int number)
{
    QPainterPath path;
    switch (number) {
    case 0:
        path.moveTo(0, 62);
        path.cubicTo(16, 40, 28, 44, 40, 56);
        path.cubicTo(56, 38, 70, 36, 82, 52);
        path.cubicTo(90, 46, 96, 46, 100, 50);
        break;
    case 1:
        path.moveTo(0, 78);
        path.cubicTo(22, 58, 44, 64, 58, 74);
        path.cubicTo(74, 60, 88, 60, 100, 68);
        break;
    default:
        path.moveTo(0, 84);
        path.cubicTo(30, 78, 52, 92, 74, 86);
        path.cubicTo(86, 83, 94, 84, 100, 82);
    }
    path.lineTo(100, 100);
    path.lineTo(0, 100);
    path.closeSubpath();
    return path;
}

void paintSun(QPainter& painter, QPointF centre, double radius)
{
    QRadialGradient glow(centre, 2.6 * radius);
    glow.setColorAt(0, QColor(255, 246, 205, 220));
    glow.setColorAt(1, QColor(255, 246, 205, 0));
    painter.setBrush(glow);
    painter.drawEllipse(centre, 2.6 * radius, 2.6 * radius);
    painter.setBrush(QColor(0xFFFFF3C4));
    painter.drawEllipse(centre, radius, radius);
}

void paintMoonAndStars(QPainter& painter, QSizeF size, QPointF centre, double radius)
{
    constexpr std::array stars{QPointF(8, 12), QPointF(17, 31), QPointF(26, 9), QPointF(34, 24), QPointF(43, 14),
        QPointF(52, 33), QPointF(58, 8), QPointF(66, 26), QPointF(84, 9), QPointF(92, 34), QPointF(12, 45),
        QPointF(47, 41), QPointF(95, 18)};
    painter.setBrush(QColor(255, 255, 255, 210));
    for (size_t i = 0; i < stars.size(); ++i) {
        const double dot = size.height() * (i % 3 == 0 ? 0.009 : 0.006);
        painter.drawEllipse(QPointF(stars[i].x() * size.width() / 100, stars[i].y() * size.height() / 100), dot, dot);
    }
    QPainterPath moon;
    moon.addEllipse(centre, radius, radius);
    QPainterPath shadow;
    shadow.addEllipse(centre + QPointF(-0.45 * radius, -0.2 * radius), radius, radius);
    painter.setBrush(QColor(0xFFF4EFD8));
    painter.drawPath(moon.subtracted(shadow));
}

} // namespace

QImage previewPicture(PreviewPicture which, QSize pixels)
{
    QImage image(pixels, QImage::Format_RGB32);
    if (image.isNull()) {
        return {};
    }
    const QSizeF size = pixels;
    const Palette& palette = paletteOf(which);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    QLinearGradient sky(0, 0, 0, 0.75 * size.height());
    sky.setColorAt(0, QColor(palette.top));
    sky.setColorAt(1, QColor(palette.bottom));
    painter.fillRect(image.rect(), sky);
    const QPointF light(0.74 * size.width(), 0.27 * size.height());
    if (which == PreviewPicture::Day) {
        paintSun(painter, light, 0.11 * size.height());
    } else {
        paintMoonAndStars(painter, size, light, 0.11 * size.height());
    }
    painter.scale(size.width() / 100, size.height() / 100);
    for (size_t i = 0; i < palette.hills.size(); ++i) {
        painter.fillPath(hill(static_cast<int>(i)), QColor(palette.hills[i]));
    }
    return image;
}

} // namespace frameflow
