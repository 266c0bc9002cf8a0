#include "ReducedCopies.h"

#include "FrameRule.h"
#include "MainThread.h"

#include <algorithm>

namespace frameflow {

ReducedCopies::ReducedCopies(std::function<void()> improved) : mImproved(std::move(improved)), mQueue("reduced copies")
{
}

void ReducedCopies::setWanted(const std::vector<Wanted>& wanted, const QSet<qint64>& alsoKept)
{
    QSet<qint64> kept = alsoKept;
    for (const Wanted& want : wanted) {
        if (want.picture.isNull()) {
            continue;
        }
        const qint64 key = want.picture.cacheKey();
        kept.insert(key);
        const bool isNew = !mEntries.contains(key);
        Entry& entry = mEntries[key];
        if (isNew) {
            entry.full = want.picture;
        }
        if (want.pixels.isEmpty()) {
            continue;
        }
        entry.wanted = want.pixels;
        if (!needsReduction(want.picture.size(), want.pixels)) {
            entry.full = inDrawableFormat(entry.full);
        } else if (want.prepared.size() == want.pixels) {
            entry.reduced = want.prepared;
        } else if (isNew) {
            entry.reduced = reducedTo(entry.full, want.pixels);
        } else if (entry.reduced.size() != want.pixels && entry.inProgress.isEmpty()) {
            startJob(key, entry);
        }
    }
    mEntries.removeIf([&](const auto& entry) { return !kept.contains(entry.key()); });
}

void ReducedCopies::startJob(qint64 key, Entry& entry)
{
    entry.inProgress = entry.wanted;
    mQueue.async([this, life = std::weak_ptr<char>(mLife), key, full = entry.full, pixels = entry.wanted] {
        postToMainThread([this, life, key, reduced = reducedTo(full, pixels)] {
            if (!life.expired()) {
                jobDone(key, reduced);
            }
        });
    });
}

void ReducedCopies::jobDone(qint64 key, const QImage& reduced)
{
    const auto place = mEntries.find(key);
    if (place == mEntries.end()) {
        return;
    }
    Entry& entry = place.value();
    entry.reduced = reduced;
    entry.inProgress = QSize();
    if (needsReduction(entry.full.size(), entry.wanted) && entry.wanted != reduced.size()) {
        startJob(key, entry); // the frame has changed meanwhile
    }
    mImproved();
}

QImage ReducedCopies::drawable(const QImage& picture, QSize pixels) const
{
    const auto place = mEntries.constFind(picture.cacheKey());
    if (place == mEntries.cend()) {
        return picture;
    }
    const QImage& reduced = place->reduced;
    if (reduced.isNull()) {
        return place->full;
    }
    const bool reducedSuffices = pixels.width() <= reduced.width() && pixels.height() <= reduced.height();
    // Drawing looks at the four nearest pixels: from half the size on that is as good as reducing.
    const bool fullIsFine = pixels.width() * 2 >= picture.width() && pixels.height() * 2 >= picture.height();
    return reducedSuffices || !fullIsFine ? reduced : place->full;
}

bool ReducedCopies::isReducing() const
{
    return std::any_of(
        mEntries.cbegin(), mEntries.cend(), [](const Entry& entry) { return !entry.inProgress.isEmpty(); });
}

} // namespace frameflow
