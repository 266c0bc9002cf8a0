#pragma once

#include <QByteArray>
#include <QList>

#include <sys/types.h>

namespace frameflow {

// What this process holds now.
struct Belongings
{
    QList<pid_t> children; // those that have ended and were not waited for included
    int descriptors = 0;
    int pictures = 0; // mappings of shared memory
    int threads = 0;

    friend bool operator==(const Belongings&, const Belongings&) = default;
};

Belongings belongings();
// Bytes of memory that belong to this process alone.
qint64 residentBytes();

} // namespace frameflow
