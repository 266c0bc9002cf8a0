#pragma once

#include "FileUrl.h"

#include <QList>

namespace frameflow {

// Whether one of the files and folders is named twice, or lies in a folder that is named too: only then can one file
// have come into a sequence twice. Any thread.
bool sourcesOverlap(const QList<FileUrl>& sources);

} // namespace frameflow
