#include "FallbackDecoder.h"

#include <dlfcn.h>

namespace frameflow {

FallbackDecoder::Function FallbackDecoder::function()
{
    std::call_once(mLoaded, [this] {
        void* const module
            = mModule.isEmpty() ? nullptr : dlopen(mModule.constData(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (module != nullptr) {
            mFunction = reinterpret_cast<Function>(dlsym(module, "frameflowDecode"));
        }
    });
    return mFunction;
}

} // namespace frameflow
