#include "ReferenceDrawing.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace frameflow {

namespace {

// Premultiplied, 0 to 255.
struct Colour
{
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 0;
};

Colour operator*(const Colour& colour, double factor)
{
    return {colour.red * factor, colour.green * factor, colour.blue * factor, colour.alpha * factor};
}

Colour operator+(const Colour& a, const Colour& b)
{
    return {a.red + b.red, a.green + b.green, a.blue + b.blue, a.alpha + b.alpha};
}

Colour over(const Colour& above, const Colour& below)
{
    return above + below * (1 - above.alpha / 255);
}

Colour texel(const QImage& picture, int x, int y)
{
    const int column = std::clamp(x, 0, picture.width() - 1);
    const QRgb pixel
        = reinterpret_cast<const QRgb*>(picture.constScanLine(std::clamp(y, 0, picture.height() - 1)))[column];
    const double alpha = picture.hasAlphaChannel() ? qAlpha(pixel) : 255;
    return {double(qRed(pixel)), double(qGreen(pixel)), double(qBlue(pixel)), alpha};
}

// Pixels have their middles at halves.
Colour bilinear(const QImage& picture, QPointF place)
{
    const double left = std::floor(place.x() - 0.5);
    const double top = std::floor(place.y() - 0.5);
    const double x = place.x() - 0.5 - left;
    const double y = place.y() - 0.5 - top;
    const int column = static_cast<int>(left);
    const int row = static_cast<int>(top);
    return (texel(picture, column, row) * (1 - x) + texel(picture, column + 1, row) * x) * (1 - y)
        + (texel(picture, column, row + 1) * (1 - x) + texel(picture, column + 1, row + 1) * x) * y;
}

double clamped(double value)
{
    return std::clamp(value, 0.0, 1.0);
}

// How much of a pixel lies between 0 and the end of an axis of a picture, of which a pixel is a given length.
double covered(double at, double end, double ofAPixel)
{
    return clamped(std::min(at / ofAPixel + 0.5, 1.0) - std::max(0.5 - (end - at) / ofAPixel, 0.0));
}

// A step with what does not change from point to point.
struct Prepared
{
    const DrawItem* item = nullptr;
    QTransform fromPixels; // to the bounds of the picture
    bool isShown = false;
    std::vector<Prepared> source; // of a mixture
    std::vector<Prepared> target;
};

std::vector<Prepared> prepared(const DrawList& items, const ViewArea& area)
{
    std::vector<Prepared> result;
    for (const DrawItem& item : items) {
        Prepared& step = result.emplace_back();
        step.item = &item;
        if (item.mix) {
            step.source = prepared(item.mix->source, area);
            step.target = prepared(item.mix->target, area);
        } else {
            step.fromPixels = (item.toView * layersToPixels(area)).inverted(&step.isShown);
        }
    }
    return result;
}

Colour pictureAt(const Prepared& step, QPointF pixel)
{
    const DrawItem& item = *step.item;
    if (!step.isShown) {
        return {};
    }
    const QTransform& map = step.fromPixels;
    const QPointF place = map.map(pixel) - item.bounds.topLeft();
    const double coverage = covered(place.x(), item.bounds.width(), std::hypot(map.m11(), map.m21()))
        * covered(place.y(), item.bounds.height(), std::hypot(map.m12(), map.m22()));
    if (coverage <= 0) {
        return {};
    }
    const QPointF inPicture(place.x() / item.bounds.width() * item.picture.width(),
        (1 - place.y() / item.bounds.height()) * item.picture.height());
    return bilinear(item.picture, inPicture) * (item.opacity * coverage);
}

// The filters once more, each straight from its description. Points, y down from the middle or from the right edge.

double barsShare(double fromRight, double width, double progress, double pixel)
{
    const double bar = std::floor(fromRight / 30);
    const double travelled = progress * 40 - 10 * std::min(bar * 30 / width, 1.0);
    return clamped((travelled - (fromRight - bar * 30)) / pixel + 0.5);
}

double swipeShare(double x, double width, double progress)
{
    const double passed = clamped((x - width + progress * (width + 300)) / 300);
    return passed * passed * (3 - 2 * passed);
}

double modShare(QPointF fromMiddle, QPointF corner, double progress)
{
    const auto ring = [](QPointF at) { return 2 * std::log(1 + std::hypot(at.x(), at.y()) / 300); };
    const double outwards = 2 * (ring(fromMiddle) - std::round(ring(fromMiddle)));
    const double turn = std::atan2(fromMiddle.y(), fromMiddle.x()) / (2 * std::numbers::pi) * 8 + ring(fromMiddle) / 2;
    const double around = (2 * (turn - std::floor(turn)) - 1) * std::min(2 * ring(fromMiddle), 1.0);
    const double size = std::hypot(outwards, around) / std::numbers::sqrt2;
    const double later = 0.8 * ring(fromMiddle) / ring(corner);
    return clamped((1.15 * (1.8 * progress - later) - size) / 0.15);
}

double shareAt(const MixDraw& mix, const ViewArea& area, QPointF pixel)
{
    const QString& name = mix.effect.filterName;
    const QPointF place = pixel / area.pixelsPerPoint;
    if (mix.effect.kind != TransitionEffect::Kind::Filter || mix.progress <= 0 || mix.progress >= 1) {
        return mix.progress;
    }
    if (name == QLatin1String("CIBarsSwipeTransition")) {
        return barsShare(area.size.width() - place.x(), area.size.width(), mix.progress, 1 / area.pixelsPerPoint);
    }
    if (name == QLatin1String("CISwipeTransition")) {
        return swipeShare(place.x(), area.size.width(), mix.progress);
    }
    const QPointF corner = QPointF(area.pixels().width(), area.pixels().height()) / (2 * area.pixelsPerPoint);
    return modShare(place - corner, corner, mix.progress);
}

Colour colourAt(const std::vector<Prepared>& steps, const ViewArea& area, QPointF pixel)
{
    Colour colour;
    for (const Prepared& step : steps) {
        if (step.item->mix) {
            const double share = shareAt(*step.item->mix, area, pixel);
            const Colour source = colourAt(step.source, area, pixel);
            colour = over(source * (1 - share) + colourAt(step.target, area, pixel) * share, colour);
        } else {
            colour = over(pictureAt(step, pixel), colour);
        }
    }
    return colour;
}

} // namespace

QImage referenceDrawing(const DrawList& items, const ViewArea& area, const QRect& part)
{
    const std::vector<Prepared> steps = prepared(items, area);
    QImage image(part.size(), QImage::Format_RGB32);
    for (int y = 0; y < part.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < part.width(); ++x) {
            const Colour colour = colourAt(steps, area, QPointF(part.x() + x + 0.5, part.y() + y + 0.5));
            const auto rounded = [](double value) { return static_cast<int>(std::lround(value)); };
            line[x] = qRgb(rounded(colour.red), rounded(colour.green), rounded(colour.blue));
        }
    }
    return image;
}

double decibels(const QImage& actual, const QImage& expected)
{
    double squares = 0;
    for (int y = 0; y < actual.height(); ++y) {
        const auto* const a = reinterpret_cast<const QRgb*>(actual.constScanLine(y));
        const auto* const b = reinterpret_cast<const QRgb*>(expected.constScanLine(y));
        for (int x = 0; x < actual.width(); ++x) {
            const int red = qRed(a[x]) - qRed(b[x]);
            const int green = qGreen(a[x]) - qGreen(b[x]);
            const int blue = qBlue(a[x]) - qBlue(b[x]);
            squares += red * red + green * green + blue * blue;
        }
    }
    const double mean = squares / (3.0 * actual.width() * actual.height());
    return mean > 0 ? std::min(99.0, 10 * std::log10(255 * 255 / mean)) : 99;
}

} // namespace frameflow
