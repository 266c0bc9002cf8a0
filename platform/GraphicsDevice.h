#pragma once

namespace frameflow {

// Whether the machine seems to have a graphics processor that programs can draw with. True where it cannot be told.
bool hasGraphicsDevice();

} // namespace frameflow
