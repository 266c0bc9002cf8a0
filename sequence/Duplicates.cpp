#include "Duplicates.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <iterator>

namespace frameflow {

Duplicates takeDuplicates(SlideItems& items)
{
    QHash<QByteArrayView, const SlideItem*> companions; // the first of each base name
    std::vector<const SlideItem*> jpegs;
    for (const auto& item : items) {
        if (item->isJPG()) {
            jpegs.push_back(item.data());
            continue;
        }
        auto& first = companions[item->baseName()];
        if (first == nullptr) {
            first = item.data();
        }
    }
    Duplicates taken;
    if (jpegs.empty() || companions.isEmpty()) {
        return taken;
    }
    for (const SlideItem* jpeg : jpegs) {
        if (const SlideItem* companion = companions.value(jpeg->baseName())) {
            taken.urls.append(companion->mURL());
        }
    }
    if (taken.urls.isEmpty()) {
        return taken;
    }
    const QSet<FileUrl> gone(taken.urls.cbegin(), taken.urls.cend());
    const auto rest = std::stable_partition(
        items.begin(), items.end(), [&](const auto& item) { return item->isJPG() || !gone.contains(item->mURL()); });
    taken.items.assign(std::make_move_iterator(rest), std::make_move_iterator(items.end()));
    items.erase(rest, items.end());
    return taken;
}

} // namespace frameflow
