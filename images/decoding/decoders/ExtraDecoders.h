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

// The decoders whose libraries take long to load. They stand in a module of their own, so that a show of the common
// types never pays for them. Each function may be called from any thread and gives pixels that are not turned.
struct ExtraDecoders
{
    DecodedPicture (*decodeWithVips)(const QByteArray& contents, ContentType type, int longestSide);
    // False when it is no camera raw file.
    bool (*readRawHeader)(const QByteArray& contents, RawHeader* header);
    DecodedPicture (*developRaw)(const QByteArray& contents, int longestSide);
};

// Loads the module on the first call; null when it is not installed. Any thread.
const ExtraDecoders* extraDecoders();
bool areExtraDecodersLoaded();

} // namespace frameflow
