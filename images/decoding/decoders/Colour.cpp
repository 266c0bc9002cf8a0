#include "Colour.h"

#include "LargeBitmap.h"

#include <QColorSpace>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include <lcms2.h>

namespace frameflow {

namespace {

struct CloseProfile
{
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, CloseProfile>;

struct DeleteTransform
{
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using Transform = std::unique_ptr<void, DeleteTransform>;

bool isDeep(const QImage& image)
{
    return image.depth() > 32 || image.format() == QImage::Format_Grayscale16;
}

// Programs that know no better write sRGB's primaries with a plain exponent near its curve.
bool isNearlySrgb(const QColorSpace& space)
{
    using Function = QColorSpace::TransferFunction;
    constexpr float usualGamma = 2.2F;
    const QColorSpace srgb(QColorSpace::SRgb);
    const bool isUsualGamma
        = space.transferFunction() == Function::Gamma && std::abs(space.gamma() - usualGamma) < 0.05F;
    return space == srgb || (isUsualGamma && space.withTransferFunction(Function::SRgb) == srgb);
}

cmsColorSpaceSignature modelOf(const QByteArray& icc)
{
    constexpr qsizetype modelAt = 16;
    if (icc.size() < modelAt + 4) {
        return cmsColorSpaceSignature(0);
    }
    const auto* bytes = reinterpret_cast<const uchar*>(icc.constData()) + modelAt;
    return cmsColorSpaceSignature(bytes[0] << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3]);
}

Transform transformFrom(const QByteArray& icc, cmsUInt32Number from, cmsUInt32Number to)
{
    const Profile source(cmsOpenProfileFromMem(icc.constData(), icc.size()));
    const Profile target(cmsCreate_sRGBProfile());
    if (!source || !target) {
        return {};
    }
    return Transform(cmsCreateTransform(source.get(), from, target.get(), to, INTENT_PERCEPTUAL,
        cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_COPY_ALPHA));
}

// Grey samples through a profile for grey.
QImage convertGrey(const QImage& image, const QByteArray& icc)
{
    const bool hasAlpha = image.hasAlphaChannel();
    const QImage source = image.convertToFormat(hasAlpha ? QImage::Format_RGBA64 : QImage::Format_Grayscale16);
    QImage result(image.size(), hasAlpha ? QImage::Format_RGBA64 : QImage::Format_RGBX64);
    // The three equal channels of a picture with alpha are read as one grey, two skipped.
    const cmsUInt32Number from
        = hasAlpha ? COLORSPACE_SH(PT_GRAY) | CHANNELS_SH(1) | BYTES_SH(2) | EXTRA_SH(3) : TYPE_GRAY_16;
    const Transform transform
        = transformFrom(icc, from, COLORSPACE_SH(PT_RGB) | CHANNELS_SH(3) | BYTES_SH(2) | EXTRA_SH(1));
    if (!transform || source.isNull() || result.isNull()) {
        return image;
    }
    for (int y = 0; y < source.height(); ++y) {
        auto* to = reinterpret_cast<QRgba64*>(result.scanLine(y));
        cmsDoTransform(transform.get(), source.constScanLine(y), to, source.width());
        const auto* old = reinterpret_cast<const QRgba64*>(source.constScanLine(y));
        for (int x = 0; x < source.width(); ++x) {
            to[x].setAlpha(hasAlpha ? old[x].alpha() : 0xffff);
        }
    }
    return result;
}

QImage convertRgb(QImage image, const QByteArray& icc)
{
    const bool deep = isDeep(image);
    const bool hasAlpha = image.hasAlphaChannel();
    const cmsUInt32Number layout = deep ? TYPE_RGBA_16 : TYPE_BGRA_8;
    const Transform transform = transformFrom(icc, layout, layout);
    if (!transform) {
        return image;
    }
    if (deep) {
        image = inFormat(std::move(image), hasAlpha ? QImage::Format_RGBA64 : QImage::Format_RGBX64);
    } else {
        image = inFormat(std::move(image), hasAlpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    }
    for (int y = 0; y < image.height(); ++y) {
        uchar* line = image.scanLine(y);
        cmsDoTransform(transform.get(), line, line, image.width());
    }
    return image;
}

// Of the image itself, else of the file.
QByteArray profileOf(const QImage& image, const QByteArray& profile)
{
    const QColorSpace space = image.colorSpace();
    return space.isValid() || !space.iccProfile().isEmpty() ? space.iccProfile() : profile;
}

QImage toSrgb(QImage image, const QByteArray& profile)
{
    if (isInScreenColours(image, profile)) {
        return image;
    }
    const QByteArray icc = profileOf(image, profile);
    const cmsColorSpaceSignature model = modelOf(icc);
    if (model == cmsSigGrayData) {
        return convertGrey(image, icc);
    }
    // Not Qt's own conversion: it waits for the pool of threads that the whole program shares.
    return model == cmsSigRgbData ? convertRgb(std::move(image), icc) : image;
}

bool isOpaque(const QImage& image)
{
    constexpr quint32 alphaBits = 0xff000000U;
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const quint32*>(image.constScanLine(y));
        const bool opaque
            = std::all_of(line, line + image.width(), [](quint32 pixel) { return (pixel & alphaBits) == alphaBits; });
        if (!opaque) {
            return false;
        }
    }
    return true;
}

} // namespace

bool isInScreenColours(const QImage& image, const QByteArray& profile)
{
    const QColorSpace space = image.colorSpace();
    return space.isValid() ? isNearlySrgb(space) : profileOf(image, profile).isEmpty();
}

QImage toScreenColours(QImage image, const QByteArray& profile)
{
    image = toSrgb(std::move(image), profile);
    image.setColorSpace(QColorSpace());
    const auto format = image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32;
    image = inFormat(std::move(image), format);
    if (image.isNull()) {
        return image;
    }
    if (image.hasAlphaChannel() && isOpaque(image)) {
        image.reinterpretAsFormat(QImage::Format_RGB32);
    }
    image.setDotsPerMeterX(0);
    image.setDotsPerMeterY(0);
    image.setDevicePixelRatio(1);
    return image;
}

} // namespace frameflow
