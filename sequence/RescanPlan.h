#pragma once

#include "ItemList.h"
#include "ItemOrder.h"

#include <utility>
#include <vector>

namespace frameflow {

using UrlList = ChunkedList<FileUrl>;

// The list as it is when a plan is made, and the rules for new items.
struct ListState
{
    ItemList items;
    UrlList removed; // never to come again
    UrlList trashed; // the same
    quint64 cursor = 0;
    SortOrder order = SortOrder::Name;
    bool newItemsNext = true; // behind the current item, else into the order of all
    // What need not be found out again.
    bool isInOrder = false; // the whole list, by that order
    bool isFreeOfDuplicates = false; // the duplicate rule would take nothing out of it
};

// What a walk has found against a list.
struct TreeChanges
{
    SlideItems vanished; // of the list
    SlideItems fresh; // not in the list

    bool isEmpty() const { return vanished.empty() && fresh.empty(); }
};

// What is to be done to a list for the changes of its folder: all that costs more the longer the list is has been done
// beforehand, on any thread. Where only little changes in a list of which enough is known, that is one round through
// its items at most.
class RescanPlan
{
public:
    RescanPlan() = default;
    RescanPlan(const ListState& state, const TreeChanges& changes);

    bool foundNew() const { return mFoundNew; }
    // Then it is not to be applied: that would find the cursor anew.
    bool changesNothing() const { return !mFoundNew && mVanished.empty(); }
    // Whether the list has been brought into an order as a whole.
    bool sortsAll() const { return mFoundNew && !mNewItemsNext; }
    bool insertsItems() const { return mFoundNew && mNewItemsNext; }
    // Whether the duplicate rule, having been applied, would find more.
    bool leavesDuplicates() const { return mLeavesDuplicates; }
    // What the duplicate rule removes.
    UrlList takeDuplicateURLs() { return std::move(mDuplicates); }

    // Changes the list that the plan was made for, with the cursor wherever it is by now; once. Answers the old list.
    ItemList apply(ItemList& items, quint64& cursor);

private:
    void planInsertion(const ListState& state, ItemList&& remaining, SlideItems&& fresh);
    void planOrder(const ListState& state, ItemList&& remaining, const SlideItems& fresh);
    SlideItems duplicatesIn(const ItemList& all, const SlideItems& fresh, const ListState& state);

    bool mFoundNew = false;
    bool mNewItemsNext = true;
    bool mLeavesDuplicates = false;
    std::vector<size_t> mVanished; // their places in the list, ascending
    std::vector<size_t> mDuplicatePlaces; // among those that remain, ascending; when new items come next
    ItemList mItems; // what remains, or all in their order
    ItemList mFresh; // to be inserted
    UrlList mDuplicates;
};

} // namespace frameflow
