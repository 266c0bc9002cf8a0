#pragma once

#include <QByteArray>

namespace frameflow {

enum class StoredThumbnail
{
    Skip,
    Read,
};

// What a file says about its picture beside the pixels.
struct Metadata
{
    qint64 orientation = 0; // the number as it stands in the file; 0 where there is none
    bool isAdobeRgb = false; // said by the camera in place of a profile
    QByteArray profile; // of the colours; empty where there is none
    QByteArray thumbnail; // an encoded picture of at least the wanted side; empty where there is none
};

// The stored thumbnail is the smallest one whose longer side has at least that many pixels. Any thread. Never fails:
// what cannot be read is as if it were not there.
Metadata readMetadata(const QByteArray& contents, StoredThumbnail stored, int leastLongerSide);

} // namespace frameflow
