#pragma once

#include "ExtraDecoders.h"

namespace frameflow {

// The whole of a decoder program, with the decoders of that table beside the common ones: confines itself and serves
// the socket that its starter gave it as descriptor 3. Does not return: ends with status 0 when the socket is closed
// and with another one, without a word, when it was not started as a decoder. Arguments: the most bytes of address
// space (0: no limit), the most seconds of processor time for a file (0: no limit), the process that started it.
[[noreturn]] void runDecoder(int count, char** arguments, const ExtraDecoders* extra);

} // namespace frameflow
