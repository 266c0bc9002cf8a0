#pragma once

#include "TestFiles.h"

#include <QList>

namespace frameflow {

struct DamagedFiles
{
    QList<QByteArray> good; // names of the samples, which a show is to show
    QList<QByteArray> damaged; // names of files that it may show in part or skip
};

// Adds a sample of every type of picture that a common tool writes, and that many damaged variants of them: cut short,
// with wrong bytes, with lengths that make no sense, with parts left out or twice. The same ones every time.
DamagedFiles addDamagedFiles(const TestFolder& folder, int count);

} // namespace frameflow
