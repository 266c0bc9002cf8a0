#pragma once

namespace frameflow {

// The version of Landlock that the kernel has; 0 where it has none, or does not use it.
int fileAccessVersion();

// Refuses this thread, and those that it makes, to open or change any file but for reading in the folders of libraries,
// fonts and their settings, and, as far as that version can, network connections and signals to other processes. No new
// privileges must have been given up before. False when the kernel does not do it.
bool restrictFileAccess(int version);

} // namespace frameflow
