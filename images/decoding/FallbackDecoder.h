#pragma once

#include "DecodedPicture.h"

#include <QByteArray>

#include <mutex>

namespace frameflow {

// The decoders' functions, loaded into this process. Any thread.
class FallbackDecoder
{
public:
    // Of the C function "frameflowDecode". Any thread; the descriptor stays open.
    using Function = void (*)(int descriptor, const DecodeRequest* request, DecodedPicture* result);

    explicit FallbackDecoder(const QByteArray& module) : mModule(module) { }

    // Loads the module on the first call, for good; null when that fails.
    Function function();

private:
    QByteArray mModule;
    std::once_flag mLoaded;
    Function mFunction = nullptr;
};

} // namespace frameflow
