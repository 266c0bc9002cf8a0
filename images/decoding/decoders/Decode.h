#pragma once

#include "DecodedPicture.h"

namespace frameflow {

// Decodes what is wanted of a regular file that is open for reading. Looks at nothing but the descriptor and the
// request, follows no path that stands in the file, and leaves the descriptor open. Any thread; blocks.
DecodedPicture decodePicture(int descriptor, const DecodeRequest& request);

} // namespace frameflow
