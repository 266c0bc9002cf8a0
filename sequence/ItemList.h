#pragma once

#include "ChunkedList.h"
#include "SlideItem.h"

namespace frameflow {

// The items of a sequence in order.
using ItemList = ChunkedList<SlideItemPtr>;

} // namespace frameflow
