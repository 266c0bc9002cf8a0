#pragma once

#include <QtGlobal>

namespace frameflow {

// What the kernel offered and now enforces.
struct Confinement
{
    bool noNewPrivileges = false;
    bool fileAccess = false; // reading anywhere but in the libraries' folders, and all writing, are refused
    bool systemCalls = false; // network, programs, processes and writing are refused
    bool memory = false; // address space has a limit
};

// Confines this process for good; to be called when it has one thread and all that it needs to open is open or lies in
// a folder that stays readable. What the kernel does not offer is left out.
Confinement confine(qint64 mostMemory);

} // namespace frameflow
