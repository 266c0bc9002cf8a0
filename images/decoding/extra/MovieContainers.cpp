#include "MovieContainers.h"

#include "FileUrl.h"

#include <algorithm>
#include <array>

namespace frameflow {

namespace {

constexpr qsizetype id3HeaderLength = 10;

// Before the sound of many files stands a tag of any length; 0 where there is none.
qint64 lengthOfTag(const QByteArray& start)
{
    if (start.size() < id3HeaderLength || !start.startsWith("ID3")) {
        return 0;
    }
    qint64 length = 0;
    for (int at = 6; at < id3HeaderLength; ++at) {
        length = length * 128 + (static_cast<uchar>(start.at(at)) & 127);
    }
    return length + id3HeaderLength;
}

bool isKnown(const AVInputFormat* type)
{
    const auto names = QByteArray(type->name).split(',');
    return std::any_of(names.begin(), names.end(),
        [](const QByteArray& name) { return av_match_name(name.constData(), movieContainers) != 0; });
}

// A movie that is pictures in a row begins as a single one does.
bool isRowOfJpegs(const AVInputFormat* type, QByteArrayView fileName)
{
    const QByteArray suffix = extensionOfName(fileName).toByteArray().toLower();
    return QByteArrayView(type->name) == "jpeg_pipe" && (suffix == "mjpeg" || suffix == "mjpg");
}

} // namespace

const char* const movieContainers
    = "aac,ac3,aiff,amr,ape,asf,au,avi,bink,dsf,dts,dtshd,dv,eac3,flac,flic,flv,gsm,iff,m4v,matroska,mjpeg,mov,mp3,mpc,"
      "mpc8,mpeg,mpegts,mpegvideo,mv,nsv,ogg,rm,smk,tta,vivo,voc,w64,wav,wv";

const AVInputFormat* movieContainer(const MovieInput& input, QByteArrayView fileName)
{
    constexpr std::array<qsizetype, 4> lengths{2048, 32'768, 262'144, 1'048'576};
    const qint64 offset = lengthOfTag(input.readAt(0, id3HeaderLength));
    for (const qsizetype length : lengths) {
        QByteArray bytes = input.readAt(offset, length);
        const bool isAll = bytes.size() < length || length == lengths.back();
        AVProbeData data = {};
        data.filename = "";
        data.buf_size = static_cast<int>(bytes.size());
        bytes.append(AVPROBE_PADDING_SIZE, '\0');
        data.buf = reinterpret_cast<unsigned char*>(bytes.data());
        int score = 0;
        const AVInputFormat* const type = av_probe_input_format3(&data, 1, &score);
        if (type != nullptr && (score > AVPROBE_SCORE_RETRY || isAll)) {
            if (isRowOfJpegs(type, fileName)) {
                return av_find_input_format("mjpeg");
            }
            return isKnown(type) ? type : nullptr;
        }
        if (isAll) {
            break;
        }
    }
    return nullptr;
}

} // namespace frameflow
