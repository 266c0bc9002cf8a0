#pragma once

#include "ContentType.h"
#include "DecodedPicture.h"

namespace frameflow {

struct RawHeader
{
    QSize size; // of the raw picture, not turned
    int orientation = 1; // of the raw picture and of the preview alike
    QByteArray preview; // the largest embedded JPEG; empty where there is none
};

// The decoders whose libraries are large. Each function may be called from any thread. A row may be null: then what it
// decodes is not shown.
struct ExtraDecoders
{
    // Has the libraries load what they load once.
    void (*prepare)() = nullptr;
    // Pixels that are not turned.
    DecodedPicture (*decodeWithVips)(const QByteArray& contents, ContentType type, int longestSide) = nullptr;
    // False when it is no camera raw file.
    bool (*readRawHeader)(const QByteArray& contents, RawHeader* header) = nullptr;
    // Pixels that are not turned.
    DecodedPicture (*developRaw)(const QByteArray& contents, int longestSide) = nullptr;
    // From the start of an open file; upright.
    DecodedPicture (*decodeMovieFrame)(int descriptor, const DecodeRequest& request) = nullptr;
    DecodedPicture (*probeMovie)(int descriptor, const DecodeRequest& request) = nullptr;
};

// What decodePicture uses from then on; to be called before the first file is decoded. Without one, which is how a
// program begins, files that need one are answered with NeedsExtraDecoders. The table must outlive the process.
void useExtraDecoders(const ExtraDecoders* table);
// Null where there is none.
const ExtraDecoders* extraDecoders();

} // namespace frameflow
