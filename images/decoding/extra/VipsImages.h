#pragma once

#include <memory>

#include <vips/vips.h>

namespace frameflow {

struct Unref
{
    void operator()(void* object) const { g_object_unref(object); }
};

// Null stands for an operation that failed; every operation passes it on.
using VipsImagePtr = std::unique_ptr<VipsImage, Unref>;
using VipsSourcePtr = std::unique_ptr<VipsSource, Unref>;

// Runs one of libvips' functions "int vips_x(VipsImage* in, VipsImage** out, ..., nullptr)".
template <typename Function, typename... Arguments>
VipsImagePtr applied(const VipsImagePtr& image, Function function, Arguments... arguments)
{
    VipsImage* result = nullptr;
    if (!image || function(image.get(), &result, arguments..., nullptr) != 0) {
        return nullptr;
    }
    return VipsImagePtr(result);
}

} // namespace frameflow
