#include "ExtraDecoders.h"

#include <atomic>

namespace frameflow {

namespace {

std::atomic<const ExtraDecoders*> used = nullptr;

} // namespace

void useExtraDecoders(const ExtraDecoders* table)
{
    used = table;
}

const ExtraDecoders* extraDecoders()
{
    return used;
}

} // namespace frameflow
