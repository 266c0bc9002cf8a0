#include "ExtraTable.h"

// Has a test program that links this decode every type in its own process.
namespace {

[[maybe_unused]] const bool areUsed = [] {
    frameflow::useExtraDecoders(&frameflow::allExtraDecoders());
    return true;
}();

} // namespace
