#pragma once

#include <QtGlobal>

namespace frameflow {

// What the kernel offers to confine a process with. Tests take parts of it away.
struct ConfinementOffer
{
    int fileAccessVersion = 0; // of Landlock; 0 where there is none
    bool systemCalls = false;
};

// What the kernel now enforces.
struct Confinement
{
    bool noNewPrivileges = false;
    bool fileAccess = false; // reading anywhere but in the libraries' folders, and all writing, are refused
    bool systemCalls = false; // network, programs, processes and writing are refused
    bool memory = false; // address space has a limit
};

ConfinementOffer kernelOffer();

// Confines this process for good, to that many bytes of address space (0: no limit) among other things; to be called
// when it has one thread and all that it needs to open is open or lies in a folder that stays readable. Threads made
// later are confined too. What is not offered is left out; what is refused fails with an error, and does not end the
// process, but for memory that a library cannot do without.
Confinement confine(qint64 mostMemory, const ConfinementOffer& offer = kernelOffer());

} // namespace frameflow
