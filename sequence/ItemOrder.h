#pragma once

#include "SlideItem.h"

#include <QString>

namespace frameflow {

enum class SortOrder
{
    Name,
    Url,
    Date,
    Random,
};

// From the setting "sort": everything unknown is Random.
SortOrder sortOrderFromSetting(const QString& setting);

// Sorts by the comparator of SlideItem that the order names, or shuffles. Items that compare the same are ordered by
// their paths, so that the same files always make the same sequence; items without a date are first. Any thread.
void sortItems(SlideItems& items, SortOrder order);

// Whether sortItems() puts one item before the other, which it does not say of Random.
bool comesBefore(const SlideItem& item, const SlideItem& other, SortOrder order);

} // namespace frameflow
