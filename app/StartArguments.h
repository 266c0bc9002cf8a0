#pragma once

#include "FileUrl.h"

#include <QList>

namespace frameflow {

// The files and folders named by the start arguments (without the program's name), as absolute paths in their order.
// There are no options; an empty argument, or the URL of a file on another machine, is left out.
QList<FileUrl> filesFromArguments(const QList<QByteArray>& arguments);

} // namespace frameflow
