#pragma once

#include "FileUrl.h"

#include <QImage>

namespace frameflow {

// One thumbnail per file for as long as a show runs. One for the process.
class KLThumbnailCache
{
public:
    static void purge();
};

} // namespace frameflow
