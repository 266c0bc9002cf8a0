#include "ItemList.h"

#include <iterator>
#include <utility>

namespace frameflow {

void ItemList::append(SlideItemPtr item)
{
    mSlots.push_back(std::move(item));
}

void ItemList::append(SlideItems&& items)
{
    if (isEmpty()) {
        assign(std::move(items));
        return;
    }
    mSlots.insert(mSlots.end(), std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()));
    items.clear();
}

SlideItemPtr ItemList::takeAt(size_t index)
{
    moveGapTo(index);
    return std::exchange(mSlots[mGapEnd++], {});
}

SlideItems ItemList::takeAll()
{
    closeGap();
    return std::exchange(mSlots, {});
}

void ItemList::assign(SlideItems&& items)
{
    mSlots = std::move(items);
    items.clear();
    mGapBegin = 0;
    mGapEnd = 0;
}

SlideItems ItemList::copy() const
{
    SlideItems items;
    items.reserve(size());
    items.insert(items.end(), mSlots.begin(), mSlots.begin() + static_cast<ptrdiff_t>(mGapBegin));
    items.insert(items.end(), mSlots.begin() + static_cast<ptrdiff_t>(mGapEnd), mSlots.end());
    return items;
}

void ItemList::moveGapTo(size_t index)
{
    if (gapSize() == 0) {
        mGapBegin = index;
        mGapEnd = index;
        return;
    }
    while (mGapBegin > index) {
        mSlots[--mGapEnd] = std::move(mSlots[--mGapBegin]);
    }
    while (mGapBegin < index) {
        mSlots[mGapBegin++] = std::move(mSlots[mGapEnd++]);
    }
}

void ItemList::closeGap()
{
    mSlots.erase(mSlots.begin() + static_cast<ptrdiff_t>(mGapBegin), mSlots.begin() + static_cast<ptrdiff_t>(mGapEnd));
    mGapBegin = 0;
    mGapEnd = 0;
}

} // namespace frameflow
