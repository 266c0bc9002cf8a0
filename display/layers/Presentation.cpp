#include "Presentation.h"

#include <algorithm>

namespace frameflow {

namespace {

// Transitions that replace each other mid-way each show the one before; beyond this depth the oldest are let go.
constexpr int deepestMixture = 4;

// What a layer inherits.
struct Surroundings
{
    QTransform toView;
    double opacity = 1;
    double viewWidth = 0;
    bool movesInX = false;
    bool movesInY = false;
};

bool isOfX(KeyPath keyPath)
{
    return keyPath == KeyPath::BoundsSizeWidth || keyPath == KeyPath::PositionX;
}

bool isOfY(KeyPath keyPath)
{
    return keyPath == KeyPath::BoundsSizeHeight || keyPath == KeyPath::PositionY;
}

bool isMoving(const Layer& layer, TimePoint now, bool (*isOfAxis)(KeyPath))
{
    return std::any_of(layer.runs().begin(), layer.runs().end(), [&](const auto& run) {
        const auto* change = std::get_if<PropertyChange>(&run->animation->effect);
        return change && isOfAxis(change->keyPath) && run->progressAt(now);
    });
}

void applyChange(LayerValues& values, const PropertyChange& change, double progress)
{
    const double value = change.from + (change.to - change.from) * progress;
    switch (change.keyPath) {
    case KeyPath::BoundsSizeWidth:
        values.bounds.setWidth(value);
        break;
    case KeyPath::BoundsSizeHeight:
        values.bounds.setHeight(value);
        break;
    case KeyPath::PositionX:
        values.position.setX(value);
        break;
    case KeyPath::PositionY:
        values.position.setY(value);
        break;
    case KeyPath::Opacity:
        values.opacity = value;
        break;
    case KeyPath::TransformRotationX:
        values.transform.rotationX = value;
        break;
    case KeyPath::TransformRotationZ:
        values.transform.rotationZ = value;
        break;
    }
}

int depthOf(const DrawList& items)
{
    int depth = 0;
    for (const DrawItem& item : items) {
        if (item.mix) {
            depth = std::max({depth, 1 + depthOf(item.mix->source), 1 + depthOf(item.mix->target)});
        }
    }
    return depth;
}

DrawList moved(DrawList items, double dx)
{
    for (DrawItem& item : items) {
        if (item.mix) {
            auto mix = std::make_shared<MixDraw>(*item.mix);
            mix->source = moved(std::move(mix->source), dx);
            mix->target = moved(std::move(mix->target), dx);
            item.mix = std::move(mix);
        } else {
            item.toView *= QTransform::fromTranslate(dx, 0);
            item.movesInX = true;
        }
    }
    return items;
}

bool isSinglePicture(const DrawList& items)
{
    return items.size() == 1 && !items.front().mix;
}

// Fading one picture to or from nothing is drawing it less opaque, which needs no picture in between.
DrawList faded(const DrawList& source, DrawList target, const TransitionEffect& effect, double progress)
{
    if (source.empty() && target.empty()) {
        return {};
    }
    if (source.empty() && isSinglePicture(target)) {
        target.front().opacity *= progress;
        return target;
    }
    if (target.empty() && isSinglePicture(source)) {
        target = source;
        target.front().opacity *= 1 - progress;
        return target;
    }
    DrawItem item;
    item.mix = std::make_shared<const MixDraw>(MixDraw{effect, progress, source, std::move(target)});
    return {item};
}

DrawList mixed(const AnimationRun& run, double paced, DrawList target, double viewWidth)
{
    const auto& effect = std::get<TransitionEffect>(run.animation->effect);
    const double progress = effect.startProgress + (effect.endProgress - effect.startProgress) * paced;
    switch (effect.kind) {
    case TransitionEffect::Kind::Fade:
        return faded(*run.source, std::move(target), effect, progress);
    case TransitionEffect::Kind::PushFromRight: {
        DrawList items = moved(*run.source, -progress * viewWidth);
        for (DrawItem& item : moved(std::move(target), (1 - progress) * viewWidth)) {
            items.push_back(std::move(item));
        }
        return items;
    }
    case TransitionEffect::Kind::Filter:
        break;
    }
    DrawItem item;
    item.mix = std::make_shared<const MixDraw>(MixDraw{effect, progress, *run.source, std::move(target)});
    return {item};
}

std::vector<const Layer*> drawingOrder(const Layer& layer)
{
    std::vector<const Layer*> order;
    order.reserve(layer.sublayers().size());
    for (const LayerPtr& sublayer : layer.sublayers()) {
        order.push_back(sublayer.get());
    }
    std::stable_sort(order.begin(), order.end(), [](const Layer* a, const Layer* b) {
        if (a->level() != b->level()) {
            return b->level() == LayerLevel::Front;
        }
        return a->zPosition() < b->zPosition();
    });
    return order;
}

DrawList presentedLayer(const Layer& layer, TimePoint now, const Surroundings& around)
{
    const LayerValues values = presentedValues(layer, now);
    const QTransform toView = values.toSuperlayer() * around.toView;
    const double opacity = std::clamp(values.opacity, 0.0, 1.0) * around.opacity;
    const bool movesInX = around.movesInX || isMoving(layer, now, isOfX);
    const bool movesInY = around.movesInY || isMoving(layer, now, isOfY);
    DrawList items;
    if (opacity > 0) {
        if (!values.contents.isNull()) {
            items.push_back({values.contents, values.bounds, toView, opacity, nullptr, movesInX, movesInY});
        }
        for (const Layer* sublayer : drawingOrder(layer)) {
            const Surroundings within{toView, opacity, around.viewWidth, movesInX, movesInY};
            for (DrawItem& item : presentedLayer(*sublayer, now, within)) {
                items.push_back(std::move(item));
            }
        }
    }
    for (const auto& run : layer.runs()) {
        if (std::holds_alternative<TransitionEffect>(run->animation->effect)) {
            if (const auto progress = run->progressAt(now)) {
                items = mixed(*run, *progress, std::move(items), around.viewWidth);
            }
        }
    }
    return items;
}

} // namespace

LayerValues presentedValues(const Layer& layer, TimePoint now)
{
    LayerValues values = layer.values();
    for (const auto& run : layer.runs()) {
        if (const auto* change = std::get_if<PropertyChange>(&run->animation->effect)) {
            if (const auto progress = run->progressAt(now)) {
                applyChange(values, *change, *progress);
            }
        }
    }
    return values;
}

DrawList presentation(const Layer& root, TimePoint now)
{
    Surroundings around;
    around.viewWidth = root.bounds().width();
    return presentedLayer(root, now, around);
}

DrawList captured(const Layer& layer, TimePoint now)
{
    Surroundings around;
    around.viewWidth = layer.bounds().width();
    for (const Layer* above = layer.superlayer(); above; above = above->superlayer()) {
        const LayerValues values = presentedValues(*above, now);
        around.toView *= values.toSuperlayer();
        around.opacity *= std::clamp(values.opacity, 0.0, 1.0);
        around.viewWidth = values.bounds.width();
    }
    DrawList items = presentedLayer(layer, now, around);
    while (depthOf(items) >= deepestMixture) {
        DrawList targets;
        for (DrawItem& item : items) {
            if (item.mix) {
                targets.insert(targets.end(), item.mix->target.begin(), item.mix->target.end());
            } else {
                targets.push_back(std::move(item));
            }
        }
        items = std::move(targets);
    }
    return items;
}

QSet<qint64> picturesIn(const DrawList& items)
{
    QSet<qint64> pictures;
    for (const DrawItem& item : items) {
        if (item.mix) {
            pictures.unite(picturesIn(item.mix->source)).unite(picturesIn(item.mix->target));
        } else {
            pictures.insert(item.picture.cacheKey());
        }
    }
    return pictures;
}

} // namespace frameflow
