#pragma once

#include <QImage>

namespace frameflow {

// The two pictures between which transitions are shown: a valley by day and the same by night.
enum class PreviewPicture
{
    Day,
    Night,
};

// Painted in that size. Null for an empty size.
QImage previewPicture(PreviewPicture which, QSize pixels);

} // namespace frameflow
