#pragma once

#include "FileUrl.h"

#include <QImage>

#include <memory>

namespace frameflow {

class KLThumbnail;
using KLThumbnailPtr = std::shared_ptr<const KLThumbnail>;

// A small picture and the file that it shows. Does not change once made; any thread.
class KLThumbnail
{
public:
    KLThumbnail(const FileUrl& url, const QImage& image) : mImageValue(image), mUrlValue(url) { }

    // Null when no picture can be made of the file. Blocks.
    static KLThumbnailPtr thumbnailWithURL(const FileUrl& url);

    const QImage& mImage() const { return mImageValue; }
    const FileUrl& mURL() const { return mUrlValue; }

private:
    QImage mImageValue;
    FileUrl mUrlValue;
};

} // namespace frameflow
