#include "RasterRenderer.h"

#include "Mixing.h"
#include "ReducedCopies.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace frameflow {

namespace {

// The pixels of a picture that stands upright; absent where it is turned, squeezed or out of all measure.
std::optional<QRect> uprightPixels(const DrawItem& item, const ViewArea& area)
{
    const QTransform& map = item.toView;
    const bool isUpright = map.m11() == 1 && map.m22() == 1 && map.m12() == 0 && map.m21() == 0;
    return isUpright ? pixelRect(item.bounds.translated(map.dx(), map.dy()), area) : std::nullopt;
}

bool hidesEverything(const DrawItem& item, const ViewArea& area)
{
    if (item.mix || item.opacity < 1 || item.picture.hasAlphaChannel()) {
        return false;
    }
    const auto pixels = uprightPixels(item, area);
    return pixels && pixels->contains(QRect(QPoint(), area.pixels()));
}

} // namespace

void RasterRenderer::paint(QPainter& painter, const DrawList& items, const ViewArea& area)
{
    mMixed = false;
    painter.save();
    // Exactly one to one, so that pictures of the right size are copied.
    painter.scale(1 / area.pixelsPerPoint, 1 / area.pixelsPerPoint);
    paintOver(Qt::black, painter, items, area);
    painter.restore();
    if (!mMixed) {
        mSpareBuffers.clear();
    }
}

void RasterRenderer::paintOver(const QColor& background, QPainter& painter, const DrawList& items, const ViewArea& area)
{
    const auto top
        = std::find_if(items.rbegin(), items.rend(), [&](const DrawItem& item) { return hidesEverything(item, area); });
    if (top == items.rend()) {
        painter.setOpacity(1);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(QRect(QPoint(), area.pixels()), background);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }
    for (auto item = top == items.rend() ? items.begin() : std::prev(top.base()); item != items.end(); ++item) {
        paintItem(painter, *item, area);
    }
}

void RasterRenderer::paintItem(QPainter& painter, const DrawItem& item, const ViewArea& area)
{
    if (item.mix) {
        paintMix(painter, *item.mix, area);
    } else {
        paintPicture(painter, item, area);
    }
}

void RasterRenderer::paintPicture(QPainter& painter, const DrawItem& item, const ViewArea& area) const
{
    painter.setOpacity(std::clamp(item.opacity, 0.0, 1.0));
    const QTransform& map = item.toView;
    if (map.m12() == 0 && map.m21() == 0 && map.m11() == 1 && map.m22() == 1) {
        if (const auto frame = uprightPixels(item, area)) {
            paintUpright(painter, item, *frame, area);
        }
    } else {
        paintTurned(painter, item, area);
    }
}

void RasterRenderer::paintUpright(
    QPainter& painter, const DrawItem& item, const QRect& frame, const ViewArea& area) const
{
    const QRect visible = frame & QRect(QPoint(), area.pixels());
    if (visible.isEmpty()) {
        return;
    }
    const QImage picture = mCopies.drawable(item.picture, frame.size());
    const QRect part = visible.translated(-frame.topLeft());
    if (picture.size() == frame.size()) {
        painter.drawImage(visible.topLeft(), picture, part);
        return;
    }
    // Only what is visible is looked at: frames can be far larger than what drawing can count.
    const double x = static_cast<double>(picture.width()) / frame.width();
    const double y = static_cast<double>(picture.height()) / frame.height();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(
        QRectF(visible), picture, QRectF(part.x() * x, part.y() * y, part.width() * x, part.height() * y));
}

void RasterRenderer::paintTurned(QPainter& painter, const DrawItem& item, const ViewArea& area) const
{
    const QSizeF size = item.bounds.size() * area.pixelsPerPoint;
    constexpr double limit = 30000; // pixels a side; QPainter's fixed-point numbers end a little above
    if (!(size.width() > 0 && size.width() < limit && size.height() > 0 && size.height() < limit)) {
        return;
    }
    // Seen from the side it is thinner than anything that can be drawn, and its map cannot be inverted.
    if (!(std::abs(item.toView.determinant()) * std::min(size.width(), size.height()) > 0.02)) {
        return;
    }
    const QImage picture = mCopies.drawable(item.picture, size.toSize().expandedTo(QSize(1, 1)));
    // From the picture's pixels, y down, to its bounds, y up.
    const QTransform toBounds(item.bounds.width() / picture.width(), 0, 0, -item.bounds.height() / picture.height(),
        item.bounds.x(), item.bounds.y() + item.bounds.height());
    painter.save();
    painter.setRenderHints(QPainter::SmoothPixmapTransform | QPainter::Antialiasing);
    painter.setTransform(toBounds * item.toView * layersToPixels(area), true);
    painter.drawImage(QRectF(picture.rect()), picture, QRectF(picture.rect()));
    painter.restore();
}

void RasterRenderer::paintMix(QPainter& painter, const MixDraw& mix, const ViewArea& area)
{
    const MixFunction function = mixFunctionFor(mix.effect);
    if (!function) {
        for (const DrawItem& item : mix.target) {
            paintItem(painter, item, area);
        }
        return;
    }
    QImage source = drawn(mix.source, area);
    QImage target = drawn(mix.target, area);
    QImage result = takeBuffer(area.pixels());
    function(result, source, target, mix, area);
    painter.setOpacity(1);
    painter.drawImage(QPoint(), result);
    for (QImage* buffer : {&source, &target, &result}) {
        mSpareBuffers.push_back(std::move(*buffer));
    }
}

QImage RasterRenderer::drawn(const DrawList& items, const ViewArea& area)
{
    QImage image = takeBuffer(area.pixels());
    QPainter painter(&image);
    paintOver(Qt::transparent, painter, items, area);
    return image;
}

QImage RasterRenderer::takeBuffer(QSize pixels)
{
    mMixed = true;
    if (!mSpareBuffers.empty()) {
        QImage buffer = std::move(mSpareBuffers.back());
        mSpareBuffers.pop_back();
        if (buffer.size() == pixels) {
            return buffer;
        }
    }
    return QImage(pixels, QImage::Format_ARGB32_Premultiplied);
}

} // namespace frameflow
