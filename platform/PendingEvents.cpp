#include "PendingEvents.h"

#include <utility>

namespace frameflow {

void PendingEvents::add(const FileEvent& event)
{
    if (mOverflowed) {
        return;
    }
    const auto place = mPlaces.constFind(event.url);
    if (place != mPlaces.constEnd()) {
        mEvents[*place].flags |= event.flags;
        return;
    }
    if (mEvents.size() == mMostPaths) {
        mOverflowed = true;
        mPlaces.clear();
        mEvents = {{mRoot, fileEvent::mustScan | fileEvent::dropped}};
        return;
    }
    mPlaces.insert(event.url, mEvents.size());
    mEvents.push_back(event);
}

std::vector<FileEvent> PendingEvents::take()
{
    mOverflowed = false;
    mPlaces.clear();
    return std::exchange(mEvents, {});
}

} // namespace frameflow
