#pragma once

#include "DecodedPicture.h"
#include "MovieInput.h"

#include <memory>
#include <optional>

namespace frameflow {

// An opened movie and those of its streams that count. For the thread that opens it.
class MovieFile
{
public:
    // Null, with the reason, when it is not of one of the known containers or has no stream that could be played. The
    // descriptor must stay open as long; the name is that of the file, for types that cannot be told by their contents.
    static std::unique_ptr<MovieFile> open(
        int descriptor, QByteArrayView fileName, const MovieLimits& limits, DecodeError* error);

    const MovieLimits& limits() const { return mLimits; }
    AVFormatContext* format() const { return mFormat.get(); }
    // Streams whose codec is known; null where there is none.
    AVStream* video() const { return mVideo; }
    AVStream* audio() const { return mAudio; }
    AVStream* cover() const { return mCover; }

    // As its container says, or else as its packets do, which may take reading it to its end; 0 where neither tells.
    // Afterwards only a seek tells where in the file reading goes on.
    double seconds();
    // When its first stream starts, in units of another stream.
    int64_t startIn(const AVStream* stream) const;

    // The next packet of one stream; null at the end, at an error, and when the limits are reached. Others are lost.
    FfmpegPtr<AVPacket> nextPacketOf(const AVStream* stream);
    // Goes to the last place before a time in the stream's units from where it can be decoded, as far as the container
    // knows one. False when it cannot, or the limits are reached.
    bool seek(const AVStream* stream, int64_t time);
    // Goes to the start.
    bool rewind();
    bool isUsedUp() const { return mInput.isUsedUp(); }

    // A decoder in this thread for one of the streams. Null when it cannot be had.
    FfmpegPtr<AVCodecContext> decoderFor(const AVStream* stream) const;

private:
    MovieFile(int descriptor, const MovieLimits& limits);
    bool openContainer(const AVInputFormat* type, DecodeError* error);
    void chooseStreams();
    double measuredSeconds();
    const AVStream* mainStream() const { return mVideo != nullptr ? mVideo : mAudio; }

    MovieLimits mLimits;
    MovieInput mInput; // outlives the format, which reads from it
    FfmpegPtr<AVFormatContext> mFormat;
    AVStream* mVideo = nullptr;
    AVStream* mAudio = nullptr;
    AVStream* mCover = nullptr;
    bool mClaimsTooMuch = false;
    std::optional<double> mSeconds;
    int mPackets = 0;
};

// The time of a packet that its frame is shown at, or is decoded at where that is all that is known.
int64_t timeOf(const AVPacket* packet);

// A span in a stream's units, rounded towards zero and kept within what can be counted on with.
int64_t unitsOf(double seconds, const AVStream* stream);

// Whether a frame of this size may be decoded.
bool canDecodeFrame(int width, int height);

} // namespace frameflow
