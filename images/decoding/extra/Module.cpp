#include "Decode.h"
#include "ExtraTable.h"

// decodePicture with all decoders, for a process that can start none.
extern "C" Q_DECL_EXPORT void frameflowDecode(
    int descriptor, const frameflow::DecodeRequest* request, frameflow::DecodedPicture* result)
{
    using namespace frameflow;
    useExtraDecoders(&allExtraDecoders());
    *result = decodePicture(descriptor, *request);
}
