#pragma once

#include <QString>

namespace frameflow {

// Where the session's message bus is. Empty where there is none: none is ever started for the program.
QString sessionBusAddress();

} // namespace frameflow
