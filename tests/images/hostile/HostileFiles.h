#pragma once

#include "TestFiles.h"

#include <QByteArrayList>
#include <QList>

namespace frameflow {

// A file that nobody honest would write, or that is at the edge of what its type allows.
struct HostileFile
{
    QByteArray name; // says what is wrong with it, and what it is said to be by its suffix
    QByteArray contents;
};

using HostileFiles = QList<HostileFile>;

// The same ones every time, of these kinds:
HostileFiles cutFiles(); // samples of every type and movies, cut off at several places, and jpeg, png and tiff at many
HostileFiles mistakenFiles(); // under the name of another type, with another's first bytes, with wrong numbers
HostileFiles bombs(); // small files that become large, of every compressed type
HostileFiles extremeSizes(); // from one pixel to more than any machine has room for
HostileFiles extremeValues(); // deep and floating-point samples: none, infinite, no number
HostileFiles brokenProperties(); // orientations, EXIF, XMP and profiles that make no sense
HostileFiles hostileDrawings(); // nested, recursive, endless
HostileFiles brokenMovies(); // short ones, damaged in many ways

// All of them, in a folder, with a number before each name so that they come in this order and none counts as another
// of the same name. Answers the names.
QByteArrayList addHostileFiles(const TestFolder& folder);

} // namespace frameflow
