#pragma once

#include <QByteArray>

#include <vector>

namespace frameflow {

// A picture of some type, made by a tool. Those of lossy types, and with colours between pixels, are looked at with
// tolerance.
struct TypeSample
{
    const char* name;
    const char* program;
    // Words, "%in" and "%out" standing for the files.
    const char* arguments;
    int tolerance;
};

// At least one for every type that a common tool writes.
const std::vector<TypeSample>& typeSamples();

// Makes it from a PNG file. False when the tool is missing or fails, which it tells.
bool makeTypeSample(const TypeSample& sample, const QByteArray& in, const QByteArray& out);

} // namespace frameflow
