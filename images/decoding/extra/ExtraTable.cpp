#include "ExtraTable.h"

#include "MovieDecoder.h"
#include "RawDecoder.h"
#include "VipsDecoder.h"

namespace frameflow {

const ExtraDecoders& allExtraDecoders()
{
    static constexpr ExtraDecoders table{
        .prepare = prepareVips,
        .decodeWithVips = decodeWithVips,
        .readRawHeader = readRawHeader,
        .developRaw = developRaw,
        .decodeMovieFrame = decodeMovieFrame,
        .probeMovie = probeMovie,
    };
    return table;
}

} // namespace frameflow
