#include "GraphicsDevice.h"

#include <algorithm>
#include <array>

#include <unistd.h>

namespace frameflow {

bool hasGraphicsDevice()
{
    // The kernel's own drivers; those of makers that bring their own; a virtual machine's way to its host.
    constexpr std::array devices{"/dev/dri", "/dev/nvidiactl", "/dev/kgsl-3d0", "/dev/mali0", "/dev/dxg"};
    return std::any_of(devices.begin(), devices.end(), [](const char* device) { return access(device, F_OK) == 0; });
}

} // namespace frameflow
