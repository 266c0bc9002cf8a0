#include "RasterRenderer.h"

#include "Enlargement.h"
#include "Placement.h"
#include "ReducedCopies.h"

#include <QPainter>

#include <algorithm>

namespace frameflow {

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
    const Placement place = placementOf(item, area);
    switch (place.kind) {
    case Placement::Kind::Nowhere:
        break;
    case Placement::Kind::Upright:
        paintUpright(painter, item, place, area);
        break;
    case Placement::Kind::Turned:
        paintTurned(painter, item, place);
        break;
    }
}

void RasterRenderer::paintUpright(
    QPainter& painter, const DrawItem& item, const Placement& place, const ViewArea& area) const
{
    const QImage picture = mCopies.drawable(item.picture, place.pixels);
    if (place.isWhole() && picture.size() == place.pixels) {
        const QRect frame = place.rect.toRect();
        const QRect visible = frame & QRect(QPoint(), area.pixels());
        if (!visible.isEmpty()) {
            painter.drawImage(visible.topLeft(), picture, visible.translated(-frame.topLeft()));
        }
        return;
    }
    // Only what is visible is looked at: frames can be far larger than what drawing can count.
    const double enlargement
        = std::max(place.rect.width() / picture.width(), place.rect.height() / picture.height()); // of a pixel
    const bool isLarge = enlargement >= leastEnlargement;
    // What is not in the part is not mixed into it: it includes the neighbours of the pixels that are seen.
    const double margin = isLarge ? 2 : 2 + 2 * enlargement;
    const VisiblePart part = visiblePart(place.rect, picture.size(), area, margin);
    if (part.pixels.isEmpty()) {
        return;
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setRenderHint(QPainter::Antialiasing, !place.isWhole());
    if (isLarge) {
        // As a brush, so that edges between pixels are soft.
        const QRect pixels = part.pixels.toAlignedRect();
        painter.setBrushOrigin(pixels.topLeft());
        painter.fillRect(part.pixels, enlarged(picture, place.rect, pixels));
        return;
    }
    // QPainter moves a picture of the right size to whole pixels; one that is stretched ever so little it does not.
    constexpr double stretch = 1e-6;
    painter.drawImage(part.pixels, picture, part.ofPicture.adjusted(0, 0, -stretch, -stretch));
}

void RasterRenderer::paintTurned(QPainter& painter, const DrawItem& item, const Placement& place) const
{
    const QImage picture = mCopies.drawable(item.picture, place.pixels);
    // From the picture's pixels, y down, to its bounds, y up.
    const QTransform toBounds(item.bounds.width() / picture.width(), 0, 0, -item.bounds.height() / picture.height(),
        item.bounds.x(), item.bounds.y() + item.bounds.height());
    painter.save();
    painter.setRenderHints(QPainter::SmoothPixmapTransform | QPainter::Antialiasing);
    painter.setTransform(toBounds * place.toPixels, true);
    painter.drawImage(QRectF(picture.rect()), picture, QRectF(picture.rect()));
    painter.restore();
}

void RasterRenderer::paintMix(QPainter& painter, const MixDraw& mix, const ViewArea& area)
{
    if (!canMix(mix.effect)) {
        for (const DrawItem& item : mix.target) {
            paintItem(painter, item, area);
        }
        return;
    }
    QImage source = drawn(mix.source, area);
    QImage target = drawn(mix.target, area);
    QImage result = takeBuffer(area.pixels());
    mMixer.mix(result, source, target, mix, area);
    painter.setOpacity(1);
    painter.drawImage(QPoint(), result);
    for (QImage* buffer : {&source, &target, &result}) {
        giveBack(std::move(*buffer));
    }
}

QImage RasterRenderer::drawn(const DrawList& items, const ViewArea& area)
{
    if (items.empty()) {
        return {};
    }
    if (QImage picture = wholePicture(items, area); !picture.isNull()) {
        return picture;
    }
    QImage image = takeBuffer(area.pixels());
    QPainter painter(&image);
    paintOver(Qt::transparent, painter, items, area);
    return image;
}

QImage RasterRenderer::wholePicture(const DrawList& items, const ViewArea& area) const
{
    const DrawItem& item = items.front();
    if (items.size() > 1 || !hidesEverything(item, area)) {
        return {};
    }
    const Placement place = placementOf(item, area);
    if (place.rect != QRectF(QPointF(), area.pixels())) {
        return {};
    }
    QImage picture = mCopies.drawable(item.picture, place.pixels);
    return picture.size() == place.pixels && picture.format() == QImage::Format_RGB32 ? picture : QImage();
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

void RasterRenderer::giveBack(QImage buffer)
{
    if (buffer.format() == QImage::Format_ARGB32_Premultiplied) {
        mSpareBuffers.push_back(std::move(buffer));
    }
}

} // namespace frameflow
