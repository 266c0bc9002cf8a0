#pragma once

#include <functional>
#include <optional>
#include <thread>

namespace frameflow {

// A thread that takes no signals, which are for the main one. The name, of at most 15 letters, is for debuggers.
// Nothing when the system has no thread left.
std::optional<std::thread> backgroundThread(const char* name, std::function<void()> work);

} // namespace frameflow
