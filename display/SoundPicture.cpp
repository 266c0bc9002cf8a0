#include "SoundPicture.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>

#include <algorithm>

namespace frameflow {

namespace {

// Of the shorter side of the area.
constexpr double coverShare = 0.46;
constexpr double letterShare = 0.034;

QString nameWithoutSuffix(const QString& fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return (dot > 0 ? fileName.left(dot) : fileName).simplified();
}

// Two notes with a beam, in a square.
QPainterPath noteIn(const QRectF& square)
{
    const auto at = [&](double x, double y) {
        return QPointF(square.left() + x * square.width(), square.top() + y * square.height());
    };
    const double side = square.width();
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    for (const double x : {0.30, 0.70}) {
        const double sink = x < 0.5 ? 0.06 : 0.0;
        QTransform tilt;
        tilt.translate(at(x, 0.70 + sink).x(), at(x, 0.70 + sink).y());
        tilt.rotate(-20);
        QPainterPath head;
        head.addEllipse(QPointF(), 0.115 * side, 0.085 * side);
        path.addPath(tilt.map(head));
        path.addRect(QRectF(at(x + 0.075, 0.24 + sink), at(x + 0.112, 0.70 + sink)));
    }
    QPainterPath beam(at(0.375, 0.30));
    beam.lineTo(at(0.812, 0.235));
    beam.lineTo(at(0.812, 0.345));
    beam.lineTo(at(0.375, 0.41));
    beam.closeSubpath();
    path.addPath(beam);
    return path;
}

void paintShadow(QPainter& painter, const QRectF& rect, double radius)
{
    constexpr int steps = 14;
    const double reach = radius * 1.6;
    painter.setPen(Qt::NoPen);
    for (int i = steps; i > 0; --i) {
        const double out = reach * i / steps;
        painter.setBrush(QColor(0, 0, 0, 9));
        painter.drawRoundedRect(rect.adjusted(-out, -out * 0.6, out, out * 1.3), radius + out, radius + out);
    }
}

void paintCover(QPainter& painter, const QRectF& square, const QImage& cover)
{
    const double radius = square.width() * 0.035;
    if (cover.isNull()) {
        paintShadow(painter, square, radius);
        QLinearGradient sheet(square.topLeft(), square.bottomLeft());
        sheet.setColorAt(0, QColor(64, 68, 78));
        sheet.setColorAt(1, QColor(43, 46, 54));
        painter.setBrush(sheet);
        painter.drawRoundedRect(square, radius, radius);
        painter.setBrush(QColor(255, 255, 255, 150));
        painter.drawPath(noteIn(square));
        return;
    }
    QRectF place(QPointF(), QSizeF(cover.size()).scaled(square.size(), Qt::KeepAspectRatio));
    place.moveCenter(square.center());
    paintShadow(painter, place, radius);
    const double scale = painter.device()->devicePixelRatioF();
    const QSize pixels = (place.size() * scale).toSize().expandedTo({1, 1});
    QPainterPath outline;
    outline.addRoundedRect(place, radius, radius);
    QBrush texture(cover.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    texture.setTransform(QTransform::fromScale(place.width() / pixels.width(), place.height() / pixels.height())
        * QTransform::fromTranslate(place.left(), place.top()));
    painter.fillPath(outline, texture);
}

} // namespace

void paintSoundPicture(QPainter& painter, QSizeF area, const QImage& cover, const QString& fileName)
{
    const QRectF rect(QPointF(), area);
    QRadialGradient ground(
        rect.center() - QPointF(0, area.height() * 0.1), std::hypot(area.width(), area.height()) / 2);
    ground.setColorAt(0, QColor(34, 36, 42));
    ground.setColorAt(1, QColor(12, 13, 15));
    painter.fillRect(rect, ground);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);

    const double shorter = std::min(area.width(), area.height());
    const double side = shorter * coverShare;
    QRectF square(0, 0, side, side);
    square.moveCenter(rect.center() - QPointF(0, shorter * 0.05));
    paintCover(painter, square, cover);

    QFont font = painter.font();
    font.setPixelSize(std::max(11, qRound(shorter * letterShare)));
    painter.setFont(font);
    const QFontMetricsF metrics(font);
    const double margin = shorter * 0.05;
    const QRectF line(margin, square.bottom() + shorter * 0.055, area.width() - 2 * margin, metrics.height());
    painter.setPen(QColor(255, 255, 255, 200));
    painter.drawText(line, Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextSingleLine,
        metrics.elidedText(nameWithoutSuffix(fileName), Qt::ElideMiddle, line.width()));
}

} // namespace frameflow
