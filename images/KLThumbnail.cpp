#include "KLThumbnail.h"

#include "KLImage.h"

namespace frameflow {

KLThumbnailPtr KLThumbnail::thumbnailWithURL(const FileUrl& url)
{
    const QImage image = KLImage::thumbNailFromURL(url);
    return image.isNull() ? nullptr : std::make_shared<const KLThumbnail>(url, image);
}

} // namespace frameflow
