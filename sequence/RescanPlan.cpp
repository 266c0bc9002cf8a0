#include "RescanPlan.h"

#include "ByteTable.h"
#include "Duplicates.h"

#include <algorithm>
#include <utility>

namespace frameflow {

namespace {

// Of so many, each is dealt with in a list by itself; of more, the list is made anew.
constexpr size_t fewItems = 256;

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

// The places of some of the items of a list, ascending.
std::vector<size_t> placesIn(const ItemList& list, const SlideItems& some)
{
    std::vector<size_t> places;
    if (!some.empty()) {
        const ItemSet items(some);
        list.forEach([&](const SlideItemPtr& item, size_t place) {
            if (items.contains(item)) {
                places.push_back(place);
            }
        });
    }
    return places;
}

// A list without the items at the places; most of its pieces are the same where the places are few.
ItemList without(const ItemList& list, const std::vector<size_t>& places)
{
    if (places.size() <= fewItems && !list.isScattered()) {
        ItemList rest = list;
        std::for_each(places.rbegin(), places.rend(), [&](size_t place) { rest.takeAt(place); });
        return rest;
    }
    SlideItems rest;
    rest.reserve(list.size() - places.size());
    auto next = places.begin();
    list.forEach([&](const SlideItemPtr& item, size_t place) {
        if (next != places.end() && *next == place) {
            ++next;
        } else {
            rest.push_back(item);
        }
    });
    return ItemList(std::move(rest));
}

// All of the list that have the name without extension of one of the others.
SlideItems namesakes(const ItemList& list, const SlideItems& others)
{
    ByteTable names(others.size());
    const auto keyOf = [&](quint32 number) { return others[number]->baseName(); };
    for (quint32 i = 0; i < others.size(); ++i) {
        names.findOrInsert(keyOf(i), i, keyOf);
    }
    SlideItems found;
    forEachPath(list, [&](const SlideItemPtr& item, size_t) {
        if (names.find(item->baseName(), keyOf) != ByteTable::none) {
            found.push_back(item);
        }
    });
    return found;
}

void insertInOrder(ItemList& list, const SlideItemPtr& item, SortOrder order)
{
    size_t begin = 0;
    size_t end = list.size();
    while (begin < end) {
        const size_t middle = begin + (end - begin) / 2;
        if (comesBefore(*item, *list.at(middle), order)) {
            end = middle;
        } else {
            begin = middle + 1;
        }
    }
    list.insert(begin, ItemList({item}));
}

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

RescanPlan::RescanPlan(const ListState& state, const TreeChanges& changes)
    : mNewItemsNext(state.newItemsNext), mVanished(placesIn(state.items, changes.vanished))
{
    ItemList remaining = without(state.items, mVanished);
    SlideItems fresh = withoutBarred(changes.fresh, state);
    mFoundNew = !fresh.empty();
    if (!mFoundNew) {
        mItems = std::move(remaining);
    } else if (mNewItemsNext) {
        planInsertion(state, std::move(remaining), std::move(fresh));
    } else {
        planOrder(state, std::move(remaining), fresh);
    }
}

void RescanPlan::planInsertion(const ListState& state, ItemList&& remaining, SlideItems&& fresh)
{
    sortItems(fresh, state.order);
    ItemList all = remaining;
    all.insert(refound(state.cursor, state.items.size(), mVanished).insertion, ItemList(SlideItems(fresh)));
    const SlideItems duplicates = duplicatesIn(all, fresh, state);
    if (!duplicates.empty()) {
        mDuplicatePlaces = placesIn(remaining, duplicates);
        remaining = without(remaining, mDuplicatePlaces);
        const ItemSet gone(duplicates);
        std::erase_if(fresh, [&](const auto& item) { return gone.contains(item); });
    }
    mItems = std::move(remaining);
    mFresh = ItemList(std::move(fresh));
}

void RescanPlan::planOrder(const ListState& state, ItemList&& remaining, const SlideItems& fresh)
{
    ItemList all = std::move(remaining);
    if (state.isInOrder && fresh.size() <= fewItems) {
        for (const auto& item : fresh) {
            insertInOrder(all, item, state.order);
        }
    } else {
        SlideItems items = all.takeAll();
        items.insert(items.end(), fresh.begin(), fresh.end());
        sortItems(items, state.order);
        all.assign(std::move(items));
    }
    mItems = without(all, placesIn(all, duplicatesIn(all, fresh, state)));
}

// The items that the duplicate rule takes out of the list, which the fresh ones have joined. In one that was free of
// duplicates they can only be among those that have a fresh one's name.
SlideItems RescanPlan::duplicatesIn(const ItemList& all, const SlideItems& fresh, const ListState& state)
{
    SlideItems candidates = state.isFreeOfDuplicates ? namesakes(all, fresh) : all.copy();
    Duplicates duplicates = takeDuplicates(candidates);
    mDuplicates.append(UrlList::Entries(duplicates.urls.begin(), duplicates.urls.end()));
    mLeavesDuplicates = duplicates.leavesOthers;
    return std::move(duplicates.items);
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
