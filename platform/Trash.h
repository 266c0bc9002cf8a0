#pragma once

#include "FileUrl.h"

namespace frameflow {

// Moves the file to the Trash of its volume. False, with the file untouched, where there is no such Trash or it cannot
// be written; never deletes. Blocks for a rename.
bool moveToTrash(const FileUrl& file);

} // namespace frameflow
