#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avstring.h>
#include <libavutil/common.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <cstring>
#include <memory>
#include <type_traits>

namespace frameflow {

// A number that FFmpeg passes on from a file as a value of an enumeration. Files hold numbers that are none of these.
template <typename Enumeration>
int numberOf(const Enumeration& value)
{
    static_assert(std::is_enum_v<Enumeration> && sizeof(value) == sizeof(int));
    int number = 0;
    std::memcpy(&number, &value, sizeof(number));
    return number;
}

struct FfmpegDelete
{
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    void operator()(AVIOContext* input) const
    {
        av_freep(&input->buffer);
        avio_context_free(&input);
    }
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};

template <typename Type>
using FfmpegPtr = std::unique_ptr<Type, FfmpegDelete>;

} // namespace frameflow
