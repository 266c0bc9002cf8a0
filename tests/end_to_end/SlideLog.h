#pragma once

#include "ShowDriver.h"

#include <QByteArrayList>
#include <QColor>
#include <QElapsedTimer>
#include <QMap>
#include <QTimer>

namespace frameflow::e2e {

// Writes down, while the event loop turns, what comes after what in the middle of the screen, by the names of plain
// colours. What has none of them (black before the first slide, mixtures of a fade) is not written down, and a colour
// that stays only once.
class SlideLog
{
public:
    SlideLog(const XServer& server, const QMap<QByteArray, QColor>& names);

    const QByteArrayList& names() const { return mNames; }
    int count() const { return static_cast<int>(mNames.size()); }
    // The last so many, joined by spaces.
    QByteArray tail(int count) const { return mNames.mid(std::max<qsizetype>(mNames.size() - count, 0)).join(' '); }
    QByteArray text() const { return mNames.join(' '); }
    void clear() { mNames.clear(); }
    // Milliseconds at most between two looks: what was there for a shorter time may be missing, on a machine that held
    // the test up.
    qint64 longestGap() const { return mLongestGap; }

private:
    void look();

    const XServer& mServer;
    const QMap<QByteArray, QColor> mColours;
    QByteArrayList mNames;
    QTimer mTimer;
    QElapsedTimer mSinceLook;
    qint64 mLongestGap = 0;
};

} // namespace frameflow::e2e
