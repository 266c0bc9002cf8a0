#include "ControlIcons.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>

#include <algorithm>

namespace frameflow {

namespace {

// Signs stand in a square of 20 points around the middle.
constexpr double square = 20;

QPainterPath polygon(std::initializer_list<QPointF> points)
{
    QPainterPath path(*points.begin());
    for (const QPointF& point : points) {
        path.lineTo(point);
    }
    path.closeSubpath();
    return path;
}

QPainterPath rounded(const QRectF& rect, double radius)
{
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

QPainterPath lines(std::initializer_list<QLineF> all, double width)
{
    QPainterPath path;
    for (const QLineF& line : all) {
        path.moveTo(line.p1());
        path.lineTo(line.p2());
    }
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    return stroker.createStroke(path);
}

QPainterPath first()
{
    QPainterPath path = rounded({-9.5, -7, 2.4, 14}, 1);
    path.addPath(polygon({{0.5, -7}, {-7, 0}, {0.5, 7}}));
    path.addPath(polygon({{9, -7}, {1.5, 0}, {9, 7}}));
    return path;
}

QPainterPath next()
{
    QPainterPath path = polygon({{-6.5, -7.5}, {4, 0}, {-6.5, 7.5}});
    path.addPath(rounded({4.4, -7.5, 2.6, 15}, 1));
    return path;
}

QPainterPath magnifier(bool withUpright)
{
    QPainterPath circle;
    circle.addEllipse(QPointF(-1.5, -1.5), 6.5, 6.5);
    QPainterPathStroker stroker;
    stroker.setWidth(2);
    QPainterPath path = stroker.createStroke(circle);
    path.addPath(lines({{3.6, 3.6, 8.2, 8.2}}, 3));
    path.addPath(lines({{-4.3, -1.5, 1.3, -1.5}}, 1.8));
    if (withUpright) {
        path.addPath(lines({{-1.5, -4.3, -1.5, 1.3}}, 1.8));
    }
    return path;
}

// One to one.
QPainterPath oneToOne()
{
    QPainterPath path = lines({{-5.6, -6, -5.6, 6}, {-5.6, -6, -8.2, -4}, {6.6, -6, 6.6, 6}, {6.6, -6, 4, -4}}, 2.2);
    for (const double y : {-2.5, 3.0}) {
        path.addEllipse(QPointF(0, y), 1.4, 1.4);
    }
    return path;
}

QPainterPath thumbnails()
{
    QPainterPath path;
    for (const double x : {-8.5, -2.5, 3.5}) {
        for (const double y : {-8.5, -2.5, 3.5}) {
            path.addPath(rounded({x, y, 5, 5}, 1));
        }
    }
    return path;
}

QPainterPath sign(const QString& command, QIcon::State state)
{
    if (command == QLatin1String("Play")) {
        return state == QIcon::On ? rounded({-7, -7, 14, 14}, 1.5) : polygon({{-6, -9}, {9, 0}, {-6, 9}});
    }
    if (command == QLatin1String("firstSlide")) {
        return first();
    }
    if (command == QLatin1String("previousSlide")) {
        return QTransform::fromScale(-1, 1).map(next());
    }
    if (command == QLatin1String("nextSlide")) {
        return next();
    }
    if (command == QLatin1String("ZoomOff") || command == QLatin1String("ZoomIn")) {
        return magnifier(command == QLatin1String("ZoomIn"));
    }
    if (command == QLatin1String("ZoomOne")) {
        return oneToOne();
    }
    if (command == QLatin1String("ShowGridScreen")) {
        return thumbnails();
    }
    if (command == QLatin1String("cancel")) {
        return lines({{-6, -6, 6, 6}, {-6, 6, 6, -6}}, 2.6);
    }
    return {};
}

class SignEngine : public QIconEngine
{
public:
    explicit SignEngine(QString command) : mCommand(std::move(command)) { }

    QIconEngine* clone() const override { return new SignEngine(mCommand); }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override
    {
        const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        QPainterPath path = sign(mCommand, state);
        path.setFillRule(Qt::WindingFill);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(QRectF(rect).center());
        const double scale = std::min(rect.width(), rect.height()) / square;
        painter->scale(scale, scale);
        painter->fillPath(path, QGuiApplication::palette().color(group, QPalette::ButtonText));
        painter->restore();
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return picture;
    }

private:
    const QString mCommand;
};

} // namespace

QIcon controlIcon(const QString& command)
{
    return sign(command, QIcon::Off).isEmpty() ? QIcon() : QIcon(new SignEngine(command));
}

} // namespace frameflow
