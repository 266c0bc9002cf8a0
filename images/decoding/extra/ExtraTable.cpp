#include "ExtraTable.h"

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
    };
    return table;
}

} // namespace frameflow
