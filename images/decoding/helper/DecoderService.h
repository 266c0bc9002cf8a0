#pragma once

#include <chrono>

namespace frameflow {

// Answers the requests that come over the socket, one after another, until the other side is gone or breaks the rules
// of the messages. A hang-up during a decoding ends the process at once, as does a decoding that takes more processor
// time than allowed (0: any).
void serveDecoding(int socket, std::chrono::seconds processorTime);

} // namespace frameflow
