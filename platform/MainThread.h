#pragma once

#include <functional>

namespace frameflow {

// Runs the job on the main thread from its event loop, in posting order. Any thread. Without an application object the
// job is dropped: the program is ending.
void postToMainThread(std::function<void()> job);

} // namespace frameflow
