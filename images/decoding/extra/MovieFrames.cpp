#include "MovieFrames.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <utility>

namespace frameflow {

namespace {

// Frames are stored up to this many others away from their place.
constexpr int mostReordered = 32;
// The second field of a frame may follow as a packet of its own.
constexpr qsizetype packetsOfFrame = 2;

// The packets of a stream that lead to a frame.
struct Run
{
    std::deque<FfmpegPtr<AVPacket>> packets;
    qsizetype wanted = -1; // the packet of that frame; negative where packets do not tell
};

// Collects packets until those of a time have gone by, and keeps the last ones from a key frame on.
class RunCollector
{
public:
    RunCollector(int64_t time, int keysKept) : mTime(time), mKeysKept(keysKept) { }

    // False when no more are needed.
    bool add(FfmpegPtr<AVPacket> packet)
    {
        const int64_t time = timeOf(packet.get());
        const bool isBehind = time != AV_NOPTS_VALUE && time > mTime;
        const bool isDecodedBehind = packet->dts != AV_NOPTS_VALUE && packet->dts > mTime;
        const bool isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
        if (isKey && !isBehind && time != AV_NOPTS_VALUE) {
            mKeys.push_back(mFirst + mRun.packets.size());
            // When it is decoded says little about when it is shown.
            mIsOrderKnown = mIsOrderKnown && packet->pts != AV_NOPTS_VALUE;
            if (mKeys.size() > (mIsOrderKnown ? mKeysKept : mKeysKept + 1)) {
                mKeys.pop_front();
                dropUpTo(mKeys.front());
            }
        }
        mBytes += packet->size;
        mRun.packets.push_back(std::move(packet));
        mBehind += isBehind ? 1 : 0;
        mDecodedBehind += isDecodedBehind ? 1 : 0;
        return mBehind <= mostReordered && mDecodedBehind < packetsOfFrame;
    }

    bool isEmpty() const { return mRun.packets.empty(); }
    qint64 bytes() const { return mBytes; }

    Run take()
    {
        int64_t latest = AV_NOPTS_VALUE;
        for (size_t i = 0; i < mRun.packets.size(); ++i) {
            const int64_t shown = mRun.packets[i]->pts;
            if (shown == AV_NOPTS_VALUE) {
                mRun.wanted = -1;
                break;
            }
            // A movie may be cut without being written anew.
            const bool isCutOut = (mRun.packets[i]->flags & AV_PKT_FLAG_DISCARD) != 0;
            if (!isCutOut && shown <= mTime && (latest == AV_NOPTS_VALUE || shown > latest)) {
                latest = shown;
                mRun.wanted = static_cast<qsizetype>(i);
            }
        }
        return std::move(mRun);
    }

private:
    void dropUpTo(size_t number)
    {
        for (; mFirst < number; ++mFirst) {
            mBytes -= mRun.packets.front()->size;
            mRun.packets.pop_front();
        }
    }

    int64_t mTime;
    size_t mKeysKept;
    Run mRun;
    size_t mFirst = 0; // number of the first packet kept
    std::deque<size_t> mKeys; // numbers of the key frames kept
    bool mIsOrderKnown = true;
    qint64 mBytes = 0;
    int mBehind = 0;
    int mDecodedBehind = 0;
};

// The best of the frames that come out of a decoder.
class NearestFrame
{
public:
    explicit NearestFrame(int64_t time) : mTime(time), mNextTime(av_sat_add64(time, 1)) { }

    void offer(FfmpegPtr<AVFrame>& frame)
    {
        int64_t time = frame->best_effort_timestamp;
        if (time == AV_NOPTS_VALUE) {
            time = mNextTime;
        }
        mNextTime = av_sat_add64(time, std::max<int64_t>(frame->pkt_duration, 1));
        const bool isBetter
            = !mFrame || (time <= mTime && (isBehind() || time >= mFrameTime)) || (isBehind() && time < mFrameTime);
        if (isBetter) {
            mFrameTime = time;
            mFrame.swap(frame);
        }
    }

    bool isNone() const { return !mFrame; }
    bool isFound() const { return mFrame && !isBehind(); }
    int64_t time() const { return mFrameTime; }
    FfmpegPtr<AVFrame> take() { return std::move(mFrame); }

private:
    bool isBehind() const { return mFrameTime > mTime; }

    int64_t mTime;
    FfmpegPtr<AVFrame> mFrame;
    int64_t mFrameTime = 0;
    int64_t mNextTime; // of a frame that has none; at first one behind, to which any other is preferred
};

// Hands every frame that is ready to a function; stops when that answers false. False at the stream's end as well.
template <typename Function>
bool receiveFrames(AVCodecContext* decoder, Function function)
{
    for (;;) {
        FfmpegPtr<AVFrame> frame(av_frame_alloc());
        const int received = frame ? avcodec_receive_frame(decoder, frame.get()) : AVERROR(ENOMEM);
        if (received == AVERROR(EAGAIN)) {
            return true;
        }
        if (received == AVERROR_EOF || received == AVERROR(ENOMEM)) {
            return false;
        }
        if (received >= 0 && !function(frame)) {
            return false;
        }
    }
}

Run collectRun(MovieFile& movie, const AVStream* stream, int64_t time, int keysKept, bool fromKey)
{
    RunCollector collector(time, keysKept);
    while (auto packet = movie.nextPacketOf(stream)) {
        const bool isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
        if (fromKey && collector.isEmpty() && !isKey) {
            continue;
        }
        if (!collector.add(std::move(packet)) || collector.bytes() > movie.limits().bytesInQueue) {
            break;
        }
    }
    return collector.take();
}

void decodeRun(MovieFile& movie, const AVStream* stream, const Run& run, NearestFrame& nearest)
{
    const auto decoder = run.packets.empty() ? nullptr : movie.decoderFor(stream);
    if (!decoder) {
        return;
    }
    const int64_t wantedTime = run.wanted >= 0 ? run.packets[run.wanted]->pts : AV_NOPTS_VALUE;
    const auto offer = [&](FfmpegPtr<AVFrame>& frame) {
        nearest.offer(frame);
        return wantedTime == AV_NOPTS_VALUE || nearest.time() != wantedTime;
    };
    auto count = static_cast<qsizetype>(run.packets.size());
    if (run.wanted >= 0) {
        count = std::min(count, run.wanted + packetsOfFrame);
    }
    for (qsizetype i = 0; i < count && !movie.isUsedUp(); ++i) {
        decoder->skip_frame = i < run.wanted ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
        avcodec_send_packet(decoder.get(), run.packets[i].get());
        if (!receiveFrames(decoder.get(), offer)) {
            return;
        }
    }
    avcodec_send_packet(decoder.get(), nullptr);
    receiveFrames(decoder.get(), offer);
}

// The first frame of a run that goes on with what is read next.
FfmpegPtr<AVFrame> decodeOn(MovieFile& movie, const AVStream* stream, Run& start)
{
    const auto decoder = movie.decoderFor(stream);
    FfmpegPtr<AVFrame> first;
    const auto take = [&](FfmpegPtr<AVFrame>& frame) {
        first.swap(frame);
        return false;
    };
    while (decoder && !first && !movie.isUsedUp()) {
        FfmpegPtr<AVPacket> packet;
        if (start.packets.empty()) {
            packet = movie.nextPacketOf(stream);
        } else {
            packet = std::move(start.packets.front());
            start.packets.pop_front();
        }
        avcodec_send_packet(decoder.get(), packet.get());
        if (!receiveFrames(decoder.get(), take)) {
            break;
        }
    }
    return first;
}

} // namespace

FfmpegPtr<AVFrame> frameAt(MovieFile& movie, const AVStream* stream, int64_t time)
{
    const int64_t start = movie.startIn(stream);
    NearestFrame nearest(time);
    // A container may lead to a place from where the frame cannot be decoded, or that was cut off.
    double secondsBack = 0;
    for (int keysKept = 1; !nearest.isFound() && !movie.isUsedUp(); ++keysKept) {
        const int64_t from = av_sat_sub64(time, unitsOf(secondsBack, stream));
        const bool isFromStart = from <= start;
        const bool isThere = isFromStart ? movie.rewind() : movie.seek(stream, from);
        if (isThere) {
            const Run run = collectRun(movie, stream, time, keysKept, !isFromStart);
            decodeRun(movie, stream, run, nearest);
        }
        if (isFromStart) {
            break;
        }
        secondsBack = secondsBack == 0 ? 1 : secondsBack * 4;
    }
    return nearest.take();
}

FfmpegPtr<AVFrame> nextFrame(MovieFile& movie, const AVStream* stream)
{
    // A decoder that is told that there are no more packets does not wait for frames that could come before.
    Run start;
    for (qsizetype i = 0; i < packetsOfFrame; ++i) {
        auto packet = movie.nextPacketOf(stream);
        if (packet) {
            start.packets.push_back(std::move(packet));
        }
    }
    NearestFrame first(std::numeric_limits<int64_t>::min());
    decodeRun(movie, stream, start, first);
    return first.isNone() ? decodeOn(movie, stream, start) : first.take();
}

FfmpegPtr<AVFrame> coverFrame(const MovieFile& movie)
{
    const AVStream* const stream = movie.cover();
    const auto decoder = stream != nullptr ? movie.decoderFor(stream) : nullptr;
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    const bool isDecoded = decoder && frame && avcodec_send_packet(decoder.get(), &stream->attached_pic) >= 0
        && avcodec_send_packet(decoder.get(), nullptr) >= 0 && avcodec_receive_frame(decoder.get(), frame.get()) >= 0;
    return isDecoded ? std::move(frame) : nullptr;
}

bool hasPlayableSound(MovieFile& movie)
{
    AVStream* const stream = movie.audio();
    if (stream == nullptr) {
        return false;
    }
    if (stream->discard == AVDISCARD_ALL) {
        stream->discard = AVDISCARD_DEFAULT;
        movie.rewind();
    }
    return nextFrame(movie, stream) != nullptr;
}

} // namespace frameflow
