#pragma once

namespace frameflow {

// Whether the kernel can refuse single system calls.
bool canRestrictSystemCalls();

// Refuses all threads of this process, with EPERM, what decoding never needs: making or reaching sockets, starting
// programs and processes, reaching other processes, opening files for writing and changing them by name, changing its
// own limits and the machine. No new privileges must have been given up before. False when the kernel does not do it.
bool restrictSystemCalls();

} // namespace frameflow
