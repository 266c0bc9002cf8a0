#include "Duplicates.h"

#include <QHash>

#include <algorithm>

namespace frameflow {

namespace {

// The files other than JPEGs that share a base name.
struct Companions
{
    const SlideItem* first = nullptr;
    int jpegs = 0; // of the same base name
};

} // namespace

Duplicates takeDuplicates(SlideItems& items)
{
    Duplicates taken;
    const auto middle = std::find_if(
        items.begin(), items.end(), [&](const auto& item) { return item->isJPG() != items[0]->isJPG(); });
    if (middle == items.end()) {
        return taken; // one group is empty
    }
    QHash<QByteArrayView, Companions> companions;
    companions.reserve(static_cast<qsizetype>(items.size() / 2));
    std::vector<const SlideItem*> jpegs;
    for (const auto& item : items) {
        if (item->isJPG()) {
            jpegs.push_back(item.data());
        } else if (auto& group = companions[item->baseName()]; group.first == nullptr) {
            group.first = item.data();
        }
    }
    for (const SlideItem* jpeg : jpegs) {
        if (const auto group = companions.find(jpeg->baseName()); group != companions.end()) {
            ++group->jpegs;
            taken.urls.append(group->first->mURL());
        }
    }
    if (taken.urls.isEmpty()) {
        return taken;
    }
    // Equal items have equal names, so each is found in the group of the one that it is equal to.
    const auto isTaken = [&](const SlideItemPtr& item) {
        if (item->isJPG()) {
            return false;
        }
        const auto group = companions.constFind(item->baseName());
        return group->jpegs > 0 && (group->first == item.data() || item->isEqual(*group->first));
    };
    SlideItems kept;
    kept.reserve(items.size());
    for (auto& item : items) {
        (isTaken(item) ? taken.items : kept).push_back(std::move(item));
    }
    items = std::move(kept);
    return taken;
}

} // namespace frameflow
