#include "Decode.h"
#include "ExtraTable.h"

// decodePicture with all decoders, for a process that can start no other.
extern "C" Q_DECL_EXPORT frameflow::DecodedPicture frameflowDecode(
    int descriptor, const frameflow::DecodeRequest& request)
{
    using namespace frameflow;
    useExtraDecoders(&allExtraDecoders());
    return decodePicture(descriptor, request);
}
