#pragma once

#include "ExtraDecoders.h"

namespace frameflow {

// All decoders of this folder.
const ExtraDecoders& allExtraDecoders();

} // namespace frameflow
