// What is stored in a file beside its picture: orientation, colours, thumbnails.

#include "Bytes.h"
#include "Decode.h"
#include "Metadata.h"

#include <QLoggingCategory>

#include <algorithm>

using namespace frameflow;
using namespace frameflow::fuzz;

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    const int side = input.ConsumeIntegralInRange(1, 300);
    const QByteArray contents = restOf(input);
    const Metadata metadata = readMetadata(contents, StoredThumbnail::Read, side);
    require(metadata.thumbnail.size() <= 2 * contents.size() + 65536);
    DecodeRequest request;
    request.longestSide = side;
    const FileDescriptor file = fileWith(contents);
    const DecodedPicture picture = decodePicture(file.number(), request);
    require(std::max(picture.pixels.width(), picture.pixels.height()) <= side);
    return 0;
}
