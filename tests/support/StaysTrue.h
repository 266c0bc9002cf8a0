#pragma once

#include <chrono>
#include <functional>

namespace frameflow {

// For checks that nothing happens, which need a span of time: whether the condition held at every look during the
// span, while the event loop turned. Ends with the first look at which it does not.
bool staysTrueFor(std::chrono::milliseconds span, const std::function<bool()>& condition);

} // namespace frameflow
