#pragma once

#include <QByteArray>

namespace frameflow {

// Blocks until there is a file of that path, in a folder that exists.
void waitUntilThere(const QByteArray& path);

} // namespace frameflow
