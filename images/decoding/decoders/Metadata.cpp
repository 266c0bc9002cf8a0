#include "Metadata.h"

#include <algorithm>
#include <array>
#include <exception>
#include <exiv2/exiv2.hpp>
#include <exiv2/webpimage.hpp>
#include <mutex>

namespace frameflow {

namespace {

void lockXmp(void* mutex, bool lock)
{
    auto* const xmpMutex = static_cast<std::mutex*>(mutex);
    if (lock) {
        xmpMutex->lock();
    } else {
        xmpMutex->unlock();
    }
}

// Exiv2 makes its XMP tables on the first need and is not safe there with several threads.
void prepareOnce()
{
    static std::mutex xmpMutex;
    static std::once_flag once;
    std::call_once(once, [] {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        Exiv2::XmpParser::initialize(lockXmp, &xmpMutex);
    });
}

QByteArray storedThumbnail(const Exiv2::Image& image, int leastLongerSide)
{
    const Exiv2::PreviewManager manager(image);
    // From the smallest to the largest.
    for (const auto& properties : manager.getPreviewProperties()) {
        const bool isJpeg = properties.mimeType_ == "image/jpeg";
        if (!isJpeg || std::max(properties.width_, properties.height_) < static_cast<uint32_t>(leastLongerSide)) {
            continue;
        }
        const auto preview = manager.getPreviewImage(properties);
        return {reinterpret_cast<const char*>(preview.pData()), static_cast<qsizetype>(preview.size())};
    }
    return {};
}

bool saysAdobeRgb(const Exiv2::ExifData& exif)
{
    const auto found = exif.findKey(Exiv2::ExifKey("Exif.Iop.InteroperabilityIndex"));
    return found != exif.end() && found->toString().substr(0, 3) == "R03";
}

// Exiv2 takes some drawings and others for movies, and goes through these word by word for as long as the lengths in
// them say.
bool isOfATypeWithProperties(const QByteArray& contents)
{
    using namespace Exiv2::ImageType;
    constexpr std::array types{jpeg, tiff, png, webp, psd, jp2, bmp, gif, tga, cr2, crw, mrw, orf, raf, rw2};
    const int type = Exiv2::ImageFactory::getType(
        reinterpret_cast<const Exiv2::byte*>(contents.constData()), static_cast<long>(contents.size()));
    return std::find(types.begin(), types.end(), type) != types.end();
}

} // namespace

Metadata readMetadata(const QByteArray& contents, StoredThumbnail stored, int leastLongerSide)
{
    prepareOnce();
    Metadata metadata;
    try {
        if (!isOfATypeWithProperties(contents)) {
            return metadata;
        }
        const auto image = Exiv2::ImageFactory::open(
            reinterpret_cast<const Exiv2::byte*>(contents.constData()), static_cast<long>(contents.size()));
        if (!image.get()) {
            return metadata;
        }
        image->readMetadata();
        const Exiv2::ExifData& exif = image->exifData();
        const auto orientation = exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
        if (orientation != exif.end() && orientation->count() > 0) {
            metadata.orientation = orientation->toLong();
        }
        metadata.isAdobeRgb = saysAdobeRgb(exif);
        if (image->iccProfileDefined()) {
            const Exiv2::DataBuf& profile = *image->iccProfile();
            metadata.profile = QByteArray(reinterpret_cast<const char*>(profile.pData_), profile.size_);
        }
        if (stored == StoredThumbnail::Read) {
            metadata.thumbnail = storedThumbnail(*image, leastLongerSide);
        }
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): a file without readable properties has none
    }
    return metadata;
}

} // namespace frameflow
