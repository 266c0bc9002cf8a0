#include "DecoderModule.h"
#include "RawDecoder.h"
#include "VipsDecoder.h"

extern "C" Q_DECL_EXPORT const frameflow::DecoderModule* frameflowDecoders()
{
    static constexpr frameflow::DecoderModule module{
        &frameflow::decodeWithVips, &frameflow::readRawHeader, &frameflow::developRaw};
    return &module;
}
