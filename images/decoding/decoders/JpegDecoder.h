#pragma once

#include "DecodedPicture.h"

#include <QByteArray>

#include <optional>

namespace frameflow {

// The JPEG file at its full size, its lines straight into the bitmap that is handed over and, where the request asks
// for it, reduced as they come. Nothing for the rarer kinds, which are left to Qt: other inks than grey and
// the three usual ones, grey with a profile, and pictures that are too large to be held whole.
std::optional<DecodedPicture> decodeJpeg(const QByteArray& contents, const DecodeRequest& request);

} // namespace frameflow
