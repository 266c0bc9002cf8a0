#pragma once

#include "Reduction.h"
#include "SerialQueue.h"

#include <QHash>
#include <QImage>
#include <QSet>

#include <functional>
#include <memory>
#include <vector>

namespace frameflow {

// Keeps, of each picture that is shown smaller than it is, a copy of exactly the pixels it is shown on, smoothly
// reduced, in a format that is drawn without conversion. Main thread; the copies are made elsewhere where there is
// something to draw meanwhile.
class ReducedCopies
{
public:
    struct Wanted
    {
        QImage picture;
        QSize pixels; // that the picture is to be drawn on; empty where that does not matter
        QImage prepared = {}; // a reduced copy that somebody has made already; null for none
    };

    // "Improved" is called on the main thread when a better copy has come.
    explicit ReducedCopies(std::function<void()> improved);

    // Makes what is missing: at once for a picture that is new here, else in the background. Copies of other pictures
    // go, but for those whose QImage::cacheKey() is in alsoKept.
    void setWanted(const std::vector<Wanted>& wanted, const QSet<qint64>& alsoKept);

    // The best there is to draw the picture from on so many pixels; its size may be any.
    QImage drawable(const QImage& picture, QSize pixels) const;

    bool isReducing() const;

private:
    struct Entry
    {
        QImage full; // the picture, in a format that can be drawn
        QImage reduced; // null until a reduced copy was needed
        QSize wanted;
        QSize inProgress; // empty: no job runs for it
    };

    void startJob(qint64 key, Entry& entry);
    void jobDone(qint64 key, const QImage& reduced);

    std::function<void()> mImproved;
    QHash<qint64, Entry> mEntries;
    std::shared_ptr<char> mLife = std::make_shared<char>();
    SerialQueue mQueue;
};

} // namespace frameflow
