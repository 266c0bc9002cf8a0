#pragma once

#include "SlideItem.h"

#include <QList>

namespace frameflow {

// What the duplicate rule took out of a list.
struct Duplicates
{
    QList<FileUrl> urls; // one for each JPEG that has a companion, so one file may be named twice
    SlideItems items;
    bool leavesOthers = false; // whether the rule would take more out of what is left
};

// Takes out of the list the files that stand beside a JPEG of the same name without extension, in whatever folder: for
// each JPEG in order the first such file, and all items that are equal to it. Any thread.
Duplicates takeDuplicates(SlideItems& items);

} // namespace frameflow
