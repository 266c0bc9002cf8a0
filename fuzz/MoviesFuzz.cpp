// Movies and sounds as a decoder looks at them: what they are, and frames for the show and for thumbnails.

#include "Bytes.h"
#include "MovieDecoder.h"

#include <algorithm>
#include <cmath>

using namespace frameflow;
using namespace frameflow::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    DecodeRequest request;
    request.wanted = input.ConsumeBool() ? Wanted::MovieFrame : Wanted::MovieProbe;
    request.longestSide = input.ConsumeIntegralInRange(0, 300);
    request.fileName = input.ConsumeBool() ? "a.mov" : "a.mpg";
    const FileDescriptor file = fileWith(restOf(input));
    const bool isProbe = request.wanted == Wanted::MovieProbe;
    const DecodedPicture picture
        = isProbe ? probeMovie(file.number(), request) : decodeMovieFrame(file.number(), request);
    if (picture.error == DecodeError::None) {
        require(picture.movie.has_value() == isProbe && (isProbe || !picture.pixels.isNull()));
        require(!isProbe || (std::isfinite(picture.movie->seconds) && picture.movie->seconds >= 0));
        require(request.longestSide == 0
            || std::max(picture.pixels.width(), picture.pixels.height()) <= request.longestSide);
    }
    return 0;
}
