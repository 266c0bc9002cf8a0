#pragma once

#include "FileUrl.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace frameflow {

// What the program can do with a file, judged by its name alone: the contents are never opened. All functions may be
// called from any thread.
enum class MediaKind
{
    None, // not shown
    Image,
    Movie, // a video or a sound file that the movie player opens
};

// The MIME type for a file name, remembered per suffix; empty where the name tells nothing.
QString mimeTypeForName(QByteArrayView fileName);

// Documents (PDF, PostScript) and play lists are None although libraries could read them.
MediaKind mediaKindForName(QByteArrayView fileName);

// The MIME types of all that is shown, in their order. Without those that the MIME database, by mistake, has for a file
// that is shown, a raw picture of some camera for example, but that are types of something else.
QStringList displayableMimeTypes();

// Whether the name is that of a camera raw file.
bool isRawName(QByteArrayView fileName);

} // namespace frameflow
