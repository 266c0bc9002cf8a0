#pragma once

#include "FileUrl.h"

#include <QByteArray>
#include <QString>

namespace frameflow {

// Opens the file with the application of that desktop entry. An empty path stands for the desktop's own choice: its
// default application for the type if that is an editing application, else the first one recommended that is, else the
// default application. False, with nothing started and nothing said, where there is none, or no such file. Any thread.
// May block on a slow file system.
bool openInEditor(const FileUrl& file, const QString& desktopEntry);

// Opens the page in the default browser. False where there is none. Any thread. May block on a slow file system.
bool openInBrowser(const QByteArray& address);

} // namespace frameflow
