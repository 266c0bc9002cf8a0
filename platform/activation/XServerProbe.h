#pragma once

namespace frameflow {

// Whether the X server that the environment names lets the program in. Asks it, and blocks until it has answered.
bool canReachXServer();

} // namespace frameflow
