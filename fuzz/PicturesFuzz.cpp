// Files as decoders decode them, without a process of their own. Built for the decoder of the common types, for the one
// of the others, and for drawings, which are slow, alone.

#include "Bytes.h"
#include "ContentType.h"
#include "Decode.h"
#include "Limits.h"
#ifdef FUZZ_EXTRA
#include "ExtraTable.h"
#endif

#include <QGuiApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <array>

using namespace frameflow;
using namespace frameflow::fuzz;

namespace {

#ifdef FUZZ_EXTRA
constexpr std::array names{"a", "a.tga", "a.dng", "a.hdr"};
#else
constexpr std::array names{"a", "a.svgz", "a.jpg"};
#endif

bool isWanted(const QByteArray& contents, const char* name)
{
    const ContentType type = contentType(contents, name);
#ifdef FUZZ_DRAWINGS
    return type == ContentType::Svg;
#else
    return type != ContentType::Svg;
#endif
}

DecodeRequest requestFrom(Input& input, const char* name)
{
    DecodeRequest request;
    request.fileName = name;
    request.longestSide = std::max(0, input.ConsumeIntegralInRange(-300, 300));
    request.isHeld = request.longestSide > 0 && input.ConsumeBool();
    request.turn = input.ConsumeBool() ? Turn::Upright : Turn::AsStored;
    request.frame = {{input.ConsumeIntegralInRange(0, 60) * 1.0, input.ConsumeIntegralInRange(0, 60) * 1.0}, 1,
        FitMode(input.ConsumeIntegralInRange(0, 3))};
    return request;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments)
{
    qputenv("QT_QPA_PLATFORM", "minimal:enable_fonts");
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    new QGuiApplication(*count, *arguments); // for as long as the process
#ifdef FUZZ_EXTRA
    qputenv("VIPS_CONCURRENCY", "1");
    useExtraDecoders(&allExtraDecoders());
#endif
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    const char* const name = input.PickValueInArray(names);
    const DecodeRequest request = requestFrom(input, name);
    const QByteArray contents = restOf(input);
    if (!isWanted(contents, name)) {
        return 0;
    }
    const FileDescriptor file = fileWith(contents);
    const DecodedPicture picture = decodePicture(file.number(), request);
    const QSize pixels = picture.pixels.size();
    require((picture.error == DecodeError::None) != picture.pixels.isNull());
    if (picture.error == DecodeError::None) {
        require(picture.pixels.format() == QImage::Format_RGB32
            || picture.pixels.format() == QImage::Format_ARGB32_Premultiplied);
        require(qint64(pixels.width()) * pixels.height() <= mostPixelsHeld && !picture.size.isEmpty());
        require(request.longestSide == 0 || std::max(pixels.width(), pixels.height()) <= request.longestSide);
        require(picture.orientation >= 1 && picture.orientation <= 8);
    }
    return 0;
}
