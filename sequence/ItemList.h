#pragma once

#include "ChunkedList.h"
#include "SlideItem.h"

namespace frameflow {

// The items of a sequence in order.
using ItemList = ChunkedList<SlideItemPtr>;

// Visits items in order, with the index, for what looks at each one's path. Those of a sorted list lie scattered in
// memory, so the ones that come next are fetched into the processor's caches meanwhile.
template <typename Visitor>
void forEachPath(const SlideItems& items, const Visitor& visit)
{
    constexpr size_t itemsAhead = 16;
    constexpr size_t pathsAhead = 8;
    for (size_t i = 0; i < items.size(); ++i) {
        if (i + itemsAhead < items.size()) {
            __builtin_prefetch(items[i + itemsAhead].data());
        }
        if (i + pathsAhead < items.size()) {
            const QByteArray& path = items[i + pathsAhead]->mURL().path();
            __builtin_prefetch(path.constData());
            __builtin_prefetch(path.constData() + path.size());
        }
        visit(items[i], i);
    }
}

template <typename Visitor>
void forEachPath(const ItemList& list, const Visitor& visit)
{
    list.forEachPiece([&](const SlideItems& items, size_t begin) {
        forEachPath(items, [&](const SlideItemPtr& item, size_t i) { visit(item, begin + i); });
    });
}

} // namespace frameflow
