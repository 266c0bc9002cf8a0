#pragma once

#include "SlideItem.h"

namespace frameflow {

// The items of a sequence in order. Taking items out at one place, or next to it, again and again costs as much as
// walking the list once: the free room moves there and stays.
class ItemList
{
public:
    size_t size() const { return mSlots.size() - gapSize(); }
    bool isEmpty() const { return size() == 0; }
    const SlideItemPtr& at(size_t index) const { return mSlots[index < mGapBegin ? index : index + gapSize()]; }

    void append(SlideItemPtr item);
    // Moves the items behind those of the list.
    void append(SlideItems&& items);
    SlideItemPtr takeAt(size_t index);
    // The whole list, which is left empty.
    SlideItems takeAll();
    void assign(SlideItems&& items);
    SlideItems copy() const;

private:
    size_t gapSize() const { return mGapEnd - mGapBegin; }
    void moveGapTo(size_t index);
    void closeGap();

    // Slots from mGapBegin up to mGapEnd are free.
    SlideItems mSlots;
    size_t mGapBegin = 0;
    size_t mGapEnd = 0;
};

} // namespace frameflow
