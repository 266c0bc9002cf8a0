#include "PictureQuads.h"

#include <algorithm>
#include <cmath>

namespace frameflow {

namespace {

// One axis of a picture, in its pixels.
struct Span
{
    double from;
    double to;
};

// The stretches that an axis is cut into, so that each with its borders fits into a texture.
struct Stretch
{
    int from;
    int to;
    int textureFrom; // with its borders
    int textureTo;
};

std::vector<Stretch> stretches(int length, int largest)
{
    if (length <= largest) {
        return {{0, length, 0, length}};
    }
    std::vector<Stretch> result;
    const int inside = std::max(1, largest - 2);
    for (int from = 0; from < length; from += inside) {
        const int to = std::min(from + inside, length);
        result.push_back({from, to, std::max(0, from - 1), std::min(to + 1, length)});
    }
    return result;
}

// The part of a stretch that is drawn; at the picture's edges it goes as far as the whole does.
Span drawnPart(const Stretch& stretch, int length, const Span& all)
{
    return {std::max(stretch.from == 0 ? all.from : stretch.from, all.from),
        std::min(stretch.to == length ? all.to : stretch.to, all.to)};
}

// How a picture lies on the view.
struct Lie
{
    QTransform toPixels; // from the picture's pixels, y down
    double ofAPixelInX = 0; // the length of a device pixel, in the picture's
    double ofAPixelInY = 0;
};

Lie lieOf(const DrawItem& item, const Placement& place, QSize picture)
{
    Lie lie;
    if (place.kind == Placement::Kind::Upright) {
        const QRectF& rect = place.rect;
        lie.toPixels
            = QTransform(rect.width() / picture.width(), 0, 0, rect.height() / picture.height(), rect.x(), rect.y());
    } else {
        const QTransform toBounds(item.bounds.width() / picture.width(), 0, 0, -item.bounds.height() / picture.height(),
            item.bounds.x(), item.bounds.y() + item.bounds.height());
        lie.toPixels = toBounds * place.toPixels;
    }
    const QTransform back = lie.toPixels.inverted();
    lie.ofAPixelInX = std::hypot(back.m11(), back.m21());
    lie.ofAPixelInY = std::hypot(back.m12(), back.m22());
    return lie;
}

// What is drawn of the picture: a pixel more than it all around, for its soft edges, but not far beyond the view.
QRectF drawnArea(const Placement& place, const Lie& lie, QSize picture, const ViewArea& area)
{
    const QRectF all
        = QRectF(QPointF(), picture).adjusted(-lie.ofAPixelInX, -lie.ofAPixelInY, lie.ofAPixelInX, lie.ofAPixelInY);
    if (place.kind != Placement::Kind::Upright) {
        return all;
    }
    const VisiblePart part = visiblePart(place.rect.adjusted(-1, -1, 1, 1), picture, area);
    return part.pixels.isEmpty() ? QRectF() : all & lie.toPixels.inverted().mapRect(part.pixels);
}

// An edge that is out of reach is the same for all corners, so that no precision is lost to it.
template <typename Distance>
void setDistances(std::array<QuadCorner, 4>& corners, float QuadCorner::*edge, Distance distance)
{
    constexpr float outOfReach = 4;
    std::array<double, 4> distances{};
    for (size_t i = 0; i < corners.size(); ++i) {
        distances[i] = distance(i);
    }
    const bool isNear = *std::min_element(distances.begin(), distances.end()) < outOfReach;
    for (size_t i = 0; i < corners.size(); ++i) {
        corners[i].*edge = isNear ? static_cast<float>(distances[i]) : outOfReach;
    }
}

PictureQuad quad(const QRect& part, const Span& inX, const Span& inY, const Lie& lie, QSize picture)
{
    PictureQuad result;
    result.part = part;
    const std::array<QPointF, 4> places{
        QPointF(inX.from, inY.from), QPointF(inX.to, inY.from), QPointF(inX.from, inY.to), QPointF(inX.to, inY.to)};
    for (size_t i = 0; i < places.size(); ++i) {
        QuadCorner& corner = result.corners[i];
        const QPointF pixel = lie.toPixels.map(places[i]);
        corner.x = static_cast<float>(pixel.x());
        corner.y = static_cast<float>(pixel.y());
        corner.u = static_cast<float>((places[i].x() - part.x()) / part.width());
        corner.v = static_cast<float>((places[i].y() - part.y()) / part.height());
    }
    setDistances(result.corners, &QuadCorner::left, [&](size_t i) { return places[i].x() / lie.ofAPixelInX; });
    setDistances(result.corners, &QuadCorner::right,
        [&](size_t i) { return (picture.width() - places[i].x()) / lie.ofAPixelInX; });
    setDistances(result.corners, &QuadCorner::top, [&](size_t i) { return places[i].y() / lie.ofAPixelInY; });
    setDistances(result.corners, &QuadCorner::bottom,
        [&](size_t i) { return (picture.height() - places[i].y()) / lie.ofAPixelInY; });
    return result;
}

} // namespace

std::vector<PictureQuad> pictureQuads(
    const DrawItem& item, const Placement& place, QSize picture, int largestTexture, const ViewArea& area)
{
    if (place.kind == Placement::Kind::Nowhere || picture.isEmpty()) {
        return {};
    }
    const Lie lie = lieOf(item, place, picture);
    const QRectF drawn = drawnArea(place, lie, picture, area);
    const Span allX{drawn.left(), drawn.right()};
    const Span allY{drawn.top(), drawn.bottom()};
    std::vector<PictureQuad> quads;
    for (const Stretch& row : stretches(picture.height(), largestTexture)) {
        const Span inY = drawnPart(row, picture.height(), allY);
        for (const Stretch& column : stretches(picture.width(), largestTexture)) {
            const Span inX = drawnPart(column, picture.width(), allX);
            if (inX.from < inX.to && inY.from < inY.to) {
                const QRect part(column.textureFrom, row.textureFrom, column.textureTo - column.textureFrom,
                    row.textureTo - row.textureFrom);
                quads.push_back(quad(part, inX, inY, lie, picture));
            }
        }
    }
    return quads;
}

} // namespace frameflow
