#include "ExtraDecoders.h"
#include "RawDecoder.h"
#include "VipsDecoder.h"

extern "C" Q_DECL_EXPORT const frameflow::ExtraDecoders* frameflowDecoders()
{
    static constexpr frameflow::ExtraDecoders module{
        &frameflow::decodeWithVips, &frameflow::readRawHeader, &frameflow::developRaw};
    return &module;
}
