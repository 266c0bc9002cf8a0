#include "RescanPlan.h"

#include "ByteTable.h"
#include "Duplicates.h"

#include <algorithm>
#include <utility>

namespace frameflow {

namespace {

// Some of the items of a list, by identity.
class ItemSet
{
public:
    explicit ItemSet(const SlideItems& items)
    {
        mItems.reserve(items.size());
        for (const auto& item : items) {
            mItems.push_back(item.data());
        }
        std::sort(mItems.begin(), mItems.end());
    }

    bool contains(const SlideItemPtr& item) const
    {
        return std::binary_search(mItems.begin(), mItems.end(), item.data());
    }

private:
    std::vector<const SlideItem*> mItems;
};

// Takes out what must not come.
SlideItems withoutBarred(const SlideItems& fresh, const ListState& state)
{
    if (fresh.empty() || (state.removed.isEmpty() && state.trashed.isEmpty())) {
        return fresh;
    }
    ByteTable numbers(fresh.size());
    const auto keyOf = [&](quint32 number) { return QByteArrayView(fresh[number]->mURL().path()); };
    for (quint32 i = 0; i < fresh.size(); ++i) {
        numbers.findOrInsert(keyOf(i), i, keyOf);
    }
    std::vector<bool> isBarred(fresh.size());
    for (const UrlList* urls : {&state.removed, &state.trashed}) {
        urls->forEach([&](const FileUrl& url, size_t) {
            const quint32 number = numbers.find(url.path(), keyOf);
            if (number != ByteTable::none) {
                isBarred[number] = true;
            }
        });
    }
    SlideItems kept;
    for (size_t i = 0; i < fresh.size(); ++i) {
        if (!isBarred[i]) {
            kept.push_back(fresh[i]);
        }
    }
    return kept;
}

size_t countBelow(const std::vector<size_t>& places, size_t limit)
{
    return std::lower_bound(places.begin(), places.end(), limit) - places.begin();
}

// Where the cursor comes to stand when the items at the places have gone, and where new items go.
struct Cursor
{
    quint64 cursor = 0;
    size_t insertion = 0;
};

Cursor refound(quint64 cursor, size_t count, const std::vector<size_t>& vanished)
{
    const size_t remaining = count - vanished.size();
    const bool isGone = cursor >= count || std::binary_search(vanished.begin(), vanished.end(), cursor);
    if (isGone) {
        return {quint64(remaining) - 1, remaining};
    }
    const size_t place = cursor - countBelow(vanished, cursor);
    return {place, place + 1};
}

} // namespace

RescanPlan::RescanPlan(const ListState& state, const TreeChanges& changes) : mNewItemsNext(state.newItemsNext)
{
    const ItemSet gone(changes.vanished);
    SlideItems remaining;
    remaining.reserve(state.items.size());
    state.items.forEach([&](const SlideItemPtr& item, size_t place) {
        if (!changes.vanished.empty() && gone.contains(item)) {
            mVanished.push_back(place);
        } else {
            remaining.push_back(item);
        }
    });
    SlideItems fresh = withoutBarred(changes.fresh, state);
    mFoundNew = !fresh.empty();
    if (!mFoundNew) {
        mItems = ItemList(std::move(remaining));
    } else if (mNewItemsNext) {
        planInsertion(state, std::move(remaining), std::move(fresh));
    } else {
        planOrder(state, std::move(remaining), std::move(fresh));
    }
}

void RescanPlan::planInsertion(const ListState& state, SlideItems&& remaining, SlideItems&& fresh)
{
    sortItems(fresh, state.order);
    const size_t insertion = refound(state.cursor, state.items.size(), mVanished).insertion;
    SlideItems all = remaining;
    all.insert(all.begin() + static_cast<std::ptrdiff_t>(insertion), fresh.begin(), fresh.end());
    const Duplicates duplicates = takeDuplicates(all);
    mDuplicates.append(UrlList::Entries(duplicates.urls.begin(), duplicates.urls.end()));
    const ItemSet gone(duplicates.items);
    if (!duplicates.items.empty()) {
        for (size_t place = 0; place < remaining.size(); ++place) {
            if (gone.contains(remaining[place])) {
                mDuplicatePlaces.push_back(place);
            }
        }
        std::erase_if(remaining, [&](const auto& item) { return gone.contains(item); });
        std::erase_if(fresh, [&](const auto& item) { return gone.contains(item); });
    }
    mItems = ItemList(std::move(remaining));
    mFresh = ItemList(std::move(fresh));
}

void RescanPlan::planOrder(const ListState& state, SlideItems&& remaining, SlideItems&& fresh)
{
    remaining.insert(remaining.end(), fresh.begin(), fresh.end());
    sortItems(remaining, state.order);
    const Duplicates duplicates = takeDuplicates(remaining);
    mDuplicates.append(UrlList::Entries(duplicates.urls.begin(), duplicates.urls.end()));
    mItems = ItemList(std::move(remaining));
}

ItemList RescanPlan::apply(ItemList& items, quint64& cursor)
{
    const Cursor found = refound(cursor, items.size(), mVanished);
    cursor = found.cursor;
    ItemList old = std::exchange(items, std::move(mItems));
    if (!mFresh.isEmpty()) {
        items.insert(found.insertion - countBelow(mDuplicatePlaces, found.insertion), std::move(mFresh));
    }
    return old;
}

} // namespace frameflow
