#include "KLImageView.h"

#include <QImageReader>
#include <QPainter>
#include <QPixmapCache>

namespace frameflow {

KLImageView::KLImageView(const QString& name, QWidget* parent) : QWidget(parent), mName(name)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
}

bool KLImageView::hasImage() const
{
    return !image().isNull();
}

// Shared by all that show it, drawn for the density of the screen.
QPixmap KLImageView::image() const
{
    const qreal ratio = devicePixelRatioF();
    const QString key = mName + QLatin1Char('@') + QString::number(ratio);
    QPixmap found;
    if (!QPixmapCache::find(key, &found)) {
        QImageReader reader(mName);
        reader.setScaledSize((QSizeF(reader.size()) * ratio).toSize());
        found = QPixmap::fromImageReader(&reader);
        found.setDevicePixelRatio(ratio);
        QPixmapCache::insert(key, found);
    }
    return found;
}

void KLImageView::paintEvent(QPaintEvent* /*event*/)
{
    const QPixmap symbol = image();
    if (symbol.isNull()) {
        return;
    }
    QSizeF size = symbol.deviceIndependentSize();
    if (size.width() > width() || size.height() > height()) {
        size.scale(this->size(), Qt::KeepAspectRatio);
    }
    QRectF place(QPointF(), size);
    place.moveCenter(QRectF(rect()).center());
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(place, symbol, QRectF(symbol.rect()));
}

} // namespace frameflow
