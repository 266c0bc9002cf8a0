#include "MovieFile.h"

#include "Limits.h"
#include "MovieContainers.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include <sys/stat.h>

namespace frameflow {

namespace {

// Reference pictures included, of one and a half bytes a pixel mostly.
constexpr int bytesPerPixelOfFrames = 24;
// Of any single block that FFmpeg asks for: a plane of a frame, or an index of twenty million entries.
constexpr size_t largestBlock = size_t(512) << 20;
constexpr unsigned mostStreams = 200;

constexpr double secondsMeasuredAtEnd = 5;

void quietFfmpegOnce()
{
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(AV_LOG_QUIET);
        av_max_alloc(largestBlock);
    });
}

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**)
{
    return AVERROR(EPERM);
}

qint64 mostPixels()
{
    return mostBytesOfMachine() / bytesPerPixelOfFrames;
}

// One dictionary of decoder options for each stream, as looking for their parameters wants them.
class DecoderOptions
{
public:
    explicit DecoderOptions(unsigned streams) : mOptions(streams)
    {
        for (AVDictionary*& options : mOptions) {
            av_dict_set_int(&options, "max_pixels", mostPixels(), 0);
        }
    }
    ~DecoderOptions()
    {
        for (AVDictionary*& options : mOptions) {
            av_dict_free(&options);
        }
    }
    DecoderOptions(const DecoderOptions&) = delete;
    DecoderOptions& operator=(const DecoderOptions&) = delete;

    AVDictionary** data() { return mOptions.empty() ? nullptr : mOptions.data(); }

private:
    std::vector<AVDictionary*> mOptions;
};

// FFmpeg's own decoders of these leave out the transparency, which is a movie within the movie.
const AVCodec* decoderWithAlpha(const AVStream* stream)
{
    const AVDictionaryEntry* const mode = av_dict_get(stream->metadata, "alpha_mode", nullptr, 0);
    if (mode == nullptr || QByteArrayView(mode->value) != "1") {
        return nullptr;
    }
    switch (stream->codecpar->codec_id) {
    case AV_CODEC_ID_VP8:
        return avcodec_find_decoder_by_name("libvpx");
    case AV_CODEC_ID_VP9:
        return avcodec_find_decoder_by_name("libvpx-vp9");
    default:
        return nullptr;
    }
}

const AVCodec* codecOf(const AVStream* stream)
{
    const AVCodec* const withAlpha = decoderWithAlpha(stream);
    return withAlpha != nullptr ? withAlpha : avcodec_find_decoder(stream->codecpar->codec_id);
}

bool isStillPicture(const AVStream* stream)
{
    return (stream->disposition & (AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS)) != 0;
}

bool isDefault(const AVStream* stream)
{
    return (stream->disposition & AV_DISPOSITION_DEFAULT) != 0;
}

// Such sizes are forgotten when the parameters are looked for.
bool claimsTooMuch(const AVStream* stream)
{
    const AVCodecParameters* const codec = stream->codecpar;
    return codec->codec_type == AVMEDIA_TYPE_VIDEO && codec->width > 0 && !canDecodeFrame(codec->width, codec->height);
}

} // namespace

int64_t timeOf(const AVPacket* packet)
{
    return packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
}

int64_t unitsOf(double seconds, const AVStream* stream)
{
    constexpr double most = 1e18;
    return static_cast<int64_t>(std::clamp(seconds / av_q2d(stream->time_base), -most, most));
}

bool canDecodeFrame(int width, int height)
{
    return width > 0 && height > 0 && qint64(width) * height <= mostPixels();
}

MovieFile::MovieFile(int descriptor, const MovieLimits& limits) : mLimits(limits), mInput(descriptor, limits) { }

std::unique_ptr<MovieFile> MovieFile::open(
    int descriptor, QByteArrayView fileName, const MovieLimits& limits, DecodeError* error)
{
    quietFfmpegOnce();
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        *error = DecodeError::Unreadable;
        return nullptr;
    }
    std::unique_ptr<MovieFile> movie(new MovieFile(descriptor, limits));
    const AVInputFormat* const type = movieContainer(movie->mInput, fileName);
    if (type == nullptr) {
        *error = DecodeError::NotAPicture;
        return nullptr;
    }
    if (!movie->openContainer(type, error)) {
        return nullptr;
    }
    movie->chooseStreams();
    if (movie->mVideo == nullptr && movie->mAudio == nullptr) {
        *error = movie->mClaimsTooMuch ? DecodeError::TooLarge : DecodeError::Damaged;
        return nullptr;
    }
    return movie;
}

bool MovieFile::openContainer(const AVInputFormat* type, DecodeError* error)
{
    AVFormatContext* format = avformat_alloc_context();
    if (format == nullptr || mInput.context() == nullptr) {
        avformat_free_context(format);
        *error = DecodeError::TooLarge;
        return false;
    }
    format->pb = mInput.context();
    format->io_open = refuseToOpen;
    format->format_whitelist = av_strdup(movieContainers);
    format->protocol_whitelist = av_strdup("none");
    format->max_streams = mostStreams;
    format->interrupt_callback.callback
        = [](void* input) { return static_cast<int>(static_cast<const MovieInput*>(input)->isUsedUp()); };
    format->interrupt_callback.opaque = &mInput;
    // Frees the context when it fails.
    const int opened = avformat_open_input(&format, "", type, nullptr);
    if (opened < 0) {
        *error = opened == AVERROR(ENOMEM) ? DecodeError::TooLarge : DecodeError::Damaged;
        return false;
    }
    mFormat.reset(format);
    mClaimsTooMuch = std::any_of(format->streams, format->streams + format->nb_streams, claimsTooMuch);
    DecoderOptions options(format->nb_streams);
    // Streams of which it finds out nothing are left out below.
    avformat_find_stream_info(format, options.data());
    return true;
}

void MovieFile::chooseStreams()
{
    for (unsigned i = 0; i < mFormat->nb_streams; ++i) {
        AVStream* const stream = mFormat->streams[i];
        const AVCodecParameters* const codec = stream->codecpar;
        stream->discard = AVDISCARD_ALL;
        if (codecOf(stream) == nullptr) {
            continue;
        }
        if (codec->codec_type == AVMEDIA_TYPE_VIDEO && isStillPicture(stream)) {
            mCover = mCover == nullptr && stream->attached_pic.size > 0 ? stream : mCover;
        } else if (codec->codec_type == AVMEDIA_TYPE_VIDEO && codec->width > 0 && codec->height > 0) {
            mVideo = mVideo == nullptr || (isDefault(stream) && !isDefault(mVideo)) ? stream : mVideo;
        } else if (codec->codec_type == AVMEDIA_TYPE_AUDIO && codec->sample_rate > 0) {
            mAudio = mAudio == nullptr || (isDefault(stream) && !isDefault(mAudio)) ? stream : mAudio;
        }
    }
    for (AVStream* const stream : {mVideo, mVideo == nullptr ? mAudio : nullptr}) {
        if (stream != nullptr) {
            stream->discard = AVDISCARD_DEFAULT;
        }
    }
}

double MovieFile::seconds()
{
    if (mSeconds) {
        return *mSeconds;
    }
    const bool isKnown = mFormat->duration != AV_NOPTS_VALUE && mFormat->duration > 0;
    const double known = isKnown ? static_cast<double>(mFormat->duration) / AV_TIME_BASE : 0;
    if (isKnown && mFormat->duration_estimation_method == AVFMT_DURATION_FROM_STREAM) {
        mSeconds = known;
    } else if (isKnown && mFormat->duration_estimation_method == AVFMT_DURATION_FROM_PTS) {
        // Times stand in some packets only; the last one that has one may not be the last.
        const AVStream* const stream = mainStream();
        const int64_t end = unitsOf(std::max(0.0, known - secondsMeasuredAtEnd), stream);
        const bool isNearEnd = seek(stream, av_sat_add64(startIn(stream), end));
        mSeconds = isNearEnd ? std::max(known, measuredSeconds()) : known;
    } else {
        mSeconds = measuredSeconds();
    }
    return *mSeconds;
}

// By reading on to the end.
double MovieFile::measuredSeconds()
{
    const AVStream* const stream = mainStream();
    const int64_t start = startIn(stream);
    int64_t end = start;
    while (const auto packet = nextPacketOf(stream)) {
        const int64_t time = timeOf(packet.get());
        if (time != AV_NOPTS_VALUE) {
            end = std::max(end, av_sat_add64(time, packet->duration));
        }
    }
    return (static_cast<double>(end) - static_cast<double>(start)) * av_q2d(stream->time_base);
}

int64_t MovieFile::startIn(const AVStream* stream) const
{
    return mFormat->start_time == AV_NOPTS_VALUE
        ? 0
        : av_rescale_q(mFormat->start_time, AVRational{1, AV_TIME_BASE}, stream->time_base);
}

FfmpegPtr<AVPacket> MovieFile::nextPacketOf(const AVStream* stream)
{
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    while (packet && !mInput.isUsedUp() && mPackets < mLimits.packets) {
        if (av_read_frame(mFormat.get(), packet.get()) < 0) {
            break;
        }
        ++mPackets;
        if (packet->stream_index == stream->index) {
            return packet;
        }
        av_packet_unref(packet.get());
    }
    return nullptr;
}

bool MovieFile::seek(const AVStream* stream, int64_t time)
{
    return !mInput.isUsedUp() && av_seek_frame(mFormat.get(), stream->index, time, AVSEEK_FLAG_BACKWARD) >= 0;
}

bool MovieFile::rewind()
{
    if (mInput.isUsedUp()) {
        return false;
    }
    const AVStream* const stream = mainStream();
    // Where times are searched for, not listed, the first packets may be passed over.
    const bool isSearched = (mFormat->iformat->flags & AVFMT_TS_DISCONT) != 0;
    const bool isThere = !isSearched
        && avformat_seek_file(mFormat.get(), stream->index, INT64_MIN, startIn(stream), INT64_MAX, 0) >= 0;
    return isThere || av_seek_frame(mFormat.get(), stream->index, 0, AVSEEK_FLAG_BYTE) >= 0;
}

FfmpegPtr<AVCodecContext> MovieFile::decoderFor(const AVStream* stream) const
{
    const AVCodec* const codec = codecOf(stream);
    FfmpegPtr<AVCodecContext> context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0) {
        return nullptr;
    }
    context->pkt_timebase = stream->time_base;
    context->thread_count = 1;
    context->max_pixels = mostPixels();
    return avcodec_open2(context.get(), codec, nullptr) >= 0 ? std::move(context) : nullptr;
}

} // namespace frameflow
