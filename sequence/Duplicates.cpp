#include "Duplicates.h"

#include "ByteTable.h"
#include "ItemList.h"

namespace frameflow {

Duplicates takeDuplicates(SlideItems& items)
{
    Duplicates taken;
    std::vector<quint32> jpegs; // places in the list
    std::vector<quint32> others;
    forEachPath(items, [&](const SlideItemPtr& item, size_t place) {
        (item->isJPG() ? jpegs : others).push_back(static_cast<quint32>(place));
    });
    if (jpegs.empty() || others.empty()) {
        return taken;
    }
    ByteTable companions(others.size()); // the first of each base name
    const auto keyOf = [&](quint32 other) { return items[others[other]]->baseName(); };
    std::vector<quint32> firstOf(others.size());
    for (quint32 other = 0; other < others.size(); ++other) {
        firstOf[other] = companions.findOrInsert(keyOf(other), other, keyOf);
    }
    std::vector<bool> isTaken(others.size()); // of the first ones
    for (const quint32 jpeg : jpegs) {
        const quint32 other = companions.find(items[jpeg]->baseName(), keyOf);
        if (other != ByteTable::none) {
            isTaken[other] = true;
            taken.urls.append(items[others[other]]->mURL());
        }
    }
    if (taken.urls.isEmpty()) {
        return taken;
    }
    // Equal items have equal names, so each has the same first one as the item that it is equal to.
    for (quint32 other = 0; other < others.size(); ++other) {
        const quint32 first = firstOf[other];
        const SlideItemPtr& item = items[others[other]];
        if (!isTaken[first]) {
            continue;
        }
        if (first == other || item->isEqual(*items[others[first]])) {
            taken.items.push_back(item);
        } else {
            taken.leavesOthers = true;
        }
    }
    auto next = taken.items.begin(); // they are in the order of the list
    std::erase_if(items, [&](const SlideItemPtr& item) {
        const bool isOne = next != taken.items.end() && *next == item;
        next += isOne ? 1 : 0;
        return isOne;
    });
    return taken;
}

} // namespace frameflow
