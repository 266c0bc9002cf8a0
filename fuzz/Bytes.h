#pragma once

#include "FileContents.h"
#include "SharedBitmap.h"

#include <QByteArray>

#include <cstdlib>

#include <fuzzer/FuzzedDataProvider.h>

namespace frameflow::fuzz {

// Numbers are taken from the end of an input, so that what begins it may be a plain file.
using Input = FuzzedDataProvider;

inline QByteArray restOf(Input& input)
{
    const auto bytes = input.ConsumeRemainingBytes<char>();
    return {bytes.data(), static_cast<qsizetype>(bytes.size())};
}

// A file without a name that holds the bytes.
inline FileDescriptor fileWith(const QByteArray& bytes)
{
    FileDescriptor file = emptySharedMemory();
    if (!writeBytes(reinterpret_cast<const uchar*>(bytes.constData()), bytes.size(), file.number(), 0)) {
        std::abort();
    }
    return file;
}

// What must hold whatever the input.
inline void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

} // namespace frameflow::fuzz
