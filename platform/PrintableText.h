#pragma once

#include <QString>

namespace frameflow {

// A name or path as one line for people: it may hold line ends and other characters that are no letters.
QString printable(QString name);

// A path as it is to stand among text of either direction: read from the left, even where all else is read from the
// right and some of its names are.
QString readFromTheLeft(const QString& path);

} // namespace frameflow
