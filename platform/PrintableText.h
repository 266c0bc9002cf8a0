#pragma once

#include <QString>

namespace frameflow {

// A name or path as one line for people: it may hold line ends and other characters that are no letters.
QString printable(QString name);

} // namespace frameflow
