#pragma once

#include <cstddef>

namespace frameflow {

// Told which file of the sequence a person has chosen in the grid. Main thread; may call back into the grid, and may
// hide it.
class KLImageGridDelegate
{
public:
    virtual ~KLImageGridDelegate() = default;
    virtual void gotoImageIndex(size_t index) = 0;
};

} // namespace frameflow
