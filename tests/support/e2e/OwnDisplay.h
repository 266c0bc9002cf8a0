#pragma once

namespace frameflow::e2e {

// For the first line of a benchmark's main(): starts the program again with a home and an X server of 1920 × 1080
// pixels of its own, unless it has them already. Ends the program when that fails.
void startOnOwnDisplay(int argc, char** argv);

} // namespace frameflow::e2e
