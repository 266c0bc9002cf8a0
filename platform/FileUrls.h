#pragma once

#include "FileUrl.h"

#include <QByteArray>
#include <QList>

namespace frameflow {

// More files than that are not taken from another program at once.
constexpr qsizetype mostFilesHandedOver = 100'000;

// The files and folders that URLs from another program name, in their order. Whatever is no file:// URL of this machine
// is left out, and what is longer than a path can be. Any thread.
QList<FileUrl> filesFromUrls(const QList<QByteArray>& urls);

} // namespace frameflow
