#include "MovieControlWidgets.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>

#include <algorithm>
#include <cstdlib>

namespace frameflow {

namespace {

constexpr double handleRadius = 6.5;
constexpr double grooveHeight = 4;
constexpr QSize buttonSize(36, 36);

// Signs in a square of 20 points around the middle.
QPainterPath polygon(std::initializer_list<QPointF> points)
{
    QPainterPath path(*points.begin());
    for (const QPointF& point : points) {
        path.lineTo(point);
    }
    path.closeSubpath();
    return path;
}

QPainterPath bar(double x, double width, double height)
{
    QPainterPath path;
    path.addRoundedRect(QRectF(x, -height / 2, width, height), 1, 1);
    return path;
}

QPainterPath loudspeaker()
{
    return polygon({{-9, -3}, {-5.5, -3}, {-1, -7}, {-1, 7}, {-5.5, 3}, {-9, 3}});
}

QPainterPath stroked(const QPainterPath& line)
{
    QPainterPathStroker stroker;
    stroker.setWidth(1.8);
    stroker.setCapStyle(Qt::RoundCap);
    return stroker.createStroke(line);
}

QPainterPath waves()
{
    QPainterPath path;
    for (const double radius : {4.5, 8.5}) {
        QPainterPath arc;
        const QRectF circle(-radius, -radius, 2 * radius, 2 * radius);
        arc.arcMoveTo(circle, -45);
        arc.arcTo(circle, -45, 90);
        path.addPath(stroked(arc));
    }
    return path;
}

QPainterPath cross()
{
    QPainterPath path;
    path.moveTo(3, -3.5);
    path.lineTo(10, 3.5);
    path.moveTo(3, 3.5);
    path.lineTo(10, -3.5);
    return stroked(path);
}

QPainterPath sign(MovieGlyph glyph)
{
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    switch (glyph) {
    case MovieGlyph::Play:
        path.addPath(polygon({{-6, -8.5}, {9, 0}, {-6, 8.5}}));
        break;
    case MovieGlyph::Pause:
        path.addPath(bar(-6.5, 4.5, 16));
        path.addPath(bar(2, 4.5, 16));
        break;
    case MovieGlyph::StepBack:
        path.addPath(bar(5, 2.4, 12));
        path.addPath(polygon({{3, -6}, {-7, 0}, {3, 6}}));
        break;
    case MovieGlyph::StepForward:
        path.addPath(bar(-7.4, 2.4, 12));
        path.addPath(polygon({{-3, -6}, {7, 0}, {-3, 6}}));
        break;
    case MovieGlyph::Sound:
        path.addPath(loudspeaker());
        path.addPath(waves());
        break;
    case MovieGlyph::Silence:
        path.addPath(loudspeaker());
        path.addPath(cross());
        break;
    }
    return path;
}

void paintFocus(QPainter& painter, const QRectF& rect)
{
    painter.setPen(QPen(QColor(140, 190, 255), 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(rect.adjusted(1, 1, -1, -1), 8, 8);
}

} // namespace

double fadeOf(const QWidget& control)
{
    const QVariant fade
        = control.parentWidget() != nullptr ? control.parentWidget()->property(fadeProperty) : QVariant();
    return fade.isValid() ? fade.toDouble() : 1;
}

// ---- The button

MovieButton::MovieButton(MovieGlyph glyph, const QString& name, QWidget* parent) : QToolButton(parent), mGlyph(glyph)
{
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::ArrowCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setMeaning(glyph, name);
}

void MovieButton::setMeaning(MovieGlyph glyph, const QString& name)
{
    mGlyph = glyph;
    setAccessibleName(name);
    setToolTip(name);
    update();
}

QSize MovieButton::sizeHint() const
{
    return buttonSize;
}

void MovieButton::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(fadeOf(*this));
    const QRectF area = QRectF(rect()).adjusted(1, 1, -1, -1);
    if (isDown() || underMouse()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(255, 255, 255, isDown() ? 64 : 34));
        painter.drawRoundedRect(area, 8, 8);
    }
    if (hasFocus()) {
        paintFocus(painter, area);
    }
    painter.translate(QRectF(rect()).center());
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, isEnabled() ? 235 : 90));
    painter.drawPath(sign(mGlyph));
}

// ---- The slider

MovieSlider::MovieSlider(const QString& name, QWidget* parent) : QSlider(Qt::Horizontal, parent)
{
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::ArrowCursor);
    setMouseTracking(true);
    setAccessibleName(name);
    setToolTip(name);
}

QSize MovieSlider::sizeHint() const
{
    return {72, buttonSize.height()};
}

QRectF MovieSlider::groove() const
{
    const double margin = handleRadius + 3;
    return {margin, (height() - grooveHeight) / 2.0, std::max(1.0, width() - 2 * margin), grooveHeight};
}

int MovieSlider::valueAt(double x) const
{
    const QRectF line = groove();
    const double share = std::clamp((x - line.left()) / line.width(), 0.0, 1.0);
    return minimum() + qRound(share * (static_cast<double>(maximum()) - minimum()));
}

void MovieSlider::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(fadeOf(*this));
    const QRectF line = groove();
    const double range = static_cast<double>(maximum()) - minimum();
    const double share = range > 0 ? (static_cast<double>(sliderPosition()) - minimum()) / range : 0;
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, 64));
    painter.drawRoundedRect(line, grooveHeight / 2, grooveHeight / 2);
    if (hasFocus()) {
        paintFocus(painter, QRectF(rect()).adjusted(0, 6, 0, -6));
    }
    if (!isEnabled()) {
        return;
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, 235));
    painter.drawRoundedRect(
        QRectF(line.topLeft(), QSizeF(line.width() * share, line.height())), grooveHeight / 2, grooveHeight / 2);
    const double radius = isSliderDown() || underMouse() ? handleRadius + 1 : handleRadius;
    painter.drawEllipse(QPointF(line.left() + line.width() * share, line.center().y()), radius, radius);
}

void MovieSlider::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    event->accept();
    setSliderDown(true);
    setSliderPosition(valueAt(event->position().x()));
    update();
}

void MovieSlider::mouseMoveEvent(QMouseEvent* event)
{
    if (isSliderDown()) {
        event->accept();
        setSliderPosition(valueAt(event->position().x()));
    } else {
        event->ignore();
    }
}

void MovieSlider::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && isSliderDown()) {
        event->accept();
        setSliderDown(false);
        update();
    }
}

// Also at its ends the wheel is for it alone: whoever turns it does not mean the slide.
void MovieSlider::wheelEvent(QWheelEvent* event)
{
    event->accept();
    const QPoint angle = event->angleDelta();
    const int delta = std::abs(angle.x()) > std::abs(angle.y()) ? -angle.x() : angle.y();
    if (isSliderDown() || delta == 0) {
        return;
    }
    mTurned = (mTurned < 0) == (delta < 0) ? mTurned : 0;
    mTurned += qint64(delta) * singleStep();
    const qint64 whole = mTurned / QWheelEvent::DefaultDeltasPerStep;
    mTurned %= QWheelEvent::DefaultDeltasPerStep;
    const qint64 to = std::clamp<qint64>(sliderPosition() + whole, minimum(), maximum());
    setSliderPosition(static_cast<int>(to));
}

} // namespace frameflow
